#include "utils/nav/positionfilter/models/orbits/groupdelay.h"

#include "utils/geometry/constants.h"
#include "utils/geometry/signaltable.h"
#include "utils/geometry/sigtypes.h"

namespace Qon::Nav {
namespace {

constexpr double squared(double frequency) { return frequency * frequency; }

// Squared carriers, Hz^2.
constexpr double kL1Sq = squared(kL1Hz);
constexpr double kE5aSq = squared(kL5Hz);
constexpr double kE5bSq = squared(kE5bHz);
constexpr double kE6Sq = squared(kE6Hz);

// GPS's, in the single precision in which its delay of L2 is formed.
constexpr auto kGpsL1Sq = static_cast<float>(kL1Sq);
constexpr auto kGpsL2Sq = static_cast<float>(squared(kL2Hz));

// With g = (9/7)^2, the squared ratio of the carriers: 1 / (g - 1) and g / (g - 1).
constexpr double kGlonassL1Share = 1.53125;
constexpr double kGlonassL2Share = 2.53125;

float inMetres(double seconds) { return static_cast<float>(seconds * kSpeedOfLight); }

// A delay of signal 1 and what makes the ionosphere-free combination of both 0.
GroupDelays cancellingPair(float delay, double f1, double f2) {
    const double ratio = f1 / f2;
    return {inMetres(delay), inMetres(ratio * ratio * delay)};
}

struct TrackDelaysOf {
    double f1;
    double f2;

    GroupDelays operator()(const EphemerisHead& /*none*/) const { return {}; }
    GroupDelays operator()(const GloEphemeris& /*ephemeris*/) const { return {}; }
    GroupDelays operator()(const GpsEphemeris& ephemeris) const { return cancellingPair(ephemeris.tgd, f1, f2); }
    GroupDelays operator()(const GalEphemeris& ephemeris) const { return cancellingPair(ephemeris.bgdE1E5a, f1, f2); }
    GroupDelays operator()(const BdsEphemeris& ephemeris) const {
        return {ephemeris.tgd1 > kAvailableAbove ? inMetres(ephemeris.tgd1) : 0.0F,
                ephemeris.tgd2 > kAvailableAbove ? inMetres(ephemeris.tgd2) : 0.0F};
    }
};

}  // namespace

double GroupDelay(const GpsEphemeris& ephemeris, int signal) {
    switch (signal) {
        case kGpsL1Ca:
        case kGpsL1P: return kSpeedOfLight * ephemeris.tgd;
        case kGpsL2P:
        case kGpsL2C: return kSpeedOfLight * (ephemeris.tgd * kGpsL1Sq / kGpsL2Sq);
        default: return 0;
    }
}

// The first delay that is there decides for every signal; see the header.
double GroupDelay(const GalEphemeris& ephemeris, int signal) {
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

double GroupDelay(const GloEphemeris& ephemeris, int signal) {
    switch (signal) {
        case kGloL1Ca:
        case kGloL1P: return kGlonassL1Share * kSpeedOfLight * ephemeris.dtau;
        case kGloL2P:
        case kGloL2Ca: return kGlonassL2Share * kSpeedOfLight * ephemeris.dtau;
        default: return 0;
    }
}

double GroupDelay(const BdsEphemeris& ephemeris, int signal) {
    if (signal == kBdsB1I) return kSpeedOfLight * ephemeris.tgd1;
    return signal == kBdsB2I ? kSpeedOfLight * ephemeris.tgd2 : 0;
}

GroupDelays TrackGroupDelays(const Ephemeris& ephemeris, double f1, double f2) {
    return std::visit(TrackDelaysOf{f1, f2}, ephemeris);
}

}  // namespace Qon::Nav
