// The collector: gathers the measurement blocks of one epoch and decodes them when the epoch is complete.
//
// An epoch is logged either as a MeasEpoch, possibly refined by MeasExtra and MeasFullRange, or as a Meas3Ranges of
// one or two antennas with up to four companions each. Blocks belong to one epoch when their TOW is the same. The
// epoch is complete when a block of another TOW, or one without measurements, comes. Reading from a file, it is
// complete with its last block already: the one that follows is looked at. Without a file, it is complete as soon as
// the kinds collected are those of the epoch before.
//
// Which epochs are decoded at all is the caller's to say, once, in ZeltMeasState::wanted.
#pragma once

#include "utils/zeltdata/zeltblock.h"
#include "utils/zeltdata/zeltfile.h"
#include "utils/zeltdata/zeltmeasepoch.h"

// The block families that may be decoded, or-ed together. Where an epoch was logged in both, Meas3 is taken.
constexpr unsigned kZeltAllowMeas3 = 1;
constexpr unsigned kZeltAllowMeasEpoch = 2;

// Takes one block (of any number, with a valid time stamp); true when `epoch` now holds a decoded epoch. After a
// measurement block it may peek at the file's next block, which voids views of earlier blocks, this one included.
//
// An epoch that was complete already when the block came is delivered first. The block's own epoch, where it is
// complete as well, is then to be had by zeltNextCompleteEpoch; whoever does not ask gets it with a later call.
bool zeltCollectMeasBlock(ZeltFile& file, Bytes block, ZeltMeasEpoch& epoch, unsigned mode);

// What zeltCollectMeasBlock found complete and had no place to deliver: true when `epoch` now holds it.
bool zeltNextCompleteEpoch(ZeltFile& file, ZeltMeasEpoch& epoch, unsigned mode);

// Decodes what has been collected, complete or not, and forgets it: for the end of the file, where no block follows
// that would tell. True when `epoch` now holds a decoded epoch.
bool zeltDecodePendingEpoch(ZeltFile& file, ZeltMeasEpoch& epoch, unsigned mode);

bool zeltIsMeasBlock(Bytes block);

// The antenna that a block of the Meas3 family belongs to (0 to 7, of which 0 and 1 are decoded); 0 for other blocks.
int zeltMeasAntennaIndex(Bytes block);
