// Zelt blocks: what every block begins with, the block numbers, and bounds-checked little-endian access to their bytes.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

// A view of bytes that belong to somebody else. A load that does not lie wholly inside yields 0, so no offset can
// leave the view; a decoder asks has() once per block or sub-block where a missing field must not pass for a 0.
struct Bytes {
    const uint8_t* data = nullptr;
    size_t size = 0;

    bool has(size_t offset, size_t count) const { return offset <= size && count <= size - offset; }

    // The part from `offset` on, at most `count` bytes of it; empty when offset lies behind the end.
    Bytes sub(size_t offset, size_t count) const {
        if (offset > size) return {};
        return {data + offset, count < size - offset ? count : size - offset};
    }

    uint8_t u8(size_t offset) const { return has(offset, 1) ? data[offset] : uint8_t{0}; }
    uint16_t u16(size_t offset) const { return load<uint16_t>(offset); }
    uint32_t u32(size_t offset) const { return load<uint32_t>(offset); }
    uint64_t u64(size_t offset) const { return load<uint64_t>(offset); }
    int i8(size_t offset) const { return u8(offset) < 0x80 ? u8(offset) : u8(offset) - 0x100; }
    int16_t i16(size_t offset) const { return static_cast<int16_t>(u16(offset)); }
    int32_t i32(size_t offset) const { return static_cast<int32_t>(u32(offset)); }
    float f32(size_t offset) const { return std::bit_cast<float>(u32(offset)); }
    double f64(size_t offset) const { return std::bit_cast<double>(u64(offset)); }

    // The whole view, up to 8 bytes of it, as one word.
    uint64_t word() const {
        if (size >= 8) return u64(0);
        uint64_t value = 0;
        for (size_t i = 0; i < size; ++i) value |= uint64_t{data[i]} << (8 * i);
        return value;
    }

private:
    // Byte by byte where the processor's order is another; compilers do not join the bytes into one load by themselves.
    template <class Value>
    Value load(size_t offset) const {
        Value value = 0;
        if (!has(offset, sizeof(Value))) return value;
        if constexpr (std::endian::native == std::endian::little) {
            std::memcpy(&value, data + offset, sizeof value);
        } else {
            for (size_t i = sizeof value; i-- > 0;) value = static_cast<Value>(value << 8 | data[offset + i]);
        }
        return value;
    }
};

// Block numbers (bits 0 to 12 of the ID field).
constexpr uint16_t kZeltBlockNumbers = 0x2000;
enum ZeltBlockNumber : uint16_t {
    kZeltMeasExtra = 4000,
    kZeltGalNav = 4002,
    kZeltGloNav = 4004,
    kZeltMeasEpoch = 4027,
    kZeltUtc2 = 4031,  // a second UTC block, with the leap second where GPSUtc has it
    kZeltBdsNav = 4081,
    kZeltMeasFullRange = 4098,
    kZeltMeas3Ranges = 4109,
    kZeltMeas3Cn0HiRes = 4110,
    kZeltMeas3Doppler = 4111,
    kZeltMeas3Pp = 4112,
    kZeltMeas3Mp = 4113,
    kZeltGpsNav = 5891,
    kZeltGpsUtc = 5894,
    kZeltReceiverSetup = 5902,
    kZeltMeasEpochOld = 5944,  // an earlier form of MeasEpoch, same layout
};

// Header and time stamp, by offset from the start of the block.
constexpr size_t kZeltCrcOffset = 2;     // u16, of the bytes from kZeltIdOffset to the end
constexpr size_t kZeltIdOffset = 4;      // u16: bits 0-12 block number, bits 13-15 revision
constexpr size_t kZeltLengthOffset = 6;  // u16, bytes of the whole block
constexpr size_t kZeltHeaderSize = 8;
constexpr size_t kZeltTowOffset = 8;    // u32, ms of the GPS week
constexpr size_t kZeltWncOffset = 12;   // u16, weeks since the GPS origin, not modulo 1024
constexpr size_t kZeltSvidOffset = 14;  // u8, navigation blocks only
constexpr size_t kZeltMinLength = 16;   // nothing shorter is a block
constexpr size_t kZeltMaxLength = 65535;

constexpr uint8_t kZeltSync1 = '$';
constexpr uint8_t kZeltSync2 = '@';

constexpr uint32_t kZeltNoTow = 0xFFFFFFFF;  // do-not-use
constexpr uint16_t kZeltNoWnc = 0xFFFF;      // do-not-use

inline uint16_t zeltNumber(Bytes block) { return block.u16(kZeltIdOffset) % kZeltBlockNumbers; }
inline int zeltRevision(Bytes block) { return block.u16(kZeltIdOffset) >> 13; }
inline uint32_t zeltTow(Bytes block) { return block.u32(kZeltTowOffset); }
inline uint16_t zeltWnc(Bytes block) { return block.u16(kZeltWncOffset); }
inline bool zeltHasTimeStamp(Bytes block) { return zeltTow(block) != kZeltNoTow && zeltWnc(block) != kZeltNoWnc; }
