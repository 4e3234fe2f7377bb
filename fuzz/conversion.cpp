// The whole run over a hostile log: what the command line takes from it, the conversion, the files.
#include "app/cmdline.h"
#include "fuzz/logmutator.h"
#include "fuzz/support.h"

namespace {

bool parse(std::vector<std::string> arguments, RunConfig& config, RunOptions& options) {
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    return parseOptions(static_cast<int>(argv.size()), argv.data(), config, options);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    silencePrinting();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    enterScratchFolder();
    writeFile("log", {data, data + size});
    // The last byte decides how the log is converted.
    const unsigned how = size == 0 ? 0 : data[size - 1];
    std::vector<std::string> arguments{"", "-f", "log", "-elm-90"};
    if ((how & 1) != 0) arguments.emplace_back("-C");
    if ((how & 2) != 0) arguments.emplace_back("-matlab");
    if ((how & 4) != 0) arguments.emplace_back("-v");
    RunConfig config;
    RunOptions options;
    // What the log does not tell, or tells in vain, is given.
    if (!parse(arguments, config, options)) {
        config = {};
        options = {};
        for (const char* given : {"-ls18", "-px3582105", "-py532589", "-pz5232754"}) arguments.emplace_back(given);
        require(parse(arguments, config, options), "options that need nothing of the log");
    }
    convertFile(config, options);
    return 0;
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t maxSize, unsigned seed) {
    return mutateLog(data, size, maxSize, seed);
}
