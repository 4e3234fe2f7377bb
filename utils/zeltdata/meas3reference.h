// The reference epochs of the compact measurement blocks: what the records logged as differences refer to.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "utils/zeltdata/zeltblock.h"

constexpr size_t kMeas3Constellations = 7;
constexpr size_t kMeas3Satellites = 64;  // of a constellation's mask
constexpr size_t kMeas3Signals = 16;     // of a satellite

// A signal as its record tells it, without what the companions add.
struct Meas3Signal {
    double pseudorange;   // m
    double carrierPhase;  // cycles; Qon::Nav::kNotAvailable when missing
    float cn0;            // dB-Hz
    uint32_t lockTime;    // ms
    uint8_t flags;        // kZeltHalfCycle or none
};

struct Meas3RefSatellite {
    uint16_t signalMask = 0;  // a bit per signal index; the signals without one are stale
    uint16_t slaveMask = 0;   // a bit per signal index
    uint8_t masterIndex = 0;
    int16_t rate = 0;  // of the range, 64 mm/s
    std::array<Meas3Signal, kMeas3Signals> signals{};
};
struct Meas3RefConstellation {
    std::array<uint8_t, 64> header{};  // as logged
    size_t headerSize = 0;             // 0: none
    uint64_t satelliteMask = 0;        // a bit per satellite of the reference epoch; the others' records are stale
    std::array<Meas3RefSatellite, kMeas3Satellites> satellites;
};
struct Meas3Reference {
    uint32_t tow = kZeltNoTow;  // kZeltNoTow: no reference
    bool isPartial = false;     // the epoch was corrupt: what followed the damage is not known
    std::array<Meas3RefConstellation, kMeas3Constellations> constellations;
};

// One per antenna; made when the first epoch is decoded.
using Meas3References = std::vector<Meas3Reference>;
