// Satellite positions and clocks from broadcast ephemerides.
// t is GPS time: seconds since 1980-01-06, whole weeks counted, so differences to a reference epoch are never wrapped.
// Positions are Earth-fixed (ECEF), metres; clock offsets are metres (positive: the satellite's clock is ahead).
#pragma once

#include <optional>

#include "utils/geometry/geometry.h"
#include "utils/nav/navdatadecoder/satnavdecoder/ephemeris.h"

namespace Qon::Nav {

// IS-GPS-200, table 20-IV; Galileo OS SIS ICD, section 5.1.1; BDS-SIS-ICD B1I, section 5.2.4.12 (C01 to C05: the
// geostationary form).
Vector3 OM_GetSatPosGPS(const GpsEphemeris& ephemeris, double t);
Vector3 OM_GetSatPosGAL(const GalEphemeris& ephemeris, double t);
Vector3 OM_GetSatPosBDS(const BdsEphemeris& ephemeris, double t);

// GLONASS ICD, edition 5.1, appendix 3: Runge-Kutta integration of the broadcast state in steps of 80 s. Nothing when
// t is 1920 s or more away from the reference epoch.
std::optional<Vector3> OM_GetSatPosGLO(const GloEphemeris& ephemeris, double t);

struct SatClock {
    double offset = 0;      // m
    double drift = 0;       // m/s
    double groupDelay = 0;  // m, that the asked signal suffers in the satellite; 0 when unknown
};

// Clock without the relativistic correction, and the group delay of a signal number.
SatClock OM_GetSatClockGPS(const GpsEphemeris& ephemeris, int signal, double t);
SatClock OM_GetSatClockGAL(const GalEphemeris& ephemeris, int signal, double t);
SatClock OM_GetSatClockGLO(const GloEphemeris& ephemeris, int signal, double t);
SatClock OM_GetSatClockBDS(const BdsEphemeris& ephemeris, int signal, double t);

}  // namespace Qon::Nav
