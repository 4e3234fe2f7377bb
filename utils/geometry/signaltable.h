// What a signal is, by signal number: one row each, for carriers and for the measurement blocks.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "utils/geometry/satnames.h"

namespace Qon::Nav {

// Carriers, Hz: IS-GPS-200 and -705 (L1, L2, L5), Galileo OS SIS ICD (E1, E5a, E5b, E5, E6), BeiDou SIS ICDs (B1I, B2I,
// B3I), GLONASS ICD L1 and L2 5.1 and the CDMA ICD for L3.
constexpr uint32_t kL1Hz = 1575420000;  // also E1, B1C
constexpr uint32_t kL2Hz = 1227600000;
constexpr uint32_t kL5Hz = 1176450000;   // also E5a, B2a
constexpr uint32_t kE5bHz = 1207140000;  // also B2I
constexpr uint32_t kE5Hz = 1191795000;
constexpr uint32_t kE6Hz = 1278750000;  // also L6
constexpr uint32_t kB1IHz = 1561098000;
constexpr uint32_t kB3IHz = 1268520000;
constexpr uint32_t kGlonassL3Hz = 1202025000;
constexpr uint32_t kLBandHz = 1540000000;

// GLONASS FDMA: the carrier of frequency number k lies k steps from the band's centre.
struct GlonassBand {
    uint32_t centreHz;
    uint32_t stepHz;
};
inline constexpr GlonassBand kGlonassL1{1602000000, 562500};
inline constexpr GlonassBand kGlonassL2{1246000000, 437500};

constexpr int8_t kNoSignalPlace = -1;

struct SignalRow {
    uint32_t frequencyHz;     // 0: by channel, or no signal
    uint32_t referenceHz;     // carrier that the ratio refers to; 0: by channel, or no signal
    const GlonassBand* band;  // GLONASS FDMA signals only
    ConstellationCode constellation;
    int8_t slot;  // of a decoded satellite, where the signal is stored; kNoSignalPlace: nowhere
    int8_t
        meas3Index;  // the signal's index in the compact measurement blocks; kNoSignalPlace: it is not logged in them
};

inline constexpr std::array<SignalRow, 34> kSignalTable = {{
    {kL1Hz, kL1Hz, nullptr, kGps, 0, 0},                                // 0 GPS L1 C/A
    {kL1Hz, kL1Hz, nullptr, kGps, 1, 3},                                // 1 GPS L1 P(Y)
    {kL2Hz, kL1Hz, nullptr, kGps, 2, 4},                                // 2 GPS L2 P(Y)
    {kL2Hz, kL1Hz, nullptr, kGps, 3, 1},                                // 3 GPS L2C
    {kL5Hz, kL1Hz, nullptr, kGps, 4, 2},                                // 4 GPS L5
    {kL1Hz, kL1Hz, nullptr, kGps, 5, 5},                                // 5 GPS L1C
    {kL1Hz, kL1Hz, nullptr, kQzss, 0, 0},                               // 6 QZSS L1 C/A
    {kL2Hz, kL1Hz, nullptr, kQzss, 1, 1},                               // 7 QZSS L2C
    {0, 0, &kGlonassL1, kGlonass, 0, 0},                                // 8 GLONASS L1 C/A
    {0, 0, &kGlonassL1, kGlonass, 1, 2},                                // 9 GLONASS L1 P
    {0, 0, &kGlonassL2, kGlonass, 2, 3},                                // 10 GLONASS L2 P
    {0, 0, &kGlonassL2, kGlonass, 3, 1},                                // 11 GLONASS L2 C/A
    {kGlonassL3Hz, 0, nullptr, kGlonass, 4, 4},                         // 12 GLONASS L3
    {kL1Hz, kB1IHz, nullptr, kBeiDou, 3, 3},                            // 13 BeiDou B1C
    {kL5Hz, kB1IHz, nullptr, kBeiDou, 4, 4},                            // 14 BeiDou B2a
    {kL5Hz, kL5Hz, nullptr, kNavic, 0, 0},                              // 15 NavIC L5
    {kL1Hz, kL1Hz, nullptr, kGalileo, 0, kNoSignalPlace},               // 16 Galileo E1 A
    {kL1Hz, kL1Hz, nullptr, kGalileo, 1, 0},                            // 17 Galileo E1 BC
    {kE6Hz, kL1Hz, nullptr, kGalileo, 2, kNoSignalPlace},               // 18 Galileo E6 A
    {kE6Hz, kL1Hz, nullptr, kGalileo, 3, 3},                            // 19 Galileo E6 BC
    {kL5Hz, kL1Hz, nullptr, kGalileo, 4, 1},                            // 20 Galileo E5a
    {kE5bHz, kL1Hz, nullptr, kGalileo, 5, 2},                           // 21 Galileo E5b
    {kE5Hz, kL1Hz, nullptr, kGalileo, 6, 4},                            // 22 Galileo E5 AltBOC
    {kLBandHz, kL1Hz, nullptr, kNoConstellation, 0, kNoSignalPlace},    // 23 L-band
    {kL1Hz, kL1Hz, nullptr, kSbas, 0, 0},                               // 24 SBAS L1
    {kL5Hz, kL1Hz, nullptr, kSbas, 1, 1},                               // 25 SBAS L5
    {kL5Hz, kL1Hz, nullptr, kQzss, 2, 2},                               // 26 QZSS L5
    {kE6Hz, kL1Hz, nullptr, kQzss, 3, 3},                               // 27 QZSS L6
    {kB1IHz, kB1IHz, nullptr, kBeiDou, 0, 0},                           // 28 BeiDou B1I
    {kE5bHz, kB1IHz, nullptr, kBeiDou, 1, 1},                           // 29 BeiDou B2I
    {kB3IHz, kB1IHz, nullptr, kBeiDou, 2, 2},                           // 30 BeiDou B3I
    {0, 0, nullptr, kNoConstellation, kNoSignalPlace, kNoSignalPlace},  // 31 no signal
    {kL1Hz, kL1Hz, nullptr, kQzss, 4, 4},                               // 32 QZSS L1C
    {kL1Hz, kL1Hz, nullptr, kQzss, 5, 5},                               // 33 QZSS L1S
}};
inline constexpr SignalRow kNoSignalRow{0, 0, nullptr, kNoConstellation, kNoSignalPlace, kNoSignalPlace};

// The row of a signal number, kNoSignalRow outside the table.
constexpr const SignalRow& SignalOf(int signal) {
    const auto row = static_cast<size_t>(signal);  // of a negative one far behind the table
    if (row >= kSignalTable.size()) return kNoSignalRow;
    return kSignalTable[row];
}

}  // namespace Qon::Nav
