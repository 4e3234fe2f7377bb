#include "utils/zeltdata/zeltwindow.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

#if __has_include(<fcntl.h>)
#include <fcntl.h>
#endif

namespace {

// Room for several of the largest blocks, so that keeping a block's tail on a refill stays rare.
constexpr size_t kCapacity = size_t{256} * 1024;

// When candidates with a wrong CRC have cost this much of a window's summing, the window is indexed: a file of false
// starts would otherwise cost the CRC of up to 64 KiB for each.
constexpr size_t kWastedBytesLimit = 2 * kCapacity;

int seekFile(std::FILE* stream, int64_t offset, int origin) {
#ifdef _WIN32
    return _fseeki64(stream, offset, origin);
#else
    return fseeko(stream, static_cast<off_t>(offset), origin);
#endif
}

int64_t tellFile(std::FILE* stream) {
#ifdef _WIN32
    return _ftelli64(stream);
#else
    return static_cast<int64_t>(ftello(stream));
#endif
}

}  // namespace

void ZeltWindow::fail(ZeltFaultPlace place) {
    if (onFault_ == ZeltOnFault::kEndProgram) zeltFatal(place);
    if (fault_.place == ZeltFaultPlace::kNone) fault_ = {place, errno};
    endReached_ = true;
}

void ZeltWindow::open(const char* path, ZeltOnFault onFault) {
    *this = ZeltWindow{};
    onFault_ = onFault;
    std::error_code ignored;
    const std::filesystem::file_type type = std::filesystem::status(path, ignored).type();
    if (type == std::filesystem::file_type::fifo) {  // opening it would wait for somebody to write
        errno = ESPIPE;
        return fail(ZeltFaultPlace::kStepBackSeek);
    }
    if (type == std::filesystem::file_type::directory) {  // it opens on some systems, and reads on none
        errno = EISDIR;
        return fail(ZeltFaultPlace::kRead);
    }
    stream_.reset(std::fopen(path, "rb"));
    if (stream_ == nullptr) return fail(ZeltFaultPlace::kOpen);
    std::setvbuf(stream_.get(), nullptr, _IONBF, 0);  // the window is the buffer
    endReached_ = false;
    if (seekFile(stream_.get(), 0, SEEK_CUR) != 0) return fail(ZeltFaultPlace::kStepBackSeek);
#ifdef POSIX_FADV_SEQUENTIAL
    posix_fadvise(fileno(stream_.get()), 0, 0, POSIX_FADV_SEQUENTIAL);
#endif
    bytes_.resize(kCapacity);
}

void ZeltWindow::close() {
    endReached_ = true;
    std::FILE* stream = stream_.release();
    if (stream != nullptr && std::fclose(stream) != 0) fail(ZeltFaultPlace::kClose);
}

void ZeltWindow::moveTo(int64_t pos, ZeltFaultPlace place) {
    begin_ = pos;
    size_ = 0;
    endReached_ = !isOpen() || fault_.place != ZeltFaultPlace::kNone;
    forgetIndex();
    if (!endReached_ && seekFile(stream_.get(), pos, SEEK_SET) != 0) fail(place);
}

// Drops what lies before window offset `offset` and fills the window up.
void ZeltWindow::refill(size_t offset) {
    std::memmove(bytes_.data(), bytes_.data() + offset, size_ - offset);
    size_ -= offset;
    begin_ += static_cast<int64_t>(offset);
    forgetIndex();
    const size_t room = bytes_.size() - size_;
    errno = 0;
    const size_t got = std::fread(bytes_.data() + size_, 1, room, stream_.get());
    size_ += got;
    endReached_ = got < room;
    if (endReached_ && std::ferror(stream_.get()) != 0) fail(ZeltFaultPlace::kRead);
}

// at() for what is not all in the window. Where a caller goes forwards, `pos` lies in the window or at its end; only
// after a look far ahead, or a rewind, it does not.
Bytes ZeltWindow::beyond(int64_t pos, size_t count) {
    if (pos < begin_ || pos > end()) moveTo(pos, ZeltFaultPlace::kStepBackSeek);
    if (end() - pos < static_cast<int64_t>(count) && !endReached_) refill(static_cast<size_t>(pos - begin_));
    return Bytes{bytes_.data(), size_}.sub(static_cast<size_t>(pos - begin_), count);
}

void ZeltWindow::forgetIndex() {
    wastedBytes_ = 0;
    isIndexed_ = false;
}

bool ZeltWindow::crcIsValid(Bytes block) {
    if (wastedBytes_ <= kWastedBytesLimit) {
        if (zeltCrcIsValid(block)) return true;
        wastedBytes_ += block.size;
        return false;
    }
    if (!isIndexed_) zeltBuildCrcIndex({bytes_.data(), size_}, index_);
    isIndexed_ = true;
    const size_t offset = static_cast<size_t>(block.data - bytes_.data()) + kZeltIdOffset;
    return zeltIndexedCrc(index_, offset, block.size - kZeltIdOffset) == block.u16(kZeltCrcOffset);
}

void ZeltWindow::forgetEnd() {
    endReached_ = !isOpen() || fault_.place != ZeltFaultPlace::kNone;
    if (isOpen()) std::clearerr(stream_.get());
}

int64_t ZeltWindow::length() {
    const int64_t saved = tellFile(stream_.get());
    if (seekFile(stream_.get(), 0, SEEK_END) != 0) fail(ZeltFaultPlace::kLengthSeekEnd);
    const int64_t length = tellFile(stream_.get());
    if (seekFile(stream_.get(), saved, SEEK_SET) != 0) fail(ZeltFaultPlace::kLengthSeekBack);
    return length;
}
