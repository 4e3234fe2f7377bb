#include "utils/zeltdata/zeltread.h"

#include <cerrno>
#include <cstring>

namespace {

// Position of the next first sync byte at or after `pos`, -1 when there is none.
int64_t findSync(ZeltWindow& window, int64_t pos) {
    for (;;) {
        const Bytes first = window.at(pos, 1);
        if (first.size == 0) return -1;
        if (first.data[0] == kZeltSync1) return pos;  // most blocks follow each other without a gap
        const Bytes rest = window.from(pos);
        const void* sync = std::memchr(rest.data, kZeltSync1, rest.size);
        if (sync != nullptr) return pos + (static_cast<const uint8_t*>(sync) - rest.data);
        pos += static_cast<int64_t>(rest.size);
    }
}

// A candidate is met again after a peek, a rewind or the end of the file, and still counts once.
void countCrcError(ZeltFile& file, int64_t pos) {
    if (pos < file.crcCheckedUpTo) return;
    file.crcCheckedUpTo = pos + 1;
    ++file.crcErrorCount;
}

// True when a valid block begins at `pos`, the position of a first sync byte.
bool readBlockAt(ZeltFile& file, int64_t pos, Bytes& block) {
    const Bytes header = file.window.at(pos, kZeltHeaderSize);
    const size_t length = header.u16(kZeltLengthOffset);
    if (header.size < kZeltHeaderSize || header.u8(1) != kZeltSync2 || length < kZeltMinLength) return false;
    block = file.window.at(pos, length);
    if (block.size < length) return false;
    if (file.window.crcIsValid(block)) return true;
    countCrcError(file, pos);
    return false;
}

// Makes the look-ahead tell of the first valid block from `from` on. A peek and the call that follows it ask for the
// same one, which is then searched and summed once.
void lookAhead(ZeltFile& file, int64_t from) {
    if (file.lookahead.known && file.lookahead.from == from) return;
    file.lookahead = {true, from, 0, 0};
    Bytes block;
    for (int64_t pos = findSync(file.window, from); pos >= 0; pos = findSync(file.window, pos + 1)) {
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

void zeltOpenFile(const char* path, ZeltFile& file, ZeltOnFault onFault) {
    file = ZeltFile{};
    if (path != nullptr) file.window.open(path, onFault);
}

bool zeltCanOpenFile(const char* path) {
    ZeltWindow window;
    window.open(path, ZeltOnFault::kEndFile);
    const ZeltFault fault = window.fault();
    errno = fault.systemError;
    if (fault.place != ZeltFaultPlace::kNone && fault.place != ZeltFaultPlace::kOpen) zeltFatal(fault.place);
    return window.isOpen();
}

// Blocks that the filter refuses move `pos` alone: where none passes, the position is that of the call.
int zeltGetNextBlock(ZeltFile& file, Bytes& block, uint16_t id1, uint16_t id2, unsigned flags) {
    int64_t pos = file.position;
    if ((flags & kZeltRewindMask) == kZeltRewind) {
        file.window.moveTo(0, ZeltFaultPlace::kRewindSeek);
        file.lookahead.known = false;
        pos = 0;
    }
    for (;;) {
        lookAhead(file, pos);
        if (file.lookahead.blockSize == 0) {
            file.lookahead.known = false;
            file.window.forgetEnd();
            return kZeltEndOfFile;
        }
        block = file.window.at(file.lookahead.blockPos, file.lookahead.blockSize);
        if (block.size < file.lookahead.blockSize) {  // the file was cut short since
            file.lookahead.known = false;
            continue;
        }
        pos = file.lookahead.blockPos + static_cast<int64_t>(block.size);
        if (!passesFilter(block, id1, id2)) continue;
        if ((flags & kZeltPeekMask) != kZeltPeek) file.position = pos;
        return kZeltFound;
    }
}

int64_t zeltGetFileLength(ZeltFile& file) { return file.window.length(); }

int64_t zeltGetFilePos(const ZeltFile& file) { return file.position; }

void zeltCloseFile(ZeltFile& file) { file.window.close(); }
