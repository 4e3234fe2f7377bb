// The values of one data line: what a track comes to, before it is text.
#pragma once

#include <cstdint>

// Lengths are in m (delays as c times the delay), rates in m/s, angles in rad. MDTR, SMDT, MDIO, SMDI and ISG hold
// values of single precision.
struct DataLine {
    uint8_t svid = 0;         // SAT
    uint32_t trackStart = 0;  // MJD and STTIME, s since 1980-01-06
    double elevation = 0;     // ELV
    double azimuth = 0;       // AZTH
    double refsv = 0;
    double srsv = 0;
    double refsys = 0;
    double srsys = 0;
    double dsg = 0;
    int ioe = 0;
    double mdtr = 0;
    double smdt = 0;
    double mdio = 0;  // measured; printed as MDIO and as MSIO, as its slope
    double smdi = 0;
    double isg = 0;
    int frequencyNumber = 0;  // FR
};
