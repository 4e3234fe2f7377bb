// Building Zelt blocks byte by byte, little-endian, and the bit streams inside some of them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "utils/zeltdata/zeltblock.h"

using ByteVector = std::vector<uint8_t>;

// Appends the low `count` bytes of a value.
void putBytes(ByteVector& bytes, uint64_t value, size_t count);

// Overwrites `count` bytes at `offset`.
void setBytes(ByteVector& bytes, size_t offset, uint64_t value, size_t count);

uint32_t floatBits(float value);

// A block as far as its time stamp.
ByteVector startBlock(uint16_t number, int revision, uint32_t tow, uint32_t wnc);

// Sets a block's time stamp to `time`, s since 1980-01-06.
void setStamp(ByteVector& block, int64_t time);

// Pads a block to a multiple of four bytes and fills in its length and CRC.
void finishBlock(ByteVector& block);

// Appends bits, bit 0 of each byte first.
struct BitWriter {
    ByteVector bytes;
    size_t bitCount = 0;

    void put(uint64_t value, size_t count);
};
