// What a receiver told last of itself, of UTC and of each satellite.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <vector>

#include "utils/zeltdata/zeltblock.h"

class CurrentBlocks {
public:
    // Takes a block that stands at a time (ms), where it is of a kind that stays in force until the next one of it
    // comes, and 16 MiB are not full.
    void note(Bytes block, int64_t place);

    // Hands out what is in force, in the order in which it came.
    void handOut(const std::function<void(Bytes block)>& onBlock) const;

private:
    struct Kept {
        int64_t place;
        uint64_t order;
        std::vector<uint8_t> bytes;
    };
    std::map<uint64_t, Kept> kept_;  // by what the block tells of
    uint64_t noted_ = 0;
    size_t held_ = 0;  // bytes
};
