// Satellite numbers: from the logged to the internal numbering.
#pragma once

#include <cstdint>

namespace Qon::Nav {

// The internal number of a logged SVID; 0 for a number that names no satellite. 62 (GLONASS, slot unknown) and 69 both
// become 68, and 70 becomes 69 (deliberate).
uint8_t NormalizeSVID(uint8_t svid);

}  // namespace Qon::Nav
