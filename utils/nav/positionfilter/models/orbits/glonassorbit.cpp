#include "utils/nav/positionfilter/models/orbits/glonassorbit.h"

#include <cmath>

namespace Qon::Nav {
namespace {

// In kilometres, as the state is broadcast.
constexpr double kMu = 398600.44;                    // km^3/s^2
constexpr double kSecondZonal = 26332671177.692257;  // 3/2 J2 mu ae^2, km^5/s^2
constexpr double kEarthRateSq = 5.3174941173225e-9;  // 1/s^2
constexpr double kTwiceEarthRate = 0.0001458423;     // 1/s
constexpr double kMetresPerKm = 1000;

constexpr double kStep = 80;  // s

using State = GlonassState;

Vector3 addScaled(const Vector3& a, const Vector3& b, double factor) {
    return {a.x + b.x * factor, a.y + b.y * factor, a.z + b.z * factor};
}

State addScaled(const State& a, const State& b, double factor) {
    return {addScaled(a.positionKm, b.positionKm, factor), addScaled(a.velocityKmPerS, b.velocityKmPerS, factor)};
}

// What position and velocity change by in a second: by gravity with its second zonal harmonic, the forces of the
// turning frame, Sun and Moon.
State derivative(const State& s, const Vector3& lunisolar) {
    const Vector3& p = s.positionKm;
    const Vector3& v = s.velocityKmPerS;
    const double r2 = p.x * p.x + p.y * p.y + p.z * p.z;
    const double r = std::sqrt(r2);
    const double r3 = r2 * r;
    const double central = -kMu / r3;
    const double zonal = kSecondZonal / (r3 * r2);
    const double q = 5 * p.z * p.z / r2;
    return {v,
            {central * p.x - zonal * p.x * (1 - q) + kEarthRateSq * p.x + kTwiceEarthRate * v.y + lunisolar.x,
             central * p.y - zonal * p.y * (1 - q) + kEarthRateSq * p.y - kTwiceEarthRate * v.x + lunisolar.y,
             central * p.z - zonal * p.z * (3 - q) + lunisolar.z}};
}

State rungeKuttaStep(const State& s, const Vector3& lunisolar, double h) {
    const State k1 = derivative(s, lunisolar);
    const State k2 = derivative(addScaled(s, k1, h / 2), lunisolar);
    const State k3 = derivative(addScaled(s, k2, h / 2), lunisolar);
    const State k4 = derivative(addScaled(s, k3, h), lunisolar);
    State next = addScaled(s, k1, h / 6);
    next = addScaled(next, k2, h * 2 / 6);
    next = addScaled(next, k3, h * 2 / 6);
    return addScaled(next, k4, h / 6);
}

}  // namespace

GlonassArc::GlonassArc(const GloEphemeris& ephemeris)
    : referenceTime_(ephemeris.referenceTime), lunisolarKmPerS2_(ephemeris.accelerationKmPerS2), step_(kStep) {
    states_[0] = {ephemeris.positionKm, ephemeris.velocityKmPerS};
}

std::optional<Vector3> GlonassArc::positionAt(double t) {
    const double dt = t - referenceTime_;
    const double step = dt < 0 ? -kStep : kStep;
    if (step != step_) {  // the other direction begins anew
        step_ = step;
        known_ = 1;
    }
    // Whole steps before t. Formed by comparison, which a t that is no number or far away ends too.
    size_t whole = 0;
    while (whole < kStates && !(std::fabs(dt) < kStep * static_cast<double>(whole + 1))) ++whole;
    if (whole == kStates) return std::nullopt;
    for (; known_ <= whole; ++known_) states_[known_] = rungeKuttaStep(states_[known_ - 1], lunisolarKmPerS2_, step);
    const double rest = dt - step * static_cast<double>(whole);
    const Vector3 p = rungeKuttaStep(states_[whole], lunisolarKmPerS2_, rest).positionKm;
    return Vector3{p.x * kMetresPerKm, p.y * kMetresPerKm, p.z * kMetresPerKm};
}

}  // namespace Qon::Nav
