#include "utils/nav/positionfilter/models/orbits/orbits.h"

#include "utils/geometry/constants.h"
#include "utils/geometry/sigtypes.h"
#include "utils/nav/positionfilter/models/orbits/glonassorbit.h"
#include "utils/nav/positionfilter/models/orbits/keplerorbit.h"

namespace Qon::Nav {
namespace {

constexpr double kL1Sq = 1575.42e6 * 1575.42e6;  // Hz^2, as the others
constexpr double kE5aSq = 1176.45e6 * 1176.45e6;
constexpr double kE5bSq = 1207.14e6 * 1207.14e6;
constexpr double kE6Sq = 1278.75e6 * 1278.75e6;

// (f1 / f2)^2 of GPS, single precision.
constexpr float kGpsL1Sq = 2481948213221785600.0F;
constexpr float kGpsL2Sq = 1507001769585016832.0F;

// 1 / ((9/7)^2 - 1) and 1 more: shares of the L1-L2 delay difference.
constexpr double kGloL1DelayFactor = 1.53125;
constexpr double kGloL2DelayFactor = 2.53125;

SatClock polynomialClock(const ClockPolynomial& clock, double dt) {
    const double drift = kSpeedOfLight * (clock.af1 + clock.af2 * dt) + kSpeedOfLight * clock.af2 * dt;
    const double offset = kSpeedOfLight * (clock.af1 + clock.af2 * dt) * dt + kSpeedOfLight * clock.af0;
    return {offset, drift, 0};
}

double gpsGroupDelay(const GpsEphemeris& ephemeris, int signal) {
    switch (signal) {
        case kGpsL1Ca:
        case kGpsL1P: return kSpeedOfLight * ephemeris.tgd;
        case kGpsL2P:
        case kGpsL2C: return kSpeedOfLight * (ephemeris.tgd * kGpsL1Sq / kGpsL2Sq);
        default: return 0;
    }
}

// The first broadcast delay that is there rules, even when it says nothing of the signal.
double galileoGroupDelay(const GalEphemeris& ephemeris, int signal) {
    if (ephemeris.bgdE1E5b != kNotAvailableF) {
        const double delay = kSpeedOfLight * ephemeris.bgdE1E5b;
        if (signal == kGalE1) return delay;
        return signal == kGalE5b || signal == kGalE5 ? delay * kL1Sq / kE5bSq : 0;
    }
    if (ephemeris.bgdE1E5a != kNotAvailableF) {
        const double delay = kSpeedOfLight * ephemeris.bgdE1E5a;
        if (signal == kGalE1) return delay;
        return signal == kGalE5a || signal == kGalE5 ? delay * kL1Sq / kE5aSq : 0;
    }
    if (ephemeris.bgdE1E6a != kNotAvailableF) {
        const double delay = kSpeedOfLight * ephemeris.bgdE1E6a;
        if (signal == kGalE1A) return delay;
        return signal == kGalE6A ? delay * kL1Sq / kE6Sq : 0;
    }
    return 0;
}

double glonassGroupDelay(const GloEphemeris& ephemeris, int signal) {
    switch (signal) {
        case kGloL1Ca:
        case kGloL1P: return kGloL1DelayFactor * kSpeedOfLight * ephemeris.dtau;
        case kGloL2P:
        case kGloL2Ca: return kGloL2DelayFactor * kSpeedOfLight * ephemeris.dtau;
        default: return 0;
    }
}

double beiDouGroupDelay(const BdsEphemeris& ephemeris, int signal) {
    if (signal == kBdsB1I) return kSpeedOfLight * ephemeris.tgd1;
    return signal == kBdsB2I ? kSpeedOfLight * ephemeris.tgd2 : 0;
}

}  // namespace

Vector3 OM_GetSatPosGPS(const GpsEphemeris& ephemeris, double t) {
    return KeplerPosition(ephemeris.orbit, kGpsModel, t - ephemeris.referenceTime);
}

Vector3 OM_GetSatPosGAL(const GalEphemeris& ephemeris, double t) {
    return KeplerPosition(ephemeris.orbit, kGalileoModel, t - ephemeris.referenceTime);
}

Vector3 OM_GetSatPosBDS(const BdsEphemeris& ephemeris, double t) {
    constexpr uint8_t kFirstGeo = 161;
    constexpr uint8_t kLastGeo = 165;
    const double tk = t - ephemeris.referenceTime;
    const bool isGeo = ephemeris.svid >= kFirstGeo && ephemeris.svid <= kLastGeo;
    return isGeo ? GeoPosition(ephemeris.orbit, kBeiDouModel, tk) : KeplerPosition(ephemeris.orbit, kBeiDouModel, tk);
}

std::optional<Vector3> OM_GetSatPosGLO(const GloEphemeris& ephemeris, double t) {
    return GlonassArc(ephemeris).positionAt(t);
}

SatClock OM_GetSatClockGPS(const GpsEphemeris& ephemeris, int signal, double t) {
    const ClockPolynomial& clock = ephemeris.clock;
    SatClock result = polynomialClock(clock, t - clock.referenceTime);
    result.groupDelay = gpsGroupDelay(ephemeris, signal);
    return result;
}

SatClock OM_GetSatClockGAL(const GalEphemeris& ephemeris, int signal, double t) {
    const ClockPolynomial& clock = ephemeris.clock;
    SatClock result = polynomialClock(clock, t - clock.referenceTime);
    result.groupDelay = galileoGroupDelay(ephemeris, signal);
    return result;
}

SatClock OM_GetSatClockBDS(const BdsEphemeris& ephemeris, int signal, double t) {
    const ClockPolynomial& clock = ephemeris.clock;
    SatClock result = polynomialClock(clock, t - clock.referenceTime);
    result.groupDelay = beiDouGroupDelay(ephemeris, signal);
    return result;
}

SatClock OM_GetSatClockGLO(const GloEphemeris& ephemeris, int signal, double t) {
    const double dt = t - ephemeris.referenceTime;
    return {kSpeedOfLight * (ephemeris.gamma * dt - ephemeris.tau), kSpeedOfLight * ephemeris.gamma,
            glonassGroupDelay(ephemeris, signal)};
}

}  // namespace Qon::Nav
