// The GLONASS orbit: numerical integration of the broadcast state, after the GLONASS ICD, edition 5.1 (2008), appendix
// 3 (the form with a constant acceleration by Sun and Moon). Constants are those of PZ-90: mu = 398600.44 km^3/s^2, J2
// = 1.0826257e-3, equatorial radius 6378.136 km, Earth rotation 7.292115e-5 rad/s.
//
// Positions are in PZ-90 and taken for ITRF. PZ-90.11, broadcast since 2014, is ITRF to some centimetres, 0.1 ns; logs
// from before have PZ-90.02, off by (-0.36, 0.08, 0.18) m, 1.4 ns at most.
#pragma once

#include <array>
#include <cstddef>
#include <optional>

#include "utils/geometry/geometry.h"
#include "utils/nav/navdatadecoder/satnavdecoder/ephemeris.h"

namespace Qon::Nav {

struct GlonassState {
    Vector3 positionKm;      // ECEF
    Vector3 velocityKmPerS;  // in the turning frame
};

// The motion that one ephemeris describes: Runge-Kutta of fourth order in steps of 80 s and a shorter last one. Against
// steps of 1 s, over the 491 ephemerides of a day, positions are off by 1 mm after 450 s, 2 mm after 900 s and 4 mm
// after 1800 s (0.014 ns).
//
// The whole steps integrated so far are kept, as the instants of a track share them; they save time and change no
// result.
class GlonassArc {
public:
    explicit GlonassArc(const GloEphemeris& ephemeris);

    // ECEF position in m at t (GPS time, s); nothing 1920 s or more away from the ephemeris's reference time.
    std::optional<Vector3> positionAt(double t);

private:
    static constexpr size_t kStates = 24;  // 0 to 1840 s in steps of 80 s

    double referenceTime_;
    Vector3 lunisolarKmPerS2_;                  // acceleration by Sun and Moon
    double step_;                               // s, negative before the reference time
    size_t known_ = 1;                          // states integrated, with the broadcast one
    std::array<GlonassState, kStates> states_;  // a step apart
};

}  // namespace Qon::Nav
