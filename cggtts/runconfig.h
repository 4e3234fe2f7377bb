// The run configuration: what the user and the log say about the station, read by every stage.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "utils/geometry/geometry.h"
#include "utils/geometry/navtools.h"

constexpr size_t kTrackedConstellations = 4;  // GPS, GLONASS, Galileo, BeiDou: in this order everywhere

struct RunConfig {
    // Internal delays (receiver and antenna) of the signals, reference delay and cable delay, ns.
    double delayGpsL1Ns = 0;
    double delayGpsL2Ns = 0;
    double delayGloL1Ns = 0;
    double delayGloL2Ns = 0;
    double delayGalE5aNs = 0;
    double delayGalE1Ns = 0;
    double delayBdsB1Ns = 0;
    double delayBdsB2Ns = 0;
    double delayReferenceNs = 0;
    double delayCableNs = 0;

    int32_t leapSeconds = Qon::Nav::kNoLeapSeconds;  // GPS - UTC, s
    double elevationMaskDeg = 10;                    // degrees
    bool isContiguous = false;                       // 13-minute tracks without gaps instead of the BIPM schedule
    std::array<Qon::Nav::Vector3, kTrackedConstellations> phaseCentre;  // antenna, per constellation
};
