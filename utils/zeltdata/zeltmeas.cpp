#include "utils/zeltdata/zeltmeas.h"

#include <algorithm>

#include "utils/geometry/navtools.h"
#include "utils/zeltdata/meas3.h"
#include "utils/zeltdata/measepoch.h"
#include "utils/zeltdata/zeltread.h"

namespace {

constexpr size_t kNoAntennaField = 0;

// What a block is to its epoch. MeasExtra and the companions of Meas3Ranges refine everything but pseudoranges.
struct MeasKindRow {
    uint16_t number;
    ZeltMeasKind kind;
    size_t antennaOffset;  // of the byte whose bits 0-2 are the antenna
    bool hasCodes;         // the block holds pseudoranges, or replaces them
};
constexpr MeasKindRow kMeasKindRows[] = {
    {kZeltMeas3Ranges, kMeas3RangesKind, 18, true},
    {kZeltMeas3Doppler, kMeas3DopplerKind, 14, false},
    {kZeltMeas3Cn0HiRes, kMeas3Cn0HiResKind, 14, false},
    {kZeltMeas3Pp, kMeas3PpKind, 14, false},
    {kZeltMeas3Mp, kMeas3MpKind, 14, false},
    {kZeltMeasEpoch, kMeasEpochKind, kNoAntennaField, true},
    {kZeltMeasEpochOld, kMeasEpochKind, kNoAntennaField, true},
    {kZeltMeasExtra, kMeasExtraKind, kNoAntennaField, false},
    {kZeltMeasFullRange, kMeasFullRangeKind, kNoAntennaField, true},
};

const MeasKindRow* findRow(Bytes block) {
    const uint16_t number = zeltNumber(block);
    for (const MeasKindRow& row : kMeasKindRows) {
        if (row.number == number) return &row;
    }
    return nullptr;
}

int antennaOf(const MeasKindRow& row, Bytes block) {
    return row.antennaOffset == kNoAntennaField ? 0 : block.u8(row.antennaOffset) & 0x07;
}

// Whole seconds count: of several epochs in one, all are wanted, and whoever takes them chooses.
bool isWanted(const ZeltWanted& wanted, const MeasKindRow& row, Bytes block) {
    if (wanted.codesOnly && !row.hasCodes) return false;
    return zeltTow(block) / 1000 % wanted.everySeconds == 0 || zeltWnc(block) >= wanted.beforeWeek;
}

void storeBlock(const MeasKindRow& row, Bytes block, ZeltMeasState& meas) {
    meas.pending |= 1U << row.kind;
    const int antenna = antennaOf(row, block);
    if (antenna >= kZeltAntennas) return;
    ZeltBlockCopy& copy = meas.blocks[row.kind][static_cast<size_t>(antenna)];
    copy.isCollected = true;
    copy.size = 0;
    if (!isWanted(meas.wanted, row, block)) return;
    // It only grows, so that epochs cost no allocation once the largest has come.
    if (copy.storage.size() < block.size) copy.storage.resize(block.size);
    std::copy_n(block.data, block.size, copy.storage.data());
    copy.size = block.size;
}

void forgetBlocks(ZeltMeasState& meas) {
    for (auto& antennas : meas.blocks) {
        for (ZeltBlockCopy& copy : antennas) {
            copy.size = 0;
            copy.isCollected = false;
        }
    }
    meas.previousPending = meas.pending;
    meas.pending = 0;
    meas.isComplete = false;
}

bool decodeMeas3(ZeltMeasState& meas, ZeltMeasEpoch& epoch) {
    std::array<Meas3Blocks, kZeltAntennas> antennas;
    for (size_t a = 0; a < antennas.size(); ++a) {
        antennas[a] = {meas.blocks[kMeas3RangesKind][a].bytes(), meas.blocks[kMeas3DopplerKind][a].bytes(),
                       meas.blocks[kMeas3Cn0HiResKind][a].bytes(), meas.blocks[kMeas3PpKind][a].bytes(),
                       meas.blocks[kMeas3MpKind][a].bytes()};
    }
    return zeltDecodeMeas3(antennas, meas.references, epoch);
}

void decodeMeasEpoch(ZeltMeasState& meas, ZeltMeasEpoch& epoch) {
    zeltDecodeMeasEpoch(meas.blocks[kMeasEpochKind][0].bytes(), epoch);
    zeltApplyMeasExtra(meas.blocks[kMeasExtraKind][0].bytes(), epoch);
    zeltApplyMeasFullRange(meas.blocks[kMeasFullRangeKind][0].bytes(), epoch);
}

// An epoch logged in both families is decoded from one alone. Its TOW counts as decoded even when it is not wanted or
// its blocks are corrupt: a block of it that comes late, behind others, must not make a second epoch of the same
// instant.
bool decodeStored(ZeltMeasState& meas, ZeltMeasEpoch& epoch, unsigned mode) {
    if (meas.collectionTow == meas.decodedTow) return false;
    const ZeltBlockCopy& ranges = meas.blocks[kMeas3RangesKind][0];
    const ZeltBlockCopy& measEpoch = meas.blocks[kMeasEpochKind][0];
    const bool isMeas3 = (mode & kZeltAllowMeas3) != 0 && ranges.isCollected;
    if (!isMeas3 && ((mode & kZeltAllowMeasEpoch) == 0 || !measEpoch.isCollected)) return false;
    meas.decodedTow = meas.collectionTow;
    if ((isMeas3 ? ranges : measEpoch).size == 0) return false;  // not wanted
    if (isMeas3) return decodeMeas3(meas, epoch);
    decodeMeasEpoch(meas, epoch);
    return true;
}

// True when the block that follows belongs to the epoch being collected.
bool epochGoesOn(ZeltFile& file) {
    const ZeltMeasState& meas = file.meas;
    // Nothing tells what follows: an epoch with the blocks of the one before is taken to be whole. One that has other
    // blocks, as where a log changes its rates, waits for the next TOW.
    if (!file.window.isOpen()) return meas.pending != meas.previousPending;
    Bytes next;
    return zeltGetNextBlock(file, next, kZeltAnyBlock, kZeltAnyBlock, kZeltPeek) == kZeltFound &&
           zeltTow(next) == meas.collectionTow && zeltIsMeasBlock(next);
}

}  // namespace

bool zeltIsMeasBlock(Bytes block) { return findRow(block) != nullptr; }

int zeltMeasAntennaIndex(Bytes block) {
    const MeasKindRow* row = findRow(block);
    return row == nullptr ? 0 : antennaOf(*row, block);
}

bool zeltDecodePendingEpoch(ZeltFile& file, ZeltMeasEpoch& epoch, unsigned mode) {
    if (file.meas.pending == 0) return false;
    const bool decoded = decodeStored(file.meas, epoch, mode);
    forgetBlocks(file.meas);
    return decoded;
}

bool zeltNextCompleteEpoch(ZeltFile& file, ZeltMeasEpoch& epoch, unsigned mode) {
    return file.meas.isComplete && zeltDecodePendingEpoch(file, epoch, mode);
}

// Receivers log the blocks of an epoch one behind the other, so any other block ends it, whatever its TOW.
bool zeltCollectMeasBlock(ZeltFile& file, Bytes block, ZeltMeasEpoch& epoch, unsigned mode) {
    ZeltMeasState& meas = file.meas;
    const MeasKindRow* row = findRow(block);
    const uint32_t tow = zeltTow(block);
    bool decoded = false;
    if (row == nullptr || tow != meas.collectionTow || meas.isComplete) {
        decoded = zeltDecodePendingEpoch(file, epoch, mode);
    }
    meas.collectionTow = tow;
    if (row == nullptr) return decoded;
    storeBlock(*row, block, meas);
    meas.isComplete = !epochGoesOn(file);
    if (decoded || !meas.isComplete) return decoded;
    return zeltNextCompleteEpoch(file, epoch, mode);
}
