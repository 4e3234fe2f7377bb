// Names and constellations of the internal satellite numbers (SVID):
// GPS 1-32, GLONASS 38-68 (68: slot unknown), Galileo 71-106, L-band 107-119, SBAS 120-158, BeiDou 161-197,
// QZSS 201-207, NavIC 211-224.
#pragma once

#include <array>

namespace Qon::Nav {

// The numbers by which the CGGTTS side knows the constellations.
enum ConstellationCode : int {
    kGps = 0,
    kGalileo = 1,
    kSbas = 2,
    kGlonass = 3,
    kBeiDou = 4,
    kQzss = 5,
    kNavic = 6,
    kNoConstellation = 7,
    kLBand = 8,
};

// Three characters and a NUL, "G01" to "I14"; "R00" for a GLONASS satellite of unknown slot, "???" for a number that
// names no satellite (33 to 37 among them).
using SatName = std::array<char, 4>;
SatName SVIDToName(int svid);

// kNoConstellation for a number that names no satellite.
ConstellationCode SVIDToConstellation(int svid);

}  // namespace Qon::Nav
