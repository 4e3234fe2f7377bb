// The Kepler orbit that GPS, Galileo and BeiDou share. `tk` is the time since the orbit's reference time t_oe in s, of
// either sign, whole weeks counted; within the hours that ephemerides are used for (ephemeris.h) positions are as good
// as the broadcast. Nothing guards against elements that are no ellipse (e of 1 and more, a of 0): what comes out may
// be no number, and is passed on.
#pragma once

#include "utils/geometry/geometry.h"
#include "utils/nav/navdatadecoder/satnavdecoder/ephemeris.h"

namespace Qon::Nav {

// The constants in which the constellations' interface documents differ: with their orbit algorithms, as cited in
// orbits.h, and their relativistic clock terms. F follows from the gravity constant; what the documents print of it is
// used.
struct KeplerModel {
    double sqrtMu;      // of the Earth's gravity constant, sqrt(m^3/s^2)
    double earthRate;   // rad/s
    double relativity;  // F = -2 sqrt(mu) / c^2, s/sqrt(m)
};
extern const KeplerModel kGpsModel;
extern const KeplerModel kGalileoModel;
extern const KeplerModel kBeiDouModel;

// Eccentric anomaly E (rad) of the mean anomaly M = E - e sin E (rad), by Newton's method from E = M until the
// correction is at most 1e-14, at most eleven corrections. 1e-14 rad are less than a micrometre of orbit.
double OM_SolveKepler(double m, double e);

// Position in m in the Earth-fixed frame of the constellation as it is at tk: WGS-84, GTRF and CGCS2000 all agree with
// ITRF to some centimetres (3 cm are 0.1 ns) and are taken for it.
Vector3 KeplerPosition(const KeplerOrbit& orbit, const KeplerModel& model, double tk);

// The same for BeiDou's geostationary satellites: their elements refer to a plane tilted by 5 degrees that does not
// turn with the Earth (BDS-SIS-ICD B1I, table 5-12).
Vector3 GeoPosition(const KeplerOrbit& orbit, const KeplerModel& model, double tk);

// Relativistic clock correction F e sqrt(a) sin E in m: to be added to the clock's offset, negative from perigee to
// apogee. The sections that tell the clocks (orbits.h) tell it too.
double KeplerRelativity(const KeplerOrbit& orbit, const KeplerModel& model, double tk);

}  // namespace Qon::Nav
