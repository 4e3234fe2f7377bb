#include "utils/zeltdata/zeltcrc.h"

#include <array>

namespace {

constexpr unsigned kPolynomial = 0x1021;
constexpr size_t kStep = 16;  // bytes per step; 8 KiB of tables

// tables[k][v] is the CRC of the byte v followed by k zero bytes: the CRC being linear, that of a step is the XOR of
// one entry per byte.
constexpr std::array<std::array<uint16_t, 256>, kStep> makeTables() {
    std::array<std::array<uint16_t, 256>, kStep> tables{};
    for (unsigned v = 0; v < 256; ++v) {
        unsigned crc = v << 8;
        for (int bit = 0; bit < 8; ++bit) crc = (crc & 0x8000) != 0 ? (crc << 1) ^ kPolynomial : crc << 1;
        tables[0][v] = static_cast<uint16_t>(crc);
    }
    for (size_t k = 1; k < kStep; ++k) {
        for (unsigned v = 0; v < 256; ++v) {
            const unsigned crc = tables[k - 1][v];
            tables[k][v] = static_cast<uint16_t>((crc << 8) ^ tables[0][crc >> 8]);
        }
    }
    return tables;
}

constexpr auto kTables = makeTables();

}  // namespace

uint16_t zeltCrc(const uint8_t* data, size_t size, uint16_t crc) {
    for (; size >= kStep; size -= kStep, data += kStep) {
        unsigned next = kTables[kStep - 1][data[0] ^ (crc >> 8)] ^ kTables[kStep - 2][data[1] ^ (crc & 0xFF)];
        for (size_t i = 2; i < kStep; ++i) next ^= kTables[kStep - 1 - i][data[i]];
        crc = static_cast<uint16_t>(next);
    }
    for (; size > 0; --size, ++data) {
        crc = static_cast<uint16_t>((crc << 8) ^ kTables[0][(crc >> 8) ^ *data]);
    }
    return crc;
}

bool zeltCrcIsValid(Bytes block) {
    const Bytes summed = block.sub(kZeltIdOffset, block.size);
    return zeltCrc(summed.data, summed.size) == block.u16(kZeltCrcOffset);
}
