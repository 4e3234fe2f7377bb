#include "cggtts/troposphere.h"

#include <cmath>

namespace {

constexpr double kMetresPerMillimetre = 0.001;
constexpr double kMetresPerKm = 1000.0;

// Refractivity integrals in millimetres: linear decrease with height up to 1 km, exponential above.
constexpr double kSurfaceGradient = 324.8;
constexpr double kAboveOneKm = 2162.0;
constexpr double kHalfRefractivityStep = 22.39578446028995;
constexpr double kStratosphere = 732.0;
constexpr double kDecay = 0.980859363556328;
constexpr double kExponentialScale = 2283.780460140064;

}  // namespace

float zenithTropoDelay(const Qon::Nav::Vector3& position) {
    const double h = static_cast<float>(Qon::Nav::EcefToGeodetic(position).height / kMetresPerKm);
    if (h < 1) {
        return static_cast<float>(((1 - h) * kSurfaceGradient + kAboveOneKm - (1 - h * h) * kHalfRefractivityStep) *
                                  kMetresPerMillimetre);
    }
    const double decayed = std::exp(-kDecay) - std::exp((1 - h) * 0.125 * kDecay);
    return static_cast<float>((kStratosphere - decayed * kExponentialScale) * kMetresPerMillimetre);
}

float tropoMapping(float zenithDelay, float elevation) {
    const double e = elevation;
    return static_cast<float>(zenithDelay / (std::sin(e) + 0.00143 / (std::tan(e) + 0.0455)));
}
