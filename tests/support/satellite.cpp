#include "tests/support/satellite.h"

#include <algorithm>
#include <cmath>

#include "cggtts/troposphere.h"
#include "utils/geometry/constants.h"
#include "utils/geometry/sigtypes.h"

using namespace Qon::Nav;

namespace {

constexpr double kPi = 3.1415926535898;
constexpr double kEarthRate = 7.2921151467e-5;
constexpr double kLatitude = 0.9;
constexpr double kLongitude = 0.15;

constexpr double kSqrtA = 5200;
constexpr double kInclination = 0.3 * kPi;                                        // 0.3 semicircles
const double kZenithU = std::asin(std::sin(kLatitude) / std::sin(kInclination));  // argument of latitude at the zenith
const double kZenithNode = kLongitude - std::atan2(std::sin(kZenithU) * std::cos(kInclination), std::cos(kZenithU));

constexpr double square(double x) { return x * x; }

double meanMotion(const Satellite& s) { return std::sqrt(s.mu) / std::pow(kSqrtA, 3); }

// t_oe is the track's start, in the constellation's own seconds of week, from which its node counts.
uint32_t toeOf(const Satellite& s) { return kTrackStart - (s.navNumber == kZeltBdsNav ? 14 : 0); }

Vector3 positionAt(const Satellite& s, double tk) {
    const double a = kSqrtA * kSqrtA;
    const double u = kZenithU + meanMotion(s) * (tk - kTrackMiddle);
    const double node = kZenithNode - s.earthRate * (tk - kTrackMiddle);
    const double inPlane = std::sin(u) * std::cos(kInclination);
    return {a * (std::cos(u) * std::cos(node) - inPlane * std::sin(node)),
            a * (std::cos(u) * std::sin(node) + inPlane * std::cos(node)), a * std::sin(u) * std::sin(kInclination)};
}

}  // namespace

const Vector3 kStation = GeodeticToEcef(MakeLocalFrame(kLatitude, kLongitude), 80);

const Satellite kGpsSatellite{'G', kZeltGpsNav, 5, 1, 2, 3.986005e14, kEarthRate, 5e-9, 5e-9 * square(77.0 / 60)};
const Satellite kGalSatellite{
    'E', kZeltGalNav, 75, 17, 20, 3.986004418e14, kEarthRate, -3e-9, -3e-9 * square(154.0 / 115)};
const Satellite kBdsSatellite{'C', kZeltBdsNav, 150, 28, 29, 3.986004418e14, 7.292115e-5, 8e-9, -2e-9};

ByteVector navBlock(const Satellite& s, const Truth& truth) {
    BlockBuilder b(s.navNumber, 152, 0, (kTrackStart - 600) * 1000);
    const double m0 = (kZenithU - meanMotion(s) * kTrackMiddle) / kPi;
    const double omega0 = (kZenithNode + s.earthRate * (toeOf(s) + kTrackMiddle)) / kPi;
    b.u8(14, s.svid);
    if (s.navNumber == kZeltGalNav) {
        b.u8(15, 16).f64(16, kSqrtA).f64(24, m0).f64(40, 0.3).f64(56, omega0).u32(100, toeOf(s)).u32(104, toeOf(s));
        b.f64(116, truth.satelliteClock).u16(124, kTestWeek).u16(126, kTestWeek).u16(130, 0x0100);
        return b.f32(136, s.groupDelay1).done();
    }
    const int week = s.navNumber == kZeltBdsNav ? kTestWeek - 1356 : kTestWeek % 1024;
    b.u32(32, toeOf(s)).f32(44, truth.satelliteClock).f64(56, m0).f64(80, kSqrtA).u32(88, toeOf(s));
    b.f64(96, omega0).f64(108, 0.3).u16(136, week).u16(138, week);
    if (s.navNumber == kZeltGpsNav) return b.u8(25, 77).f32(28, s.groupDelay1).done();
    return b.f32(24, s.groupDelay1).f32(28, s.groupDelay2 == 0 ? kNotAvailable : s.groupDelay2).done();
}

// Light time by iteration, the Earth turned rigorously.
ByteVector epochBlock(const Satellite& s, uint32_t t, const Truth& truth, int count) {
    const double tk = t - kTrackStart;
    const double clock = truth.clock + truth.drift * (tk - kTrackMiddle);
    const LocalFrame station = LocalFrameAt(kStation);
    double travel = 0.07;
    double elevation = 0;
    for (int i = 0; i < 6; ++i) {
        Vector3 p = positionAt(s, tk - clock - travel);
        const double turn = kEarthRate * travel;  // into the frame at reception
        p = {p.x * std::cos(turn) + p.y * std::sin(turn), p.y * std::cos(turn) - p.x * std::sin(turn), p.z};
        elevation = GetAzEl(p, kStation, station).elevation;
        travel = GetLineOfSight(kStation, p).range / kLightSpeed;
    }
    const double tropo = tropoMapping(zenithTropoDelay(kStation), static_cast<float>(elevation));
    const double geometric = kLightSpeed * (travel + clock - truth.satelliteClock) + tropo;
    const double iono = truth.iono + truth.ionoRate * (tk - kTrackMiddle);
    const int64_t code1 = std::llround((geometric + iono + kLightSpeed * (truth.delay1 + s.groupDelay1)) * 1000);
    const double f1 = GetSignalFrequency(s.signal1, 8);
    const double iono2 = iono * square(f1 / GetSignalFrequency(s.signal2, 8));
    const int64_t code2 = std::llround((geometric + iono2 + kLightSpeed * (truth.delay2 + s.groupDelay2)) * 1000);

    BlockBuilder b(kZeltMeasEpoch, 20, 1, t * 1000);
    b.u8(14, {count, 20, 12});
    for (int i = 0; i < count; ++i) {
        const size_t at = b.bytes.size();
        b.u8(at, {i + 1, s.signal1, s.svid + i}).u8(at + 3, code1 >> 32).u32(at + 4, code1).u8(at + 19, 1);
        b.u8(at + 20, s.signal2).u8(at + 23, (code2 - code1) >> 16 & 7).u16(at + 26, code2 - code1).u16(at + 30, 0);
    }
    return b.done();
}

ByteVector simulate(const Satellite& s, int epochs, const std::vector<int>& missing, const Truth& truth) {
    ByteVector log = navBlock(s, truth);
    for (int i = 0; i < epochs; ++i) {
        if (std::find(missing.begin(), missing.end(), i) != missing.end()) continue;
        log += epochBlock(s, kTrackStart + 30 + 30 * static_cast<uint32_t>(i), truth);
    }
    return log;
}

ByteVector simulateAllGps() {
    Satellite satellite = kGpsSatellite;
    ByteVector log;
    for (satellite.svid = 1; satellite.svid <= 32; ++satellite.svid) log += navBlock(satellite);
    satellite.svid = 1;
    for (uint32_t t = kTrackStart + 30; t <= kTrackStart + 780; t += 30) log += epochBlock(satellite, t, {}, 32);
    return log;
}
