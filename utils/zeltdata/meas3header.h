// A constellation's part of a Meas3Ranges block begins with a header: the satellites and signals of its records.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "utils/zeltdata/bitcursor.h"
#include "utils/zeltdata/meas3reference.h"
#include "utils/zeltdata/zeltblock.h"

// A header, read.
struct Meas3Header {
    size_t constellation = 0;                            // bit of the block's constellation mask
    std::array<uint8_t, kMeas3Satellites> satellites{};  // their bits in the satellite mask, as the records follow
    size_t satelliteCount = 0;
    unsigned shortMasterIndex = 0;                       // signal index of the masters with short records
    std::array<uint8_t, kMeas3Signals> signalNumbers{};  // by signal index; kNoSignal where there is none
    Bytes glonassChannels;                               // a nibble per satellite
    uint16_t highOrbitFlags = 0;                         // BeiDou: a bit for each of the first 16 satellites
    size_t size = 0;                                     // bytes
};

// A satellite that a header lists.
struct Meas3Satellite {
    uint8_t svid = 0;        // internal number; 0 where the mask reaches beyond the constellation's
    int glonassChannel = 0;  // frequency number + 8 as logged, 0 to 15; 0 for other constellations
    double codeBase = 0;     // m, added to the code of a short master record
    bool isValid = false;    // its number and its channel exist
};

// Reads the header that `bytes` begins with; `header` must be empty. False when it does not fit.
bool zeltParseMeas3Header(Bytes bytes, size_t constellation, Meas3Header& header);

// The n-th satellite (from 0, below satelliteCount).
Meas3Satellite zeltMeas3Satellite(const Meas3Header& header, size_t n);
