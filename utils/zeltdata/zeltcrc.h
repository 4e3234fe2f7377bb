// The CRC of Zelt blocks: CRC-16 with polynomial 0x1021, initial value 0, not reflected, no final XOR (XMODEM).
#pragma once

#include <cstddef>
#include <cstdint>

#include "utils/zeltdata/zeltblock.h"

// The CRC of `size` bytes, continued from `crc`.
uint16_t zeltCrc(const uint8_t* data, size_t size, uint16_t crc = 0);

// True when the CRC field of a block (of at least its header) is that of its bytes from the ID field on.
bool zeltCrcIsValid(Bytes block);
