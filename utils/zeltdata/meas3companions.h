// The companions of a Meas3Ranges block: they follow its satellites and signals, in the order in which these are
// logged, and add Doppler, finer C/N0, tracking flags and multipath corrections.
#pragma once

#include <cstdint>

#include "utils/zeltdata/bitcursor.h"
#include "utils/zeltdata/zeltblock.h"

// The blocks of one antenna at one epoch; those not logged are empty.
struct Meas3Blocks {
    Bytes ranges;
    Bytes doppler;
    Bytes cn0HiRes;
    Bytes pp;
    Bytes mp;
};

constexpr int32_t kMeas3NoDoppler = INT32_MIN;
constexpr int kMeas3NoEvenCn0 = -1;

// What the companions say of one signal.
struct Meas3Extras {
    float cn0Change = 0;                    // dB-Hz
    int evenCn0 = kMeas3NoEvenCn0;          // dB-Hz, an even number, without the offset of the signal number
    int16_t multipath = 0;                  // code, mm
    uint8_t carrierMultipath = 0;           // two's complement, 1/512 cycle
    int32_t dopplerCode = kMeas3NoDoppler;  // mm/s
};

// One place in each companion. A companion that ends too early counts as absent from there on.
struct Meas3Companions {
    explicit Meas3Companions(const Meas3Blocks& blocks);

    ByteCursor doppler;
    BitCursor cn0;
    BitCursor pp;
    BitCursor mp;
};

// Takes the bits that precede those of a satellite's signals: bit 0 its info flag, bits 1-4 the loss-of-continuity
// counter.
uint8_t zeltTakeMeas3Tracking(Meas3Companions& companions);

// Takes a signal's share of every companion; it has one whether a signal came of its record or not.
Meas3Extras zeltTakeMeas3Extras(Meas3Companions& companions);

// Reads one Doppler code of 1 to 4 bytes, mm/s; kMeas3NoDoppler when there is none.
int32_t zeltReadDopplerCode(ByteCursor& cursor);
