#include "utils/nav/navdatadecoder/satnavdecoder/makeephemeris.h"

#include "utils/geometry/navtools.h"
#include "utils/geometry/sigtypes.h"
#include "utils/zeltdata/zeltnav.h"

namespace Qon::Nav {
namespace {

constexpr double kGpsSpan = 7200;       // s
constexpr double kBeiDouSpan = 7200;    // s
constexpr double kGalileoSpan = 14400;  // s
constexpr double kGlonassSpan = 1800;   // s

constexpr uint16_t kE5aHealthMask = 0x0F00;
constexpr uint16_t kE5aHealthy = 0x0100;  // status present, signal health 0, data valid

// s that BeiDou time counts less. It enters instants alone: the node's longitude counts from t_oe as broadcast.
constexpr uint32_t kBeiDouBehindGps = 14;

// The quarter of the hour of t_b (min of the day in UTC + 3 h) in the day of UTC, counted from 1.
int quarterInUtc(int tb) {
    constexpr int kQuartersPerDay = 96;
    constexpr int kMoscowToUtc = kQuartersPerDay - 12;  // 3 h back
    return (tb / 15 + kMoscowToUtc) % kQuartersPerDay + 1;
}

KeplerOrbit readOrbit(Bytes block, const ZeltKeplerLayout& at) {
    KeplerOrbit orbit;
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

// `behindGps`: s that the time of t_oc counts less than GPS time.
ClockPolynomial readClock(Bytes block, const ZeltKeplerLayout& at, uint32_t behindGps) {
    const double af0 = at.af0IsDouble ? block.f64(at.af0) : block.f32(at.af0);
    return {GpsTime(block.u16(at.wnToc), block.u32(at.toc) + behindGps), af0, block.f32(at.af1), block.f32(at.af2)};
}

// What the constellations of Kepler orbits have in common, at the places of their layout. Reference times are formed in
// 32 bits, as the instants are that they are compared with (GpsTime).
template <class Record>
Record keplerRecord(Bytes block, const ZeltKeplerLayout& at, uint32_t behindGps) {
    Record ephemeris;
    ephemeris.svid = block.u8(kZeltSvidOffset);
    ephemeris.referenceTime = GpsTime(block.u16(at.wnToe), block.u32(at.toe) + behindGps);
    ephemeris.orbit = readOrbit(block, at);
    ephemeris.clock = readClock(block, at, behindGps);
    return ephemeris;
}

}  // namespace

GpsEphemeris MakeGpsEphemeris(Bytes block) {
    using namespace ZeltGpsNav;
    auto ephemeris = keplerRecord<GpsEphemeris>(block, kZeltGpsKepler, 0);
    ephemeris.isHealthy = block.u8(kHealth) == 0;
    ephemeris.issue = block.u8(kIode);
    ephemeris.span = kGpsSpan;
    ephemeris.tgd = block.f32(kTgd);
    return ephemeris;
}

BdsEphemeris MakeBdsEphemeris(Bytes block) {
    using namespace ZeltBdsNav;
    auto ephemeris = keplerRecord<BdsEphemeris>(block, kZeltGpsKepler, kBeiDouBehindGps);
    ephemeris.isHealthy = block.u8(kSatH1) == 0;
    ephemeris.issue = static_cast<int>(block.u32(kZeltGpsKepler.toc) / 3600 % 24);
    ephemeris.span = kBeiDouSpan;
    ephemeris.tgd1 = block.f32(kTgd1);
    ephemeris.tgd2 = block.f32(kTgd2);
    return ephemeris;
}

GalEphemeris MakeGalEphemeris(Bytes block) {
    using namespace ZeltGalNav;
    auto ephemeris = keplerRecord<GalEphemeris>(block, kZeltGalKepler, 0);
    ephemeris.isHealthy = (block.u16(kHealthOsSol) & kE5aHealthMask) == kE5aHealthy;
    ephemeris.issue = block.u16(kIodNav) % 1000;
    ephemeris.span = kGalileoSpan;
    ephemeris.source = block.u8(kSource);
    ephemeris.bgdE1E5a = block.f32(kBgdE1E5a);
    ephemeris.bgdE1E5b = block.f32(kBgdE1E5b);
    ephemeris.bgdE1E6a = block.f32(kBgdE1E6a);
    return ephemeris;
}

GloEphemeris MakeGloEphemeris(Bytes block) {
    using namespace ZeltGloNav;
    GloEphemeris ephemeris;
    ephemeris.svid = block.u8(kZeltSvidOffset);
    ephemeris.isHealthy = block.u8(kHealthFlag) == 0;
    ephemeris.issue = quarterInUtc(block.u16(kTb));
    ephemeris.frequencyNumber = block.u8(kFreqNr) - kGlonassChannelOffset;
    ephemeris.referenceTime = GpsTime(block.u16(kWnToe), block.u32(kToe));
    ephemeris.span = kGlonassSpan;
    ephemeris.positionKm = {block.f64(kX), block.f64(kY), block.f64(kZ)};
    ephemeris.velocityKmPerS = {block.f32(kDx), block.f32(kDy), block.f32(kDz)};
    ephemeris.accelerationKmPerS2 = {block.f32(kDdx), block.f32(kDdy), block.f32(kDdz)};
    ephemeris.gamma = block.f32(kGamma);
    ephemeris.tau = block.f32(kTau);
    ephemeris.dtau = block.f32(kDtau);
    return ephemeris;
}

}  // namespace Qon::Nav
