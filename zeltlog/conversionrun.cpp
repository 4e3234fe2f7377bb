#include "zeltlog/conversionrun.h"

#include <cstdio>

#include "app/cmdline.h"
#include "zeltlog/exitstatus.h"
#include "zeltlog/openlog.h"

namespace {

// Words as main() gets them. They are writable: an option empties those that it takes.
struct Arguments {
    explicit Arguments(std::vector<std::string> given) : words(std::move(given)) {
        words.insert(words.begin(), "zeltlog");
        for (std::string& word : words) pointers.push_back(word.data());
    }
    int count() const { return static_cast<int>(pointers.size()); }

    std::vector<std::string> words;
    std::vector<char*> pointers;
};

// Says why the log cannot be read, if so.
bool isReadable(const std::string& path, int& status) {
    ZeltFault fault;
    if (holdsBlock(path, fault)) return true;
    complain(fault.place != ZeltFaultPlace::kNone ? faultText(path, fault) : noBlockText(path), status);
    return false;
}

}  // namespace

std::string logOf(const std::vector<std::string>& words) {
    Arguments copy(words);
    std::string path;
    getStringOption("-f", {&path, 1023}, copy.count(), copy.pointers.data());
    return path;
}

bool parseConversion(const std::vector<std::string>& words, StationConfig& config, RunOptions& options, int& status) {
    const std::string path = logOf(words);
    if (!path.empty() && !isReadable(path, status)) return false;
    Arguments arguments(words);
    AntennaSettings antenna;
    if (!parseOptions(arguments.count(), arguments.pointers.data(), config, options, antenna)) {
        status = kWrongArguments;
        return false;
    }
    config.referencePoint = antenna.position;
    return !options.inputFile.empty();
}
