// A simulated satellite over one track: what goes in as clock offset, ionosphere and delays must come out.
#pragma once

#include <cstdint>
#include <vector>

#include "cggtts/runconfig.h"
#include "tests/support/blocks.h"
#include "utils/geometry/geometry.h"

constexpr double kLightSpeed = 299792458.0;  // m/s
constexpr uint32_t kTrackStart = 346200;     // s of week 2111: 00:10 of 2020-06-25, MJD 59025, of the BIPM schedule
constexpr double kTrackMiddle = 408;      // s after it: where lines are evaluated, 18 leap seconds after half a track
extern const Qon::Nav::Vector3 kStation;  // the satellite is at its zenith in the middle of the track

// A satellite on a circular orbit.
struct Satellite {
    char letter = 0;  // of its files
    int navNumber = 0;
    int svid = 0;  // as logged
    int signal1 = 0;
    int signal2 = 0;
    double mu = 0;  // gravity and turn of the Earth as its constellation counts them
    double earthRate = 0;
    double groupDelay1 = 0;  // s; BeiDou's second is not broadcast when it is 0
    double groupDelay2 = 0;
};
extern const Satellite kGpsSatellite;
extern const Satellite kGalSatellite;
extern const Satellite kBdsSatellite;

struct Truth {
    double clock = 480924.6e-9;     // receiver ahead of system time, s
    double drift = 2e-10;           // s/s
    float satelliteClock = -1e-4F;  // s
    double iono = 6.5;              // m on signal 1
    double ionoRate = 0.001;        // m/s
    double delay1 = 0;              // s, in receiver and cable
    double delay2 = 0;
};

ByteVector navBlock(const Satellite& satellite, const Truth& truth = {});

// The MeasEpoch at receiver time t (s of the week) of `count` satellites in one place, numbered from the given one on.
ByteVector epochBlock(const Satellite& satellite, uint32_t t, const Truth& truth = {}, int count = 1);

// A log of `epochs` samples from the track's first on, without those in `missing`.
ByteVector simulate(const Satellite& satellite, int epochs = 26, const std::vector<int>& missing = {},
                    const Truth& truth = {});

// A log of one track with all 32 satellites of GPS in one place.
ByteVector simulateAllGps();
