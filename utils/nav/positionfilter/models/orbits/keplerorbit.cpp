#include "utils/nav/positionfilter/models/orbits/keplerorbit.h"

#include <cmath>

#include "utils/geometry/constants.h"

namespace Qon::Nav {
namespace {

constexpr double kMu = 3.986004418e14;          // m^3/s^2, of Galileo and BeiDou
constexpr double kCosTilt = 0.996194698091746;  // 5 degrees, of geostationary BeiDou orbits
constexpr double kSinTilt = 0.0871557427476582;

// Position in the orbital plane and the inclination of the plane.
struct PlanePosition {
    double x;
    double y;
    double inclination;
};

struct EccentricAnomaly {
    double value;
    double sine;
    double cosine;
};

// With sine and cosine, which the last correction needs and the caller again.
EccentricAnomaly solveKepler(double m, double e) {
    constexpr int kMaxCorrections = 11;
    constexpr double kSmallCorrection = 1e-14;  // rad
    EccentricAnomaly anomaly{m, std::sin(m), std::cos(m)};
    for (int k = 0; k < kMaxCorrections; ++k) {
        const double correction = (m - anomaly.value + e * anomaly.sine) / (1 - e * anomaly.cosine);
        const double corrected = anomaly.value + correction;
        // The last correction mostly vanishes in the rounding; its sine and cosine then need not be taken again.
        if (corrected != anomaly.value) anomaly = {corrected, std::sin(corrected), std::cos(corrected)};
        if (std::fabs(correction) <= kSmallCorrection) break;
    }
    return anomaly;
}

// In the order of the documents' algorithm. Every product and sum is formed as it stands there, as the last digits of
// rates hang on it: mean motion, anomalies, argument of latitude, radius and inclination with their harmonics.
PlanePosition planePosition(const KeplerOrbit& orbit, const KeplerModel& model, double tk) {
    const double a = orbit.sqrtA * orbit.sqrtA;
    const double n0 = model.sqrtMu / (a * orbit.sqrtA);
    const double m = (orbit.deltaN * kIcdPi + n0) * tk + orbit.m0 * kIcdPi;
    const double e = orbit.e;
    const EccentricAnomaly anomaly = solveKepler(m, e);
    const double trueAnomaly = std::atan2(std::sqrt(1 - e * e) * anomaly.sine, anomaly.cosine - e);
    const double phi = orbit.omega * kIcdPi + trueAnomaly;
    const double sin2 = std::sin(2 * phi);
    const double cos2 = std::cos(2 * phi);
    const double u = phi + orbit.cuc * cos2 + orbit.cus * sin2;
    const double r = (1 - e * anomaly.cosine) * a + orbit.crc * cos2 + orbit.crs * sin2;
    const double inclination = (orbit.i0 + orbit.idot * tk) * kIcdPi + orbit.cic * cos2 + orbit.cis * sin2;
    return {r * std::cos(u), r * std::sin(u), inclination};
}

// The plane turned by its inclination and then to its node at longitude `node`.
Vector3 fromPlane(const PlanePosition& plane, double node) {
    const double cosI = std::cos(plane.inclination);
    const double sinNode = std::sin(node);
    const double cosNode = std::cos(node);
    return {plane.x * cosNode - plane.y * cosI * sinNode, plane.x * sinNode + plane.y * cosI * cosNode,
            plane.y * std::sin(plane.inclination)};
}

}  // namespace

const KeplerModel kGpsModel = {std::sqrt(3.986005e14), 7.2921151467e-5, -4.442807633e-10};
const KeplerModel kGalileoModel = {std::sqrt(kMu), 7.2921151467e-5, -4.442807309e-10};
const KeplerModel kBeiDouModel = {std::sqrt(kMu), 7.292115e-5, -4.442807309e-10};

double OM_SolveKepler(double m, double e) { return solveKepler(m, e).value; }

// The node turns with the Earth, counted from the week's start: t_oe is the seconds of week of the constellation's own
// time.
Vector3 KeplerPosition(const KeplerOrbit& orbit, const KeplerModel& model, double tk) {
    const double node =
        orbit.omega0 * kIcdPi - model.earthRate * orbit.toe + (orbit.omegaDot * kIcdPi - model.earthRate) * tk;
    return fromPlane(planePosition(orbit, model, tk), node);
}

// The node stands still while the satellite moves in the tilted plane's frame; tilt and the turn of the Earth since
// t_oe follow.
Vector3 GeoPosition(const KeplerOrbit& orbit, const KeplerModel& model, double tk) {
    const double node = orbit.omega0 * kIcdPi - model.earthRate * orbit.toe + orbit.omegaDot * kIcdPi * tk;
    const Vector3 p = fromPlane(planePosition(orbit, model, tk), node);
    const double y = p.y * kCosTilt - p.z * kSinTilt;
    const double z = p.z * kCosTilt + p.y * kSinTilt;
    const double turn = model.earthRate * tk;
    return {p.x * std::cos(turn) + y * std::sin(turn), -p.x * std::sin(turn) + y * std::cos(turn), z};
}

double KeplerRelativity(const KeplerOrbit& orbit, const KeplerModel& model, double tk) {
    const double sqrtA = orbit.sqrtA;
    const double n0 = model.sqrtMu / (sqrtA * sqrtA * sqrtA);
    const EccentricAnomaly anomaly = solveKepler(orbit.m0 * kIcdPi + (n0 + orbit.deltaN * kIcdPi) * tk, orbit.e);
    return model.relativity * orbit.e * sqrtA * anomaly.sine * kSpeedOfLight;
}

}  // namespace Qon::Nav
