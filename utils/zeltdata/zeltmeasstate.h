// What the collector of measurement blocks keeps between blocks.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "utils/zeltdata/meas3reference.h"
#include "utils/zeltdata/zeltblock.h"
#include "utils/zeltdata/zeltmeasepoch.h"

// The kinds of measurement block that an epoch may be made of, in the order of their pending marks.
enum ZeltMeasKind : size_t {
    kMeas3RangesKind,
    kMeas3DopplerKind,
    kMeas3Cn0HiResKind,
    kMeas3PpKind,
    kMeas3MpKind,
    kMeasEpochKind,
    kMeasExtraKind,
    kMeasFullRangeKind,
    kMeasKinds,
};

// What the owner of a log wants of it. Epochs that are not wanted are followed, so that epochs end where they should,
// but neither copied nor decoded.
struct ZeltWanted {
    // Epochs whose whole second of the week is a multiple of it: 1, all of them, or 30, which every reference interval
    // of the compact blocks divides or is a multiple of, so that no wanted epoch lacks its reference.
    uint32_t everySeconds = 1;
    uint32_t beforeWeek = UINT32_MAX;  // from this week on, all epochs
    bool codesOnly = false;            // no blocks that do not bear on pseudoranges: what they refine stays as it was
};

// The copy of a block of the epoch being collected.
struct ZeltBlockCopy {
    std::vector<uint8_t> storage;  // keeps its capacity from epoch to epoch
    size_t size = 0;
    bool isCollected = false;  // the epoch has such a block, copied or not

    Bytes bytes() const { return {storage.data(), size}; }
};

struct ZeltMeasState {
    ZeltWanted wanted;  // the caller's to set, after opening
    std::array<std::array<ZeltBlockCopy, kZeltAntennas>, kMeasKinds> blocks;
    uint32_t pending = 0;          // a bit per kind collected
    uint32_t previousPending = 0;  // of the epoch before
    bool isComplete = false;       // what is pending is an epoch that ends with the last block
    uint32_t collectionTow = kZeltNoTow;
    uint32_t decodedTow = kZeltNoTow;  // of the last epoch decoded: none is decoded twice
    Meas3References references;
};
