#include "utils/zeltdata/zeltread.h"

#include <cstdlib>
#include <cstring>

#if __has_include(<fcntl.h>)
#include <fcntl.h>
#endif

namespace {

// Room for several of the largest blocks, so that keeping a block's tail on a refill stays rare.
constexpr size_t kWindowCapacity = size_t{256} * 1024;

// When candidates with a wrong CRC have cost this much of a window's summing, the window is indexed: a file of false
// starts would otherwise cost the CRC of up to 64 KiB for each.
constexpr size_t kWastedBytesLimit = 2 * kWindowCapacity;

// The numbers of the fatal message are fixed: they tell the support desk which operation failed.
enum FatalPlace : int {
    kLengthSeekEnd = 183,
    kLengthSeekBack = 188,
    kRewindSeek = 383,
    kStepBackSeek = 421,
    kOpen = 460,
    kClose = 477,
};

[[noreturn]] void zeltFatal(FatalPlace place) {
    char message[255];
    std::snprintf(message, sizeof message, "Abnormal program termination (%s,%i)",
                  "..\\fw\\fw\\gen\\utils\\zeltdata\\src\\zeltread.cpp", static_cast<int>(place));
    std::perror(message);
    std::exit(1);
}

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

int64_t windowEnd(const ZeltFile& file) { return file.windowPos + static_cast<int64_t>(file.windowSize); }

void forgetIndex(ZeltFile& file) {
    file.wastedBytes = 0;
    file.isIndexed = false;
}

void moveWindow(ZeltFile& file, int64_t pos, FatalPlace place) {
    if (file.stream != nullptr && seekFile(file.stream, pos, SEEK_SET) != 0) zeltFatal(place);
    file.windowPos = pos;
    file.windowSize = 0;
    file.endReached = file.stream == nullptr;
    forgetIndex(file);
}

// Drops what lies before window offset `offset` and fills the window up.
void refillWindow(ZeltFile& file, size_t offset) {
    std::memmove(file.window.data(), file.window.data() + offset, file.windowSize - offset);
    file.windowSize -= offset;
    file.windowPos += static_cast<int64_t>(offset);
    const size_t room = file.window.size() - file.windowSize;
    const size_t got = std::fread(file.window.data() + file.windowSize, 1, room, file.stream);
    file.windowSize += got;
    file.endReached = got < room;
    forgetIndex(file);
}

// bytesAt() for what is not all in the window. Going on, `pos` lies in the window or at its end; only after a filtered
// look-ahead of more than a window, or after a rewind, does it not.
Bytes bytesBeyond(ZeltFile& file, int64_t pos, size_t count) {
    if (pos < file.windowPos || pos > windowEnd(file)) moveWindow(file, pos, kStepBackSeek);
    if (windowEnd(file) - pos < static_cast<int64_t>(count) && !file.endReached) {
        refillWindow(file, static_cast<size_t>(pos - file.windowPos));
    }
    return Bytes{file.window.data(), file.windowSize}.sub(static_cast<size_t>(pos - file.windowPos), count);
}

// The bytes from file position `pos` on, `count` of them or fewer where the file ends.
inline Bytes bytesAt(ZeltFile& file, int64_t pos, size_t count) {
    const bool isInWindow = pos >= file.windowPos && windowEnd(file) - pos >= static_cast<int64_t>(count);
    return isInWindow ? Bytes{file.window.data() + (pos - file.windowPos), count} : bytesBeyond(file, pos, count);
}

// Position of the next first sync byte at or after `pos`, -1 when there is none.
int64_t findSync(ZeltFile& file, int64_t pos) {
    for (;;) {
        const Bytes rest = bytesAt(file, pos, 1);
        if (rest.size == 0) return -1;
        if (rest.data[0] == kZeltSync1) return pos;  // as is the rule, one block behind the other
        const auto available = static_cast<size_t>(windowEnd(file) - pos);
        const void* sync = std::memchr(rest.data, kZeltSync1, available);
        if (sync != nullptr) return pos + (static_cast<const uint8_t*>(sync) - rest.data);
        pos += static_cast<int64_t>(available);
    }
}

// The same as zeltCrcIsValid, for a block that lies in the window.
bool crcIsValid(ZeltFile& file, Bytes block) {
    if (file.wastedBytes <= kWastedBytesLimit) {
        if (zeltCrcIsValid(block)) return true;
        file.wastedBytes += block.size;
        return false;
    }
    if (!file.isIndexed) zeltBuildCrcIndex({file.window.data(), file.windowSize}, file.crcIndex);
    file.isIndexed = true;
    const size_t offset = static_cast<size_t>(block.data - file.window.data()) + kZeltIdOffset;
    return zeltIndexedCrc(file.crcIndex, offset, block.size - kZeltIdOffset) == block.u16(kZeltCrcOffset);
}

// True when a valid block begins at `pos`, the position of a first sync byte.
bool readBlockAt(ZeltFile& file, int64_t pos, Bytes& block) {
    const Bytes header = bytesAt(file, pos, kZeltHeaderSize);
    const size_t length = header.u16(kZeltLengthOffset);
    if (header.size < kZeltHeaderSize || header.u8(1) != kZeltSync2 || length < kZeltMinLength) return false;
    block = bytesAt(file, pos, length);
    if (block.size < length) return false;
    if (!crcIsValid(file, block)) {
        ++file.crcErrorCount;
        return false;
    }
    return true;
}

// Makes the look-ahead speak of `from`: the first valid block from there on.
void lookAhead(ZeltFile& file, int64_t from) {
    if (file.lookahead.known && file.lookahead.from == from) return;
    file.lookahead = {true, from, 0, 0};
    Bytes block;
    for (int64_t pos = findSync(file, from); pos >= 0; pos = findSync(file, pos + 1)) {
        if (!readBlockAt(file, pos, block)) continue;
        file.lookahead.blockPos = pos;
        file.lookahead.blockSize = block.size;
        return;
    }
}

bool passesFilter(Bytes block, uint16_t id1, uint16_t id2) {
    const uint16_t number = zeltNumber(block);
    return id1 == kZeltAnyBlock || id1 == number || id2 == kZeltAnyBlock || id2 == number;
}

}  // namespace

void zeltOpenFile(const char* path, ZeltFile& file) {
    file = ZeltFile{};
    file.endReached = path == nullptr;
    if (path == nullptr) return;
    file.stream = std::fopen(path, "rb");
    if (file.stream == nullptr) zeltFatal(kOpen);
    std::setvbuf(file.stream, nullptr, _IONBF, 0);  // the window is the buffer
#ifdef POSIX_FADV_SEQUENTIAL
    posix_fadvise(fileno(file.stream), 0, 0, POSIX_FADV_SEQUENTIAL);
#endif
    file.window.resize(kWindowCapacity);
}

int zeltGetNextBlock(ZeltFile& file, Bytes& block, uint16_t id1, uint16_t id2, unsigned flags) {
    int64_t pos = file.position;
    if ((flags & kZeltRewindMask) == kZeltRewind) {
        moveWindow(file, 0, kRewindSeek);
        file.lookahead.known = false;
        pos = 0;
    }
    for (;;) {
        lookAhead(file, pos);
        if (file.lookahead.blockSize == 0) return kZeltEndOfFile;
        block = bytesAt(file, file.lookahead.blockPos, file.lookahead.blockSize);
        pos = file.lookahead.blockPos + static_cast<int64_t>(block.size);
        if (!passesFilter(block, id1, id2)) continue;
        if ((flags & kZeltPeekMask) != kZeltPeek) file.position = pos;
        return kZeltFound;
    }
}

int64_t zeltGetFileLength(ZeltFile& file) {
    const int64_t saved = tellFile(file.stream);
    if (seekFile(file.stream, 0, SEEK_END) != 0) zeltFatal(kLengthSeekEnd);
    const int64_t length = tellFile(file.stream);
    if (seekFile(file.stream, saved, SEEK_SET) != 0) zeltFatal(kLengthSeekBack);
    return length;
}

int64_t zeltGetFilePos(const ZeltFile& file) { return file.position; }

void zeltCloseFile(ZeltFile& file) {
    std::FILE* stream = file.stream;
    file.stream = nullptr;
    if (stream != nullptr && std::fclose(stream) != 0) zeltFatal(kClose);
}
