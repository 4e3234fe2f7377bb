// Constants that several folders share.
#pragma once

namespace Qon::Nav {

constexpr double kSpeedOfLight = 299792458.0;  // m/s, exact (SI)
constexpr double kIcdPi = 3.1415926535898;     // pi as the interface documents round it
constexpr double kDegreesPerRadian = 57.29577951308232;

// Marks a missing measurement or group delay, in double and in single precision. Real values are far above
// kAvailableAbove, the markers far below.
constexpr double kNotAvailable = -2e10;
constexpr float kNotAvailableF = -2e10F;
constexpr double kAvailableAbove = -1e10;

}  // namespace Qon::Nav
