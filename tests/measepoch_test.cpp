#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <tuple>

#include "tests/support/logs.h"
#include "utils/geometry/constants.h"
#include "utils/zeltdata/zeltsignal.h"
#include "utils/zeltdata/zeltsvid.h"

using namespace Qon::Nav;

namespace {

constexpr double kL1Wavelength = 299792458.0 / 1575.42e6;
constexpr double kL2Wavelength = 299792458.0 / 1227.60e6;
constexpr uint32_t kTow = 1000;

// A satellite at 5 * 4294967.296 + 1 m.
constexpr double kCode = 5 * 4294967.296 + 1;
const Forms kForms = {
    {"head", "satellites:8=1 length1:8=20 length2:8=12 flags:8=0 jumps:8=0 unused:8=0 "},
    {"master",
     "rxChannel:8=39 signal:5=0 antenna:3=0 svid:8=12 codeHigh:8=5 code:32=1000 doppler:32=12345678 "
     "carrier:16=500 carrierHigh:8=-1 cn0:8=40 lock:16=0 smoothed:2=0 halfCycle:1=0 freqNr:5=0 slaves:8=0 "},
    {"slave",
     "signal:5=2 antenna:3=0 lock:8=0 cn0:8=0 codeHigh:3=0 dopplerHigh:5=0 carrierHigh:8=0 obsInfo:8=0 "
     "code:16=0 carrier:16=0 doppler:16=0 "}};

ByteVector measEpoch(const std::string& text, int revision = 1, int number = kZeltMeasEpoch) {
    return BlockBuilder(number, 14, revision, kTow).bits(fieldsOf(text, kForms)).done();
}

struct MeasEpochTest : testing::Test {
    ZeltMeasEpoch epoch{};

    void decode(const std::vector<ByteVector>& blocks) { epoch = *EpochReader().decode(blocks); }
    ZeltMeasSignal signal(int type, int svid = 12) const { return signalOf(epoch, svid, type); }
    void expectSignal(int type, double code, double carrier, double doppler, double cn0, uint32_t lock, int flags = 0) {
        const ZeltMeasSignal s = signal(type);
        EXPECT_DOUBLE_EQ(s.pseudorange, code) << type;
        EXPECT_DOUBLE_EQ(s.carrierPhase, carrier) << type;
        EXPECT_FLOAT_EQ(s.doppler, static_cast<float>(doppler)) << type;
        EXPECT_FLOAT_EQ(s.cn0, static_cast<float>(cn0)) << type;
        EXPECT_EQ(s.lockTime, lock) << type;
        EXPECT_EQ(s.flags, kZeltSlotUsed | flags) << type;
    }
};

TEST_F(MeasEpochTest, MasterAndSlaveValues) {
    decode(
        {measEpoch("head flags=255 jumps=-3; master signal=1 halfCycle=1 slaves=2;"  // P(Y): no C/N0 offset
                   "slave lock=9 cn0=40 codeHigh=-1 dopplerHigh=-1 carrierHigh=1 code=65000 carrier=3 doppler=-100;"
                   // The lowest values that are not missing.
                   "slave signal=3 cn0=40 codeHigh=4 dopplerHigh=16 carrierHigh=-128 code=1 carrier=1 doppler=1")});
    ASSERT_EQ(epoch.used().size(), 1U);
    EXPECT_EQ(std::tuple(epoch.tow, epoch.wnc, epoch.timeStatus, epoch.clockJumps, epoch.commonFlags),
              std::tuple(kTow, uint32_t{kTestWeek}, 2, -3, 0x8BU));
    EXPECT_EQ(epoch.used()[0].channel, 38);
    const double doppler2 = 1234.5678 * 1227.60 / 1575.42;
    expectSignal(1, kCode, (-65536 + 500) * 0.001 + kCode / kL1Wavelength, 1234.5678, 10, 10, kZeltHalfCycle);
    expectSignal(2, kCode - 0.536, 65.539 + (kCode - 0.536) / kL2Wavelength, doppler2 - 0.01, 10, 9000);
    expectSignal(3, kCode - 262.143, -8388.607 + (kCode - 262.143) / kL2Wavelength, doppler2 - 104.8575, 20, 10);
}

TEST_F(MeasEpochTest, DoNotUseValuesAreMissing) {
    constexpr double kNone = kNotAvailable;
    const std::string nothing = "; slave lock=255 cn0=255 carrierHigh=-128 ";
    decode(
        {measEpoch("head; master rxChannel=255 codeHigh=0 code=0 doppler=-2147483648 carrier=0 carrierHigh=-128 "
                   "cn0=255 lock=65535 slaves=2" +
                   nothing + "signal=3 codeHigh=4 dopplerHigh=16" + nothing +
                   "signal=4 code=100")});  // of a master without a code and a Doppler
    ASSERT_EQ(epoch.used().size(), 1U);
    EXPECT_EQ(epoch.used()[0].channel, 0);
    for (const int type : {0, 3, 4}) expectSignal(type, kNone, kNone, kNone, kNone, 0);
}

// Not kept: GLONASS without a frequency number, no satellites, the third antenna and signal 37 (31 and 5: extended),
// which has no slot. The old form knows one SBAS signal and no half cycles.
TEST_F(MeasEpochTest, WhichSatellitesAndSignalsAreKept) {
    const struct {
        const char* logged;
        int svid = 0, signal = 0;  // kept
        int number = kZeltMeasEpoch;
    } cases[] = {{"svid=12", 12, 0},
                 {"svid=62 signal=8 freqNr=14", 68, 8},
                 {"svid=45 signal=8 freqNr=0"},
                 {"svid=45 signal=8 freqNr=15"},
                 {"svid=0"},
                 {"svid=178"},
                 {"svid=150 signal=28", 170, 28},
                 {"svid=181 signal=31", 201, 32},
                 {"svid=181 signal=31 freqNr=1", 201, 33},
                 {"svid=181 signal=31 freqNr=5"},
                 {"svid=12 antenna=2"},
                 {"svid=120 signal=25 halfCycle=1", 120, 24, kZeltMeasEpochOld},
                 {"svid=140 signal=25", 140, 24, kZeltMeasEpochOld},
                 {"svid=119 signal=15", 119, 15, kZeltMeasEpochOld},
                 {"svid=120 signal=25", 120, 25}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.logged);
        decode({measEpoch(std::string("head satellites=2 flags=1; master svid=9; master ") + c.logged, 0, c.number)});
        EXPECT_EQ(std::tuple(epoch.clockJumps, epoch.commonFlags), std::tuple(kZeltNoClockJumps, 1U));  // revision 0
        EXPECT_EQ(svidsOf(epoch), c.svid == 0 ? std::vector<int>{9} : (std::vector<int>{9, c.svid}));
        EXPECT_EQ(signal(c.signal, c.svid).flags, c.svid == 0 ? 0 : kZeltSlotUsed);
    }
}

// Two satellites with a slave each take 20 + 2 * (20 + 12) bytes: cut in the second's slave, its master, the first's
// slave, its master; then lengths shorter than the fields and counts beyond the block.
TEST_F(MeasEpochTest, WhatDoesNotFitEndsTheBlock) {
    const struct {
        int length1 = 20, length2 = 12, slavesEach = 1;
        size_t size = 84;
        int satellites = 0, slaves = 0;  // kept
    } cases[] = {{.satellites = 2, .slaves = 2},
                 {.size = 83, .satellites = 2, .slaves = 1},
                 {.size = 71, .satellites = 1, .slaves = 1},
                 {.size = 51, .satellites = 1},
                 {.size = 39},
                 {.length1 = 19},
                 {.length2 = 11, .satellites = 1},
                 {.length2 = 0, .slavesEach = 255, .satellites = 1},
                 {.length1 = 0},
                 {.length1 = 255, .length2 = 255, .slavesEach = 255}};
    for (const auto& c : cases) {
        const std::string slave = " slaves=" + std::to_string(c.slavesEach) + "; slave";
        BlockBuilder b(measEpoch("head; master" + slave + "; master svid=13" + slave));
        b.u8(14, {2, c.length1, c.length2}).bytes.resize(c.size);
        decode({b.done()});
        EXPECT_EQ(static_cast<int>(epoch.used().size()), c.satellites) << c.size;
        EXPECT_EQ((signal(2, 12).flags != 0) + (signal(2, 13).flags != 0), c.slaves) << c.size;
    }
    std::string many = "head satellites=81";
    for (int i = 0; i < 81; ++i) many += "; master";
    decode({measEpoch(many)});
    EXPECT_EQ(static_cast<int>(epoch.used().size()), kZeltMaxSatellites);
}

// Sub-blocks are the last bytes of the block, whatever stands before them, and may be longer than their fields.
TEST_F(MeasEpochTest, MeasExtraByRevision) {
    for (int revision = 0; revision <= 3; ++revision) {
        BlockBuilder b(kZeltMeasExtra, 56, revision, kTow);
        b.u8(14, {2, 18})
            .f32(16, 200.0 * revision)
            .u8(20, 9);  // a factor of 0 says nothing, channel 9 is no satellite's
        b.bytes.resize(38);
        b.bits(
            "rxChannel:8=39 signal:8=3 multipath:16=-20 smoothing:16=30 codeVariance:16=2500 carrierVariance:16=300 "
            "lock:16=12 losses:8=4 carrierMultipath:8=5 info:8=1 cn0Fine:3=4 signalHigh:5=0 unused:16=0");
        if (revision != 0) b.u16(46, 65535);  // no carrier variance
        decode({measEpoch("head satellites=2; master svid=9 rxChannel=8; master signal=3"), b.done()});
        const ZeltMeasSignal s = signal(3);
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

TEST_F(MeasEpochTest, ALaterMeasExtraSubBlockReplacesTheVariances) {
    BlockBuilder b(kZeltMeasExtra, 52, 3, kTow);
    b.u8(14, {2, 16}).u8(20, 39).u16(26, 2500).u16(28, 300).u8(36, 39).u16(42, 65535).u16(44, 65535);
    decode({measEpoch("head; master"), b.done()});
    EXPECT_EQ(signal(0).codeVariance, kNotAvailableF);
    EXPECT_EQ(signal(0).carrierVariance, kNotAvailableF);
}

// Number 31 is extended by a byte that revision 3 brought: before it, it is a number without a signal.
TEST_F(MeasEpochTest, MeasExtraExtendsNumbersFromRevision3On) {
    for (const int revision : {2, 3}) {
        BlockBuilder b(kZeltMeasExtra, 36, revision, kTow);
        b.u8(14, {1, 16}).u8(20, {39, 31}).u16(22, 10);
        decode({measEpoch("head; master svid=181 signal=31"), b.done()});  // number 32
        EXPECT_EQ(signal(32, 201).multipath, revision == 3 ? 10 : 0) << revision;
    }
}

// Revision 0 has no C/N0.
TEST_F(MeasEpochTest, MeasFullRangeReplacesTheCode) {
    const struct {
        const char* master;
        int revision, svid, signal, freqNr;
        double wavelength;
        float cn0;
    } cases[] = {{"", 1, 12, 0, 0, kL1Wavelength, 30.02F},
                 {"svid=45 signal=8 freqNr=14", 1, 45, 8, 14, 299792458.0 / (1602e6 + 6 * 562.5e3), 30.02F},
                 {"", 0, 12, 0, 0, kL1Wavelength, 20}};
    for (const auto& c : cases) {
        BlockBuilder b(kZeltMeasFullRange, 64, c.revision, kTow);
        b.u8(14, {2, 20}).u8(24, 8).f64(28, 2.4e7);
        b.u8(44, {39, c.signal, 0, c.freqNr}).f64(48, 2.5e7).f32(56, 8).u16(60, 3002);
        decode({measEpoch(std::string("head satellites=2; master svid=9 rxChannel=8; master ") + c.master), b.done()});
        const ZeltMeasSignal s = signal(c.signal, c.svid);
        EXPECT_EQ(std::tuple(signal(0, 9).pseudorange, s.pseudorange), std::tuple(2.4e7, 2.5e7));
        EXPECT_DOUBLE_EQ(s.carrierPhase, (2.5e7 + 8) / c.wavelength);
        EXPECT_EQ(s.cn0, c.cn0);  // rounded once: 30.02F is not 3002 * 0.01F
    }
}

// There is room for sub-blocks of 20 bytes; the fields read of them take as many as the revision tells.
TEST_F(MeasEpochTest, SubBlocksThatDoNotFitAreIgnored) {
    const struct {
        int number, revision, fields;
    } cases[] = {{kZeltMeasExtra, 0, 12}, {kZeltMeasExtra, 1, 13},     {kZeltMeasExtra, 2, 15},
                 {kZeltMeasExtra, 3, 16}, {kZeltMeasFullRange, 0, 16}, {kZeltMeasFullRange, 1, 18}};
    for (const auto& c : cases) {
        for (const int length : {0, c.fields - 1, c.fields, 20, 21, 255}) {
            BlockBuilder b(c.number, 40, c.revision, kTow);
            b.u8(14, {1, length}).u8(static_cast<size_t>(40 - std::min(length, 20)), 39);
            decode({measEpoch("head; master"), b.done()});
            // Fields of 0: no variance from the one, no code from the other.
            const bool applied = signal(0).codeVariance == 0 || signal(0).pseudorange == 0;
            EXPECT_EQ(applied, length >= c.fields && length <= 20) << c.number << ' ' << length;
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
    const struct {
        int first, last;  // logged
        int internal;     // of the first, 0 for none
    } ranges[] = {{0, 0, 0},       {1, 61, 1},      {62, 62, 68},    {63, 70, 62},  {71, 140, 71},
                  {141, 177, 161}, {178, 180, 0},   {181, 187, 201}, {188, 190, 0}, {191, 197, 211},
                  {198, 215, 141}, {216, 222, 218}, {223, 255, 0}};
    for (const auto& r : ranges) {
        for (int svid = r.first; svid <= r.last; ++svid) {
            EXPECT_EQ(NormalizeSVID(static_cast<uint8_t>(svid)), r.internal == 0 ? 0 : r.internal + svid - r.first);
        }
    }
}

}  // namespace
