// Broadcast ephemerides: one record per constellation, and whether it may be used at an instant.
//
// Instants are GPS time, s since 1980-01-06 00:00 with whole weeks counted. Orbits are as broadcast: angles in
// semicircles, their rates per second, lengths in m.
#pragma once

#include <cstdint>
#include <variant>

#include "utils/geometry/constants.h"
#include "utils/geometry/geometry.h"

namespace Qon::Nav {

// What a track asks of every record, whatever its constellation: settled when the record is made.
struct EphemerisHead {
    uint8_t svid = 0;          // internal satellite number
    bool isHealthy = false;    // by the satellite's own word
    int issue = 0;             // of ephemeris, 0 to 999, as CGGTTS prints it
    int frequencyNumber = 0;   // GLONASS, -7 to 6 (a damaged block may say -8 to 247); 0 for the others
    double referenceTime = 0;  // of the orbit, GPS time, s
    double span = 0;           // s: usable closer to the reference time than this, before it and after it

    bool operator==(const EphemerisHead&) const = default;
};

// Kepler elements with harmonic corrections, referred to t_oe.
struct KeplerOrbit {
    uint32_t toe = 0;   // s of week, of the constellation's own time: the node's longitude counts from it
    double sqrtA = 0;   // sqrt(m)
    double m0 = 0;      // mean anomaly
    double e = 0;       // eccentricity
    double omega = 0;   // argument of perigee
    double omega0 = 0;  // longitude of the ascending node at the week's start
    double i0 = 0;      // inclination
    float deltaN = 0;   // correction of the mean motion
    float omegaDot = 0;
    float idot = 0;
    float cuc = 0;  // rad, correction of the argument of latitude
    float cus = 0;
    float crc = 0;  // m, of the radius
    float crs = 0;
    float cic = 0;  // rad, of the inclination
    float cis = 0;

    bool operator==(const KeplerOrbit&) const = default;
};

// Clock offset af0 + af1 dt + af2 dt^2 of the satellite against system time, dt counted from the reference time.
struct ClockPolynomial {
    double referenceTime = 0;  // GPS time, s
    double af0 = 0;            // s
    float af1 = 0;             // s/s
    float af2 = 0;             // s/s^2

    bool operator==(const ClockPolynomial&) const = default;
};

struct GpsEphemeris : EphemerisHead {
    float tgd = 0;  // s
    KeplerOrbit orbit;
    ClockPolynomial clock;

    bool operator==(const GpsEphemeris&) const = default;
};

struct GalEphemeris : EphemerisHead {
    uint8_t source = 0;               // navigation message
    float bgdE1E5a = kNotAvailableF;  // s; kNotAvailableF when missing, as are the other two
    float bgdE1E5b = kNotAvailableF;
    float bgdE1E6a = kNotAvailableF;
    KeplerOrbit orbit;
    ClockPolynomial clock;

    bool operator==(const GalEphemeris&) const = default;
};

struct BdsEphemeris : EphemerisHead {
    float tgd1 = 0;  // s, B1I; kNotAvailableF when missing
    float tgd2 = 0;  // s, B2I; likewise
    KeplerOrbit orbit;
    ClockPolynomial clock;

    bool operator==(const BdsEphemeris&) const = default;
};

// State vector in PZ-90 at the reference time, which is that of the clock too.
struct GloEphemeris : EphemerisHead {
    Vector3 positionKm;
    Vector3 velocityKmPerS;
    Vector3 accelerationKmPerS2;  // of Sun and Moon
    float gamma = 0;              // relative deviation of the carrier frequency
    float tau = 0;                // s, to be added to the satellite's clock
    float dtau = 0;               // s, delay of L2 beyond that of L1

    bool operator==(const GloEphemeris&) const = default;
};

// The ephemeris of one satellite. One that was never received is a head alone, which is never healthy.
using Ephemeris = std::variant<EphemerisHead, GpsEphemeris, GalEphemeris, GloEphemeris, BdsEphemeris>;

// True when none was received.
bool IsEmpty(const Ephemeris& ephemeris);

const EphemerisHead& HeadOf(const Ephemeris& ephemeris);

// True when the satellite is healthy and t (GPS time, s) lies within the span of the reference time, its ends excluded.
bool IsEphemerisUsable(const Ephemeris& ephemeris, double t);

}  // namespace Qon::Nav
