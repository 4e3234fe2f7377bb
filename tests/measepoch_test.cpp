#include "utils/zeltdata/measepoch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "tests/logbuilder.h"
#include "utils/geometry/constants.h"
#include "utils/zeltdata/zeltsignal.h"
#include "utils/zeltdata/zeltsvid.h"

using namespace Qon::Nav;

namespace {

constexpr double kL1Wavelength = 299792458.0 / 1575.42e6;
constexpr double kL2Wavelength = 299792458.0 / 1227.60e6;

// A MeasEpoch of one or more satellites; sub-blocks are laid out by the caller.
BlockBuilder measEpoch(int satellites, size_t length, int revision = 1, int number = kZeltMeasEpoch) {
    return BlockBuilder(number, length, revision, 1000).u8(14, {satellites, 20, 12});
}

// A satellite at 5 * 4294967.296 + 1 m, with `n2` type-2 sub-blocks.
constexpr double kCode = 5 * 4294967.296 + 1;
BlockBuilder& setType1(BlockBuilder& b, size_t at, int channel, int type, int svid, int obsInfo = 0, int n2 = 0) {
    b.u8(at, {channel, type, svid, 5}).u32(at + 4, 1000).u32(at + 8, 12345678).u16(at + 12, 500);
    return b.u8(at + 14, {-1, 40, 0, 0, obsInfo, n2});
}

struct MeasEpochTest : testing::Test {
    ZeltMeasEpoch epoch{};

    void decode(BlockBuilder& b) { zeltDecodeMeasEpoch(viewOf(b.done()), epoch); }
    const ZeltMeasSignal& signal(size_t slot) { return epoch.satellites[0].signals[0][slot]; }
    void expectSignal(size_t slot, double code, double carrier, double doppler, double cn0, uint32_t lock, int flags) {
        const ZeltMeasSignal& s = signal(slot);
        EXPECT_DOUBLE_EQ(s.pseudorange, code) << slot;
        EXPECT_DOUBLE_EQ(s.carrierPhase, carrier) << slot;
        EXPECT_FLOAT_EQ(s.doppler, static_cast<float>(doppler)) << slot;
        EXPECT_FLOAT_EQ(s.cn0, static_cast<float>(cn0)) << slot;
        EXPECT_EQ(s.lockTime, lock) << slot;
        EXPECT_EQ(s.flags, kZeltSlotUsed | flags) << slot;
    }
};

TEST_F(MeasEpochTest, MasterAndSlaveValues) {
    BlockBuilder b = measEpoch(1, 64);
    setType1(b.u8(17, {0xFF, -3}), 20, 7, 1, 12, 0x04, 2);                              // P(Y): no C/N0 offset
    b.u8(40, {2, 9, 40, 0x07 | 0x1F << 3, 1}).u16(46, 65000).u16(48, 3).u16(50, -100);  // both MSBs -1
    b.u8(52, {3, 0, 40, 0x04 | 0x10 << 3, -128}).u16(58, 1).u16(60, 1).u16(62, 1);      // the lowest values
    decode(b);
    ASSERT_EQ(epoch.satelliteCount, 1);
    EXPECT_EQ(epoch.tow, 1000U);
    EXPECT_EQ(epoch.wnc, uint32_t{kTestWeek});
    EXPECT_EQ(epoch.timeStatus, 2);
    EXPECT_EQ(epoch.clockJumps, -3);
    EXPECT_EQ(epoch.commonFlags, 0x8BU);
    EXPECT_EQ(epoch.satellites[0].channel, 6);
    const double doppler2 = 1234.5678 * 1227.60 / 1575.42;
    expectSignal(1, kCode, (-65536 + 500) * 0.001 + kCode / kL1Wavelength, 1234.5678, 10, 10, kZeltHalfCycle);
    expectSignal(2, kCode - 0.536, 65.539 + (kCode - 0.536) / kL2Wavelength, doppler2 - 0.01, 10, 9000, 0);
    const double lowest = kCode - 262.143;
    expectSignal(3, lowest, -8388.607 + lowest / kL2Wavelength, doppler2 - 104.8575, 20, 10, 0);
}

TEST_F(MeasEpochTest, DoNotUseValuesAreMissing) {
    constexpr double kNone = kNotAvailable;
    BlockBuilder b = measEpoch(1, 64);
    setType1(b, 20, 255, 0, 12, 0, 2).u8(23, 0).u32(24, 0).u32(28, INT32_MIN).u16(32, 0).u8(34, {-128, 255, 255, 255});
    b.u8(40, {3, 255, 255, 0x04 | 0x10 << 3, -128});
    b.u8(52, {4, 255, 255, 0, -128}).u16(58, 100);  // relative to a master without a code
    decode(b);
    ASSERT_EQ(epoch.satelliteCount, 1);
    EXPECT_EQ(epoch.satellites[0].channel, 0);
    for (const size_t slot : {0U, 3U, 4U}) expectSignal(slot, kNone, kNone, kNone, kNone, 0, 0);
}

// Dropped (kept as 0): GLONASS without a frequency number, no satellites, the third antenna and number 37 (31 and 5:
// extended), which has no slot. The old form knows one SBAS signal and no half cycles.
TEST_F(MeasEpochTest, WhichSatellitesAndSignalsAreKept) {
    constexpr int kNew = kZeltMeasEpoch;
    constexpr int kOld = kZeltMeasEpochOld;
    const Rows<int, int, int, int, int, int> cases = {
        {kNew, 12, 0, 0, 12, 0},       {kNew, 62, 8, 14 << 3, 68, 8}, {kNew, 45, 8, 0 << 3, 0, 0},
        {kNew, 45, 8, 15 << 3, 0, 0},  {kNew, 0, 0, 0, 0, 0},         {kNew, 178, 0, 0, 0, 0},
        {kNew, 150, 28, 0, 170, 28},   {kNew, 181, 31, 0, 201, 32},   {kNew, 181, 31, 1 << 3, 201, 33},
        {kNew, 181, 31, 5 << 3, 0, 0}, {kNew, 12, 2 << 5, 0, 0, 0},   {kOld, 120, 25, 4, 120, 24},
        {kOld, 140, 25, 4, 140, 24},   {kNew, 120, 25, 0, 120, 25}};
    for (const auto& [number, svid, type, obsInfo, kept, storedAs] : cases) {
        BlockBuilder b = measEpoch(1, 40, 0, number);
        decode(setType1(b, 20, 0, type, svid, obsInfo));
        EXPECT_EQ(epoch.satelliteCount == 1 ? epoch.satellites[0].svid : 0, kept) << svid;
        EXPECT_EQ(epoch.clockJumps, kZeltNoClockJumps);  // revision 0
        if (kept == 0) continue;
        EXPECT_EQ(epoch.satellites[0].channel, 0);  // not given
        const ZeltMeasSignal& stored = signal(static_cast<size_t>(zeltSignalSlot(storedAs)));
        EXPECT_EQ(stored.signalType, storedAs) << svid;
        EXPECT_EQ(stored.flags, kZeltSlotUsed);
    }
}

// Two satellites with a slave each take 20 + 2 * (20 + 12) bytes: cut in the second's slave, its master, the first's
// slave, its master; then lengths shorter than the fields and counts beyond the block.
TEST_F(MeasEpochTest, WhatDoesNotFitEndsTheBlock) {
    const Rows<int, int, int, size_t, int, int> cases = {
        {20, 12, 1, 84, 2, 2}, {20, 12, 1, 83, 2, 1},    {20, 12, 1, 71, 1, 1}, {20, 12, 1, 51, 1, 0},
        {20, 12, 1, 39, 0, 0}, {19, 12, 1, 84, 0, 0},    {20, 11, 1, 84, 1, 0}, {20, 0, 255, 84, 1, 0},
        {0, 12, 1, 84, 0, 0},  {255, 255, 255, 84, 0, 0}};
    for (const auto& [length1, length2, count2, length, satellites, slaves] : cases) {
        BlockBuilder b = measEpoch(2, 84);
        setType1(b.u8(15, {length1, length2}), 20, 1, 0, 12, 0, count2).u8(40, 2);
        setType1(b, 52, 2, 0, 13, 0, count2).u8(72, 2);
        b.bytes.resize(length);
        decode(b);
        EXPECT_EQ(epoch.satelliteCount, satellites) << length;
        const auto hasSlave = [](const ZeltMeasSat& satellite) { return satellite.signals[0][2].flags != 0; };
        const auto* first = epoch.satellites.data();
        EXPECT_EQ(std::count_if(first, first + epoch.satelliteCount, hasSlave), slaves) << length;
    }
    BlockBuilder b = measEpoch(81, 20 + 81 * 20);
    for (size_t i = 0; i < 81; ++i) setType1(b, 20 + i * 20, 1, 0, 12);
    decode(b);
    EXPECT_EQ(epoch.satelliteCount, kZeltMaxSatellites);
}

struct RefinementTest : MeasEpochTest {
    void start(int type = 0, int svid = 12, int freqNr = 0) {
        BlockBuilder b = measEpoch(1, 40);
        decode(setType1(b, 20, 7, type, svid, freqNr << 3));
    }
};

TEST_F(RefinementTest, MeasExtraByRevision) {
    for (int revision = 0; revision <= 3; ++revision) {
        start();
        BlockBuilder b(kZeltMeasExtra, 56, revision);
        b.u8(14, {2, 18}).f32(16, 200.0 * revision);  // logged longer than the fields; a factor of 0 says nothing
        b.u8(20, 9);                                  // of no satellite
        b.u8(38, {7, 0}).u16(40, -20).u16(42, 30).u16(44, 2500).u16(46, revision == 0 ? 300 : 65535).u16(48, 12);
        b.u8(50, {4, 5, 1, 4});
        zeltApplyMeasExtra(viewOf(b.done()), epoch);
        const ZeltMeasSignal& s = signal(0);
        EXPECT_EQ(epoch.dopplerVarianceFactor, revision == 0 ? 163.0F : 200.0F * static_cast<float>(revision));
        EXPECT_EQ(s.multipath, -20);
        EXPECT_EQ(s.smoothing, 30);
        EXPECT_FLOAT_EQ(s.codeVariance, 0.25F);
        EXPECT_FLOAT_EQ(s.carrierVariance, revision == 0 ? 3e-4F : kNotAvailableF);
        EXPECT_EQ(s.lockTime, 12000U);
        EXPECT_EQ(s.lossOfContinuity, revision >= 1 ? 4 : 0);
        EXPECT_EQ(s.carrierMultipath, revision >= 2 ? 5 : 0);
        EXPECT_EQ(s.flags & kZeltInfoFlag, revision >= 2 ? kZeltInfoFlag : 0);
        EXPECT_EQ(s.cn0, revision >= 3 ? 20.125F : 20);
    }
}

// The sub-blocks are the last bytes of the block, whatever stands before them.
TEST_F(RefinementTest, MeasFullRangeReplacesTheCode) {
    const Rows<int, int, int, double> cases = {{0, 12, 0, kL1Wavelength},
                                               {8, 45, 14, 299792458.0 / (1602e6 + 6 * 562.5e3)}};
    for (const auto& [type, svid, freqNr, wavelength] : cases) {
        start(type, svid, freqNr);
        BlockBuilder b(kZeltMeasFullRange, 44, 1);
        b.u8(14, {1, 20}).u8(24, {7, type, 0, freqNr}).f64(28, 2.5e7).f32(36, 8).u16(40, 4321);
        zeltApplyMeasFullRange(viewOf(b.done()), epoch);
        expectSignal(0, 2.5e7, (2.5e7 + 8) / wavelength, 1234.5678, 43.21, 10, 0);
    }
}

// There is room for sub-blocks of 20 bytes; the fields read of them take as many as the revision tells.
TEST_F(RefinementTest, SubBlocksThatDoNotFitAreIgnored) {
    constexpr int kExtra = kZeltMeasExtra;
    constexpr int kRange = kZeltMeasFullRange;
    const int cases[][3] = {{kExtra, 0, 12}, {kExtra, 1, 13}, {kExtra, 2, 15},
                            {kExtra, 3, 16}, {kRange, 0, 16}, {kRange, 1, 18}};
    for (const auto& [number, revision, fields] : cases) {
        for (const int length : {0, fields - 1, fields, 20, 21, 255}) {
            start();
            BlockBuilder b(number, 40, revision);
            b.u8(14, {1, length}).u8(static_cast<size_t>(40 - std::min(length, 20)), 7);
            number == kExtra ? zeltApplyMeasExtra(viewOf(b.bytes), epoch)
                             : zeltApplyMeasFullRange(viewOf(b.bytes), epoch);
            // Fields of 0: no variance from the one, no code from the other.
            const bool applied = signal(0).codeVariance == 0 || signal(0).pseudorange == 0;
            EXPECT_EQ(applied, length >= fields && length <= 20) << number << ' ' << length;
        }
    }
}

TEST(Signals, NoTwoOfASatelliteShareASlot) {
    const std::vector<int> constellations[] = {{0, 1, 2, 3, 4, 5},   {6, 7, 26, 27, 32, 33},       {8, 9, 10, 11, 12},
                                               {13, 14, 28, 29, 30}, {16, 17, 18, 19, 20, 21, 22}, {24, 25}};
    for (const std::vector<int>& signals : constellations) {
        std::set<int> slots;
        for (const int signal : signals) {
            const int slot = zeltSignalSlot(signal);
            EXPECT_TRUE(slot >= 0 && slot < kZeltSlots && slots.insert(slot).second) << signal;
        }
    }
}

TEST(Svid, EveryNumberHasItsPlace) {
    // Logged from, to; internal number of the first, 0 for none.
    const int ranges[][3] = {{0, 0, 0},       {1, 61, 1},      {62, 62, 68},    {63, 70, 62},  {71, 140, 71},
                             {141, 177, 161}, {178, 180, 0},   {181, 187, 201}, {188, 190, 0}, {191, 197, 211},
                             {198, 215, 141}, {216, 222, 218}, {223, 255, 0}};
    for (const auto& [first, last, internal] : ranges) {
        for (int svid = first; svid <= last; ++svid) {
            EXPECT_EQ(NormalizeSVID(static_cast<uint8_t>(svid)), internal == 0 ? 0 : internal + svid - first) << svid;
        }
    }
}

}  // namespace
