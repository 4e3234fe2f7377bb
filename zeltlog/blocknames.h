// What the blocks of a log are called.
#pragma once

#include <cstdint>

// The name of a block number, "?" for one that this program knows nothing of.
const char* blockName(uint16_t number);
