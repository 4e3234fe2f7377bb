#include "utils/nav/navdatadecoder/satnavdecoder/ephemeris.h"

#include <cmath>

#include "utils/geometry/navtools.h"
#include "utils/zeltdata/zeltnav.h"

namespace Qon::Nav {
namespace {

constexpr double kGpsSpan = 7200;  // s, as the others
constexpr double kBeiDouSpan = 7200;
constexpr double kGalileoSpan = 14400;
constexpr double kGlonassSpan = 1800;

constexpr uint16_t kE5aHealthMask = 0x0F00;
constexpr uint16_t kE5aHealthy = 0x0100;  // status present, signal health 0, data valid

KeplerOrbit readOrbit(Bytes block, const ZeltKeplerLayout& at) {
    KeplerOrbit orbit;
    orbit.wnToe = block.u16(at.wnToe);
    orbit.toe = block.u32(at.toe);
    orbit.sqrtA = block.f64(at.sqrtA);
    orbit.m0 = block.f64(at.m0);
    orbit.e = block.f64(at.e);
    orbit.omega = block.f64(at.omega);
    orbit.omega0 = block.f64(at.omega0);
    orbit.i0 = block.f64(at.i0);
    orbit.deltaN = block.f32(at.deltaN);
    orbit.omegaDot = block.f32(at.omegaDot);
    orbit.idot = block.f32(at.idot);
    orbit.cuc = block.f32(at.cuc);
    orbit.cus = block.f32(at.cus);
    orbit.crc = block.f32(at.crc);
    orbit.crs = block.f32(at.crs);
    orbit.cic = block.f32(at.cic);
    orbit.cis = block.f32(at.cis);
    return orbit;
}

ClockPolynomial readClock(Bytes block, const ZeltKeplerLayout& at) {
    const double af0 = at.af0IsDouble ? block.f64(at.af0) : block.f32(at.af0);
    return {block.u16(at.wnToc), block.u32(at.toc), af0, block.f32(at.af1), block.f32(at.af2)};
}

bool isHealthy(const GpsEphemeris& ephemeris) { return ephemeris.health == 0; }
bool isHealthy(const GalEphemeris& ephemeris) { return (ephemeris.healthOsSol & kE5aHealthMask) == kE5aHealthy; }
bool isHealthy(const GloEphemeris& ephemeris) { return ephemeris.healthFlag == 0; }
bool isHealthy(const BdsEphemeris& ephemeris) { return ephemeris.satH1 == 0; }

double span(const GpsEphemeris& /*ephemeris*/) { return kGpsSpan; }
double span(const GalEphemeris& /*ephemeris*/) { return kGalileoSpan; }
double span(const GloEphemeris& /*ephemeris*/) { return kGlonassSpan; }
double span(const BdsEphemeris& /*ephemeris*/) { return kBeiDouSpan; }

struct Usability {
    double t;

    bool operator()(const std::monostate& /*empty*/) const { return false; }
    template <class Record>
    bool operator()(const Record& ephemeris) const {
        return isHealthy(ephemeris) && std::fabs(t - ReferenceTime(ephemeris)) < span(ephemeris);
    }
};

struct Issue {
    int operator()(const std::monostate& /*empty*/) const { return 0; }
    int operator()(const GpsEphemeris& ephemeris) const { return ephemeris.iode; }
    int operator()(const GalEphemeris& ephemeris) const { return ephemeris.iodNav % 1000; }
    int operator()(const BdsEphemeris& ephemeris) const { return static_cast<int>(ephemeris.clock.toc / 3600 % 24); }
    int operator()(const GloEphemeris& ephemeris) const {
        constexpr int kIndicesPerDay = 96;
        constexpr int kMoscowToUtc = kIndicesPerDay - 12;  // 3 h back
        return (ephemeris.tb / 15 + kMoscowToUtc) % kIndicesPerDay + 1;
    }
};

}  // namespace

GpsEphemeris MakeGpsEphemeris(Bytes block) {
    using namespace ZeltGpsNav;
    return {block.u8(kZeltSvidOffset),
            block.u8(kHealth),
            block.u8(kIode),
            block.f32(kTgd),
            readOrbit(block, kZeltGpsKepler),
            readClock(block, kZeltGpsKepler)};
}

BdsEphemeris MakeBdsEphemeris(Bytes block) {
    using namespace ZeltBdsNav;
    return {block.u8(kZeltSvidOffset),
            block.u8(kSatH1),
            block.f32(kTgd1),
            block.f32(kTgd2),
            readOrbit(block, kZeltGpsKepler),
            readClock(block, kZeltGpsKepler)};
}

GalEphemeris MakeGalEphemeris(Bytes block) {
    using namespace ZeltGalNav;
    GalEphemeris ephemeris;
    ephemeris.svid = block.u8(kZeltSvidOffset);
    ephemeris.source = block.u8(kSource);
    ephemeris.iodNav = block.u16(kIodNav);
    ephemeris.healthOsSol = block.u16(kHealthOsSol);
    ephemeris.bgdE1E5a = block.f32(kBgdE1E5a);
    ephemeris.bgdE1E5b = block.f32(kBgdE1E5b);
    ephemeris.bgdE1E6a = block.f32(kBgdE1E6a);
    ephemeris.orbit = readOrbit(block, kZeltGalKepler);
    ephemeris.clock = readClock(block, kZeltGalKepler);
    return ephemeris;
}

GloEphemeris MakeGloEphemeris(Bytes block) {
    using namespace ZeltGloNav;
    GloEphemeris ephemeris;
    ephemeris.svid = block.u8(kZeltSvidOffset);
    ephemeris.channel = block.u8(kFreqNr);
    ephemeris.healthFlag = block.u8(kHealthFlag);
    ephemeris.tb = block.u16(kTb);
    ephemeris.wnToe = block.u16(kWnToe);
    ephemeris.toe = block.u32(kToe);
    ephemeris.position = {block.f64(kX), block.f64(kY), block.f64(kZ)};
    ephemeris.velocity = {block.f32(kDx), block.f32(kDy), block.f32(kDz)};
    ephemeris.acceleration = {block.f32(kDdx), block.f32(kDdy), block.f32(kDdz)};
    ephemeris.gamma = block.f32(kGamma);
    ephemeris.tau = block.f32(kTau);
    ephemeris.dtau = block.f32(kDtau);
    return ephemeris;
}

double ReferenceTime(const GpsEphemeris& e) { return GpsTime(e.orbit.wnToe, e.orbit.toe); }
double ReferenceTime(const GalEphemeris& e) { return GpsTime(e.orbit.wnToe, e.orbit.toe); }
double ReferenceTime(const GloEphemeris& e) { return GpsTime(e.wnToe, e.toe); }
double ReferenceTime(const BdsEphemeris& e) { return GpsTime(e.orbit.wnToe, e.orbit.toe + kBeiDouTimeOffset); }

bool IsEphemerisUsable(const Ephemeris& ephemeris, double t) { return std::visit(Usability{t}, ephemeris); }

int IssueOfEphemeris(const Ephemeris& ephemeris) { return std::visit(Issue{}, ephemeris); }

}  // namespace Qon::Nav
