#include "zeltlog/asidefile.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

#ifndef _WIN32
#include <sys/stat.h>
#endif

namespace fs = std::filesystem;

namespace {

constexpr size_t kBufferSize = size_t{256} * 1024;

}  // namespace

AsideFile::AsideFile(const std::string& path)
    : path_(path), part_(path + ".part"), buffer_(std::make_unique<char[]>(kBufferSize)) {
    open();
}

void AsideFile::open() {
    std::error_code error;
    for (const std::string& path : {path_, part_}) {
        if (fs::exists(path, error) && !fs::is_regular_file(path, error)) return fail(path, "is no file");
    }
    fs::remove(part_, error);  // a new file: what another program still writes to the old one stays out of it
    if (error) return fail(part_, error.message());
    stream_ = std::fopen(part_.c_str(), "wb");
    if (stream_ == nullptr) return fail(part_, std::strerror(errno));
    std::setvbuf(stream_, buffer_.get(), _IOFBF, kBufferSize);
}

AsideFile::~AsideFile() {
    if (stream_ == nullptr) return;
    const bool isOurs = isStillOurs();
    std::fclose(stream_);
    if (isOurs) std::remove(part_.c_str());
}

void AsideFile::fail(const std::string& path, const std::string& reason) {
    if (problem_.empty()) problem_ = path + ": " + reason;
}

// Where an open file cannot be removed, as on Windows, nobody can have taken its name.
bool AsideFile::isStillOurs() const {
#ifdef _WIN32
    return true;
#else
    struct stat named = {};
    struct stat opened = {};
    return stat(part_.c_str(), &named) == 0 && fstat(fileno(stream_), &opened) == 0 && named.st_dev == opened.st_dev &&
           named.st_ino == opened.st_ino;
#endif
}

void AsideFile::write(Bytes bytes) {
    if (!problem_.empty()) return;
    if (std::fwrite(bytes.data, 1, bytes.size, stream_) != bytes.size) fail(part_, std::strerror(errno));
}

bool AsideFile::finish() {
    if (stream_ == nullptr) return false;
    const bool isOurs = isStillOurs();
    if (!isOurs) fail(part_, "another program writes it");
    if (std::fclose(stream_) != 0) fail(part_, std::strerror(errno));
    stream_ = nullptr;
    std::error_code error;
    if (problem_.empty()) fs::rename(part_, path_, error);
    if (error) fail(path_, error.message());
    if (!problem_.empty() && isOurs) std::remove(part_.c_str());
    return problem_.empty();
}
