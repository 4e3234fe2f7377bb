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

// Eccentric anomaly E (rad) of M = E - e sin E, by Newton's method from E = M until the correction is at most 1e-14,
// at most eleven corrections. Not guarded against e >= 1.
double OM_SolveKepler(double m, double e);

Vector3 KeplerPosition(const KeplerOrbit& orbit, const KeplerModel& model, double tk);

// BeiDou's geostationary satellites: the elements refer to a plane tilted by 5 degrees that does not turn with the
// Earth (BDS-SIS-ICD B1I, table 5-12).
Vector3 GeoPosition(const KeplerOrbit& orbit, const KeplerModel& model, double tk);

// Relativistic clock correction in m.
double KeplerRelativity(const KeplerOrbit& orbit, const KeplerModel& model, double tk);

}  // namespace Qon::Nav
