#include "fuzz/support.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "cggtts/writer.h"
#include "tests/logbuilder.h"

namespace {

constexpr size_t kLineSize = 128;  // with its line feed
constexpr const char* kTitlesEnd = ".1ns.1ps/s.1ns.1ps/s.1ns.1ps/s.1ns\n";

struct Directories {
    int original = open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    std::string scratch = (std::filesystem::temp_directory_path() / "zelt-fuzz-XXXXXX").string();
    int scratchHandle = -1;

    Directories() {
        require(mkdtemp(scratch.data()) != nullptr, "a scratch directory");
        scratchHandle = open(scratch.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    }
    Directories(const Directories&) = delete;
    Directories& operator=(const Directories&) = delete;
    ~Directories() {
        std::error_code ignored;
        std::filesystem::remove_all(scratch, ignored);
    }
};

const Directories& directories() {
    static const Directories theDirectories;
    return theDirectories;
}

}  // namespace

void require(bool holds, const char* what) {
    if (holds) return;
    dprintf(STDERR_FILENO, "Does not hold: %s\n", what);
    std::abort();
}

InScratchDirectory::InScratchDirectory() {
    require(fchdir(directories().scratchHandle) == 0, "the scratch directory can be entered");
}

InScratchDirectory::~InScratchDirectory() {
    require(fchdir(directories().original) == 0, "the scratch directory can be left");
}

void silencePrinting() {
    // glibc lets a program replace its standard streams; the fuzzer keeps the ones it took at its start.
    std::FILE* nowhere = std::fopen("/dev/null", "w");
    require(nowhere != nullptr, "/dev/null");
    stdout = nowhere;
    stderr = nowhere;
}

void writeFile(const char* name, const uint8_t* data, size_t size) {
    std::FILE* file = std::fopen(name, "wb");
    require(file != nullptr && std::fwrite(data, 1, size, file) == size && std::fclose(file) == 0, "a written file");
}

void checkDataLine(const std::string& line, bool numericOnly) {
    require(line.size() == kLineSize && line.find('\n') == kLineSize - 1, "a line of 127 characters");
    if (numericOnly) return;
    char checksum[3];
    std::snprintf(checksum, sizeof checksum, "%02X", unsigned{cggttsChecksum(line.substr(0, kLineSize - 3))});
    require(line.compare(kLineSize - 3, 2, checksum) == 0, "a line's checksum");
}

void checkAndRemoveOutputs(const std::string& logName, bool numericOnly) {
    std::vector<std::filesystem::path> outputs;
    for (const auto& entry : std::filesystem::directory_iterator(".")) {
        if (entry.path().filename() != logName) outputs.push_back(entry.path());
    }
    for (const auto& path : outputs) {
        const std::string text = readFile(path);
        std::filesystem::remove(path);
        const size_t end = text.find(kTitlesEnd);
        require(end != std::string::npos, "a header that ends in the column titles");
        const size_t first = end + std::string(kTitlesEnd).size();
        require((text.size() - first) % kLineSize == 0, "whole lines");
        for (size_t at = first; at < text.size(); at += kLineSize)
            checkDataLine(text.substr(at, kLineSize), numericOnly);
    }
}
