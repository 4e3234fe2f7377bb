// The compact measurement blocks: Meas3Ranges and its companions.
//
// At every multiple of the reference interval the ranges are logged whole (a reference epoch); the epochs between may
// log satellites as small differences to it.
#pragma once

#include <array>
#include <cstdint>

#include "utils/zeltdata/meas3companions.h"
#include "utils/zeltdata/meas3reference.h"
#include "utils/zeltdata/zeltmeasepoch.h"

// Decodes the blocks of both antennas, antenna 0's ranges among them, into `epoch`, and keeps reference epochs. An
// antenna whose reference epoch was not seen yields no satellites; so does a satellite or signal logged as a
// difference to something that the reference epoch did not hold. After a corrupt reference epoch, an epoch ends where
// it first needs what followed the fault. A companion that ends too early counts as absent for the rest. False, with no
// satellites in the epoch, when the ranges of an antenna are corrupt or of an unknown form.
bool zeltDecodeMeas3(const std::array<Meas3Blocks, kZeltAntennas>& blocks, Meas3References& references,
                     ZeltMeasEpoch& epoch);
