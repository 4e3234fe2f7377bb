// The CRC of Zelt blocks: CRC-16 with polynomial 0x1021, initial value 0, not reflected, no final XOR (XMODEM).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "utils/zeltdata/zeltblock.h"

// The CRC of `size` bytes, by the fastest method that the processor has.
uint16_t zeltCrc(const uint8_t* data, size_t size);

// The methods, fastest first; all give the same CRC. Two fold the data by carry-less multiplication, with two lanes of
// 16 bytes to a register or one (V. Gopal et al., "Fast CRC Computation for Generic Polynomials Using PCLMULQDQ
// Instruction", 2009), where the processor has it. The third looks up 16 bytes a step in tables, everywhere (M. E.
// Kounavis and F. L. Berry, "Novel Table Lookup-Based Algorithms for High-Performance CRC Generation", IEEE Trans.
// Computers 57, 2008, 1550-1560).
struct ZeltCrcMethod {
    bool isAvailable;  // on this processor
    uint16_t (*crc)(const uint8_t* data, size_t size);
};
using ZeltCrcMethods = std::array<ZeltCrcMethod, 3>;
ZeltCrcMethods zeltCrcMethods();

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
