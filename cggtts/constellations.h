// The constellations that CGGTTS files are made of, and all in which they differ for them but orbits and phase centres,
// which have tables of their own. Whoever goes through them walks kConstellations; what concerns one takes its row.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "cggtts/runconfig.h"
#include "utils/geometry/satnames.h"
#include "utils/geometry/sigtypes.h"

struct Constellation {
    Qon::Nav::ConstellationCode code;
    char letter;        // of -x
    uint8_t firstSvid;  // of the satellites tracked
    uint8_t lastSvid;
    Qon::Nav::SignalType signal1;
    Qon::Nav::SignalType signal2;
    double RunConfig::*delay1Ns;  // internal delay of signal 1, ns
    double RunConfig::*delay2Ns;
    const char* filePrefix;
    const char* delayLabel1;  // of the INT DLY header line
    const char* delayLabel2;
    const char* frc;       // three characters, of the data line
    const char* kindWord;  // of the output file, in messages

    // Filled by numbered():
    size_t index = 0;        // of this row, and of what else there is one of per constellation
    size_t firstRecord = 0;  // of its satellites in a sequence of those of all constellations

    constexpr size_t satelliteCount() const { return size_t{lastSvid} - firstSvid + 1; }
};

// Numbers rows and records through.
constexpr std::array<Constellation, kTrackedConstellations> numbered(
    std::array<Constellation, kTrackedConstellations> rows) {
    size_t record = 0;
    for (size_t i = 0; i < rows.size(); ++i) {
        rows[i].index = i;
        rows[i].firstRecord = record;
        record += rows[i].satelliteCount();
    }
    return rows;
}

inline constexpr std::array<Constellation, kTrackedConstellations> kConstellations = numbered({{
    {.code = Qon::Nav::kGps,
     .letter = 'G',
     .firstSvid = 1,
     .lastSvid = 32,
     .signal1 = Qon::Nav::kGpsL1P,
     .signal2 = Qon::Nav::kGpsL2P,
     .delay1Ns = &RunConfig::delayGpsL1Ns,
     .delay2Ns = &RunConfig::delayGpsL2Ns,
     .filePrefix = "GZ",
     .delayLabel1 = "GPS P1",
     .delayLabel2 = "GPS P2",
     .frc = "L3P",
     .kindWord = "GPS output"},
    {.code = Qon::Nav::kGlonass,
     .letter = 'R',
     .firstSvid = 38,
     .lastSvid = 67,
     .signal1 = Qon::Nav::kGloL1Ca,
     .signal2 = Qon::Nav::kGloL2Ca,
     .delay1Ns = &RunConfig::delayGloL1Ns,
     .delay2Ns = &RunConfig::delayGloL2Ns,
     .filePrefix = "RZ",
     .delayLabel1 = "GLO C1",
     .delayLabel2 = "GLO C2",
     .frc = "L3P",
     .kindWord = "GLONASS output"},
    {.code = Qon::Nav::kGalileo,
     .letter = 'E',
     .firstSvid = 71,
     .lastSvid = 106,
     .signal1 = Qon::Nav::kGalE1,
     .signal2 = Qon::Nav::kGalE5a,
     .delay1Ns = &RunConfig::delayGalE1Ns,
     .delay2Ns = &RunConfig::delayGalE5aNs,
     .filePrefix = "EZ",
     .delayLabel1 = "Galileo E1",
     .delayLabel2 = "Galileo E5a",
     .frc = "L3E",
     .kindWord = "GALILEO output"},
    {.code = Qon::Nav::kBeiDou,
     .letter = 'C',
     .firstSvid = 161,
     .lastSvid = 197,
     .signal1 = Qon::Nav::kBdsB1I,
     .signal2 = Qon::Nav::kBdsB2I,
     .delay1Ns = &RunConfig::delayBdsB1Ns,
     .delay2Ns = &RunConfig::delayBdsB2Ns,
     .filePrefix = "CZ",
     .delayLabel1 = "BeiDou B1",
     .delayLabel2 = "BeiDou B2",
     .frc = "L3B",
     .kindWord = "BeiDou output"},
}});

// The constellation that a satellite number belongs to; null when it has no files. GLONASS has 68 as well, a satellite
// whose slot is unknown, which is not among those tracked.
inline const Constellation* constellationOf(int svid) {
    const Qon::Nav::ConstellationCode code = Qon::Nav::SVIDToConstellation(svid);
    for (const Constellation& constellation : kConstellations) {
        if (constellation.code == code) return &constellation;
    }
    return nullptr;
}

constexpr size_t kTrackedSatellites = kConstellations.back().firstRecord + kConstellations.back().satelliteCount();
