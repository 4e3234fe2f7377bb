// Broadcast ephemerides: one record per constellation, made from the navigation blocks.
// Angles are in semicircles, lengths in metres, times in seconds, as broadcast; weeks are full GPS weeks.
#pragma once

#include <cstdint>
#include <variant>

#include "utils/geometry/constants.h"
#include "utils/geometry/geometry.h"
#include "utils/zeltdata/zeltblock.h"

namespace Qon::Nav {

// Kepler elements with harmonic corrections, referred to t_oe.
struct KeplerOrbit {
    uint16_t wnToe = 0;
    uint32_t toe = 0;  // s of week: BeiDou's own seconds for BeiDou
    double sqrtA = 0;
    double m0 = 0;
    double e = 0;
    double omega = 0;
    double omega0 = 0;
    double i0 = 0;
    float deltaN = 0;
    float omegaDot = 0;
    float idot = 0;
    float cuc = 0;
    float cus = 0;
    float crc = 0;
    float crs = 0;
    float cic = 0;
    float cis = 0;
};

struct ClockPolynomial {
    uint16_t wnToc = 0;
    uint32_t toc = 0;
    double af0 = 0;
    float af1 = 0;
    float af2 = 0;
};

struct GpsEphemeris {
    uint8_t svid = 0;
    uint8_t health = 0;  // 0: usable
    uint8_t iode = 0;
    float tgd = 0;
    KeplerOrbit orbit;
    ClockPolynomial clock;
};

struct GalEphemeris {
    uint8_t svid = 0;
    uint8_t source = 0;  // navigation message
    uint16_t iodNav = 0;
    uint16_t healthOsSol = 0;  // bits 8 to 11: E5a status present, signal health, data valid
    float bgdE1E5a = kNotAvailableF;
    float bgdE1E5b = kNotAvailableF;
    float bgdE1E6a = kNotAvailableF;
    KeplerOrbit orbit;
    ClockPolynomial clock;
};

struct BdsEphemeris {
    uint8_t svid = 0;
    uint8_t satH1 = 0;  // 0: usable
    float tgd1 = 0;     // s, B1I; kNotAvailableF when missing, as tgd2
    float tgd2 = 0;     // s, B2I
    KeplerOrbit orbit;
    ClockPolynomial clock;
};

// State vector in PZ-90 at t_oe, in kilometres.
struct GloEphemeris {
    uint8_t svid = 0;
    uint8_t channel = 0;     // frequency number + 8
    uint8_t healthFlag = 0;  // 0: usable
    uint16_t tb = 0;         // min of the GLONASS day (UTC(SU) + 3 h)
    uint16_t wnToe = 0;
    uint32_t toe = 0;      // s of GPS week
    Vector3 position;      // km
    Vector3 velocity;      // km/s
    Vector3 acceleration;  // km/s^2, lunisolar
    float gamma = 0;
    float tau = 0;   // s
    float dtau = 0;  // s
};

// The ephemeris of one satellite; empty while none was received.
using Ephemeris = std::variant<std::monostate, GpsEphemeris, GalEphemeris, GloEphemeris, BdsEphemeris>;

// Records from navigation blocks whose satellite number and weeks are completed (zeltFixNavBlock).
GpsEphemeris MakeGpsEphemeris(Bytes block);
GalEphemeris MakeGalEphemeris(Bytes block);
GloEphemeris MakeGloEphemeris(Bytes block);
BdsEphemeris MakeBdsEphemeris(Bytes block);

// BeiDou time counts 14 s less than GPS time; BeiDou's seconds of week need this much to be GPS time.
constexpr uint32_t kBeiDouTimeOffset = 14;  // s

// Reference epochs as GPS time, s.
double ReferenceTime(const GpsEphemeris& ephemeris);
double ReferenceTime(const GalEphemeris& ephemeris);
double ReferenceTime(const GloEphemeris& ephemeris);
double ReferenceTime(const BdsEphemeris& ephemeris);

// True when the satellite is healthy by its own word and t (GPS time, s) lies within the span of its reference epoch
// that its constellation allows, before or after it: GPS and BeiDou 7200 s, GLONASS 1800 s, Galileo 14400 s, the ends
// excluded. An empty record is never usable.
bool IsEphemerisUsable(const Ephemeris& ephemeris, double t);

// Issue of ephemeris as CGGTTS prints it: GPS the IODE, Galileo the IODnav modulo 1000, GLONASS the 15-minute index of
// tb in UTC (1 to 96), BeiDou the hour of the clock reference time (0 to 23). 0 for an empty record.
int IssueOfEphemeris(const Ephemeris& ephemeris);

}  // namespace Qon::Nav
