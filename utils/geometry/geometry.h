// Geometry on the ellipsoid of WGS-84 (NIMA TR8350.2: a = 6378137 m, 1/f = 298.257223563). Positions are Earth-fixed
// (ECEF) in m, angles in rad. Nothing fails: what is no number goes in and out.
#pragma once

namespace Qon::Nav {

struct Vector3 {
    double x = 0;
    double y = 0;
    double z = 0;

    bool operator==(const Vector3&) const = default;
};

// Geodetic position: latitude -pi/2..pi/2, longitude -pi..pi, height in m above the ellipsoid.
struct Geodetic {
    double latitude = 0;
    double longitude = 0;
    double height = 0;
};

// Sines and cosines of a latitude and longitude: how east, north and up lie in the Earth-fixed frame.
struct LocalFrame {
    double cosLon = 1;
    double sinLon = 0;
    double cosLat = 1;
    double sinLat = 0;
};

struct LineOfSight {
    Vector3 difference;    // satellite - receiver, m
    double range = 0;      // its length, m
    bool isValid = false;  // false when the two points are within 1 m of each other (or the range is not a number)
};

// azimuth: from north over east, 0 to 2 pi. elevation: -pi/2..pi/2; NaN when the range is 0.
struct AzEl {
    double azimuth = 0;
    double elevation = 0;
};

// The frame of a geodetic latitude and longitude.
LocalFrame MakeLocalFrame(double latitude, double longitude);

// The frame of an ECEF position.
LocalFrame LocalFrameAt(const Vector3& position);

// a - b.
Vector3 Difference(const Vector3& a, const Vector3& b);

// The straight line between two positions as they are given: the caller turns a satellite's for the Earth's rotation.
LineOfSight GetLineOfSight(const Vector3& receiver, const Vector3& satellite);

// Rotates an ECEF difference into x = east, y = north, z = up of the frame.
Vector3 EcefToEnu(const Vector3& difference, const LocalFrame& frame);

// Direction of a satellite: the line of sight from `receiver`, by the horizon and the north of `station`, which need
// not be the receiver's own.
AzEl GetAzEl(const Vector3& satellite, const Vector3& receiver, const LocalFrame& station);

// GetAzEl's elevation alone.
double GetElevation(const Vector3& satellite, const Vector3& receiver, const LocalFrame& station);

// Bowring's closed form (B. R. Bowring, Survey Review 23, 1976, 323-327) with the first guess and the height of his
// later paper (Survey Review 28, 1985, 202-206), one pass: within 1e-12 rad and 1e-7 m for heights from -5 km
// to 36 000 km. On the Z axis the longitude is 0.
Geodetic EcefToGeodetic(const Vector3& position);

// The position at a height in m above the point of the ellipsoid that the frame belongs to.
Vector3 GeodeticToEcef(const LocalFrame& frame, double height);

// Turn of a satellite's position about the Earth's axis for the rotation during a travel of `range` m, with the angle
// in place of its sine and 1 in place of its cosine. Against the rigorous turn by the distance after it, ranges are off
// by 0.7 mm at most for navigation satellites 24 000 km up and below, and by 2.1 mm for geostationary ones: 0.007 ns.
// The turn itself changes ranges by up to 46 m and 65 m, seen from the equator with the satellite at the horizon.
Vector3 RotateForTravel(const Vector3& position, double range);

}  // namespace Qon::Nav
