#include "utils/nav/positionfilter/models/orbits/orbits.h"

#include "utils/geometry/constants.h"
#include "utils/nav/positionfilter/models/orbits/glonassorbit.h"
#include "utils/nav/positionfilter/models/orbits/groupdelay.h"
#include "utils/nav/positionfilter/models/orbits/keplerorbit.h"

namespace Qon::Nav {
namespace {

// Offset and drift af0 + af1 dt + af2 dt^2 and af1 + 2 af2 dt, summed in this order: last digits hang on it.
SatClock clockOf(const ClockPolynomial& clock, double t, double groupDelay) {
    const double dt = t - clock.referenceTime;
    const double drift = kSpeedOfLight * (clock.af1 + clock.af2 * dt) + kSpeedOfLight * clock.af2 * dt;
    const double offset = kSpeedOfLight * (clock.af1 + clock.af2 * dt) * dt + kSpeedOfLight * clock.af0;
    return {offset, drift, groupDelay};
}

}  // namespace

Vector3 OM_GetSatPosGPS(const GpsEphemeris& ephemeris, double t) {
    return KeplerPosition(ephemeris.orbit, kGpsModel, t - ephemeris.referenceTime);
}

Vector3 OM_GetSatPosGAL(const GalEphemeris& ephemeris, double t) {
    return KeplerPosition(ephemeris.orbit, kGalileoModel, t - ephemeris.referenceTime);
}

Vector3 OM_GetSatPosBDS(const BdsEphemeris& ephemeris, double t) {
    constexpr uint8_t kFirstGeo = 161;  // C01
    constexpr uint8_t kLastGeo = 165;
    const double tk = t - ephemeris.referenceTime;
    const bool isGeo = ephemeris.svid >= kFirstGeo && ephemeris.svid <= kLastGeo;
    return isGeo ? GeoPosition(ephemeris.orbit, kBeiDouModel, tk) : KeplerPosition(ephemeris.orbit, kBeiDouModel, tk);
}

std::optional<Vector3> OM_GetSatPosGLO(const GloEphemeris& ephemeris, double t) {
    return GlonassArc(ephemeris).positionAt(t);
}

SatClock OM_GetSatClockGPS(const GpsEphemeris& ephemeris, int signal, double t) {
    return clockOf(ephemeris.clock, t, GroupDelay(ephemeris, signal));
}

SatClock OM_GetSatClockGAL(const GalEphemeris& ephemeris, int signal, double t) {
    return clockOf(ephemeris.clock, t, GroupDelay(ephemeris, signal));
}

SatClock OM_GetSatClockBDS(const BdsEphemeris& ephemeris, int signal, double t) {
    return clockOf(ephemeris.clock, t, GroupDelay(ephemeris, signal));
}

SatClock OM_GetSatClockGLO(const GloEphemeris& ephemeris, int signal, double t) {
    const double dt = t - ephemeris.referenceTime;
    return {kSpeedOfLight * (ephemeris.gamma * dt - ephemeris.tau), kSpeedOfLight * ephemeris.gamma,
            GroupDelay(ephemeris, signal)};
}

}  // namespace Qon::Nav
