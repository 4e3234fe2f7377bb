// Satellite numbers: from the logged to the internal numbering.
#pragma once

#include <cstdint>

namespace Qon::Nav {

// The internal number of a logged SVID; 0 for a number that names no satellite. 62, a GLONASS satellite of unknown
// slot, goes to the end of its constellation, 68, and the slots logged behind it close the gap. 69 and 70, which name
// no satellite, are moved like these (deliberate: what a log says of 69 belongs to 68).
uint8_t NormalizeSVID(uint8_t svid);

}  // namespace Qon::Nav
