// The log that a large one is grown from: its epochs decoded, its other blocks as they are.
#pragma once

#include <cstdint>
#include <vector>

#include "bench/blockwriter.h"
#include "utils/zeltdata/zeltmeasepoch.h"

constexpr int kSeedSpacing = 30;  // s between epochs

struct SeedBlock {
    int64_t second = 0;  // of its time stamp, counted from the first epoch
    ByteVector bytes;
};

struct SeedLog {
    int64_t start = 0;  // of the first epoch, s since 1980-01-06
    std::vector<ZeltMeasEpoch> epochs;
    std::vector<SeedBlock> blocks;  // receiver setup, UTC and navigation blocks, in file order
    std::vector<ByteVector> unknown;

    // Seconds from the first epoch that have an epoch before and one after them, or at them.
    int64_t span() const { return (static_cast<int64_t>(epochs.size()) - 1) * kSeedSpacing; }
};

// False when the log has no two epochs, or they do not come every 30 s.
bool readSeed(const char* path, SeedLog& seed);

// The epoch at `second` (below span()): codes and carriers interpolated over the enclosing 30 s, pseudoranges in whole
// millimetres. A signal that is not there at the end of an interval, or of a satellite without a Doppler, is missing
// within it. The time stamp is that of `time`, s since 1980-01-06.
void interpolateEpoch(const SeedLog& seed, int64_t second, int64_t time, ZeltMeasEpoch& epoch);

// Moves the reference times of a navigation block by `shift` seconds, the orbit's node turned so that the satellite
// moves over the ground as before; other blocks stay as they are. The block is to be finished after it.
void shiftBlock(ByteVector& block, int64_t shift);
