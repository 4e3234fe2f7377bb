// The CRC of Zelt blocks: CRC-16 with polynomial 0x1021, initial value 0, not reflected, no final XOR (XMODEM).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "utils/zeltdata/zeltblock.h"

// The CRC of `size` bytes, by the fastest way that the processor has.
uint16_t zeltCrc(const uint8_t* data, size_t size);

// The ways, fastest first: by carry-less multiplication, two lanes of 16 bytes to a register or one, where the
// processor has it; and by tables, 16 bytes a step, everywhere.
struct ZeltCrcWay {
    bool isAvailable;
    uint16_t (*crc)(const uint8_t* data, size_t size);
};
using ZeltCrcWays = std::array<ZeltCrcWay, 3>;
ZeltCrcWays zeltCrcWays();

// True when the CRC field of a block (of at least its header) is that of its bytes from the ID field on.
bool zeltCrcIsValid(Bytes block);

// CRCs of any stretches of the same bytes at a cost that does not depend on their length: for data in which many
// candidates overlap. Holds the CRC of the bytes before every eighth position.
struct ZeltCrcIndex {
    Bytes bytes;
    std::vector<uint16_t> before;
};
void zeltBuildCrcIndex(Bytes bytes, ZeltCrcIndex& index);

// The CRC of `size` (at most kZeltMaxLength) bytes from `offset` on; the stretch must lie inside the index's bytes.
uint16_t zeltIndexedCrc(const ZeltCrcIndex& index, size_t offset, size_t size);
