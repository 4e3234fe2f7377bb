#include "zeltlog/currentblocks.h"

#include <algorithm>

#include "utils/zeltdata/zeltnav.h"

namespace {

// Bytes. What receivers tell comes to some ten thousand; a log of any other bytes may not make more be held.
constexpr size_t kMostHeld = size_t{16} * 1024 * 1024;

// What a block tells of; 0 when that is nothing that stays in force. A UTC block without a time stamp tells the leap
// second to who passes over those with one, so that neither takes the other's place.
uint64_t subjectOf(Bytes block) {
    const uint64_t number = zeltNumber(block);
    const uint64_t subject = number << 24 | (zeltHasTimeStamp(block) ? 1 : 0);
    switch (number) {
        case kZeltReceiverSetup: return number << 24;
        case kZeltGpsUtc:
        case kZeltUtc2: return subject;
        case kZeltGpsNav:
        case kZeltGloNav:
        case kZeltBdsNav: return subject | static_cast<uint64_t>(block.u8(kZeltSvidOffset)) << 16;
        case kZeltGalNav:
            return subject | static_cast<uint64_t>(block.u8(kZeltSvidOffset)) << 16 |
                   static_cast<uint64_t>(block.u8(ZeltGalNav::kSource)) << 8;
        default: return 0;
    }
}

}  // namespace

void CurrentBlocks::note(Bytes block, int64_t place) {
    const uint64_t subject = subjectOf(block);
    if (subject == 0) return;
    const auto at = kept_.find(subject);
    if (at != kept_.end() && place < at->second.place) return;
    const size_t held = held_ + block.size - (at == kept_.end() ? 0 : at->second.bytes.size());
    if (held > kMostHeld) return;
    held_ = held;
    kept_[subject] = {place, noted_++, {block.data, block.data + block.size}};
}

void CurrentBlocks::handOut(const std::function<void(Bytes block)>& onBlock) const {
    std::vector<const Kept*> inOrder;
    for (const auto& [subject, kept] : kept_) inOrder.push_back(&kept);
    std::sort(inOrder.begin(), inOrder.end(), [](const Kept* a, const Kept* b) { return a->order < b->order; });
    for (const Kept* kept : inOrder) onBlock({kept->bytes.data(), kept->bytes.size()});
}
