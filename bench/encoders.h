// Measurement epochs back into the blocks that a receiver logs. Both encoders take pseudoranges in whole millimetres,
// so what is decoded from either log is the same pseudorange but for the half millimetre that a Meas3 delta rounds.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "bench/blockwriter.h"
#include "utils/zeltdata/zeltmeasepoch.h"

// The number by which blocks name a satellite of internal number `svid`.
uint8_t loggedSvid(uint8_t svid);

// C/N0 in whole steps of `unit` above what a field of the signal's C/N0 counts from.
int cn0Steps(const ZeltMeasSignal& signal, double unit);

// A MeasEpoch (revision 1) and a MeasExtra (revision 3).
std::vector<ByteVector> encodeMeasEpoch(const ZeltMeasEpoch& epoch);

// A Meas3Ranges with its four companions. Epochs at whole minutes are references; the epochs between are coded relative
// to them, wherever a satellite stays within reach of the delta records.
class Meas3Encoder {
public:
    // `ahead`: the epoch kRateLead seconds later. A reference gets its satellites' rates from there: the prediction
    // then errs least over the whole minute.
    static constexpr int kRateLead = 25;
    std::vector<ByteVector> encode(const ZeltMeasEpoch& epoch, const ZeltMeasEpoch& ahead);

    static constexpr uint32_t kInterval = 60000;  // ms between references
    static bool isReference(const ZeltMeasEpoch& epoch) { return epoch.tow % kInterval == 0; }

    static constexpr size_t kConstellations = 7;
    static constexpr size_t kIndices = 16;

    // One signal as its record is decoded.
    struct Record {
        bool used = false;
        int64_t code = 0;    // mm
        double carrier = 0;  // cycles; kNotAvailable: missing
        int cn0 = 0;         // dB-Hz
        bool halfCycle = false;
        uint32_t lock = 0;  // ms
    };
    struct Satellite {
        bool used = false;
        int master = 0;       // signal index
        unsigned slaves = 0;  // mask of signal indices
        int rate = 0;         // 64 mm/s
        std::array<Record, kIndices> records{};
    };
    struct Reference {
        std::array<ByteVector, kConstellations> headers;
        std::array<Satellite, 256> satellites{};  // by internal number
    };

private:
    Reference reference_;
};
