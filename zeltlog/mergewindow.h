// Blocks of several logs brought into time order and freed of doubles, within a window of some minutes that slides
// along with them: memory is that of the window, whatever the logs hold.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <vector>

#include "utils/zeltdata/zeltblock.h"
#include "zeltlog/calendar.h"

constexpr int64_t kMergeWindow = 300000;  // ms

class MergeWindow {
public:
    // Gets the blocks in their order, with the time at which each stands.
    using OnBlock = std::function<void(Bytes block, int64_t place)>;
    explicit MergeWindow(OnBlock onBlock) : onBlock_(std::move(onBlock)) {}

    // Puts a block in at a time (ms) that is not past. Of the blocks at one time those of one log stay in the order in
    // which they come; a block that is there already with the same bytes is dropped, and what the log has before and
    // behind it goes before and behind it. But measurements go behind those of another log, and nothing between them,
    // as any other block ends the epoch that they are all of. A block that leads a log, without a time stamp, may have
    // been the last of another at the time before, and is dropped then too.
    void add(Bytes block, int64_t place, size_t log, bool isLead);

    // True for times before a block that has gone out.
    bool isPast(int64_t place) const { return place < gone_; }
    int64_t earliestPlace() const { return gone_; }

    // Hands out everything.
    void flush();

    uint64_t doubles() const { return doubles_; }

    // Measurement blocks that another log has otherwise at the same time: the logs are of several receivers.
    uint64_t conflicts() const { return conflicts_; }

private:
    struct Entry {
        uint64_t head;  // the block's first eight bytes: its CRC, number and length
        size_t offset;  // in bytes
        size_t size;
        size_t log;
    };
    // The blocks at one time.
    struct Group {
        std::vector<uint8_t> bytes;
        std::vector<Entry> entries;
    };
    using Groups = std::map<int64_t, Group>;
    static constexpr size_t kNoEntry = SIZE_MAX;

    static Bytes blockAt(const Group& group, size_t i);
    static size_t findBlock(const Group& group, Bytes block);
    size_t passOtherMeasurements(const Group& group, Bytes block);
    static size_t behindEpoch(const Group& group, size_t at);
    Groups::iterator groupAt(int64_t place);
    bool wasLast(Groups::iterator at, Bytes block);
    void noteDouble(Group& group, size_t found);
    void insert(Group& group, Bytes block);
    void makeRoom();
    void handOutFirst();

    OnBlock onBlock_;
    Groups groups_;
    std::vector<Groups::node_type> unused_;  // groups handed out, whose memory the next ones take
    size_t held_ = 0;                        // bytes, about, that the window takes
    int64_t latest_ = kNoTime;
    int64_t gone_ = kNoTime;  // the time handed out last
    uint64_t doubles_ = 0;
    uint64_t conflicts_ = 0;

    // What one log adds to one time: where its next block goes, and since when it has met no block already there.
    size_t runLog_ = SIZE_MAX;
    int64_t runPlace_ = kNoTime;
    bool runHasMet_ = false;
    size_t runBegin_ = 0;
    size_t next_ = 0;
};
