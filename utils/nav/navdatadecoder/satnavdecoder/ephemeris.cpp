#include "utils/nav/navdatadecoder/satnavdecoder/ephemeris.h"

#include <cmath>

namespace Qon::Nav {

bool IsEmpty(const Ephemeris& ephemeris) { return std::holds_alternative<EphemerisHead>(ephemeris); }

const EphemerisHead& HeadOf(const Ephemeris& ephemeris) {
    return std::visit([](const EphemerisHead& head) -> const EphemerisHead& { return head; }, ephemeris);
}

bool IsEphemerisUsable(const Ephemeris& ephemeris, double t) {
    const EphemerisHead& head = HeadOf(ephemeris);
    return head.isHealthy && std::fabs(t - head.referenceTime) < head.span;
}

}  // namespace Qon::Nav
