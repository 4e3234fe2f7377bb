// The GLONASS orbit: numerical integration of the broadcast state.
#pragma once

#include <array>
#include <cstddef>
#include <optional>

#include "utils/geometry/geometry.h"
#include "utils/nav/navdatadecoder/satnavdecoder/ephemeris.h"

namespace Qon::Nav {

struct GlonassState {
    Vector3 position;  // ECEF, km
    Vector3 velocity;  // km/s
};

// The motion that one ephemeris describes. The whole steps integrated so far are kept, as the instants of a track share
// them; they save time and change no result.
class GlonassArc {
public:
    explicit GlonassArc(const GloEphemeris& ephemeris);

    // ECEF position in m at t (GPS time, s); nothing 1920 s or more away from the ephemeris's reference time.
    std::optional<Vector3> positionAt(double t);

private:
    static constexpr size_t kStates = 24;  // 0 to 1840 s in steps of 80 s

    double referenceTime_;
    Vector3 acceleration_;                      // km/s^2, of Sun and Moon
    double step_;                               // s, negative before the reference time
    size_t known_ = 1;                          // states integrated, with the broadcast one
    std::array<GlonassState, kStates> states_;  // a step apart
};

}  // namespace Qon::Nav
