// The constellations that CGGTTS files are made of: all in which they differ.
#pragma once

#include <array>
#include <cstdint>

#include "cggtts/runconfig.h"
#include "utils/geometry/satnames.h"
#include "utils/geometry/sigtypes.h"

struct Constellation {
    char letter;  // of -x
    Qon::Nav::ConstellationCode code;
    uint8_t firstSvid;  // of the satellites tracked
    uint8_t lastSvid;
    Qon::Nav::SignalType signal1;
    Qon::Nav::SignalType signal2;
    double RunConfig::*delay1;  // internal delay of signal 1, ns
    double RunConfig::*delay2;
    const char* filePrefix;
    const char* delayLabel1;
    const char* delayLabel2;
    const char* frc;       // three characters, of the data line
    const char* kindWord;  // of the output file, in messages
};

constexpr std::array<Constellation, kTrackedConstellations> kConstellations = {{
    {'G', Qon::Nav::kGps, 1, 32, Qon::Nav::kGpsL1P, Qon::Nav::kGpsL2P, &RunConfig::delayGpsL1, &RunConfig::delayGpsL2,
     "GZ", "GPS P1", "GPS P2", "L3P", "GPS output"},
    {'R', Qon::Nav::kGlonass, 38, 67, Qon::Nav::kGloL1Ca, Qon::Nav::kGloL2Ca, &RunConfig::delayGloL1,
     &RunConfig::delayGloL2, "RZ", "GLO C1", "GLO C2", "L3P", "GLONASS output"},
    {'E', Qon::Nav::kGalileo, 71, 106, Qon::Nav::kGalE1, Qon::Nav::kGalE5a, &RunConfig::delayGalE1,
     &RunConfig::delayGalE5a, "EZ", "Galileo E1", "Galileo E5a", "L3E", "GALILEO output"},
    {'C', Qon::Nav::kBeiDou, 161, 197, Qon::Nav::kBdsB1I, Qon::Nav::kBdsB2I, &RunConfig::delayBdsB1,
     &RunConfig::delayBdsB2, "CZ", "BeiDou B1", "BeiDou B2", "L3B", "BeiDou output"},
}};

// Index into kConstellations of the constellation that a satellite number belongs to; its size when it has no files.
inline size_t constellationOf(int svid) {
    const Qon::Nav::ConstellationCode code = Qon::Nav::SVIDToConstellation(svid);
    size_t i = 0;
    while (i < kConstellations.size() && kConstellations[i].code != code) ++i;
    return i;
}

constexpr size_t constellationSatellites(const Constellation& c) { return size_t{c.lastSvid} - c.firstSvid + 1; }

// Track records of all constellations, one after the other.
constexpr size_t kTrackedSatellites = [] {
    size_t count = 0;
    for (const Constellation& c : kConstellations) count += constellationSatellites(c);
    return count;
}();
