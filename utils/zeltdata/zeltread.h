// The reader: hunts for blocks in a Zelt file, checks them and hands them out one by one.
//
// The file is read once, front to back, through a window; blocks are handed out of the window without a copy.
// Whatever is no valid block (garbage, a candidate of Length below 16, one cut off by the end of the file, one with a
// wrong CRC) is skipped: the hunt resumes one byte after the candidate's first byte, so nothing valid behind or inside
// it is lost. Only a system call that must not fail ends the program: "Abnormal program termination (...)" with the
// system's error text on standard error, exit status 1.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "utils/zeltdata/zeltblock.h"
#include "utils/zeltdata/zeltcrc.h"
#include "utils/zeltdata/zeltmeas.h"

constexpr uint16_t kZeltAnyBlock = 65535;  // block-number filter that every block passes

// Flags of zeltGetNextBlock: one value of each mask, or-ed together.
constexpr unsigned kZeltRewindMask = 3;
constexpr unsigned kZeltRewind = 1;  // start over at the beginning of the file
constexpr unsigned kZeltPeekMask = 12;
constexpr unsigned kZeltPeek = 4;  // leave the position where it is

constexpr int kZeltFound = 0;
constexpr int kZeltEndOfFile = -1;

// What is known of the bytes from `from` on: the next valid block, or that there is none.
struct ZeltLookahead {
    bool known = false;
    int64_t from = 0;
    int64_t blockPos = 0;
    size_t blockSize = 0;  // 0: no valid block up to the end of the file
};

// One opened file. Every member belongs to the reader but `meas`, the collector's.
struct ZeltFile {
    std::FILE* stream = nullptr;
    std::vector<uint8_t> window;
    int64_t windowPos = 0;    // file position of the window's first byte
    size_t windowSize = 0;    // bytes in the window
    bool endReached = false;  // the system has no bytes behind the window
    int64_t position = 0;     // where the next call begins
    ZeltLookahead lookahead;
    size_t wastedBytes = 0;  // of this window, summed for candidates whose CRC was wrong
    bool isIndexed = false;  // crcIndex is of this window
    ZeltCrcIndex crcIndex;
    uint32_t crcErrorCount = 0;  // candidates whose CRC was wrong; one met twice (after going back) counts twice
    ZeltMeasState meas;
};

// Opens a file for reading into a context that has none open; a failure is fatal. A null path gives a context without a
// file, with which blocks from elsewhere can be collected into epochs.
void zeltOpenFile(const char* path, ZeltFile& file);

// The next valid block at or after the position whose number is id1 or id2. kZeltAnyBlock in either lets every block
// through, whatever the other says (deliberate). The view stays good until the next call for the same file, a peek
// included. kZeltFound, or kZeltEndOfFile with the position unchanged.
int zeltGetNextBlock(ZeltFile& file, Bytes& block, uint16_t id1, uint16_t id2, unsigned flags);

// Length of an opened file and current position in bytes.
int64_t zeltGetFileLength(ZeltFile& file);
int64_t zeltGetFilePos(const ZeltFile& file);

void zeltCloseFile(ZeltFile& file);
