#include "bench/blockwriter.h"

#include <bit>

#include "utils/geometry/navtools.h"
#include "utils/zeltdata/zeltcrc.h"

void setBytes(ByteVector& bytes, size_t offset, uint64_t value, size_t count) {
    for (size_t i = 0; i < count; ++i) bytes[offset + i] = static_cast<uint8_t>(value >> (8 * i) & 0xFF);
}

void putBytes(ByteVector& bytes, uint64_t value, size_t count) {
    const size_t offset = bytes.size();
    bytes.resize(offset + count);
    setBytes(bytes, offset, value, count);
}

uint32_t floatBits(float value) { return std::bit_cast<uint32_t>(value); }

ByteVector startBlock(uint16_t number, int revision, uint32_t tow, uint32_t wnc) {
    ByteVector block{kZeltSync1, kZeltSync2, 0, 0};
    putBytes(block, static_cast<uint64_t>(revision) << 13 | number, 2);
    putBytes(block, 0, 2);
    putBytes(block, tow, 4);
    putBytes(block, wnc, 2);
    return block;
}

void setStamp(ByteVector& block, int64_t time) {
    setBytes(block, kZeltWncOffset, static_cast<uint64_t>(time / Qon::Nav::kSecondsPerWeek), 2);
    setBytes(block, kZeltTowOffset, static_cast<uint64_t>(time % Qon::Nav::kSecondsPerWeek * 1000), 4);
}

void finishBlock(ByteVector& block) {
    block.resize((block.size() + 3) / 4 * 4);
    setBytes(block, kZeltLengthOffset, block.size(), 2);
    setBytes(block, kZeltCrcOffset, zeltCrc(block.data() + kZeltIdOffset, block.size() - kZeltIdOffset), 2);
}

void BitWriter::put(uint64_t value, size_t count) {
    for (size_t i = 0; i < count; ++i, ++bitCount) {
        if (bitCount % 8 == 0) bytes.push_back(0);
        if ((value >> i & 1) != 0) bytes.back() = static_cast<uint8_t>(bytes.back() | 1U << bitCount % 8);
    }
}
