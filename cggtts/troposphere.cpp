#include "cggtts/troposphere.h"

#include <cmath>

namespace {

constexpr double kMetresPerMillimetre = 0.001;
constexpr double kMetresPerKm = 1000.0;

// N integrated over km of height gives mm of delay. Constants that follow from others are fixed all the same, so that
// no build forms them in another order.
constexpr double kSurfaceRefractivity = 324.8;
constexpr double kHalfFirstKmDrop = 22.39578446028995;  // -D / 2: integrating the linear part squares the height
constexpr double kAboveOneKm = 2162.0;
constexpr double kAboveNineKm = 732.0;
constexpr double kDecay = 0.980859363556328;             // ln(N1 / 105), from 1 km to 9 km
constexpr double kDecayPerKm = 0.125;                    // the share of it in each of the 8 km
constexpr double kExponentialScale = 2283.780460140064;  // N1 * 8 / kDecay: what the exponential integrates to

}  // namespace

float zenithTropoDelay(const Qon::Nav::Vector3& position) {
    const double h = static_cast<float>(Qon::Nav::EcefToGeodetic(position).height / kMetresPerKm);
    if (h < 1) {
        return static_cast<float>(((1 - h) * kSurfaceRefractivity + kAboveOneKm - (1 - h * h) * kHalfFirstKmDrop) *
                                  kMetresPerMillimetre);
    }
    const double decayed = std::exp(-kDecay) - std::exp((1 - h) * kDecayPerKm * kDecay);
    return static_cast<float>((kAboveNineKm - decayed * kExponentialScale) * kMetresPerMillimetre);
}

float tropoMapping(float zenithDelay, float elevation) {
    const double e = elevation;
    return static_cast<float>(zenithDelay / (std::sin(e) + 0.00143 / (std::tan(e) + 0.0455)));
}
