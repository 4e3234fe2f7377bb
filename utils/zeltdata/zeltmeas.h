// The collector: gathers the measurement blocks of one epoch and decodes them when the epoch is complete.
//
// An epoch is logged either as a MeasEpoch, possibly refined by MeasExtra and MeasFullRange, or as a Meas3Ranges of
// one or two antennas with up to four companions each. Blocks belong to one epoch when their TOW is the same. The
// epoch is complete when a block of another TOW, or one without measurements, comes. Reading from a file, it is
// complete with its last block already: the one that follows is looked at. Without a file, it is complete as soon as
// the kinds collected are those of the epoch before.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "utils/zeltdata/meas3.h"
#include "utils/zeltdata/zeltblock.h"
#include "utils/zeltdata/zeltmeasepoch.h"

struct ZeltFile;

// What zeltCollectMeasBlock may decode, or-ed together.
constexpr unsigned kZeltAllowMeas3 = 1;
constexpr unsigned kZeltAllowMeasEpoch = 2;
constexpr unsigned kZeltNoteOnly = 4;   // its epoch is of no interest, nor a reference: follow it, do not decode it
constexpr unsigned kZeltCodesOnly = 8;  // no blocks that do not bear on pseudoranges: what they refine stays coarse

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

// The copy of a block of the epoch being collected; empty while there is none, or when it was noted only.
struct ZeltBlockCopy {
    std::vector<uint8_t> storage;  // keeps its capacity from epoch to epoch
    size_t size = 0;
    bool isNoted = false;  // there was a block, copied or not

    Bytes bytes() const { return {storage.data(), size}; }
};

struct ZeltMeasState {
    std::array<std::array<ZeltBlockCopy, kZeltAntennas>, kMeasKinds> blocks;
    uint32_t pending = 0;          // a bit per kind collected
    uint32_t previousPending = 0;  // of the epoch before
    bool isComplete = false;       // what is pending is an epoch that ends with the last block
    uint32_t collectionTow = kZeltNoTow;
    uint32_t decodedTow = kZeltNoTow;  // of the last epoch decoded: none is decoded twice
    Meas3References references;
};

// Takes one block (of any number, with a valid time stamp); true when `epoch` now holds a decoded epoch. After a
// measurement block it may peek at the file's next block, which voids views of earlier blocks. An epoch that was
// complete already when the block came is delivered first; the block's own epoch then follows at a later call or at
// zeltDecodePendingEpoch.
bool zeltCollectMeasBlock(ZeltFile& file, Bytes block, ZeltMeasEpoch& epoch, unsigned mode);

// Decodes what has been collected, and forgets it: for the end of the file, where no block follows that would tell
// that the epoch is complete. True when `epoch` now holds a decoded epoch.
bool zeltDecodePendingEpoch(ZeltFile& file, ZeltMeasEpoch& epoch, unsigned mode);

bool zeltIsMeasBlock(Bytes block);

// The antenna that a block of the Meas3 family speaks of; 0 for the other blocks.
int zeltMeasAntennaIndex(Bytes block);
