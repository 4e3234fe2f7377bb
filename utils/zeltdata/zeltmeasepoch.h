// The decoded measurement epoch, the same for every block family that it may come from.
#pragma once

#include <array>
#include <cstdint>
#include <limits>

constexpr int kZeltMaxSatellites = 80;
constexpr int kZeltAntennas = 2;
constexpr int kZeltSlots = 7;

// ZeltMeasSignal::flags
constexpr uint8_t kZeltSlotUsed = 0x80;
constexpr uint8_t kZeltInfoFlag = 0x20;   // MeasExtra Info bit 0, or Meas3PP
constexpr uint8_t kZeltHalfCycle = 0x04;  // half-cycle ambiguity not resolved

constexpr uint32_t kZeltLockJustGained = 10;  // ms, stored for a lock time of 0 s
constexpr int32_t kZeltNoClockJumps = std::numeric_limits<int32_t>::min();

// One signal of one satellite. A missing value is Qon::Nav::kNotAvailable.
struct ZeltMeasSignal {
    double pseudorange;        // m
    double carrierPhase;       // cycles
    float doppler;             // Hz
    float cn0;                 // dB-Hz
    uint32_t lockTime;         // ms; 0: unknown
    int16_t multipath;         // code multipath correction, mm
    int16_t smoothing;         // smoothing correction, mm
    float codeVariance;        // m^2
    float carrierVariance;     // cycles^2
    uint8_t signalType;        // signal number
    uint8_t flags;             // kZelt... above; 0: the slot is empty, its other fields say nothing
    uint8_t carrierMultipath;  // as logged: two's complement, 1/512 cycle
    uint8_t lossOfContinuity;  // counter
    uint8_t cn0Even;           // dB-Hz, rounded down to an even number; 0 when missing
};

struct ZeltMeasSat {
    uint8_t channel;         // RxChannel - 1, or the record's index when the block gives no channel
    uint8_t svid;            // internal number
    uint8_t glonassChannel;  // frequency number + 8 (1 to 14); 0 for other constellations
    std::array<std::array<ZeltMeasSignal, kZeltSlots>, kZeltAntennas> signals;
};

struct ZeltMeasEpoch {
    uint32_t tow;                 // ms of the GPS week
    uint32_t wnc;                 // GPS week
    int32_t timeStatus;           // 0: no time, 1: TOW only, 2: week known
    int32_t wncValid;             // 1 when the week is known
    int32_t clockJumps;           // ms, cumulative; kZeltNoClockJumps: unknown
    float dopplerVarianceFactor;  // Doppler variance over carrier variance
    uint32_t commonFlags;         // CommonFlags bits 0, 1, 3, 5 as 0x01, 0x02, 0x08, 0x80
    int32_t satelliteCount;       // records in use; the others hold nothing of this epoch
    std::array<ZeltMeasSat, kZeltMaxSatellites> satellites;
};
