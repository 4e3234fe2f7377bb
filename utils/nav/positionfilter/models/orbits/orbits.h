// Satellite positions and clocks from broadcast ephemerides, constellation by constellation.
//
// t is GPS time: s since 1980-01-06, whole weeks counted, so differences to a reference time are never wrapped at half
// a week. Usability is not asked (IsEphemerisUsable). Positions are Earth-fixed (ECEF) in m, in the frame as it is at
// t.
//
// The track computation asks a SatelliteModel, which takes positions and clock offsets from here and keeps what GLONASS
// instants share. It does without OM_GetSatPosGLO, the drifts and the group delays of single signals.
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

// GLONASS ICD, edition 5.1, appendix 3 (glonassorbit.h). Nothing when t is 1920 s or more away from the reference time.
std::optional<Vector3> OM_GetSatPosGLO(const GloEphemeris& ephemeris, double t);

struct SatClock {
    double offset = 0;      // m: positive when the satellite's clock is ahead of system time
    double drift = 0;       // m/s
    double groupDelay = 0;  // m, of the asked signal (groupdelay.h)
};

// Clock without the relativistic correction, and the group delay of a signal number (sigtypes.h). The polynomials are
// those of IS-GPS-200, section 20.3.3.3.3.1, Galileo OS SIS ICD, section 5.1.4, and BDS-SIS-ICD B1I, section 5.2.4.10;
// GLONASS gamma dt - tau after the GLONASS ICD, edition 5.1, section 4.4.
SatClock OM_GetSatClockGPS(const GpsEphemeris& ephemeris, int signal, double t);
SatClock OM_GetSatClockGAL(const GalEphemeris& ephemeris, int signal, double t);
SatClock OM_GetSatClockGLO(const GloEphemeris& ephemeris, int signal, double t);
SatClock OM_GetSatClockBDS(const BdsEphemeris& ephemeris, int signal, double t);

}  // namespace Qon::Nav
