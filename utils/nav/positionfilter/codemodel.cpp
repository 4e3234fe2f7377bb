#include "utils/nav/positionfilter/codemodel.h"

#include <algorithm>
#include <cmath>

namespace Qon::Nav {
namespace {

constexpr double kMaxRange = 1e10;
constexpr double kMinOrbitRadius = 7e6;
constexpr double kMaxOrbitRadius = 1e8;

float modelledElevation(const Sight& sight) { return static_cast<float>(std::max(sight.elevation, kLowestElevation)); }

bool isIndex(int value, size_t limit) { return value >= 0 && static_cast<size_t>(value) < limit; }

}  // namespace

bool IsValidMeasurement(const CodeMeasurement& m) {
    const double radius = GetLineOfSight({}, m.sentFrom).range;
    return isIndex(m.satellite, kMaxSatelliteNumbers) && isIndex(m.clock, kMaxClocks) &&
           std::fabs(m.range) < kMaxRange && radius > kMinOrbitRadius && radius < kMaxOrbitRadius;
}

Viewpoint MakeViewpoint(const CodeModel& model, const Vector3& position) {
    const Geodetic geodetic = EcefToGeodetic(position);
    const auto zenith = model.troposphere.zenith;
    return {position, MakeLocalFrame(geodetic.latitude, geodetic.longitude),
            zenith == nullptr ? 0.0F : zenith(position)};
}

Sight SeeSatellite(const CodeModel& model, const Viewpoint& viewpoint, const CodeMeasurement& measurement) {
    const auto clock = static_cast<size_t>(measurement.clock);
    const Vector3& offset = model.phaseCentre[clock];
    const Vector3& p = viewpoint.position;
    const Vector3 antenna{p.x + offset.x, p.y + offset.y, p.z + offset.z};
    const double travel = GetLineOfSight(antenna, measurement.sentFrom).range;
    const LineOfSight line = GetLineOfSight(antenna, RotateForTravel(measurement.sentFrom, travel));
    const Vector3 direction{line.difference.x / line.range, line.difference.y / line.range,
                            line.difference.z / line.range};

    Sight sight;
    sight.direction = direction;
    const double sine = std::clamp(EcefToEnu(direction, viewpoint.frame).z, -1.0, 1.0);
    sight.elevation = std::asin(sine);
    const CodeNoise& noise = model.noise[clock];
    const double slope = noise.slope / std::max(sine, kLowestElevation);
    sight.sigma = std::sqrt(noise.zenith * noise.zenith + slope * slope);
    const auto slant = model.troposphere.slant;
    if (slant != nullptr) sight.delay = slant(viewpoint.zenithDelay, modelledElevation(sight));
    sight.misfit = measurement.range - line.range - sight.delay;
    return sight;
}

double DelayPerZenithDelay(const CodeModel& model, const Viewpoint& viewpoint, const Sight& sight) {
    const auto slant = model.troposphere.slant;
    if (slant == nullptr) return 0;
    return double{slant(viewpoint.zenithDelay + 1, modelledElevation(sight))} - sight.delay;
}

}  // namespace Qon::Nav
