// Geometry on the WGS-84 ellipsoid. Positions are Earth-fixed (ECEF) in metres, angles in radians.
#pragma once

namespace Qon::Nav {

struct Vector3 {
    double x = 0;
    double y = 0;
    double z = 0;
};

// Geodetic position: latitude -pi/2..pi/2, longitude -pi..pi, height in metres above the ellipsoid.
struct Geodetic {
    double latitude = 0;
    double longitude = 0;
    double height = 0;
};

// Sines and cosines of a latitude and longitude, as the local frame and the Cartesian conversion need them.
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

LocalFrame MakeLocalFrame(double latitude, double longitude);

// The frame of an ECEF position.
LocalFrame LocalFrameAt(const Vector3& position);

LineOfSight GetLineOfSight(const Vector3& receiver, const Vector3& satellite);

// Rotates an ECEF difference into x = east, y = north, z = up of the frame.
Vector3 EcefToEnu(const Vector3& difference, const LocalFrame& frame);

// Direction of a satellite: the line of sight from `receiver`, by the horizon and the north of `station`, which need
// not be the receiver's own.
AzEl GetAzEl(const Vector3& satellite, const Vector3& receiver, const LocalFrame& station);

// GetAzEl's elevation alone.
double GetElevation(const Vector3& satellite, const Vector3& receiver, const LocalFrame& station);

// Bowring's closed form (B. R. Bowring, Survey Review 23, 1976, 323-327), one pass: below 1e-9 rad and 1e-5 m for
// heights from -5 km to satellite altitudes. On the Z axis the longitude is 0.
Geodetic EcefToGeodetic(const Vector3& position);

Vector3 GeodeticToEcef(const LocalFrame& frame, double height);

// First-order turn of a satellite position for the Earth's rotation during a travel of `range` metres.
Vector3 RotateForTravel(const Vector3& position, double range);

}  // namespace Qon::Nav
