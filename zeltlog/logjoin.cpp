#include "zeltlog/logjoin.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <queue>

#include "utils/zeltdata/zeltmeas.h"
#include "utils/zeltdata/zeltread.h"
#include "zeltlog/currentblocks.h"
#include "zeltlog/logspan.h"
#include "zeltlog/mergewindow.h"

namespace {

// Most of so many blocks behind one that lies further ahead than the window tell whether the log goes on there.
constexpr int kLookAhead = 128;

// A log that has blocks, and when to open it.
struct Source {
    size_t index = 0;  // in the request
    int64_t first = 0;
    int64_t size = 0;  // bytes
    bool isInPieces = false;
};

// An opened log and its next block.
struct Reader {
    ZeltFile file;
    size_t rank = 0;  // among the sources
    JoinedLog* log = nullptr;
    Bytes block;
    std::vector<uint8_t> leap;  // the block, where blocks behind it were looked at
    int64_t stamp = kNoTime;    // of the block
    int64_t place = 0;          // where the block stands: its stamp, or the place of the block before it
    int64_t placeBefore = 0;    // of the block before it
    int64_t reached = 0;        // the latest place so far
    bool isLead = true;         // no block with a time stamp has come yet
    int64_t blocksEnd = 0;      // file position behind the block
    // Since when all stamps lie well behind the last time wanted; kNoTime: they do not. Such blocks are passed over;
    // the log is at its end for us when they go on for the window's length: one wrong stamp is no end.
    int64_t beyondSince = kNoTime;
};

// Earlier places first; at one place the log that began first.
struct ComesLater {
    bool operator()(const Reader* a, const Reader* b) const {
        return a->place != b->place ? a->place > b->place : a->rank > b->rank;
    }
};

class Join {
public:
    Join(const JoinRequest& request, const WriteBlock& write, const OnProgress& onProgress)
        : request_(request), write_(write), onProgress_(onProgress) {}

    JoinSummary run();

private:
    void findSources();
    void openDue();
    bool advance(Reader& reader);
    static bool isWrongLeap(Reader& reader);
    void takeBlock(Reader& reader);
    bool isWanted(int64_t time) const { return time >= request_.from && time <= request_.to; }
    bool isBeyond(const Reader& reader) const;
    bool isThinnedOut(const Reader& reader) const;
    void place(Bytes block, int64_t at);
    void beginWindow();
    void writeBlock(Bytes block);
    void closeReader(Reader& reader);
    void tellProgress(int64_t bytes);

    const JoinRequest& request_;
    const WriteBlock& write_;
    const OnProgress& onProgress_;
    JoinSummary summary_;
    std::vector<Source> sources_;  // in the order in which they begin
    size_t opened_ = 0;            // of them
    std::vector<std::unique_ptr<Reader>> readers_;
    std::priority_queue<Reader*, std::vector<Reader*>, ComesLater> queue_;
    MergeWindow window_{[this](Bytes block, int64_t at) { place(block, at); }};
    CurrentBlocks current_;
    bool hasBegun_ = false;  // the time window
    bool isEnded_ = false;   // by who writes
    int64_t bytesRead_ = 0;
    int64_t bytesInAll_ = 0;
};

void Join::findSources() {
    for (size_t i = 0; i < request_.logs.size(); ++i) {
        JoinedLog& log = summary_.logs.emplace_back();
        log.path = request_.logs[i];
        const LogSpan span = readLogSpan(log.path);
        log.fault = span.fault;
        log.hasBlock = span.hasBlock;
        const bool isBehind = span.first != kNoTime && span.first > request_.to;
        if (!span.hasBlock || isBehind) continue;
        const int64_t size = fileSize(log.path);
        sources_.push_back({i, std::max<int64_t>(0, span.first), size, span.isInPieces});
        bytesInAll_ += size;
    }
    std::stable_sort(sources_.begin(), sources_.end(),
                     [](const Source& a, const Source& b) { return a.first < b.first; });
}

// Opens the logs that may have a block before the next one.
void Join::openDue() {
    while (opened_ < sources_.size() &&
           (queue_.empty() || sources_[opened_].first - kMergeWindow <= queue_.top()->place)) {
        const Source& source = sources_[opened_];
        auto reader = std::make_unique<Reader>();
        reader->log = &summary_.logs[source.index];
        reader->log->fault = {};
        reader->rank = opened_++;
        reader->place = source.first;
        reader->reached = source.first;
        zeltOpenFile(reader->log->path.c_str(), reader->file, ZeltOnFault::kEndFile);
        if (!advance(*reader)) {
            closeReader(*reader);
            continue;
        }
        queue_.push(reader.get());
        readers_.resize(std::max(readers_.size(), opened_));
        readers_[opened_ - 1] = std::move(reader);
    }
}

// Goes on to the reader's next block. False at the end of the log, or well behind the last time wanted.
bool Join::advance(Reader& reader) {
    if (zeltGetNextBlock(reader.file, reader.block, kZeltAnyBlock, kZeltAnyBlock, 0) != kZeltFound) return false;
    const int64_t end = zeltGetFilePos(reader.file);
    reader.log->strayBytes += end - static_cast<int64_t>(reader.block.size) - reader.blocksEnd;
    tellProgress(end - reader.blocksEnd);
    reader.blocksEnd = end;
    if (zeltNumber(reader.block) == kZeltReceiverSetup) ++reader.log->setups;
    reader.stamp = blockTime(reader.block);
    reader.placeBefore = reader.place;
    if (reader.stamp == kNoTime) return true;
    // Behind the last time wanted a leap matters to where reading ends alone, which is the end of a log in pieces.
    const bool isInPieces = sources_[reader.rank].isInPieces;
    const bool isPassedOver = isInPieces && reader.beyondSince != kNoTime;
    if (!isPassedOver && reader.stamp > reader.reached + kMergeWindow && isWrongLeap(reader)) {
        if (reader.beyondSince == kNoTime) ++reader.log->outOfOrder;
        return true;
    }
    if (isBeyond(reader)) {
        if (reader.beyondSince == kNoTime || reader.stamp < reader.beyondSince) reader.beyondSince = reader.stamp;
        return isInPieces || reader.stamp - reader.beyondSince <= kMergeWindow;
    }
    reader.beyondSince = kNoTime;
    reader.isLead = false;
    reader.place = reader.stamp;
    return true;
}

// True when most blocks behind one that leaps forwards lie nearer to the log's time than to its own. Gaps leap too:
// behind them few do.
bool Join::isWrongLeap(Reader& reader) {
    const int64_t position = reader.file.position;
    reader.leap.assign(reader.block.data, reader.block.data + reader.block.size);
    reader.block = {reader.leap.data(), reader.leap.size()};
    int64_t here = reader.reached;
    int64_t there = reader.stamp;
    int back = 0;
    int onwards = 0;
    Bytes next;
    // A log that goes on as before comes to the time of the leap in the end: from near it on, blocks tell no more which
    // of the two they belong to.
    for (int i = 0; i < kLookAhead && there - here > kMergeWindow / 4; ++i) {
        if (zeltGetNextBlock(reader.file, next, kZeltAnyBlock, kZeltAnyBlock, 0) != kZeltFound) break;
        const int64_t stamp = blockTime(next);
        if (stamp == kNoTime) continue;
        const int64_t fromHere = std::abs(stamp - here);
        const int64_t fromThere = std::abs(stamp - there);
        if (std::min(fromHere, fromThere) > kMergeWindow) continue;
        const bool isBack = fromHere < fromThere;
        ++(isBack ? back : onwards);
        int64_t& time = isBack ? here : there;
        time = std::max(time, stamp);
    }
    reader.file.position = position;
    return back > onwards;
}

bool Join::isBeyond(const Reader& reader) const {
    return request_.to < INT64_MAX - kMergeWindow && reader.stamp > request_.to + kMergeWindow;
}

bool Join::isThinnedOut(const Reader& reader) const {
    return request_.everySeconds > 1 && reader.stamp != kNoTime && zeltIsMeasBlock(reader.block) &&
           zeltTow(reader.block) / 1000 % request_.everySeconds != 0;
}

void Join::takeBlock(Reader& reader) {
    const bool isPast = window_.isPast(reader.place);
    if (!isPast) reader.reached = std::max(reader.reached, reader.place);
    if (reader.beyondSince != kNoTime || isThinnedOut(reader)) return;
    if (isPast) {
        if (reader.stamp != kNoTime) ++reader.log->outOfOrder;
        reader.place = std::max(reader.placeBefore, window_.earliestPlace());
    }
    window_.add(reader.block, reader.place, reader.rank, reader.isLead);
}

// Takes a block from the window, in order. It stands elsewhere than its stamp says where that is wrong, or it came too
// late to be sorted. What stands before the first time wanted may be current at it, and begins nothing. Of the others
// those are wanted whose stamp is, or whose place; but not measurements at a time that is not wanted, which would end
// the conversion of those that are.
void Join::place(Bytes block, int64_t at) {
    const int64_t stamp = blockTime(block);
    if (at < request_.from) return current_.note(block, stamp == kNoTime ? at : std::min(at, stamp));
    const bool isStampWanted = stamp != kNoTime && isWanted(stamp);
    const bool isPlaceWanted = isWanted(at) && (stamp == kNoTime || !zeltIsMeasBlock(block));
    if (!isStampWanted && !isPlaceWanted) return;
    beginWindow();
    writeBlock(block);
    if (stamp == kNoTime) return;
    summary_.first = summary_.first == kNoTime ? stamp : std::min(summary_.first, stamp);
    summary_.last = std::max(summary_.last, stamp);
}

void Join::beginWindow() {
    if (hasBegun_) return;
    hasBegun_ = true;
    current_.handOut([this](Bytes block) { writeBlock(block); });
}

void Join::writeBlock(Bytes block) {
    if (isEnded_) return;
    isEnded_ = !write_(block);
    ++summary_.blocks;
    summary_.bytes += static_cast<int64_t>(block.size);
    if (zeltNumber(block) == kZeltReceiverSetup) ++summary_.setups;
}

void Join::closeReader(Reader& reader) {
    const bool isRead =
        zeltGetNextBlock(reader.file, reader.block, kZeltAnyBlock, kZeltAnyBlock, kZeltPeek) != kZeltFound;
    if (isRead && reader.file.window.isOpen()) {
        reader.log->strayBytes += std::max<int64_t>(0, zeltGetFileLength(reader.file) - reader.blocksEnd);
    }
    reader.log->crcErrors = reader.file.crcErrorCount;
    reader.log->fault = faultOf(reader.file, sources_[reader.rank].size);
    reader.log->isReadWhole = isRead && reader.log->fault.place == ZeltFaultPlace::kNone;
    zeltCloseFile(reader.file);
}

void Join::tellProgress(int64_t bytes) {
    bytesRead_ += bytes;
    if (onProgress_) onProgress_(100 * static_cast<float>(bytesRead_) / static_cast<float>(bytesInAll_));
}

JoinSummary Join::run() {
    findSources();
    for (openDue(); !queue_.empty() && !isEnded_; openDue()) {
        Reader& reader = *queue_.top();
        takeBlock(reader);
        queue_.pop();
        if (advance(reader)) {
            queue_.push(&reader);
        } else {
            closeReader(reader);
            readers_[reader.rank].reset();
        }
    }
    window_.flush();
    beginWindow();
    summary_.doubles = window_.doubles();
    summary_.conflicts = window_.conflicts();
    return summary_;
}

}  // namespace

JoinSummary joinLogs(const JoinRequest& request, const WriteBlock& write, const OnProgress& onProgress) {
    return Join(request, write, onProgress).run();
}
