// What a code measurement is, and what it should read at a given place: geometric range, turn of the Earth,
// tropospheric delay, standard deviation by elevation.
// Positions are Earth-fixed (ECEF), lengths and clocks in metres, angles in radians.
#pragma once

#include <array>
#include <cstddef>

#include "utils/geometry/geometry.h"

namespace Qon::Nav {

constexpr size_t kMaxMeasurements = 80;       // of one epoch; those behind are not looked at
constexpr size_t kMaxClocks = 4;              // receiver clocks of an epoch, one per constellation
constexpr size_t kMaxSatelliteNumbers = 256;  // satellites are numbered from 0

// One satellite's code measurement of an epoch. `range` is the ionosphere-free pseudorange less everything that is
// known: cable, receiver and satellite group delays; the satellite's clock offset and relativistic correction are added
// (positive: its clock is ahead). What is left is geometric range, tropospheric delay and the receiver's clock.
// `sentFrom` is the satellite at the time of transmission in the Earth-fixed frame of that very moment: the turn of
// the Earth during the travel is applied here, for the position that is being tried, so that no start matters.
// Not valid, and left out as such: a value that is not finite, a range of 1e10 m and more either way, a satellite
// nearer than 7e6 m or farther than 1e8 m from the Earth's centre, a clock or satellite number out of range.
struct CodeMeasurement {
    int satellite = 0;  // 0 to kMaxSatelliteNumbers - 1: the caller's number, used to tell satellites apart
    int clock = 0;      // 0 to kMaxClocks - 1: the receiver clock (constellation) that it is measured against
    Vector3 sentFrom;
    double range = 0;
};

// Standard deviation of a measurement at elevation E: sqrt(zenith^2 + (slope / sin E)^2). Both in m, not both 0.
struct CodeNoise {
    double zenith = 1;
    double slope = 1;
};

// Tropospheric delay: at the zenith of an ECEF position, and slanted to an elevation; both in m. Without functions
// there is no delay. They are asked for elevations from kLowestElevation to pi/2 and for any position that the
// iteration passes through, even the Earth's centre, and must answer with finite numbers there.
struct TroposphereModel {
    float (*zenith)(const Vector3& position) = nullptr;
    float (*slant)(float zenithDelay, float elevation) = nullptr;
};

constexpr double kLowestElevation = 0.02;  // rad: the models of delay and noise mean little nearer to the horizon

struct CodeModel {
    std::array<CodeNoise, kMaxClocks> noise;        // by clock
    std::array<Vector3, kMaxClocks> phaseCentre{};  // by clock: antenna phase centre less the position asked for, ECEF
    TroposphereModel troposphere;
    double elevationMask = 0.17453292519943295;  // rad; never below kLowestElevation
};

// A place from which satellites are seen, with what all of them share.
struct Viewpoint {
    Vector3 position;
    LocalFrame frame;
    float zenithDelay = 0;
};

// A measurement as seen from a viewpoint.
struct Sight {
    Vector3 direction;     // unit vector to the satellite
    double elevation = 0;  // of the satellite, without a limit
    double sigma = 1;      // of the measurement
    double delay = 0;      // of the troposphere
    double misfit = 0;     // measured less computed range: the receiver's clock and the errors
};

bool IsValidMeasurement(const CodeMeasurement& measurement);

Viewpoint MakeViewpoint(const CodeModel& model, const Vector3& position);

// The turn of the Earth is that of the tracks: of first order, for the distance to where the satellite was. Elevations
// below kLowestElevation get the delay and the standard deviation of that elevation.
Sight SeeSatellite(const CodeModel& model, const Viewpoint& viewpoint, const CodeMeasurement& measurement);

// How much the tropospheric delay of a sight grows with the delay at the zenith (m per m); 0 without a model.
double DelayPerZenithDelay(const CodeModel& model, const Viewpoint& viewpoint, const Sight& sight);

}  // namespace Qon::Nav
