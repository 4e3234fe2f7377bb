#include "zeltlog/asidefile.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

namespace {

constexpr size_t kBufferSize = size_t{256} * 1024;

}  // namespace

AsideFile::AsideFile(const std::string& path)
    : path_(path), part_(path + ".part"), buffer_(std::make_unique<char[]>(kBufferSize)) {
    stream_ = std::fopen(part_.c_str(), "wb");
    if (stream_ == nullptr) {
        fail(part_, errno);
    } else {
        std::setvbuf(stream_, buffer_.get(), _IOFBF, kBufferSize);
    }
}

AsideFile::~AsideFile() {
    if (stream_ == nullptr) return;
    std::fclose(stream_);
    std::remove(part_.c_str());
}

void AsideFile::fail(const std::string& path, int systemError) {
    if (problem_.empty()) problem_ = path + ": " + std::strerror(systemError);
}

void AsideFile::write(Bytes bytes) {
    if (!problem_.empty()) return;
    if (std::fwrite(bytes.data, 1, bytes.size, stream_) != bytes.size) fail(part_, errno);
}

bool AsideFile::finish() {
    if (stream_ == nullptr) return false;
    if (std::fclose(stream_) != 0) fail(part_, errno);
    stream_ = nullptr;
    std::error_code error;
    if (problem_.empty()) {
        std::filesystem::rename(part_, path_, error);
        if (error) problem_ = path_ + ": " + error.message();
    }
    if (!problem_.empty()) std::remove(part_.c_str());
    return problem_.empty();
}
