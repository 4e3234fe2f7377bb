#include "utils/zeltdata/measepoch.h"

#include <gtest/gtest.h>

#include "tests/logbuilder.h"
#include "utils/geometry/constants.h"
#include "utils/zeltdata/zeltsignal.h"
#include "utils/zeltdata/zeltsvid.h"

using namespace Qon::Nav;

namespace {

constexpr double kL1Wavelength = 299792458.0 / 1575.42e6;
constexpr double kL2Wavelength = 299792458.0 / 1227.60e6;

// A MeasEpoch of one or more satellites; sub-blocks are laid out by the caller.
BlockBuilder measEpoch(uint8_t satellites, size_t length, int revision = 1, uint16_t number = kZeltMeasEpoch) {
    BlockBuilder b(number, revision, 1000, kTestWeek, length);
    return b.set<uint8_t>(14, satellites).set<uint8_t>(15, 20).set<uint8_t>(16, 12);
}

void setType1(BlockBuilder& b, size_t at, uint8_t channel, uint8_t type, uint8_t svid, uint8_t obsInfo, uint8_t n2) {
    b.set<uint8_t>(at, channel).set<uint8_t>(at + 1, type).set<uint8_t>(at + 2, svid);
    b.set<uint8_t>(at + 3, 5).set<uint32_t>(at + 4, 1000);  // 5 * 4294967.296 + 1 m
    b.set<int32_t>(at + 8, 12345678).set<uint16_t>(at + 12, 500).set<int8_t>(at + 14, -1);
    b.set<uint8_t>(at + 15, 40).set<uint8_t>(at + 18, obsInfo).set<uint8_t>(at + 19, n2);
}

struct MeasEpochTest : testing::Test {
    ZeltMeasEpoch epoch{};
    const ZeltMeasSignal& signal(size_t satellite, size_t slot) { return epoch.satellites[satellite].signals[0][slot]; }
};

TEST_F(MeasEpochTest, MasterAndSlaveValues) {
    BlockBuilder b = measEpoch(1, 52);
    b.set<uint8_t>(17, 0xFF).set<int8_t>(18, -3);
    setType1(b, 20, 7, 1, 12, 0x04, 1);
    b.set<uint8_t>(40, 2).set<uint8_t>(41, 9).set<uint8_t>(42, 40);  // L2 P, 9 s
    b.set<uint8_t>(43, 0x07 | 0x1F << 3);                            // both MSBs -1
    b.set<int8_t>(44, 1).set<uint16_t>(46, 65000).set<uint16_t>(48, 3).set<uint16_t>(50, 65536 - 100);
    zeltDecodeMeasEpoch(viewOf(b.done()), epoch);
    ASSERT_EQ(epoch.satelliteCount, 1);
    EXPECT_EQ(epoch.tow, 1000U);
    EXPECT_EQ(epoch.wnc, kTestWeek);
    EXPECT_EQ(epoch.timeStatus, 2);
    EXPECT_EQ(epoch.clockJumps, -3);
    EXPECT_EQ(epoch.commonFlags, 0x8BU);
    EXPECT_EQ(epoch.satellites[0].channel, 6);
    const double code = 5 * 4294967.296 + 1;
    EXPECT_DOUBLE_EQ(signal(0, 1).pseudorange, code);
    EXPECT_DOUBLE_EQ(signal(0, 1).carrierPhase, (-65536 + 500) * 0.001 + code / kL1Wavelength);
    EXPECT_FLOAT_EQ(signal(0, 1).doppler, 1234.5678F);
    EXPECT_EQ(signal(0, 1).cn0, 10);  // no offset on P(Y)
    EXPECT_EQ(signal(0, 1).lockTime, 10U);
    EXPECT_EQ(signal(0, 1).flags, kZeltSlotUsed | kZeltHalfCycle);
    EXPECT_DOUBLE_EQ(signal(0, 2).pseudorange, code - 0.536);
    EXPECT_DOUBLE_EQ(signal(0, 2).carrierPhase, 65.539 + (code - 0.536) / kL2Wavelength);
    EXPECT_FLOAT_EQ(signal(0, 2).doppler, static_cast<float>(1234.5678 * 1227.60 / 1575.42 - 0.01));
    EXPECT_EQ(signal(0, 2).lockTime, 9000U);
    EXPECT_EQ(signal(0, 2).flags, kZeltSlotUsed);
}

TEST_F(MeasEpochTest, DoNotUseValuesAreMissing) {
    BlockBuilder b = measEpoch(1, 64);
    setType1(b, 20, 255, 0, 12, 0, 2);
    b.set<uint8_t>(23, 0).set<uint32_t>(24, 0).set<int32_t>(28, INT32_MIN).set<uint16_t>(32, 0).set<int8_t>(34, -128);
    b.set<uint8_t>(35, 255).set<uint16_t>(36, 65535);
    b.set<uint8_t>(40, 3).set<uint8_t>(41, 255).set<uint8_t>(42, 255);
    b.set<uint8_t>(43, 0x04 | 0x10 << 3).set<int8_t>(44, -128);
    b.set<uint8_t>(52, 4).set<uint16_t>(58, 100);  // relative to a master without a code
    zeltDecodeMeasEpoch(viewOf(b.done()), epoch);
    ASSERT_EQ(epoch.satelliteCount, 1);
    EXPECT_EQ(epoch.satellites[0].channel, 0);
    for (const size_t slot : {0U, 3U}) {
        EXPECT_EQ(signal(0, slot).pseudorange, kNotAvailable);
        EXPECT_EQ(signal(0, slot).carrierPhase, kNotAvailable);
        EXPECT_EQ(signal(0, slot).doppler, kNotAvailableF);
        EXPECT_EQ(signal(0, slot).cn0, kNotAvailableF);
        EXPECT_EQ(signal(0, slot).lockTime, 0U);
        EXPECT_EQ(signal(0, slot).flags, kZeltSlotUsed);
    }
    EXPECT_EQ(signal(0, 4).pseudorange, kNotAvailable);
}

TEST_F(MeasEpochTest, WhichSatellitesAndSignalsAreKept) {
    const struct {
        uint8_t svid;
        uint8_t type;
        uint8_t obsInfo;
        int kept;  // internal number, 0: dropped
        uint8_t signal;
        uint16_t number;
    } cases[] = {
        {12, 0, 0, 12, 0, kZeltMeasEpoch},           {62, 8, 14 << 3, 68, 8, kZeltMeasEpoch},
        {45, 8, 0 << 3, 0, 0, kZeltMeasEpoch},  // GLONASS without a frequency number
        {45, 8, 15 << 3, 0, 0, kZeltMeasEpoch},      {0, 0, 0, 0, 0, kZeltMeasEpoch},
        {178, 0, 0, 0, 0, kZeltMeasEpoch},           {150, 28, 0, 170, 28, kZeltMeasEpoch},
        {181, 31, 0 << 3, 201, 32, kZeltMeasEpoch},   // extended signal number
        {181, 31, 5 << 3, 0, 0, kZeltMeasEpoch},      // 37: no slot
        {12, 0 | 2 << 5, 0, 0, 0, kZeltMeasEpoch},    // third antenna
        {130, 25, 0x04, 130, 24, kZeltMeasEpochOld},  // the old form knows one SBAS signal and no half cycles
        {130, 25, 0, 130, 25, kZeltMeasEpoch},
    };
    for (const auto& c : cases) {
        BlockBuilder b = measEpoch(1, 40, 0, c.number);
        setType1(b, 20, 1, c.type, c.svid, c.obsInfo, 0);
        zeltDecodeMeasEpoch(viewOf(b.done()), epoch);
        EXPECT_EQ(epoch.satelliteCount == 1 ? epoch.satellites[0].svid : 0, c.kept) << int{c.svid};
        EXPECT_EQ(epoch.clockJumps, kZeltNoClockJumps);  // revision 0
        if (c.kept == 0) continue;
        const auto& stored = signal(0, static_cast<size_t>(zeltSignalSlot(c.signal)));
        EXPECT_EQ(stored.signalType, c.signal) << int{c.svid};
        EXPECT_EQ(stored.flags, kZeltSlotUsed);
    }
}

TEST_F(MeasEpochTest, WhatDoesNotFitEndsTheBlock) {
    const struct {
        uint8_t length1, length2, count2;
        size_t length;
        int satellites;
        bool slave;
    } cases[] = {
        {20, 12, 1, 84, 2, true},                              // 20 + 2 * (20 + 12)
        {20, 12, 1, 83, 2, true},                              // the second's slave is cut
        {20, 12, 1, 71, 1, true},                              // the second's master is cut
        {20, 12, 1, 51, 1, false},                             // the first's slave is cut
        {20, 12, 1, 39, 0, false}, {19, 12, 1, 84, 0, false},  // shorter than its fields
        {20, 11, 1, 84, 1, false}, {20, 0, 255, 84, 1, false}, {0, 12, 1, 84, 0, false}, {255, 255, 255, 84, 0, false},
    };
    for (const auto& c : cases) {
        BlockBuilder b = measEpoch(2, 84);
        b.set<uint8_t>(15, c.length1).set<uint8_t>(16, c.length2);
        setType1(b, 20, 1, 0, 12, 0, c.count2);
        b.set<uint8_t>(40, 2);
        setType1(b, 52, 2, 0, 13, 0, c.count2);
        b.set<uint8_t>(72, 2);
        b.bytes.resize(c.length);
        zeltDecodeMeasEpoch(viewOf(b.done()), epoch);
        EXPECT_EQ(epoch.satelliteCount, c.satellites) << c.length;
        EXPECT_EQ(signal(0, 2).flags != 0, c.slave) << c.length;
    }
    BlockBuilder b = measEpoch(81, 20 + 81 * 20);
    for (size_t i = 0; i < 81; ++i) setType1(b, 20 + i * 20, 1, 0, 12, 0, 0);
    zeltDecodeMeasEpoch(viewOf(b.done()), epoch);
    EXPECT_EQ(epoch.satelliteCount, kZeltMaxSatellites);
}

struct RefinementTest : MeasEpochTest {
    void SetUp() override {
        BlockBuilder b = measEpoch(1, 40);
        setType1(b, 20, 7, 0, 12, 0, 0);
        zeltDecodeMeasEpoch(viewOf(b.done()), epoch);
    }
};

TEST_F(RefinementTest, MeasExtraByRevision) {
    for (int revision = 0; revision <= 3; ++revision) {
        SetUp();
        BlockBuilder b(kZeltMeasExtra, revision, 1000, kTestWeek, 56);
        b.set<uint8_t>(14, 2).set<uint8_t>(15, 18).set<float>(16, 200.0F);  // logged longer than the fields
        b.set<uint8_t>(20, 9).set<uint8_t>(21, 0);                          // of no satellite
        b.set<uint8_t>(38, 7).set<uint8_t>(39, 0).set<int16_t>(40, -20).set<int16_t>(42, 30);
        b.set<uint16_t>(44, 2500).set<uint16_t>(46, 65535).set<uint16_t>(48, 12).set<uint8_t>(50, 4);
        b.set<uint8_t>(51, 5).set<uint8_t>(52, 1).set<uint8_t>(53, 4);
        zeltApplyMeasExtra(viewOf(b.done()), epoch);
        const ZeltMeasSignal& s = signal(0, 0);
        EXPECT_EQ(epoch.dopplerVarianceFactor, 200);
        EXPECT_EQ(s.multipath, -20);
        EXPECT_EQ(s.smoothing, 30);
        EXPECT_FLOAT_EQ(s.codeVariance, 0.25F);
        EXPECT_EQ(s.carrierVariance, kNotAvailableF);
        EXPECT_EQ(s.lockTime, 12000U);
        EXPECT_EQ(s.lossOfContinuity, revision >= 1 ? 4 : 0);
        EXPECT_EQ(s.carrierMultipath, revision >= 2 ? 5 : 0);
        EXPECT_EQ(s.flags & kZeltInfoFlag, revision >= 2 ? kZeltInfoFlag : 0);
        EXPECT_EQ(s.cn0, revision >= 3 ? 20.125F : 20);
    }
}

TEST_F(RefinementTest, MeasFullRangeReplacesTheCode) {
    BlockBuilder b(kZeltMeasFullRange, 1, 1000, kTestWeek, 40);
    b.set<uint8_t>(14, 1).set<uint8_t>(15, 20).set<uint8_t>(20, 7).set<double>(24, 2.5e7).set<float>(32, 8.0F);
    b.set<int16_t>(36, 4321);
    zeltApplyMeasFullRange(viewOf(b.done()), epoch);
    EXPECT_EQ(signal(0, 0).pseudorange, 2.5e7);
    EXPECT_DOUBLE_EQ(signal(0, 0).carrierPhase, (2.5e7 + 8) / kL1Wavelength);
    EXPECT_FLOAT_EQ(signal(0, 0).cn0, 43.21F);
}

TEST_F(RefinementTest, SubBlocksThatDoNotFitAreIgnored) {
    const double before = signal(0, 0).pseudorange;
    for (const uint8_t length : {uint8_t{0}, uint8_t{17}, uint8_t{21}, uint8_t{255}}) {
        BlockBuilder b(kZeltMeasFullRange, 1, 1000, kTestWeek, 40);
        b.set<uint8_t>(14, 1).set<uint8_t>(15, length).set<uint8_t>(20, 7).set<double>(24, 2.5e7);
        zeltApplyMeasFullRange(viewOf(b.done()), epoch);
        EXPECT_EQ(signal(0, 0).pseudorange, before) << int{length};
        BlockBuilder extra(kZeltMeasExtra, 3, 1000, kTestWeek, 36);
        extra.set<uint8_t>(14, 255).set<uint8_t>(15, length).set<uint8_t>(20, 7).set<uint16_t>(30, 77);
        zeltApplyMeasExtra(viewOf(extra.done()), epoch);
        EXPECT_EQ(signal(0, 0).lockTime, 10U) << int{length};
    }
}

TEST(Svid, EveryNumberHasItsPlace) {
    const struct {
        int first, last, internal;
    } ranges[] = {{0, 0, 0},       {1, 61, 1},      {62, 62, 68},    {63, 70, 62},  {71, 140, 71},
                  {141, 177, 161}, {178, 180, 0},   {181, 187, 201}, {188, 190, 0}, {191, 197, 211},
                  {198, 215, 141}, {216, 222, 218}, {223, 255, 0}};
    for (const auto& r : ranges) {
        for (int svid = r.first; svid <= r.last; ++svid) {
            const int expected = r.internal == 0 ? 0 : r.internal + svid - r.first;
            EXPECT_EQ(NormalizeSVID(static_cast<uint8_t>(svid)), expected) << svid;
        }
    }
}

}  // namespace
