// Cursors over packed data: they stop at the end of their bytes and say so, whatever is asked of them.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#include "utils/zeltdata/zeltblock.h"

// `width` bits (at most 57) of a little-endian word from bit `first` on.
inline uint32_t bitField(uint64_t word, unsigned first, unsigned width) {
    return static_cast<uint32_t>((word >> first) & ((uint64_t{1} << width) - 1));
}

// The set bits of a mask, one by one: the lowest one's number (of a mask that is not 0), and the mask without it.
template <class Mask>
size_t lowestBit(Mask mask) {
    return static_cast<size_t>(std::countr_zero(mask));
}
template <class Mask>
Mask withoutLowestBit(Mask mask) {
    return static_cast<Mask>(mask & (mask - 1));
}

// A value of `width` bits (1 to 31) in two's complement.
inline int32_t signExtend(uint32_t value, unsigned width) {
    const auto signedValue = static_cast<int32_t>(value);
    return (value >> (width - 1)) != 0 ? signedValue - (int32_t{1} << width) : signedValue;
}

// Takes bytes from the front. Once something was asked for that is not there, `failed` stays set and every further
// request is empty.
struct ByteCursor {
    Bytes rest;
    bool failed = false;

    Bytes take(size_t count) {
        failed = failed || rest.size < count;
        if (failed) return {};
        const Bytes taken{rest.data, count};
        rest = {rest.data + count, rest.size - count};
        return taken;
    }
};

// Takes bits, bit 0 of the first byte first; it fails as a ByteCursor does, with 0.
struct BitCursor {
    Bytes bytes;
    size_t position = 0;  // bits taken
    bool failed = false;

    uint32_t take(unsigned width) {  // 1 to 32
        failed = failed || bytes.size * 8 - position < width;
        if (failed) return 0;
        const uint32_t value = bitField(bytes.sub(position / 8, 8).word(), position % 8, width);
        position += width;
        return value;
    }
};
