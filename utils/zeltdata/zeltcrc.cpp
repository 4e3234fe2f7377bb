#include "utils/zeltdata/zeltcrc.h"

#include <array>

#if defined(__x86_64__) && defined(__GNUC__)
#define ZELT_CRC_FOLDING 1
#include <immintrin.h>
#endif

namespace {

constexpr unsigned kPolynomial = 0x1021;
constexpr size_t kStep = 16;  // bytes per step; 8 KiB of tables

// The remainder times x, modulo the polynomial.
constexpr unsigned timesX(unsigned remainder) {
    return ((remainder << 1) ^ ((remainder & 0x8000) != 0 ? kPolynomial : 0)) & 0xFFFF;
}

constexpr unsigned timesPowerOfX(unsigned remainder, unsigned power) {
    for (; power > 0; --power) remainder = timesX(remainder);
    return remainder;
}

// tables[k][v] is the CRC of the byte v followed by k zero bytes: the CRC being linear, that of a step is the XOR of
// one entry per byte.
constexpr std::array<std::array<uint16_t, 256>, kStep> makeTables() {
    std::array<std::array<uint16_t, 256>, kStep> tables{};
    for (unsigned v = 0; v < 256; ++v) tables[0][v] = static_cast<uint16_t>(timesPowerOfX(v << 8, 8));
    for (size_t k = 1; k < kStep; ++k) {
        for (unsigned v = 0; v < 256; ++v) {
            const unsigned crc = tables[k - 1][v];
            tables[k][v] = static_cast<uint16_t>((crc << 8) ^ tables[0][crc >> 8]);
        }
    }
    return tables;
}
constexpr auto kTables = makeTables();

uint16_t addByte(uint16_t crc, uint8_t byte) {
    return static_cast<uint16_t>((crc << 8) ^ kTables[0][(crc >> 8) ^ byte]);
}

// The CRC continued over Count bytes, 2 to kStep.
template <size_t Count>
uint16_t addBytes(uint16_t crc, const uint8_t* data) {
    unsigned next = kTables[Count - 1][data[0] ^ (crc >> 8)] ^ kTables[Count - 2][data[1] ^ (crc & 0xFF)];
    for (size_t i = 2; i < Count; ++i) next ^= kTables[Count - 1 - i][data[i]];
    return static_cast<uint16_t>(next);
}

// x^(8 n) modulo the polynomial is powers.low[n % 256] times powers.high[n / 256].
struct BytePowers {
    std::array<uint16_t, 256> low;
    std::array<uint16_t, 256> high;
};
constexpr BytePowers makePowers() {
    BytePowers powers{};
    unsigned power = 1;
    for (size_t n = 0; n < 256; ++n, power = timesPowerOfX(power, 8)) powers.low[n] = static_cast<uint16_t>(power);
    const unsigned step = power;  // x^(8 * 256)
    power = 1;
    for (size_t n = 0; n < 256; ++n) {
        powers.high[n] = static_cast<uint16_t>(power);
        unsigned product = 0;
        for (unsigned bit = 0; bit < 16; ++bit) {
            if ((power >> bit & 1) != 0) product ^= timesPowerOfX(step, bit);
        }
        power = product;
    }
    return powers;
}
constexpr BytePowers kPowers = makePowers();

// Product modulo the polynomial.
uint16_t multiply(uint16_t a, uint16_t b) {
    uint32_t product = 0;
    for (unsigned bit = 0; bit < 16; ++bit) product ^= (uint32_t{b} << bit) & (0U - (unsigned{a} >> bit & 1));
    const uint32_t high = product >> 16;
    return static_cast<uint16_t>(product ^ kTables[1][high >> 8] ^ kTables[0][high & 0xFF]);
}

constexpr size_t kIndexStep = 8;

uint16_t crcByTable(const uint8_t* data, size_t size) {
    uint16_t crc = 0;
    for (; size >= kStep; size -= kStep, data += kStep) crc = addBytes<kStep>(crc, data);
    for (; size > 0; --size, ++data) crc = addByte(crc, *data);
    return crc;
}

uint16_t crcBefore(const ZeltCrcIndex& index, size_t offset) {
    uint16_t crc = index.before[offset / kIndexStep];
    for (size_t i = offset - offset % kIndexStep; i < offset; ++i) crc = addByte(crc, index.bytes.data[i]);
    return crc;
}

}  // namespace

#ifdef ZELT_CRC_FOLDING

namespace {

constexpr size_t kLane = 16;
constexpr size_t kLanes = 4;  // enough to hide the multiplication's latency
constexpr size_t kStride = kLanes * kLane;

// 16 bytes as a polynomial: the first byte has the highest powers.
__m128i reversed() { return _mm_set_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15); }
[[gnu::target("pclmul,ssse3")]] __m128i loadLane(const uint8_t* data) {
    return _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(data)), reversed());
}

// The first `count` of 16 bytes as the lowest powers, zeros above them.
[[gnu::target("pclmul,ssse3")]] __m128i loadHead(const uint8_t* data, size_t count) {
    static constexpr uint8_t kSources[2 * kLane] = {15,   14,   13,   12,   11,   10,   9,    8,    7,    6,    5,
                                                    4,    3,    2,    1,    0,    0x80, 0x80, 0x80, 0x80, 0x80, 0x80,
                                                    0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80};
    const __m128i sources = _mm_loadu_si128(reinterpret_cast<const __m128i*>(kSources + kLane - count));
    return _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(data)), sources);
}

// Factors that move the halves of a lane up by Bits: x^(Bits + 64) and x^Bits modulo the polynomial.
template <unsigned Bits>
__m128i foldFactors() {
    constexpr unsigned kHighFactor = timesPowerOfX(1, Bits + 64);
    constexpr unsigned kLowFactor = timesPowerOfX(1, Bits);
    return _mm_set_epi64x(kHighFactor, kLowFactor);
}

template <unsigned Bits>
[[gnu::target("pclmul,ssse3")]] __m128i fold(__m128i lane, __m128i onto) {
    const __m128i factors = foldFactors<Bits>();
    const __m128i high = _mm_clmulepi64_si128(lane, factors, 0x11);
    const __m128i low = _mm_clmulepi64_si128(lane, factors, 0x00);
    return _mm_xor_si128(onto, _mm_xor_si128(high, low));
}

struct Lanes {
    __m128i lane[kLanes];
};

// Folds whole strides onto the lanes.
[[gnu::target("pclmul,ssse3")]] void foldStrides(const uint8_t* data, const uint8_t* end, Lanes& lanes) {
    for (; data != end; data += kStride) {
        for (size_t i = 0; i < kLanes; ++i) {
            lanes.lane[i] = fold<8 * kStride>(lanes.lane[i], loadLane(data + i * kLane));
        }
    }
}

// The same with two lanes to a register.
[[gnu::target("vpclmulqdq,avx2")]] __m256i foldPair(__m256i pair, const uint8_t* data) {
    const __m256i factors = _mm256_broadcastsi128_si256(foldFactors<8 * kStride>());
    const __m256i onto = _mm256_shuffle_epi8(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(data)),
                                             _mm256_broadcastsi128_si256(reversed()));
    const __m256i high = _mm256_clmulepi64_epi128(pair, factors, 0x11);
    const __m256i low = _mm256_clmulepi64_epi128(pair, factors, 0x00);
    return _mm256_xor_si256(onto, _mm256_xor_si256(high, low));
}

[[gnu::target("vpclmulqdq,avx2")]] void foldStridesInPairs(const uint8_t* data, const uint8_t* end, Lanes& lanes) {
    __m256i first = _mm256_set_m128i(lanes.lane[1], lanes.lane[0]);
    __m256i second = _mm256_set_m128i(lanes.lane[3], lanes.lane[2]);
    for (; data != end; data += kStride) {
        first = foldPair(first, data);
        second = foldPair(second, data + 2 * kLane);
    }
    lanes = {{_mm256_castsi256_si128(first), _mm256_extracti128_si256(first, 1), _mm256_castsi256_si128(second),
              _mm256_extracti128_si256(second, 1)}};
}

// The CRC of 16 folded bytes: folded once more to 80 bits, then to 64, and the rest by table.
[[gnu::target("pclmul,ssse3")]] uint16_t finishFolding(__m128i sum) {
    constexpr unsigned kFactor = timesPowerOfX(1, 64);
    const __m128i factor = _mm_cvtsi64_si128(kFactor);
    for (int i = 0; i < 2; ++i) sum = _mm_xor_si128(_mm_move_epi64(sum), _mm_clmulepi64_si128(sum, factor, 0x01));
    const auto rest = static_cast<uint64_t>(_mm_cvtsi128_si64(sum));
    unsigned crc = 0;
    for (size_t i = 0; i < sizeof rest; ++i) crc ^= kTables[i][rest >> (8 * i) & 0xFF];
    return static_cast<uint16_t>(crc);
}

// Leading zeros do not change a CRC, so the length is made up to whole strides in front.
template <auto FoldStrides>
[[gnu::target("pclmul,ssse3")]] uint16_t crcByFolding(const uint8_t* data, size_t size) {
    if (size < kLane) return crcByTable(data, size);
    const size_t head = (size - 1) % kStride + 1;
    Lanes lanes;
    for (size_t i = 0; i < kLanes; ++i) {
        const size_t behind = kStride - (i + 1) * kLane;
        const size_t laneEnd = head > behind ? head - behind : 0;
        const size_t count = laneEnd < kLane ? laneEnd : kLane;
        lanes.lane[i] = loadHead(data + laneEnd - count, count);
    }
    FoldStrides(data + head, data + size, lanes);
    __m128i sum = lanes.lane[0];
    for (size_t i = 1; i < kLanes; ++i) sum = fold<8 * kLane>(sum, lanes.lane[i]);
    return finishFolding(sum);
}

}  // namespace

ZeltCrcMethods zeltCrcMethods() {
    __builtin_cpu_init();
    const bool folding = __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("ssse3");
    const bool wide = folding && __builtin_cpu_supports("vpclmulqdq") && __builtin_cpu_supports("avx2");
    return {{{wide, crcByFolding<foldStridesInPairs>}, {folding, crcByFolding<foldStrides>}, {true, crcByTable}}};
}

#else

ZeltCrcMethods zeltCrcMethods() { return {{{false, nullptr}, {false, nullptr}, {true, crcByTable}}}; }

#endif

uint16_t zeltCrc(const uint8_t* data, size_t size) {
    static const auto fastest = [] {
        const ZeltCrcMethods methods = zeltCrcMethods();
        size_t i = 0;
        while (!methods[i].isAvailable) ++i;
        return methods[i].crc;
    }();
    return fastest(data, size);
}

bool zeltCrcIsValid(Bytes block) {
    const Bytes summed = block.sub(kZeltIdOffset, block.size);
    return zeltCrc(summed.data, summed.size) == block.u16(kZeltCrcOffset);
}

void zeltBuildCrcIndex(Bytes bytes, ZeltCrcIndex& index) {
    index.bytes = bytes;
    index.before.resize(bytes.size / kIndexStep + 1);
    uint16_t crc = 0;
    for (size_t i = 0; i < index.before.size(); ++i) {
        index.before[i] = crc;
        if (bytes.has(i * kIndexStep, kIndexStep)) crc = addBytes<kIndexStep>(crc, bytes.data + i * kIndexStep);
    }
}

// As polynomials, crc(a || b) = crc(a) x^(8 size b) + crc(b): what is wanted is crc(b), b the stretch and a what lies
// before it.
uint16_t zeltIndexedCrc(const ZeltCrcIndex& index, size_t offset, size_t size) {
    const uint16_t front =
        multiply(multiply(crcBefore(index, offset), kPowers.low[size % 256]), kPowers.high[size / 256]);
    return crcBefore(index, offset + size) ^ front;
}
