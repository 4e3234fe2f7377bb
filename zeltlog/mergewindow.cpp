#include "zeltlog/mergewindow.h"

#include <algorithm>
#include <cstring>

#include "utils/zeltdata/zeltmeas.h"

namespace {

// Bounds of what is held. Receivers stay far below them; a log of any other bytes may not make the window grow, nor
// make it search long.
constexpr size_t kMostHeld = size_t{64} * 1024 * 1024;
constexpr size_t kMostEntries = 1024;             // at one time
constexpr size_t kGroupOverhead = 256;            // bytes
constexpr size_t kMostUnused = 16;                // groups
constexpr size_t kMostKept = size_t{256} * 1024;  // bytes that an unused group may keep

}  // namespace

Bytes MergeWindow::blockAt(const Group& group, size_t i) {
    return {group.bytes.data() + group.entries[i].offset, group.entries[i].size};
}

size_t MergeWindow::findBlock(const Group& group, Bytes block) {
    const uint64_t head = block.u64(0);
    for (size_t i = 0; i < group.entries.size(); ++i) {
        const Entry& entry = group.entries[i];
        if (entry.head != head || entry.size != block.size) continue;
        if (std::memcmp(blockAt(group, i).data, block.data, block.size) == 0) return i;
    }
    return kNoEntry;
}

// Where the last measurements of the block's epoch end, when another log has any. Counts a conflict when one of them
// cannot be true beside the block.
size_t MergeWindow::passOtherMeasurements(const Group& group, Bytes block) {
    if (!zeltIsMeasBlock(block)) return kNoEntry;
    size_t behind = kNoEntry;
    bool isOthers = false;
    bool isConflict = false;
    for (size_t i = 0; i < group.entries.size(); ++i) {
        const Bytes other = blockAt(group, i);
        if (!zeltIsMeasBlock(other) || blockTime(other) != blockTime(block)) continue;
        behind = i + 1;
        if (group.entries[i].log == runLog_) continue;
        isOthers = true;
        isConflict = isConflict || (zeltNumber(other) == zeltNumber(block) &&
                                    zeltMeasAntennaIndex(other) == zeltMeasAntennaIndex(block));
    }
    if (isConflict) ++conflicts_;
    return isOthers ? behind : kNoEntry;
}

// `at`, or where the measurements end that it lies between.
size_t MergeWindow::behindEpoch(const Group& group, size_t at) {
    if (at == 0 || !zeltIsMeasBlock(blockAt(group, at - 1))) return at;
    while (at < group.entries.size() && zeltIsMeasBlock(blockAt(group, at))) ++at;
    return at;
}

MergeWindow::Groups::iterator MergeWindow::groupAt(int64_t place) {
    if (!groups_.empty() && groups_.rbegin()->first == place) return std::prev(groups_.end());
    const auto at = groups_.lower_bound(place);
    if (at != groups_.end() && at->first == place) return at;
    held_ += kGroupOverhead;
    if (unused_.empty()) return groups_.try_emplace(at, place);
    Groups::node_type node = std::move(unused_.back());
    unused_.pop_back();
    node.key() = place;
    return groups_.insert(at, std::move(node));
}

bool MergeWindow::wasLast(Groups::iterator at, Bytes block) {
    return at != groups_.begin() && findBlock(std::prev(at)->second, block) != kNoEntry;
}

// The log goes on behind the block found; what it had at this time before goes to the front of it.
void MergeWindow::noteDouble(Group& group, size_t found) {
    ++doubles_;
    if (runHasMet_) {
        next_ = std::max(next_, found + 1);
        return;
    }
    if (group.entries[found].log == runLog_) return;  // a double within the log itself
    const auto begin = group.entries.begin();
    std::rotate(begin + static_cast<std::ptrdiff_t>(found), begin + static_cast<std::ptrdiff_t>(runBegin_),
                group.entries.end());
    next_ = found + (group.entries.size() - runBegin_) + 1;
    runHasMet_ = true;
}

void MergeWindow::insert(Group& group, Bytes block) {
    size_t at = passOtherMeasurements(group, block);
    if (at == kNoEntry) {
        at = runHasMet_ ? behindEpoch(group, next_) : group.entries.size();
    } else if (at <= runBegin_) {
        ++runBegin_;
    }
    next_ = std::max(next_, at) + 1;
    group.entries.insert(group.entries.begin() + static_cast<std::ptrdiff_t>(at),
                         {block.u64(0), group.bytes.size(), block.size, runLog_});
    group.bytes.insert(group.bytes.end(), block.data, block.data + block.size);
    held_ += block.size + sizeof(Entry);
}

void MergeWindow::add(Bytes block, int64_t place, size_t log, bool isLead) {
    latest_ = std::max(latest_, place);
    auto at = groupAt(place);
    if (at->second.entries.size() >= kMostEntries) {
        while (!groups_.empty() && groups_.begin()->first <= place) handOutFirst();
        at = groupAt(place);
        runLog_ = SIZE_MAX;
    }
    Group& group = at->second;
    if (runLog_ != log || runPlace_ != place) {
        runLog_ = log;
        runPlace_ = place;
        runHasMet_ = false;
        runBegin_ = group.entries.size();
    }
    const size_t found = findBlock(group, block);
    if (found != kNoEntry) {
        noteDouble(group, found);
    } else if (isLead && wasLast(at, block)) {
        ++doubles_;
    } else {
        insert(group, block);
    }
    makeRoom();
}

void MergeWindow::makeRoom() {
    while (!groups_.empty() && (groups_.begin()->first < latest_ - kMergeWindow || held_ > kMostHeld)) handOutFirst();
}

void MergeWindow::handOutFirst() {
    Groups::node_type node = groups_.extract(groups_.begin());
    Group& group = node.mapped();
    gone_ = node.key();
    if (runPlace_ == gone_) runLog_ = SIZE_MAX;
    held_ -= kGroupOverhead;
    for (size_t i = 0; i < group.entries.size(); ++i) {
        held_ -= group.entries[i].size + sizeof(Entry);
        onBlock_(blockAt(group, i), gone_);
    }
    group.bytes.clear();
    group.entries.clear();
    if (unused_.size() < kMostUnused && group.bytes.capacity() <= kMostKept) unused_.push_back(std::move(node));
}

void MergeWindow::flush() {
    while (!groups_.empty()) handOutFirst();
}
