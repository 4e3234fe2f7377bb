// A window that moves over a file: the bytes at any position, without a copy, and CRCs of blocks in it at bounded cost.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

#include "utils/zeltdata/zeltblock.h"
#include "utils/zeltdata/zeltcrc.h"
#include "utils/zeltdata/zeltfault.h"

// What follows a system call that fails: the program ends (zeltFatal), or the file reads as ended there and the fault
// is kept for the caller to report.
enum class ZeltOnFault { kEndProgram, kEndFile };

struct ZeltFault {
    ZeltFaultPlace place = ZeltFaultPlace::kNone;
    int systemError = 0;  // errno
};

class ZeltWindow {
public:
    // Opens a file for reading, at its beginning. An input that cannot seek (a pipe, a FIFO, a terminal) is a fault
    // (kStepBackSeek), found without waiting for a writer; so is a folder (kRead).
    void open(const char* path, ZeltOnFault onFault);
    void close();

    bool isOpen() const { return stream_ != nullptr; }
    const ZeltFault& fault() const { return fault_; }

    // The bytes from file position `pos` on, `count` of them (at most kZeltMaxLength) or fewer where the file ends.
    // Good until the next call. Going backwards costs a seek.
    Bytes at(int64_t pos, size_t count) {
        const bool isInside = pos >= begin_ && end() - pos >= static_cast<int64_t>(count);
        return isInside ? Bytes{bytes_.data() + (pos - begin_), count} : beyond(pos, count);
    }

    // All that the window holds from `pos` on, where at() gave a byte last.
    Bytes from(int64_t pos) const { return {bytes_.data() + (pos - begin_), static_cast<size_t>(end() - pos)}; }

    // The same as zeltCrcIsValid, for a block that at() gave last.
    bool crcIsValid(Bytes block);

    // Throws the window away and goes on at `pos`.
    void moveTo(int64_t pos, ZeltFaultPlace place);

    // Where the file ended, it may have grown since: the next call asks the system again.
    void forgetEnd();

    // Length of the file in bytes.
    int64_t length();

private:
    struct Closer {
        void operator()(std::FILE* stream) const { std::fclose(stream); }
    };

    int64_t end() const { return begin_ + static_cast<int64_t>(size_); }
    Bytes beyond(int64_t pos, size_t count);
    void refill(size_t offset);
    void forgetIndex();
    void fail(ZeltFaultPlace place);

    std::unique_ptr<std::FILE, Closer> stream_;
    std::vector<uint8_t> bytes_;
    int64_t begin_ = 0;       // file position of the window's first byte
    size_t size_ = 0;         // bytes in the window
    bool endReached_ = true;  // the system had no bytes behind the window
    size_t wastedBytes_ = 0;  // of this window, summed for candidates whose CRC was wrong
    bool isIndexed_ = false;  // index_ is of this window
    ZeltCrcIndex index_;
    ZeltOnFault onFault_ = ZeltOnFault::kEndProgram;
    ZeltFault fault_;
};
