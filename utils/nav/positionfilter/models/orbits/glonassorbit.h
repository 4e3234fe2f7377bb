// The GLONASS orbit: numerical integration of the broadcast state.
#pragma once

#include <optional>

#include "utils/geometry/geometry.h"
#include "utils/nav/navdatadecoder/satnavdecoder/ephemeris.h"

namespace Qon::Nav {

// ECEF position in m, dt seconds after (or before) the reference epoch; nothing for 1920 s or more.
std::optional<Vector3> IntegrateGlonass(const GloEphemeris& ephemeris, double dt);

}  // namespace Qon::Nav
