#include "zeltlog/logspan.h"

#include <algorithm>

#include "utils/zeltdata/zeltread.h"
#include "zeltlog/mergewindow.h"

namespace {

// As much of each end as is looked at: a few epochs of the largest receivers.
constexpr int64_t kEnd = int64_t{128} * 1024;

struct SpanReader {
    LogSpan span;
    ZeltFile file;
    int64_t headLast = kNoTime;  // while what follows the head is passed over: its latest stamp
};

// Takes the blocks that begin before `end`, from the file's position on. True when one was stamped.
bool takeBlocks(SpanReader& reader, int64_t end) {
    LogSpan& span = reader.span;
    bool isStamped = false;
    Bytes block;
    while (zeltGetFilePos(reader.file) < end &&
           zeltGetNextBlock(reader.file, block, kZeltAnyBlock, kZeltAnyBlock, 0) == kZeltFound) {
        span.hasBlock = true;
        const int64_t t = blockTime(block);
        if (t == kNoTime) continue;
        isStamped = true;
        span.isOrdered = span.isOrdered && t >= span.last;
        span.first = span.first == kNoTime ? t : std::min(span.first, t);
        span.last = std::max(span.last, t);
        span.isInPieces = span.isInPieces || t < reader.headLast || t < span.last - kMergeWindow;
    }
    return isStamped;
}

}  // namespace

LogSpan readLogSpan(const std::string& path) {
    SpanReader reader;
    reader.span.path = path;
    reader.span.isOrdered = true;
    zeltOpenFile(path.c_str(), reader.file, ZeltOnFault::kEndFile);
    const int64_t size = reader.file.window.isOpen() ? zeltGetFileLength(reader.file) : 0;
    // Each look is four times as long as the one before, so that an end full of damage is read in few.
    int64_t headEnd = kEnd;
    while (!takeBlocks(reader, headEnd) && headEnd < size) headEnd *= 4;
    headEnd = zeltGetFilePos(reader.file);
    const int64_t headLast = reader.span.last;
    for (int64_t tail = kEnd;; tail *= 4) {
        // It begins amid a block, most likely; the reader finds the next one, as behind damage.
        const int64_t begin = std::max(headEnd, size - tail);
        reader.span.isWhole = begin == headEnd;
        reader.headLast = reader.span.isWhole ? kNoTime : headLast;
        reader.file.position = begin;
        if (takeBlocks(reader, size) || reader.span.isWhole) break;
    }
    if (reader.span.isInPieces && !reader.span.isWhole) {
        reader.file.position = headEnd;
        takeBlocks(reader, size);
        reader.span.isWhole = true;
    }
    reader.span.fault = reader.file.window.fault();
    zeltCloseFile(reader.file);
    return reader.span;
}
