// The records of a Meas3Ranges block: one for the master signal of a satellite, then one for each of its slaves.
//
// A record is a little-endian word in one of several forms, told by the low bits of its first byte: short and long
// ones hold a signal whole, delta ones its difference to the reference epoch.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "utils/zeltdata/bitcursor.h"
#include "utils/zeltdata/meas3reference.h"

enum class Meas3Outcome {
    kRead,
    kCorrupt,  // the block ends too early, or is of no known form
    kLost,     // what follows depends on what a corrupt reference epoch held behind its fault
};

// What is known of a satellite before its records are read.
struct Meas3Context {
    const Meas3RefSatellite* reference = nullptr;  // null: the reference epoch did not hold the satellite
    bool mayBeLost = false;                        // it was corrupt, so it may have held the satellite after all
    bool hasRate = false;                          // masters that are logged whole carry the rate of the range
    uint32_t sinceReference = 0;                   // ms
    const std::array<uint8_t, kMeas3Signals>& signalNumbers;
    unsigned shortMasterIndex = 0;
    int frequencyNumber = 0;  // GLONASS
    double codeBase = 0;      // m
};

// What the master's record says. No signal comes of a difference to one that the reference epoch did not hold.
struct Meas3Master {
    size_t index = 0;
    double wavelength = 0;   // m
    uint16_t slaveMask = 0;  // a bit per signal index: the slaves whose records follow
    int16_t rate = 0;        // of the range, 64 mm/s
    std::optional<Meas3Signal> signal;
};

constexpr int kMeas3RateUnit = 64;  // mm/s

// Takes the master's record off the ranges. Unless it is read, `master` is half-written.
Meas3Outcome zeltTakeMeas3Master(ByteCursor& ranges, const Meas3Context& context, Meas3Master& master);

// Takes the record of a slave of a master that has a signal. No signal comes of a difference to a missing value.
Meas3Outcome zeltTakeMeas3Slave(ByteCursor& ranges, const Meas3Context& context, const Meas3Master& master,
                                size_t index, std::optional<Meas3Signal>& slave);

// Wavelength in m of a signal of the satellite.
double zeltMeas3Wavelength(const Meas3Context& context, size_t index);
