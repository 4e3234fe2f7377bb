// The modelled tropospheric delay (MDTR): the NATO model of zenith delay by height and its mapping function.
#pragma once

#include "utils/geometry/geometry.h"

// Zenith delay in m at an ECEF position.
float zenithTropoDelay(const Qon::Nav::Vector3& position);

// Delay in m along a direction of the given elevation in rad.
float tropoMapping(float zenithDelay, float elevation);
