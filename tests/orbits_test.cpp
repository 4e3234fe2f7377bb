#include "utils/nav/positionfilter/models/orbits/orbits.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>

#include "tests/support/logs.h"
#include "utils/geometry/navtools.h"
#include "utils/geometry/satnames.h"
#include "utils/nav/navdatadecoder/satnavdecoder/ephemerisstore.h"
#include "utils/nav/positionfilter/models/orbits/glonassorbit.h"
#include "utils/nav/positionfilter/models/orbits/keplerorbit.h"
#include "utils/nav/positionfilter/models/orbits/satellitemodel.h"
#include "utils/zeltdata/zeltnav.h"

using namespace Qon::Nav;

namespace {

constexpr double kC = 299792458.0;

double length(const Vector3& a) { return std::hypot(a.x, a.y, a.z); }
double dot(const Vector3& a, const Vector3& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }

// As seen from the Earth's centre.
Vector3 positionAt(const Ephemeris& ephemeris, double t) { return SatelliteModel(ephemeris).GetSatPosition(t, {}); }

double referenceTime(const Ephemeris& ephemeris) { return HeadOf(ephemeris).referenceTime; }

// Every healthy ephemeris of the example log, in order, per satellite.
std::map<int, std::vector<Ephemeris>> exampleEphemerides() {
    std::map<int, std::vector<Ephemeris>> all;
    EphemerisStore store;
    const ByteVector log = readLog(kExampleLog);
    for (const Bytes block : blocksOf(viewOf(log))) {
        ZeltNavBlock fixed;
        if (!zeltFixNavBlock(block, fixed)) continue;
        StoreNavBlock(store, fixed.bytes());
        const int svid = fixed.bytes().u8(kZeltSvidOffset);
        const Ephemeris& newest = store.slots[static_cast<size_t>(svid)];
        if (!IsEphemerisUsable(newest, referenceTime(newest))) continue;
        auto& known = all[svid];
        if (known.empty() || referenceTime(known.back()) != referenceTime(newest)) known.push_back(newest);
    }
    return all;
}

// Two broadcasts of one satellite come from different fits to its real motion: at a time that both serve they agree to
// the accuracy of broadcast orbits and clocks, whatever the formulas had wrong shows as hundreds of metres.
TEST(Orbits, NeighbouringEphemeridesAgree) {
    struct Limits {
        double orbit, clock;  // m
        int minimumPairs;
    };
    const std::map<int, Limits> limits = {
        {kGps, {5, 3, 15}}, {kGalileo, {3, 2, 50}}, {kGlonass, {12, 12, 40}}, {kBeiDou, {15, 10, 15}}};
    std::map<int, int> pairs;
    for (const auto& [svid, ephemerides] : exampleEphemerides()) {
        const int code = SVIDToConstellation(svid);
        for (size_t i = 1; i < ephemerides.size(); ++i) {
            const Ephemeris& a = ephemerides[i - 1];
            const Ephemeris& b = ephemerides[i];
            const double t = (referenceTime(a) + referenceTime(b)) / 2;
            if (!IsEphemerisUsable(a, t) || !IsEphemerisUsable(b, t)) continue;
            ++pairs[code];
            EXPECT_LT(length(Difference(positionAt(a, t), positionAt(b, t))), limits.at(code).orbit)
                << svid << ' ' << t;
            EXPECT_NEAR(SatelliteModel(a).GetSatClockBias(t), SatelliteModel(b).GetSatClockBias(t),
                        limits.at(code).clock)
                << svid << ' ' << t;
        }
    }
    for (const auto& [code, limit] : limits) EXPECT_GE(pairs[code], limit.minimumPairs) << code;
}

// The relativistic correction is also -2 r.v / c^2, with r and v from the positions themselves. The turn of the Earth
// adds to v at right angles to r.
TEST(Orbits, RelativityFollowsFromTheMotion) {
    for (const auto& [svid, ephemerides] : exampleEphemerides()) {
        const double t = referenceTime(ephemerides[0]) + 1000;
        const auto at = [&, &all = ephemerides](double dt) { return positionAt(all[0], t + dt); };
        const double expected = -2 * dot(at(0), Difference(at(0.5), at(-0.5))) / kC;
        const bool inItsClock = SVIDToConstellation(svid) == kGlonass;
        EXPECT_NEAR(SatelliteModel(ephemerides[0]).GetRelativisticCorr(t), inItsClock ? 0 : expected,
                    inItsClock ? 0 : 0.02)
            << svid;
    }
}

// C01 to C05: a node that stands still in the plane's own frame puts them elsewhere than the others.
TEST(Orbits, GeostationaryBeiDouSatellites) {
    BdsEphemeris ephemeris;
    ephemeris.orbit.sqrtA = 6493;
    ephemeris.orbit.i0 = 0.03;
    const auto at = [&](int svid) {
        ephemeris.svid = static_cast<uint8_t>(svid);
        return OM_GetSatPosBDS(ephemeris, 1000);
    };
    for (int svid = 161; svid <= 197; ++svid) {
        EXPECT_EQ(length(Difference(at(svid), at(163))) < 1, svid <= 165) << svid;
        EXPECT_EQ(length(Difference(at(svid), at(180))) < 1, svid > 165) << svid;
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

// Instants in any order share an arc; each position must be what a fresh integration gives.
TEST(Orbits, GlonassIntegrationEndsAndSharesItsArc) {
    const Ephemeris any = exampleEphemerides().lower_bound(38)->second.at(0);
    const auto& ephemeris = std::get<GloEphemeris>(any);
    GlonassArc shared(ephemeris);
    for (const double dt : {0.0, 900.0, 870.0, -10.0, -900.5, -80.0, 79.9, 80.0, 1919.0, 2000.0, 240.0, double{NAN},
                            -1.0, 1920.0, -1919.0, -1920.0, double{INFINITY}, -double{INFINITY}}) {
        const auto expected = OM_GetSatPosGLO(ephemeris, ephemeris.referenceTime + dt);
        const auto position = shared.positionAt(ephemeris.referenceTime + dt);
        EXPECT_EQ(expected.has_value(), std::fabs(dt) < 1920) << dt;
        ASSERT_EQ(position.has_value(), expected.has_value()) << dt;
        EXPECT_EQ(expected ? length(Difference(*position, *expected)) : 0, 0) << dt;
    }
    const auto broadcast = OM_GetSatPosGLO(ephemeris, ephemeris.referenceTime);
    EXPECT_EQ(broadcast->x, ephemeris.positionKm.x * 1000);
    EXPECT_EQ(broadcast->z, ephemeris.positionKm.z * 1000);
    EXPECT_EQ(length(positionAt(any, ephemeris.referenceTime + 1920)), 0);
}

TEST(Orbits, PositionsTurnWithTheEarthDuringTheTravel) {
    const Vector3 receiver{3582105, 532589, 5232754};
    const Ephemeris any = exampleEphemerides().begin()->second.at(0);
    const auto& gps = std::get<GpsEphemeris>(any);
    const Vector3 still = OM_GetSatPosGPS(gps, gps.referenceTime);
    const Vector3 turned = SatelliteModel(any).GetSatPosition(gps.referenceTime, receiver);
    const double angle = length(Difference(still, receiver)) / kC * 7.2921151467e-5;
    EXPECT_NEAR(turned.x - still.x, angle * still.y, 1e-6);
    EXPECT_NEAR(turned.y - still.y, -angle * still.x, 1e-6);
    EXPECT_EQ(turned.z, still.z);
}

TEST(Clocks, PolynomialAndGroupDelays) {
    GpsEphemeris gps;
    gps.clock = {GpsTime(kTestWeek, 1000), 1e-4, 1e-11F, 1e-15F};
    gps.tgd = 5e-9F;
    const double t = GpsTime(kTestWeek, 1000) + 100;
    EXPECT_NEAR(OM_GetSatClockGPS(gps, 0, t).offset, kC * (1e-4 + 1e-9 + 1e-11), 1e-8);
    EXPECT_NEAR(OM_GetSatClockGPS(gps, 0, t).drift, kC * (1e-11 + 2e-13), 1e-10);
    GloEphemeris glo;
    glo.gamma = 1e-12F;
    glo.tau = 1e-5F;
    glo.dtau = 2e-9F;
    EXPECT_NEAR(OM_GetSatClockGLO(glo, 8, 1000).offset, kC * (1e-9 - 1e-5), 1e-4);
    const auto expectDelays = [t](auto clock, const auto& ephemeris, std::vector<std::pair<int, double>> expected) {
        for (const auto& [signal, ns] : expected) {
            EXPECT_NEAR(clock(ephemeris, signal, t).groupDelay / kC * 1e9, ns, 1e-5) << signal;
        }
    };
    const auto ratio = [](double f1, double f2) { return f1 * f1 / (f2 * f2); };
    GalEphemeris none, e5b, e5a, e6;
    e5b.bgdE1E5b = 3e-9F;
    e5b.bgdE1E5a = e5a.bgdE1E5a = 9e-9F;
    e6.bgdE1E6a = 7e-9F;
    BdsEphemeris bds;
    bds.tgd1 = 4e-9F;
    bds.tgd2 = 6e-9F;
    expectDelays(OM_GetSatClockGPS, gps, {{1, 5}, {2, 5 * ratio(77, 60)}, {4, 0}});
    expectDelays(OM_GetSatClockGAL, e5b, {{17, 3}, {21, 3 * ratio(154, 118)}, {20, 0}});
    expectDelays(OM_GetSatClockGAL, e5a, {{17, 9}, {20, 9 * ratio(154, 115)}});
    expectDelays(OM_GetSatClockGAL, e6, {{16, 7}, {18, 7 * ratio(154, 125)}});
    expectDelays(OM_GetSatClockGAL, none, {{17, 0}});
    expectDelays(OM_GetSatClockGLO, glo, {{8, 2 * 1.53125}, {11, 2 * 2.53125}});
    expectDelays(OM_GetSatClockBDS, bds, {{28, 4}, {29, 6}});
}

}  // namespace
