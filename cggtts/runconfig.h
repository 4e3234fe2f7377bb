// The run configuration: what the user and the log say about the station, read by every stage.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "utils/geometry/geometry.h"
#include "utils/geometry/navtools.h"

constexpr size_t kTrackedConstellations = 4;  // GPS, GLONASS, Galileo, BeiDou: in this order everywhere

struct RunConfig {
    // Delays in ns. Internal ones (receiver and antenna) per signal and the cable's make signals arrive late and are
    // taken off the measurements; the reference's, from the laboratory's clock to the receiver's latching, is added.
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
    double elevationMaskDeg = 10;
    bool isContiguous = false;  // 13-minute tracks without gaps instead of the BIPM schedule
    Qon::Nav::Vector3 referencePoint;  // of the antenna (ARP): ITRF, m; from it come the phase centres
    // Phase centre of the antenna for the ionosphere-free combination of a constellation's two signals: ITRF, m.
    std::array<Qon::Nav::Vector3, kTrackedConstellations> phaseCentre;
};
