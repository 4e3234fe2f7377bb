#include "zeltlog/openlog.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>

#include "app/progress.h"
#include "utils/zeltdata/zeltread.h"
#include "zeltlog/exitstatus.h"

#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

namespace {

// What other files begin with.
struct Magic {
    std::string_view bytes;
    const char* text;
};
// RFC 1952 (gzip), RFC 8878 (zstd), and the formats' own descriptions for xz, bzip2 and zip: what archives of logs are
// packed with, and users forget to unpack.
constexpr Magic kMagics[] = {
    {"\x1f\x8b", "it is gzip data: unpack it with gzip -d"},
    {"\x28\xb5\x2f\xfd", "it is zstd data: unpack it with zstd -d"},
    {std::string_view("\xfd\x37\x7a\x58\x5a\x00", 6), "it is xz data: unpack it with xz -d"},
    {"BZh", "it is bzip2 data: unpack it with bzip2 -d"},
    {"PK\x03\x04", "it is a zip archive: unpack it with unzip"},
};

constexpr size_t kLookedAt = 512;  // bytes, enough to tell text from data

bool isText(std::string_view bytes) {
    return std::all_of(bytes.begin(), bytes.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        // Bytes from 0x80 on are letters in one encoding or another.
        return (byte >= ' ' && byte != 0x7F) || c == '\n' || c == '\r' || c == '\t';
    });
}

bool isTerminal() {
#ifdef _WIN32
    return _isatty(2) != 0;
#else
    return isatty(2) != 0;
#endif
}

void showProgressOf(FilePass& pass, const OnProgress& onProgress, PassEvents& events) {
    if (!onProgress) return;
    const auto next = events.block;
    events.block = [&pass, onProgress, next, size = 0.0F](Bytes block) mutable {
        if (size == 0) size = static_cast<float>(zeltGetFileLength(pass.file));
        if (next) next(block);
        onProgress(100 * static_cast<float>(zeltGetFilePos(pass.file)) / size);
    };
}

}  // namespace

void complain(const std::string& text) { std::fprintf(stderr, "zeltlog: %s\n", text.c_str()); }

void complain(const std::string& text, int& status) {
    complain(text);
    status = kNotAllWell;
}

int64_t fileSize(const std::string& path) {
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    return error ? 0 : static_cast<int64_t>(size);
}

ZeltFault faultOf(ZeltFile& file, int64_t sizeAtFirst) {
    const ZeltFault fault = file.window.fault();
    const bool isWell = file.window.isOpen() && fault.place == ZeltFaultPlace::kNone;
    return isWell && zeltGetFileLength(file) < sizeAtFirst ? ZeltFault{ZeltFaultPlace::kShrunk} : fault;
}

std::string faultText(const std::string& path, const ZeltFault& fault) {
    if (fault.place == ZeltFaultPlace::kShrunk) return path + ": it became shorter while it was read";
    if (fault.place == ZeltFaultPlace::kStepBackSeek) return path + ": it cannot seek, as a pipe cannot: give a file";
    return path + ": " + std::strerror(fault.systemError);
}

std::string noBlockText(const std::string& path) {
    std::string text = "no Zelt block in " + path;
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), std::fclose);
    if (file == nullptr) return text;
    char bytes[kLookedAt];
    const std::string_view begin(bytes, std::fread(bytes, 1, sizeof bytes, file.get()));
    if (begin.empty()) return text + ": it is empty";
    for (const Magic& magic : kMagics) {
        if (begin.substr(0, magic.bytes.size()) == magic.bytes) return text + ": " + magic.text;
    }
    return isText(begin) ? text + ": it is text" : text;
}

// With a context of its own, because parseOptions ends the program where this reports a fault.
bool holdsBlock(const std::string& path, ZeltFault& fault) {
    ZeltFile file;
    zeltOpenFile(path.c_str(), file, ZeltOnFault::kEndFile);
    Bytes block;
    const bool holds = zeltGetNextBlock(file, block, kZeltAnyBlock, kZeltAnyBlock, 0) == kZeltFound;
    fault = file.window.fault();
    zeltCloseFile(file);
    return holds;
}

OnProgress terminalProgress(const std::string& label) {
    if (!isTerminal()) return nullptr;
    float next = 0;
    return [label, next](float percent) mutable {
        if (!(percent >= next && percent < 100)) return;  // once per percent; a log that grows goes beyond its end
        next = percent + 1;
        std::fprintf(stderr, "\r%s", progressBar(label.c_str(), percent).c_str());
    };
}

void clearTerminalProgress() {
    if (isTerminal()) std::fprintf(stderr, "\r%s\r", std::string(kProgressWidth, ' ').c_str());
}

ZeltFault followLog(FilePass& pass, PassEvents& events, const OnProgress& onProgress) {
    const int64_t size = fileSize(pass.options.inputFile);
    showProgressOf(pass, onProgress, events);
    runPass(pass, events, ZeltOnFault::kEndFile);
    const ZeltFault fault = faultOf(pass.file, size);
    zeltCloseFile(pass.file);
    return fault;
}
