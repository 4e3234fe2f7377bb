#include "utils/geometry/geometry.h"

#include <cmath>

#include "utils/geometry/constants.h"

namespace Qon::Nav {
namespace {

// WGS-84; the derived constants are fixed values of their own so that every build gives the same digits.
constexpr double kSemiMajorAxis = 6378137.0;
constexpr double kSemiMinorAxis = 6356752.314245179;
constexpr double kEccentricitySq = 0.0066943799901413165;
constexpr double kOneMinusEccentricitySq = 0.9933056200098587;
constexpr double kEccentricitySqTimesA = 42697.67270717997;
constexpr double kSecondEccentricitySqTimesB = 42841.31151331357;

// Latitudes are folded back by pi as interface documents round it, azimuths wrapped by a full double. The difference is
// of no account: latitudes leave their range only within 43 km of the Earth's centre.
constexpr double kHalfPi = 1.5707963267949;
constexpr double kTwoPi = 6.283185307179586;

constexpr double kLongitudeFloorX = 1e-13;                    // keeps atan2 at longitude 0 on the Z axis
constexpr double kMinimumRange = 1.0;                         // m
constexpr double kRotationPerMetre = 2.4323877909897254e-13;  // 7.2921151467e-5 rad/s over the speed of light

}  // namespace

LocalFrame MakeLocalFrame(double latitude, double longitude) {
    return {std::cos(longitude), std::sin(longitude), std::cos(latitude), std::sin(latitude)};
}

LocalFrame LocalFrameAt(const Vector3& position) {
    const Geodetic geodetic = EcefToGeodetic(position);
    return MakeLocalFrame(geodetic.latitude, geodetic.longitude);
}

Vector3 Difference(const Vector3& a, const Vector3& b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }

LineOfSight GetLineOfSight(const Vector3& receiver, const Vector3& satellite) {
    const Vector3 d = Difference(satellite, receiver);
    const double range = std::sqrt(d.x * d.x + d.y * d.y + d.z * d.z);
    return {d, range, range > kMinimumRange};
}

Vector3 EcefToEnu(const Vector3& d, const LocalFrame& f) {
    return {-f.sinLon * d.x + f.cosLon * d.y, -(f.sinLat * f.cosLon) * d.x - f.sinLon * f.sinLat * d.y + f.cosLat * d.z,
            f.cosLat * f.cosLon * d.x + f.sinLon * f.cosLat * d.y + f.sinLat * d.z};
}

namespace {

double elevationOf(const Vector3& enu, const LineOfSight& sight) { return std::asin(enu.z / sight.range); }

}  // namespace

AzEl GetAzEl(const Vector3& satellite, const Vector3& receiver, const LocalFrame& station) {
    const LineOfSight sight = GetLineOfSight(receiver, satellite);
    const Vector3 enu = EcefToEnu(sight.difference, station);
    double azimuth = std::atan2(enu.x, enu.y);
    if (azimuth < 0) azimuth += kTwoPi;
    return {azimuth, elevationOf(enu, sight)};
}

double GetElevation(const Vector3& satellite, const Vector3& receiver, const LocalFrame& station) {
    const LineOfSight sight = GetLineOfSight(receiver, satellite);
    return elevationOf(EcefToEnu(sight.difference, station), sight);
}

Geodetic EcefToGeodetic(const Vector3& position) {
    const double x = position.x;
    const double y = position.y;
    const double z = position.z;
    const double longitude = std::atan2(y, x == 0 ? kLongitudeFloorX : x);
    const double p = std::sqrt(x * x + y * y);
    const double r = std::sqrt(p * p + z * z);
    // A guess of the foot point's reduced latitude that is close at any height, so that one pass is enough.
    const double beta = std::atan2((r + kSecondEccentricitySqTimesB) * (z / kSemiMajorAxis), (p / kSemiMinorAxis) * r);
    const double sinBeta = std::sin(beta);
    const double cosBetaCubed = (1 - sinBeta * sinBeta) * std::cos(beta);
    double latitude = std::atan2(z + kSecondEccentricitySqTimesB * sinBeta * sinBeta * sinBeta,
                                 p - kEccentricitySqTimesA * cosBetaCubed);
    if (latitude > kHalfPi) latitude -= kIcdPi;
    if (latitude < -kHalfPi) latitude += kIcdPi;
    const double sinLat = std::sin(latitude);
    const double height =
        p * std::cos(latitude) + z * sinLat - kSemiMajorAxis * std::sqrt(1 - kEccentricitySq * sinLat * sinLat);
    return {latitude, longitude, height};
}

Vector3 GeodeticToEcef(const LocalFrame& f, double height) {
    const double n = kSemiMajorAxis / std::sqrt(1 - kEccentricitySq * (f.sinLat * f.sinLat));
    return {(n + height) * f.cosLat * f.cosLon, (n + height) * f.cosLat * f.sinLon,
            (n * kOneMinusEccentricitySq + height) * f.sinLat};
}

Vector3 RotateForTravel(const Vector3& p, double range) {
    const double theta = range * kRotationPerMetre;
    return {p.x + theta * p.y, p.y - theta * p.x, p.z};
}

}  // namespace Qon::Nav
