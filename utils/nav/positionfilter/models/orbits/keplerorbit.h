// The Kepler orbit that GPS, Galileo and BeiDou share. tk is the time since t_oe in s.
#pragma once

#include "utils/geometry/geometry.h"
#include "utils/nav/navdatadecoder/satnavdecoder/ephemeris.h"

namespace Qon::Nav {

// The constants in which the constellations' interface documents differ.
struct KeplerModel {
    double sqrtMu;      // sqrt(m^3/s^2)
    double earthRate;   // rad/s
    double relativity;  // F = -2 sqrt(mu) / c^2, s/sqrt(m)
};
extern const KeplerModel kGpsModel;
extern const KeplerModel kGalileoModel;
extern const KeplerModel kBeiDouModel;

Vector3 KeplerPosition(const KeplerOrbit& orbit, const KeplerModel& model, double tk);

// BeiDou's geostationary satellites: the elements refer to a plane tilted by 5 degrees that does not turn with the
// Earth (BDS-SIS-ICD B1I, table 5-12).
Vector3 GeoPosition(const KeplerOrbit& orbit, const KeplerModel& model, double tk);

// Relativistic clock correction in m.
double KeplerRelativity(const KeplerOrbit& orbit, const KeplerModel& model, double tk);

}  // namespace Qon::Nav
