// The GLONASS orbit: numerical integration of the broadcast state.
#pragma once

#include <array>
#include <cstddef>
#include <optional>

#include "utils/geometry/geometry.h"
#include "utils/nav/navdatadecoder/satnavdecoder/ephemeris.h"

namespace Qon::Nav {

constexpr size_t kGlonassArcStates = 24;  // 0 to 1840 s in steps of 80 s

// The whole steps integrated so far from one ephemeris in one direction: the instants of a track share them. An arc
// begins empty and belongs to the ephemeris that it was first used with.
struct GlonassArc {
    struct State {
        Vector3 position;  // ECEF, km
        Vector3 velocity;  // km/s
    };
    double step = 0;   // s, signed; 0: empty
    size_t known = 0;  // states
    std::array<State, kGlonassArcStates> states{};
};

// ECEF position in m, dt seconds after (or before) the reference epoch; nothing for 1920 s or more. What `arc` holds
// saves time, it does not change the result.
std::optional<Vector3> IntegrateGlonass(const GloEphemeris& ephemeris, double dt, GlonassArc& arc);

}  // namespace Qon::Nav
