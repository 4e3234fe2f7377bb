// The modelled tropospheric delay (MDTR): STANAG 4294 of NATO, the model that CGGTTS files are made with. It knows no
// weather, only the height.
//
// Refractivity N (in 1e-6) falls by height h (km) linearly from 324.8 at h = 0 to N1 = 324.8 + D at h = 1, where
// D = -7.32 exp(0.005577 * 324.8), and from there exponentially to 105 at h = 9; above, 732 mm of delay are left. A
// zenith delay is N integrated from the antenna upwards.
//
// Values are single precision because files are compared to the digit; that costs less than 1e-5 ns.
#pragma once

#include "utils/geometry/geometry.h"

// Zenith delay in m at an ECEF position in m, for heights above the ellipsoid up to 9 km, and for the depths below it
// that there are on Earth. At h = 1 it steps down by 2.6 mm, as the delay from there upwards is set to 2162 mm below
// and integrated to 2159.4 mm above.
float zenithTropoDelay(const Qon::Nav::Vector3& position);

// Delay in m along a direction: the zenith delay (m) over sin E + 0.00143 / (tan E + 0.0455), E the elevation in rad.
// Meant for elevations above the horizon; near -2.6 degrees the denominator has a pole, and beyond it the result is no
// delay. Infinities and NaN pass through.
float tropoMapping(float zenithDelay, float elevation);
