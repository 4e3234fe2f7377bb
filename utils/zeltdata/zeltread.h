// The reader: hunts for blocks in a Zelt file, checks them and hands them out one by one.
//
// The file is read once, front to back, through a window; blocks are handed out of the window without a copy.
// Whatever is no valid block (garbage, a candidate of Length below 16, one cut off by the end of the file, one with a
// wrong CRC) is skipped: the hunt resumes one byte after the candidate's first byte, so nothing valid behind or inside
// it is lost. Only a system call that must not fail ends the program: "Abnormal program termination (...)" with the
// system's error text on standard error, exit status 1; a caller that reads many files may have such a fault kept
// instead, see zeltOpenFile.
#pragma once

#include <cstdint>

#include "utils/zeltdata/zeltblock.h"
#include "utils/zeltdata/zeltfile.h"

constexpr uint16_t kZeltAnyBlock = 65535;  // block-number filter that every block passes

// Flags of zeltGetNextBlock: one value of each mask, or-ed together.
constexpr unsigned kZeltRewindMask = 3;
constexpr unsigned kZeltRewind = 1;  // start over at the beginning of the file
constexpr unsigned kZeltPeekMask = 12;
constexpr unsigned kZeltPeek = 4;  // leave the position where it is

constexpr int kZeltFound = 0;
constexpr int kZeltEndOfFile = -1;

// Opens a file for reading into a context, which begins anew. A file that cannot be opened, or cannot seek (a pipe, a
// FIFO, a terminal), is a fault: it ends the program or, with ZeltOnFault::kEndFile, the file reads as ended there and
// file.window.fault() says why. The same holds for every later fault. A null path gives a context without a file, with
// which blocks from elsewhere can be collected into epochs.
void zeltOpenFile(const char* path, ZeltFile& file, ZeltOnFault onFault = ZeltOnFault::kEndProgram);

// True when a file can be opened for reading; errno tells why it cannot. One that opens but cannot be read (a folder,
// an input that cannot seek) ends the program.
bool zeltCanOpenFile(const char* path);

// The next valid block at or after the position whose number is id1 or id2. kZeltAnyBlock in either lets every block
// through, whatever the other says (deliberate: a caller who wants every block need set only one). The view stays
// good until the next call for the same file, a peek included. kZeltFound, or kZeltEndOfFile with the position
// unchanged: the end is looked for again at every call, so that a log which has grown yields what was appended.
int zeltGetNextBlock(ZeltFile& file, Bytes& block, uint16_t id1, uint16_t id2, unsigned flags);

// Length of an opened file and current position in bytes.
int64_t zeltGetFileLength(ZeltFile& file);
int64_t zeltGetFilePos(const ZeltFile& file);

void zeltCloseFile(ZeltFile& file);
