// Navigation blocks: where their fields are, and completing what they log in short form.
// Offsets are from the first byte of the block. Angles of the Kepler elements are in semicircles, rates per second.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "utils/zeltdata/zeltblock.h"

// Where a block has its Kepler orbit and its clock polynomial.
struct ZeltKeplerLayout {
    size_t toc;  // u32, s of week
    size_t af2;  // f32, s/s^2
    size_t af1;  // f32, s/s
    size_t af0;  // f32 or f64, s
    bool af0IsDouble;
    size_t crs;       // f32, m
    size_t deltaN;    // f32
    size_t m0;        // f64
    size_t cuc;       // f32, rad
    size_t e;         // f64
    size_t cus;       // f32, rad
    size_t sqrtA;     // f64, sqrt(m)
    size_t toe;       // u32, s of week
    size_t cic;       // f32, rad
    size_t omega0;    // f64
    size_t cis;       // f32, rad
    size_t i0;        // f64
    size_t crc;       // f32, m
    size_t omega;     // f64
    size_t omegaDot;  // f32
    size_t idot;      // f32
    size_t wnToc;     // u16; GPS: modulo 1024, Galileo: GPS week, BeiDou: BeiDou week
    size_t wnToe;     // u16, likewise
};

// GPSNav and BDSNav.
constexpr ZeltKeplerLayout kZeltGpsKepler = {
    .toc = 32,
    .af2 = 36,
    .af1 = 40,
    .af0 = 44,
    .af0IsDouble = false,
    .crs = 48,
    .deltaN = 52,
    .m0 = 56,
    .cuc = 64,
    .e = 68,
    .cus = 76,
    .sqrtA = 80,
    .toe = 88,
    .cic = 92,
    .omega0 = 96,
    .cis = 104,
    .i0 = 108,
    .crc = 116,
    .omega = 120,
    .omegaDot = 128,
    .idot = 132,
    .wnToc = 136,
    .wnToe = 138,
};
constexpr ZeltKeplerLayout kZeltGalKepler = {
    .toc = 104,
    .af2 = 108,
    .af1 = 112,
    .af0 = 116,
    .af0IsDouble = true,
    .crs = 88,
    .deltaN = 72,
    .m0 = 24,
    .cuc = 76,
    .e = 32,
    .cus = 80,
    .sqrtA = 16,
    .toe = 100,
    .cic = 92,
    .omega0 = 56,
    .cis = 96,
    .i0 = 40,
    .crc = 84,
    .omega = 48,
    .omegaDot = 64,
    .idot = 68,
    .wnToc = 126,
    .wnToe = 124,
};

namespace ZeltGpsNav {
constexpr size_t kHealth = 20;  // u8, 0: usable
constexpr size_t kIode = 25;    // u8, of subframe 3
constexpr size_t kTgd = 28;     // f32, s
}  // namespace ZeltGpsNav

namespace ZeltBdsNav {
constexpr size_t kSatH1 = 19;  // u8, 0: usable
constexpr size_t kTgd1 = 24;   // f32, s, B1I
constexpr size_t kTgd2 = 28;   // f32, s, B2I
}  // namespace ZeltBdsNav

namespace ZeltGalNav {
constexpr size_t kSource = 15;        // u8, kSourceFnav or another message
constexpr size_t kIodNav = 128;       // u16
constexpr size_t kHealthOsSol = 130;  // u16; bits 8-11: E5a status present, health (2 bits), data valid
constexpr size_t kBgdE1E5a = 136;     // f32, s; Qon::Nav::kNotAvailable when missing, as the two below
constexpr size_t kBgdE1E5b = 140;     // f32, s
constexpr size_t kBgdE1E6a = 144;     // f32, s
constexpr uint8_t kSourceInav = 2;
constexpr uint8_t kSourceFnav = 16;
}  // namespace ZeltGalNav

namespace ZeltGloNav {
constexpr size_t kFreqNr = 15;      // u8, frequency number + 8
constexpr size_t kX = 16;           // f64, km, PZ-90 at t_oe
constexpr size_t kY = 24;           // f64, km
constexpr size_t kZ = 32;           // f64, km
constexpr size_t kDx = 40;          // f32, km/s
constexpr size_t kDy = 44;          // f32, km/s
constexpr size_t kDz = 48;          // f32, km/s
constexpr size_t kDdx = 52;         // f32, km/s^2, lunisolar
constexpr size_t kDdy = 56;         // f32, km/s^2
constexpr size_t kDdz = 60;         // f32, km/s^2
constexpr size_t kGamma = 64;       // f32, relative frequency bias
constexpr size_t kTau = 68;         // f32, s, clock bias
constexpr size_t kDtau = 72;        // f32, s, L2 minus L1 delay
constexpr size_t kToe = 76;         // u32, s of GPS week
constexpr size_t kWnToe = 80;       // u16, GPS week, modulo 1024
constexpr size_t kTb = 86;          // u16, minutes of the GLONASS day (UTC(SU) + 3 h)
constexpr size_t kHealthFlag = 90;  // u8, 0: usable
}  // namespace ZeltGloNav

constexpr size_t kZeltNavMaxSize = ZeltGalNav::kBgdE1E6a + 4;  // of what is read of a navigation block

// A navigation block up to the last field that is read of it, with its satellite number and weeks completed.
struct ZeltNavBlock {
    std::array<uint8_t, kZeltNavMaxSize> storage{};
    size_t size = 0;

    Bytes bytes() const { return {storage.data(), size}; }
};

// The full week nearest to `currentWeek` that a week modulo 1024 stands for. A week that lies 513 to 1535 weeks ahead
// of the current one is left as it is (deliberate: only a wrong time stamp gives such a pair, and an ephemeris of a far
// week is then not usable, instead of one made to fit).
uint16_t resolveWeek(uint16_t currentWeek, uint16_t partialWeek);

// Copies a navigation block, its SVID made the internal number and its weeks full GPS weeks: GPS and GLONASS weeks
// completed against the block's own time stamp, BeiDou weeks moved to the GPS scale. False, with `fixed` empty, when
// the block is no navigation block or too short for the fields read of it.
bool zeltFixNavBlock(Bytes block, ZeltNavBlock& fixed);
