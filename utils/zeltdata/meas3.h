// The compact measurement blocks: Meas3Ranges and its companions.
//
// At every multiple of the reference interval the ranges are logged whole (a reference epoch); the epochs between may
// log satellites as small differences to it. The companions follow the satellites and signals of the ranges, in the
// order in which these are logged, and add Doppler, finer C/N0, tracking flags and multipath corrections.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "utils/zeltdata/zeltblock.h"
#include "utils/zeltdata/zeltmeasepoch.h"

constexpr size_t kMeas3Constellations = 7;
constexpr size_t kMeas3Satellites = 64;  // of a constellation's mask
constexpr size_t kMeas3Signals = 16;     // of a satellite

// The blocks of one antenna at one epoch; those not logged are empty.
struct Meas3Blocks {
    Bytes ranges;
    Bytes doppler;
    Bytes cn0HiRes;
    Bytes pp;
    Bytes mp;
};

// What the delta records of an epoch refer to.
struct Meas3RefSignal {
    double pseudorange;   // m
    double carrierPhase;  // cycles; Qon::Nav::kNotAvailable when missing
    float cn0;            // dB-Hz
    uint32_t lockTime;    // ms
    uint8_t flags;        // kZeltHalfCycle
};
struct Meas3RefSatellite {
    uint16_t present = 0;    // a bit per signal index
    uint16_t slaveMask = 0;  // a bit per signal index
    uint8_t masterIndex = 0;
    int16_t rate = 0;  // of the range, 64 mm/s
    std::array<Meas3RefSignal, kMeas3Signals> signals{};
};
struct Meas3RefConstellation {
    std::array<uint8_t, 64> header{};  // as logged
    size_t headerSize = 0;             // 0: none
    uint64_t known = 0;                // a bit per satellite of the reference epoch; the others' records are stale
    std::array<Meas3RefSatellite, kMeas3Satellites> satellites;
};
struct Meas3Reference {
    uint32_t tow = kZeltNoTow;  // kZeltNoTow: no reference
    bool isPartial = false;     // the epoch was corrupt: what it held behind the fault is not known
    std::array<Meas3RefConstellation, kMeas3Constellations> constellations;
};

// One per antenna; made when the first epoch is decoded.
using Meas3References = std::vector<Meas3Reference>;

// Decodes the blocks of both antennas, antenna 0's ranges among them, into `epoch`, and keeps reference epochs. An
// antenna whose reference epoch was not seen yields no satellites; so does a satellite or signal logged as a
// difference to something that the reference epoch did not hold. After a corrupt reference epoch, an epoch ends where
// it first needs what followed the fault. A companion that ends too early counts as absent for the rest. False, with no
// satellites in the epoch, when the ranges of an antenna are corrupt or of an unknown form.
bool zeltDecodeMeas3(const std::array<Meas3Blocks, kZeltAntennas>& blocks, Meas3References& references,
                     ZeltMeasEpoch& epoch);

// Reads one Doppler code of 1 to 4 bytes, mm/s; kMeas3NoDoppler when there is none.
constexpr int32_t kMeas3NoDoppler = INT32_MIN;
struct ByteCursor;
int32_t zeltReadDopplerCode(ByteCursor& cursor);
