#include "utils/nav/positionfilter/models/orbits/orbits.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>

#include "tests/logbuilder.h"
#include "utils/geometry/navtools.h"
#include "utils/geometry/satnames.h"
#include "utils/nav/navdatadecoder/satnavdecoder/ephemerisstore.h"
#include "utils/zeltdata/zeltnav.h"
#include "utils/zeltdata/zeltread.h"

using namespace Qon::Nav;

namespace {

constexpr double kPi = 3.1415926535898;
constexpr double kC = 299792458.0;

double distance(const Vector3& a, const Vector3& b) { return std::hypot(a.x - b.x, a.y - b.y, a.z - b.z); }
double dot(const Vector3& a, const Vector3& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }

Vector3 positionAt(const Ephemeris& ephemeris, double t) {
    Vector3 position;
    GetSatPosition(ephemeris, t, position, position);  // seen from the Earth's centre
    return position;
}

double referenceTime(const Ephemeris& ephemeris) {
    struct Visitor {
        double operator()(const std::monostate&) const { return 0; }
        double operator()(const GpsEphemeris& e) const { return ReferenceTime(e); }
        double operator()(const GalEphemeris& e) const { return ReferenceTime(e); }
        double operator()(const GloEphemeris& e) const { return ReferenceTime(e); }
        double operator()(const BdsEphemeris& e) const { return ReferenceTime(e); }
    };
    return std::visit(Visitor{}, ephemeris);
}

// Every healthy ephemeris of the example log, in order, per satellite.
std::map<int, std::vector<Ephemeris>> exampleEphemerides() {
    std::map<int, std::vector<Ephemeris>> all;
    EphemerisStore store;
    ZeltFile file;
    zeltOpenFile(ZELT_EXAMPLES "/esbc-2020-06-25-3h.zelt", file);
    Bytes block;
    while (zeltGetNextBlock(file, block, kZeltAnyBlock, kZeltAnyBlock, 0) == kZeltFound) {
        ZeltNavBlock fixed;
        if (!zeltFixNavBlock(block, fixed)) continue;
        StoreNavBlock(store, fixed.bytes());
        const int svid = fixed.bytes().u8(kZeltSvidOffset);
        const Ephemeris& newest = store.slots[static_cast<size_t>(svid)];
        if (!IsEphemerisUsable(newest, referenceTime(newest))) continue;
        auto& known = all[svid];
        if (known.empty() || referenceTime(known.back()) != referenceTime(newest)) known.push_back(newest);
    }
    zeltCloseFile(file);
    return all;
}

// Two broadcasts of one satellite come from different fits to its real motion: at a time that both serve they agree to
// the accuracy of broadcast orbits and clocks, whatever the formulas had wrong shows as hundreds of metres.
TEST(Orbits, NeighbouringEphemeridesAgree) {
    struct Limits {
        double orbit;  // m
        double clock;  // m
        int minimumPairs;
    };
    const std::map<int, Limits> limits = {
        {kGps, {5, 3, 15}}, {kGalileo, {3, 2, 50}}, {kGlonass, {12, 12, 40}}, {kBeiDou, {15, 10, 15}}};
    std::map<int, int> pairs;
    for (const auto& [svid, ephemerides] : exampleEphemerides()) {
        const int code = SVIDToConstellation(svid);
        for (size_t i = 1; i < ephemerides.size(); ++i) {
            const double t = (referenceTime(ephemerides[i - 1]) + referenceTime(ephemerides[i])) / 2;
            if (!IsEphemerisUsable(ephemerides[i - 1], t) || !IsEphemerisUsable(ephemerides[i], t)) continue;
            ++pairs[code];
            EXPECT_LT(distance(positionAt(ephemerides[i - 1], t), positionAt(ephemerides[i], t)), limits.at(code).orbit)
                << SVIDToName(svid).data() << ' ' << t;
            EXPECT_LT(std::fabs(GetSatClockBias(ephemerides[i - 1], t) - GetSatClockBias(ephemerides[i], t)),
                      limits.at(code).clock)
                << SVIDToName(svid).data() << ' ' << t;
        }
    }
    for (const auto& [code, limit] : limits) EXPECT_GE(pairs[code], limit.minimumPairs) << code;
}

// The relativistic correction is also -2 r.v / c^2, with r and v from the positions themselves. The turn of the Earth
// adds to v at right angles to r.
TEST(Orbits, RelativityFollowsFromTheMotion) {
    for (const auto& [svid, ephemerides] : exampleEphemerides()) {
        if (SVIDToConstellation(svid) == kGlonass) {
            EXPECT_EQ(GetRelativisticCorr(ephemerides[0], 0), 0);
            continue;
        }
        const double t = referenceTime(ephemerides[0]) + 1000;
        const Vector3 before = positionAt(ephemerides[0], t - 0.5);
        const Vector3 after = positionAt(ephemerides[0], t + 0.5);
        const Vector3 velocity{after.x - before.x, after.y - before.y, after.z - before.z};
        EXPECT_NEAR(GetRelativisticCorr(ephemerides[0], t), -2 * dot(positionAt(ephemerides[0], t), velocity) / kC,
                    0.02)
            << SVIDToName(svid).data();
    }
}

// C05 stands over the equator at 58.75 degrees east.
TEST(Orbits, GeostationaryBeiDouStaysInItsPlace) {
    const auto all = exampleEphemerides();
    const auto c05 = all.find(165);
    ASSERT_NE(c05, all.end());
    for (double dt = -3600; dt <= 3600; dt += 1200) {
        const Vector3 p = positionAt(c05->second[0], referenceTime(c05->second[0]) + dt);
        EXPECT_NEAR(std::atan2(p.y, p.x) * 180 / kPi, 58.75, 0.3);
        EXPECT_NEAR(std::hypot(p.x, p.y, p.z), 42164e3, 60e3);
        EXPECT_NEAR(p.z, 0, 42164e3 * 0.04);
    }
}

// A circular orbit has a position in closed form.
TEST(Orbits, CircularOrbit) {
    GpsEphemeris ephemeris;
    ephemeris.svid = 1;
    ephemeris.orbit.wnToe = kTestWeek;
    ephemeris.orbit.toe = 302400;
    ephemeris.orbit.sqrtA = 5153.6;
    ephemeris.orbit.m0 = 0.25;
    ephemeris.orbit.omega = 0.125;
    ephemeris.orbit.omega0 = -0.5;
    ephemeris.orbit.i0 = 0.3;
    const double a = 5153.6 * 5153.6;
    for (const double tk : {-7000.0, 0.0, 1.0, 6000.0, 604800.0}) {  // no wrap at half a week
        const double u = (0.25 + 0.125) * kPi + std::sqrt(3.986005e14 / (a * a * a)) * tk;
        const double node = -0.5 * kPi - 7.2921151467e-5 * (302400 + tk);
        const double i = 0.3 * kPi;
        const Vector3 expected{a * (std::cos(u) * std::cos(node) - std::sin(u) * std::cos(i) * std::sin(node)),
                               a * (std::cos(u) * std::sin(node) + std::sin(u) * std::cos(i) * std::cos(node)),
                               a * std::sin(u) * std::sin(i)};
        const Vector3 got = OM_GetSatPosGPS(ephemeris, GpsTime(kTestWeek, 302400) + tk);
        EXPECT_LT(distance(got, expected), 1e-4) << tk;
    }
}

TEST(Orbits, KeplersEquation) {
    for (double e = 0; e < 0.75; e += 0.1) {
        for (double m = -7; m < 7; m += 0.37) {
            const double anomaly = OM_SolveKepler(m, e);
            EXPECT_NEAR(anomaly - e * std::sin(anomaly), m, 1e-12) << e << ' ' << m;
        }
    }
}

TEST(Orbits, GlonassIntegrationEnds) {
    const auto all = exampleEphemerides();
    const auto first = all.lower_bound(38);
    ASSERT_LE(first->first, 67);
    const auto& ephemeris = std::get<GloEphemeris>(first->second[0]);
    const double t0 = ReferenceTime(ephemeris);
    const Vector3 there = *OM_GetSatPosGLO(ephemeris, t0);
    EXPECT_EQ(there.x, ephemeris.position.x * 1000);
    EXPECT_EQ(there.z, ephemeris.position.z * 1000);
    for (const double side : {-1.0, 1.0}) {
        EXPECT_TRUE(OM_GetSatPosGLO(ephemeris, t0 + side * 1919));
        EXPECT_FALSE(OM_GetSatPosGLO(ephemeris, t0 + side * 1920));
        EXPECT_FALSE(OM_GetSatPosGLO(ephemeris, side * INFINITY));
        // The path is smooth across the whole steps of 80 s: second differences are those of 9.8/17 m/s^2.
        for (double dt = 0; dt < 1000; dt += 20) {
            const Vector3 a = *OM_GetSatPosGLO(ephemeris, t0 + side * dt);
            const Vector3 b = *OM_GetSatPosGLO(ephemeris, t0 + side * (dt + 10));
            const Vector3 c = *OM_GetSatPosGLO(ephemeris, t0 + side * (dt + 20));
            const Vector3 second{a.x - 2 * b.x + c.x, a.y - 2 * b.y + c.y, a.z - 2 * b.z + c.z};
            EXPECT_LT(std::hypot(second.x, second.y, second.z), 100 * 1.2) << dt;
            EXPECT_GT(std::hypot(second.x, second.y, second.z), 100 * 0.1) << dt;
        }
    }
    EXPECT_FALSE(OM_GetSatPosGLO(ephemeris, NAN));
    Vector3 kept{2e7, 0, 0};
    GetSatPosition(first->second[0], 0, {0, 0, 0}, kept);  // far outside: the caller's position is turned
    EXPECT_EQ(kept.x, 2e7);
    EXPECT_NEAR(kept.y, -2e7 * 2e7 / kC * 7.2921151467e-5, 1e-3);
}

TEST(Clocks, PolynomialAndGroupDelays) {
    GpsEphemeris gps;
    gps.clock = {kTestWeek, 1000, 1e-4, 1e-11F, 1e-15F};
    gps.tgd = 5e-9F;
    const double t = GpsTime(kTestWeek, 1000) + 100;
    EXPECT_NEAR(OM_GetSatClockGPS(gps, 0, t).offset, kC * (1e-4 + 1e-9 + 1e-11), 1e-8);
    EXPECT_NEAR(OM_GetSatClockGPS(gps, 0, t).drift, kC * (1e-11 + 2e-13), 1e-10);
    GalEphemeris galE5b;
    galE5b.bgdE1E5b = 3e-9F;
    galE5b.bgdE1E5a = 9e-9F;
    GalEphemeris galE5a;
    galE5a.bgdE1E5a = 9e-9F;
    GalEphemeris galE6;
    galE6.bgdE1E6a = 7e-9F;
    GloEphemeris glo;
    glo.dtau = 2e-9F;
    glo.gamma = 1e-12F;
    glo.tau = 1e-5F;
    BdsEphemeris bds;
    bds.tgd1 = 4e-9F;
    bds.tgd2 = 6e-9F;
    const struct {
        double delay;
        double nanoseconds;
    } cases[] = {
        {OM_GetSatClockGPS(gps, 1, t).groupDelay, 5},
        {OM_GetSatClockGPS(gps, 2, t).groupDelay, 5 * 77.0 * 77 / 60 / 60},
        {OM_GetSatClockGPS(gps, 4, t).groupDelay, 0},
        {OM_GetSatClockGAL(galE5b, 17, t).groupDelay, 3},
        {OM_GetSatClockGAL(galE5b, 21, t).groupDelay, 3 * 154.0 * 154 / 118 / 118},
        {OM_GetSatClockGAL(galE5b, 20, t).groupDelay, 0},
        {OM_GetSatClockGAL(galE5a, 17, t).groupDelay, 9},
        {OM_GetSatClockGAL(galE5a, 20, t).groupDelay, 9 * 154.0 * 154 / 115 / 115},
        {OM_GetSatClockGAL(galE6, 16, t).groupDelay, 7},
        {OM_GetSatClockGAL(galE6, 18, t).groupDelay, 7 * 154.0 * 154 / 125 / 125},
        {OM_GetSatClockGAL(GalEphemeris{}, 17, t).groupDelay, 0},
        {OM_GetSatClockGLO(glo, 8, t).groupDelay, 2 * 1.53125},
        {OM_GetSatClockGLO(glo, 11, t).groupDelay, 2 * 2.53125},
        {OM_GetSatClockBDS(bds, 28, t).groupDelay, 4},
        {OM_GetSatClockBDS(bds, 29, t).groupDelay, 6},
    };
    for (const auto& c : cases) EXPECT_NEAR(c.delay, c.nanoseconds * 1e-9 * kC, 1e-6);
    EXPECT_NEAR(OM_GetSatClockGLO(glo, 8, 1000).offset, kC * (1e-9 - 1e-5), 1e-4);
}

}  // namespace
