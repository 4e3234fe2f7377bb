// A satellite as its ephemeris describes it, whatever its constellation.
#pragma once

#include <optional>

#include "utils/geometry/geometry.h"
#include "utils/nav/navdatadecoder/satnavdecoder/ephemeris.h"
#include "utils/nav/positionfilter/models/orbits/glonassorbit.h"

namespace Qon::Nav {

// Where a satellite is and what its clock shows, at any instants in any order. t is GPS time, s since 1980-01-06 with
// whole weeks counted; usability is not asked (IsEphemerisUsable). Without an ephemeris everything is 0.
class SatelliteModel {
public:
    // The ephemeris must outlive the model, which no temporary one would.
    explicit SatelliteModel(const Ephemeris& ephemeris);
    explicit SatelliteModel(const Ephemeris&& ephemeris) = delete;

    // ECEF position in m at t (the time of transmission, chosen by the caller), in the frame of that very moment. The
    // Earth's centre where there is none: without an ephemeris, and for a GLONASS satellite 1920 s or more away from
    // its reference time.
    Vector3 GetSentPosition(double t);

    // The same, turned once for the Earth's rotation while the signal travels to `receiver` (ECEF, m; RotateForTravel).
    Vector3 GetSatPosition(double t, const Vector3& receiver);

    // Clock offset in m (positive: ahead of system time), without group delays and the relativistic correction.
    double GetSatClockBias(double t) const;

    // Relativistic clock correction F e sqrt(a) sin E in m: to be added to the clock offset. 0 for GLONASS, whose
    // broadcast clock includes it.
    double GetRelativisticCorr(double t) const;

private:
    const Ephemeris& ephemeris_;
    std::optional<GlonassArc> arc_;  // of a GLONASS satellite
};

}  // namespace Qon::Nav
