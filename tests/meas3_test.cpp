#include "utils/zeltdata/meas3.h"

#include <gtest/gtest.h>

#include "tests/logbuilder.h"
#include "utils/geometry/constants.h"
#include "utils/zeltdata/bitcursor.h"
#include "utils/zeltdata/zeltread.h"
#include "utils/zeltdata/zeltsignal.h"

using namespace Qon::Nav;

namespace {

constexpr double kL1 = 299792458.0 / 1575.42e6;  // wavelengths, m
constexpr double kL2 = 299792458.0 / 1227.60e6;
constexpr uint32_t kReferenceTow = 120000;
constexpr uint32_t kDeltaTow = kReferenceTow + 30000;
constexpr uint8_t kMinuteInterval = 8 << 4;  // Misc: reference every 60 s
constexpr uint8_t kRate = 0x08;

struct BitValue {
    unsigned first, width;
    uint64_t value;
};

// A record of packed fields.
ByteVector packed(size_t size, const std::vector<BitValue>& fields) {
    ByteVector bytes(size);
    for (const BitValue& f : fields) {
        for (unsigned i = 0; i < f.width; ++i) {
            if ((f.value >> i & 1) != 0) bytes[(f.first + i) / 8] |= static_cast<uint8_t>(1U << (f.first + i) % 8);
        }
    }
    return bytes;
}

ByteVector joined(const std::vector<ByteVector>& parts) {
    ByteVector all;
    for (const ByteVector& part : parts) all += part;
    return all;
}

// A Meas3Ranges block of the constellations in `mask`; `data` is their headers and records.
ByteVector rangesBlock(uint32_t tow, uint8_t misc, uint16_t mask, const ByteVector& data) {
    BlockBuilder b(kZeltMeas3Ranges, 0, tow, kTestWeek, 20);
    b.set<int8_t>(15, -2).set<uint16_t>(16, mask).set<uint8_t>(18, misc);
    b.bytes += data;
    return b.done();
}

ByteVector companion(uint16_t number, const ByteVector& data) {
    BlockBuilder b(number, 0, kReferenceTow, kTestWeek, 16);
    b.bytes += data;
    return b.done();
}

const ByteVector kOneGps{0x01, 0x10};  // header: one mask byte, satellite 5, short records for signal index 0

// Master records. Short: code 19e6 + 3e6 m, carrier in the middle of its field, 44 dB-Hz.
ByteVector shortMaster(uint64_t slaves = 0, uint64_t carrier = 131072, int16_t rate = 0) {
    ByteVector record =
        packed(8, {{0, 1, 1}, {1, 18, carrier}, {20, 3, 3}, {23, 5, 20}, {28, 4, slaves}, {32, 32, 3000000000}});
    return record += packed(2, {{0, 16, static_cast<uint16_t>(rate)}});
}
constexpr double kShortCode = 22e6;

struct Meas3Test : testing::Test {
    Meas3References references;
    ZeltMeasEpoch epoch{};

    bool decode(const ByteVector& ranges, const Meas3Blocks& companions = {}) {
        Meas3Blocks blocks = companions;
        blocks.ranges = viewOf(ranges);
        return zeltDecodeMeas3({blocks, Meas3Blocks{}}, references, epoch);
    }
    bool decodeGps(uint32_t tow, const ByteVector& records, uint8_t misc = kMinuteInterval | kRate) {
        return decode(rangesBlock(tow, misc, 1, joined({kOneGps, records})));
    }
    const ZeltMeasSignal& signal(size_t slot, size_t satellite = 0) {
        return epoch.satellites[satellite].signals[0][slot];
    }
};

TEST_F(Meas3Test, ShortMaster) {
    const struct {
        uint64_t msb, lsb, carrier, lock, cn0;
        double code, carrierMinusCode;
        uint32_t lockTime;
    } cases[] = {
        {0, 0, 1, 7, 0, 19e6, -131.071, 1000},
        {1, 0, 131072, 1, 31, 19e6 + 4294967.296, 0, 60000},
        {1, 0xFFFFFFFF, 262143, 0, 16, 19e6 + 8589934.591, 131.071, 0},
        {0, 1, 0, 6, 1, 19e6 + 0.001, kNotAvailable, 2000},
    };
    for (const auto& c : cases) {
        ASSERT_TRUE(decodeGps(
            kReferenceTow,
            packed(10,
                   {{0, 1, 1}, {1, 18, c.carrier}, {19, 1, c.msb}, {20, 3, c.lock}, {23, 5, c.cn0}, {32, 32, c.lsb}})));
        ASSERT_EQ(epoch.satelliteCount, 1);
        EXPECT_EQ(epoch.satellites[0].svid, 5);
        EXPECT_EQ(epoch.clockJumps, -2);
        EXPECT_NEAR(signal(0).pseudorange, c.code, 1e-7);
        const double carrier = c.carrier == 0 ? kNotAvailable : c.code / kL1 + c.carrierMinusCode;
        EXPECT_NEAR(signal(0).carrierPhase, carrier, 1e-6);
        EXPECT_EQ(signal(0).cn0, 24 + static_cast<float>(c.cn0));
        EXPECT_EQ(signal(0).lockTime, c.lockTime);
        EXPECT_EQ(signal(0).flags, kZeltSlotUsed | (c.lock == 0 ? kZeltHalfCycle : 0));
        EXPECT_EQ(signal(0).doppler, kNotAvailableF);
    }
}

TEST_F(Meas3Test, LongMaster) {
    const struct {
        uint64_t msb, lsb, carrier, cn0, mask;
        int extension;  // -1: no such byte
        int signal;     // that it must come out as
        double code, carrierMinusCode;
        float cn0Expected;
    } cases[] = {
        {15, 0xFFFFFFFF, 4194303, 63, 0x01, -1, 0, 68719476.735, 2097.151, 73},
        {5, 1000, 2097152, 0, 0x08, -1, 1, 21474837.480, 0, 0},  // P(Y): no offset
        {5, 0, 1, 30, 0x00, 0x40, -1, 0, 0, 0},                  // index 15: no signal of GPS
        {5, 0, 0, 45, 0x02, 0x00, 3, 21474836.480, kNotAvailable, 55},
    };
    for (const auto& c : cases) {
        ByteVector record = packed(10, {{2, 4, c.msb},
                                        {6, 22, c.carrier},
                                        {28, 4, 9},
                                        {32, 32, c.lsb},
                                        {64, 6, c.cn0},
                                        {70, 9, c.mask},
                                        {79, 1, c.extension >= 0 ? 1U : 0U}});
        if (c.extension >= 0) record += ByteVector{static_cast<uint8_t>(c.extension)};
        ASSERT_TRUE(decodeGps(kReferenceTow, record += ByteVector{0, 0}));
        ASSERT_EQ(epoch.satelliteCount, c.signal >= 0 ? 1 : 0);
        if (c.signal < 0) continue;
        const ZeltMeasSignal& s = signal(static_cast<size_t>(zeltSignalSlot(c.signal)));
        EXPECT_EQ(s.signalType, c.signal);
        EXPECT_NEAR(s.pseudorange, c.code, 1e-7);
        const double wavelength = zeltSignalWavelength(c.signal, 0);
        EXPECT_NEAR(s.carrierPhase, c.carrier == 0 ? kNotAvailable : c.code / wavelength + c.carrierMinusCode, 1e-6);
        EXPECT_EQ(s.cn0, c.cn0Expected);
        EXPECT_EQ(s.lockTime, 200U);
    }
    EXPECT_FALSE(decodeGps(kReferenceTow, packed(12, {{2, 4, 5}})));  // an empty mask is corrupt
    EXPECT_EQ(epoch.satelliteCount, 0);
}

TEST_F(Meas3Test, DeltaMasters) {
    const struct {
        bool small;
        uint64_t code, carrier, cn0;
        int16_t rate;
        double change;         // m, of the code
        double carrierOffset;  // cycles beside the code's change
        float cn0Expected;
    } cases[] = {
        {false, 65536, 32768, 4, 0, 0, 0, 44},
        {false, 0, 1, 0, -1000, -1920 - 65.536, -32.767, 40},  // 64 mm/s * 1000 * 30 s
        {false, 131071, 65535, 7, 32767, 62912.64 + 65.535, 32.767, 47},
        {false, 65537, 0, 4, 0, 0.001, kNotAvailable, 44},
        {true, 8192, 8192, 1, 0, 0, 0, 44},
        {true, 0, 1, 0, 1, 1.92 - 8.192, -8.191, 43},
        {true, 16383, 16383, 2, -32768, -62914.56 + 8.191, 8.191, 45},
        {true, 8192, 0, 2, 0, 0, kNotAvailable, 45},
    };
    for (const auto& c : cases) {
        ASSERT_TRUE(decodeGps(kReferenceTow, shortMaster(0, 131072, c.rate)));
        const ByteVector delta = c.small
                                     ? packed(4, {{0, 2, 2}, {2, 2, c.cn0}, {4, 14, c.code}, {18, 14, c.carrier}})
                                     : packed(5, {{0, 4, 14}, {4, 17, c.code}, {21, 3, c.cn0}, {24, 16, c.carrier}});
        ASSERT_TRUE(decodeGps(kDeltaTow, delta));
        ASSERT_EQ(epoch.satelliteCount, 1);
        EXPECT_NEAR(signal(0).pseudorange, kShortCode + c.change, 1e-7);
        EXPECT_NEAR(signal(0).carrierPhase,
                    c.carrier == 0 ? kNotAvailable : (kShortCode + c.change) / kL1 + c.carrierOffset, 1e-6);
        EXPECT_EQ(signal(0).cn0, c.cn0Expected);
        EXPECT_EQ(signal(0).lockTime, 15000U);
    }
    // Relative to a carrier that is missing, a carrier is missing.
    ASSERT_TRUE(decodeGps(kReferenceTow, shortMaster(0, 0)));
    ASSERT_TRUE(decodeGps(kDeltaTow, packed(4, {{0, 2, 2}, {4, 14, 8192}, {18, 14, 8192}})));
    EXPECT_EQ(signal(0).pseudorange, kShortCode);
    EXPECT_EQ(signal(0).carrierPhase, kNotAvailable);
}

// Slaves of a short master: index 1 is L2C (longer waves), the Galileo master E5a has E5b (shorter) behind it.
TEST_F(Meas3Test, ShortAndLongSlaves) {
    ASSERT_TRUE(
        decodeGps(kReferenceTow,
                  joined({shortMaster(0b0101, 131072 + 500),
                          packed(5, {{0, 1, 1}, {1, 16, 32768 - 7}, {17, 15, 12345}, {32, 3, 2}, {35, 5, 9}}),
                          packed(7, {{2, 22, 2097152 + 3}, {24, 4, 13}, {28, 3, 7}, {32, 16, 65535}, {48, 6, 50}})})));
    const double l2c = kShortCode + 12.345 - 10;
    EXPECT_NEAR(signal(3).pseudorange, l2c, 1e-7);
    EXPECT_NEAR(signal(3).carrierPhase, 0.5 * kL2 / kL1 + l2c / kL2 - 0.007, 1e-6);
    EXPECT_EQ(signal(3).cn0, 33);
    EXPECT_EQ(signal(3).lockTime, 30000U);
    const double l1p = kShortCode + 262.143;
    EXPECT_NEAR(signal(1).pseudorange, l1p, 1e-7);
    EXPECT_NEAR(signal(1).carrierPhase, l1p / kL1 + 0.003, 1e-6);
    EXPECT_EQ(signal(1).cn0, 50);
    EXPECT_EQ(signal(1).lockTime, 20U);

    // P(Y) as a short slave: 3 dB and the value below the master.
    ASSERT_TRUE(decodeGps(kReferenceTow, joined({shortMaster(0b0100), packed(5, {{0, 1, 1}, {35, 5, 9}})})));
    EXPECT_EQ(signal(1).cn0, 44 - 3 - 9);
    EXPECT_EQ(signal(1).carrierPhase, kNotAvailable);
    EXPECT_NEAR(signal(1).pseudorange, kShortCode + 10, 1e-7);  // not longer than the master's wave

    ASSERT_TRUE(
        decode(rangesBlock(kReferenceTow, kMinuteInterval | kRate, 4,
                           joined({{0x01 | 1 << 3, 0x01}, shortMaster(1), packed(5, {{0, 1, 1}, {17, 15, 12345}})}))));
    EXPECT_EQ(epoch.satellites[0].svid, 71);
    EXPECT_EQ(signal(5).signalType, 21);
    EXPECT_NEAR(signal(5).pseudorange, 25e6 - 12.345 + 10, 1e-7);
}

TEST_F(Meas3Test, DeltaSlaves) {
    const auto reference = [&](uint64_t masterCarrier, uint64_t slaveCarrier) {
        return joined({shortMaster(1, masterCarrier),
                       packed(5, {{0, 1, 1}, {1, 16, slaveCarrier}, {17, 15, 10000}, {32, 3, 1}, {35, 5, 9}})});
    };
    const struct {
        uint64_t code, carrier, cn0;
        double codeOffset, carrierOffset;
        float cn0Expected;
    } cases[] = {
        {2048, 128, 2, 0, 0, 33},
        {0, 0, 0, -2.048, -0.128, 31},
        {4095, 255, 3, 2.047, 0.127, 34},
    };
    for (const auto& c : cases) {
        ASSERT_TRUE(decodeGps(kReferenceTow, reference(131072, 32768)));
        ASSERT_TRUE(decodeGps(kDeltaTow,
                              joined({packed(4, {{0, 2, 2}, {2, 2, 1}, {4, 14, 8192 + 190}, {18, 14, 8192}}),
                                      packed(3, {{0, 2, 2}, {2, 12, c.code}, {14, 2, c.cn0}, {16, 8, c.carrier}})})));
        // The master's code grew by 0.19 m and its carrier by as much: 0.19 / kL1 cycles.
        const double carrier = 0.19 / kL1 * kL1 / kL2 + c.carrierOffset;
        EXPECT_NEAR(signal(3).carrierPhase, kShortCode / kL2 + carrier, 1e-6);
        EXPECT_NEAR(signal(3).pseudorange, kShortCode + carrier * kL2 + c.codeOffset, 1e-6);
        EXPECT_EQ(signal(3).cn0, c.cn0Expected);
        EXPECT_EQ(signal(3).lockTime, 60000U);
    }
    const ByteVector delta = joined({packed(4, {{0, 2, 2}, {4, 14, 8192}, {18, 14, 8192}}), packed(3, {{0, 2, 2}})});
    for (const auto& missing : {reference(0, 32768), reference(131072, 0)}) {
        ASSERT_TRUE(decodeGps(kReferenceTow, missing));
        ASSERT_TRUE(decodeGps(kDeltaTow, delta));
        EXPECT_NE(signal(0).flags, 0);
        EXPECT_EQ(signal(3).flags, 0);  // a carrier that it needs is missing
    }
}

TEST_F(Meas3Test, ReferencesAreNeeded) {
    const ByteVector delta = packed(4, {{0, 2, 2}, {4, 14, 8192}, {18, 14, 8192}});
    EXPECT_TRUE(decodeGps(kDeltaTow, delta));  // none seen
    EXPECT_EQ(epoch.satelliteCount, 0);
    EXPECT_EQ(epoch.wnc, kTestWeek);
    ASSERT_TRUE(decodeGps(kReferenceTow, shortMaster()));
    EXPECT_TRUE(decodeGps(kDeltaTow + 60000, delta));  // the next one's was not seen
    EXPECT_EQ(epoch.satelliteCount, 0);
    // A satellite that the reference does not hold: nothing of it, and the next one is still read right.
    const ByteVector two{0x01, 0x30};
    ASSERT_TRUE(decode(rangesBlock(kDeltaTow, kMinuteInterval | kRate, 1, joined({two, delta, delta}))));
    ASSERT_EQ(epoch.satelliteCount, 1);
    EXPECT_EQ(epoch.satellites[0].svid, 5);
    // The header of the reference is used where it is not repeated.
    ASSERT_TRUE(decode(rangesBlock(kDeltaTow, kMinuteInterval | kRate, 1, joined({{0}, delta}))));
    EXPECT_EQ(epoch.satelliteCount, 1);
    ASSERT_TRUE(decode(rangesBlock(kDeltaTow, kMinuteInterval | kRate, 5, joined({{0}, delta, {0}}))));
    EXPECT_EQ(epoch.satelliteCount, 1);
    // A corrupt reference epoch is no reference.
    EXPECT_FALSE(decodeGps(kReferenceTow, packed(12, {})));
    EXPECT_TRUE(decodeGps(kDeltaTow, delta));
    EXPECT_EQ(epoch.satelliteCount, 0);
}

TEST_F(Meas3Test, IntervalsByCode) {
    constexpr uint32_t kExpected[] = {1, 500, 1000, 2000, 5000, 10000, 15000, 30000, 60000, 120000, 1, 1, 1, 1, 1, 1};
    for (uint32_t code = 0; code < 16; ++code) {
        const auto misc = static_cast<uint8_t>(code << 4 | kRate);
        ASSERT_TRUE(decodeGps(kReferenceTow, shortMaster(), misc));
        for (const uint32_t step : {kExpected[code] - 1, kExpected[code], kExpected[code] + 1}) {
            if (step == 0) continue;
            references[0].constellations[0].headerSize = 1;  // cleared by a reference epoch
            ASSERT_TRUE(decode(rangesBlock(kReferenceTow + step, misc, 0, {})));
            EXPECT_EQ(references[0].tow == kReferenceTow + step, step % kExpected[code] == 0) << code << ' ' << step;
            references[0].tow = kReferenceTow;
        }
    }
}

TEST_F(Meas3Test, HeadersByConstellation) {
    // GLONASS: nibbles 0 and 15 drop the satellite, not its neighbours; the frequency number sets the wavelength.
    const ByteVector glonass{0x01, 0b1111, 0xE0, 0x1F};  // frequency fields 0, 14, 15, 1
    ASSERT_TRUE(decode(rangesBlock(kReferenceTow, kMinuteInterval | kRate, 2,
                                   joined({glonass, shortMaster(), shortMaster(), shortMaster(), shortMaster()}))));
    ASSERT_EQ(epoch.satelliteCount, 2);
    EXPECT_EQ(epoch.satellites[0].svid, 39);
    EXPECT_EQ(epoch.satellites[0].glonassChannel, 14);
    EXPECT_EQ(epoch.satellites[1].svid, 41);
    EXPECT_EQ(epoch.satellites[1].channel, 1);
    EXPECT_NEAR(signal(0, 1).carrierPhase, 22e6 / (299792458.0 / 1598.0625e6), 1e-6);
    // BeiDou: a flag moves the code base.
    const ByteVector beiDou{0x01, 0b11, 0b10, 0x00};
    ASSERT_TRUE(
        decode(rangesBlock(kReferenceTow, kMinuteInterval | kRate, 8, joined({beiDou, shortMaster(), shortMaster()}))));
    EXPECT_NEAR(signal(0, 0).pseudorange, 23e6, 1e-7);
    EXPECT_NEAR(signal(0, 1).pseudorange, 37e6, 1e-7);
    // Excluded signals give their indices to those behind them; satellites of eight mask bytes.
    const ByteVector excluding{0x80 | 1 << 3 | 7, 0, 0, 0, 0x08, 0, 0, 0, 0, 0b0110};
    ASSERT_TRUE(decode(rangesBlock(kReferenceTow, kMinuteInterval | kRate, 4, joined({excluding, shortMaster()}))));
    EXPECT_EQ(epoch.satellites[0].svid, 71 + 27);
    EXPECT_EQ(signal(3).signalType, 19);  // left: 17, 19, 22
    // Two constellations one after the other, the first without satellites.
    ASSERT_TRUE(decode(rangesBlock(kReferenceTow, kMinuteInterval | kRate, 3,
                                   joined({{0x01, 0x00}, {0x01, 0x01, 0x08}, shortMaster()}))));
    EXPECT_EQ(epoch.satellites[0].svid, 38);
}

TEST(Meas3Doppler, CodesOfEverySize) {
    const struct {
        ByteVector bytes;
        int32_t code;
        size_t size;
    } cases[] = {
        {{0x00}, 0, 1},
        {{0xFC}, 63, 1},
        {{0xFD}, -63, 1},
        {{0x02 | 0x08, 0x00}, 1, 2},
        {{0xFA, 0xFF}, 8191, 2},
        {{0xFB, 0xFF}, -8191, 2},
        {{0x16, 0x00, 0x80}, 0x80001, 3},
        {{0xF7, 0xFF, 0xFF}, kMeas3NoDoppler, 3},  // -1048575 says that there is none
        {{0x1E, 0x00, 0x00, 0x80}, 0x8000001, 4},
        {{0xFF, 0xFF, 0xFF, 0xFF}, -0xFFFFFFF, 4},
        {{0xFF, 0xFF, 0xFF}, kMeas3NoDoppler, 3},  // cut
        {{}, kMeas3NoDoppler, 0},
    };
    for (const auto& c : cases) {
        ByteCursor cursor{viewOf(c.bytes)};
        EXPECT_EQ(zeltReadDopplerCode(cursor), c.code);
        EXPECT_EQ(cursor.failed ? c.bytes.size() : c.bytes.size() - cursor.rest.size, c.size);
    }
}

TEST_F(Meas3Test, CompanionsFollowTheSignals) {
    const ByteVector ranges =
        rangesBlock(kReferenceTow, kMinuteInterval | kRate, 1,
                    joined({kOneGps, shortMaster(0b0111, 131072, -100), packed(5, {{0, 1, 1}, {35, 5, 9}}),
                            packed(5, {{0, 1, 1}, {35, 5, 9}}), packed(5, {{0, 1, 1}, {35, 5, 9}})}));
    // Dopplers 10 and -20 mm/s, none, 30; C/N0 nibbles 15, 0, 8; a fourth would be cut off.
    const ByteVector doppler =
        companion(kZeltMeas3Doppler, joined({{10 << 2}, {20 << 2 | 1}, {0xF7, 0xFF, 0xFF}, {30 << 2}}));
    const ByteVector cn0 = companion(kZeltMeas3Cn0HiRes, {0x0F, 0x08});
    const ByteVector pp = companion(
        kZeltMeas3Pp,
        packed(3,
               {{0, 5, 0b01011}, {5, 1, 1}, {6, 5, 17}, {11, 1, 0}, {12, 1, 1}, {13, 5, 31}, {18, 1, 1}, {19, 5, 3}}));
    const ByteVector mp = companion(kZeltMeas3Mp, packed(7, {{0, 2, 1},
                                                             {2, 7, 127},
                                                             {9, 5, 16},
                                                             {14, 2, 0},
                                                             {16, 2, 2},
                                                             {18, 7, 3},
                                                             {25, 5, 15},
                                                             {30, 2, 3},
                                                             {32, 11, 1024},
                                                             {43, 8, 200}}));
    ASSERT_TRUE(decode(ranges, {{}, viewOf(doppler), viewOf(cn0), viewOf(pp), viewOf(mp)}));
    const struct {
        size_t slot;
        double doppler;  // m/s
        float cn0;
        uint8_t even;
        int16_t multipath;
        uint8_t carrierMultipath;
    } cases[] = {
        {0, 6.4 - 0.010, 44 + 0.4375F, 44, 1270, 0xF0},
        {3, 6.4 - 0.010 + 0.020, 33 - 0.5F, 32, 0, 0},
        {4, kNotAvailable, 33, 72, -30, 15},
        {1, 6.4 - 0.010 - 0.030, 32 - 0.5F, 6, -10240, 200},
    };
    for (const auto& c : cases) {
        const ZeltMeasSignal& s = signal(c.slot);
        const double wavelength = zeltSignalWavelength(s.signalType, 0);
        EXPECT_NEAR(s.doppler, c.doppler < -1e9 ? kNotAvailable : c.doppler / wavelength, 1e-4) << c.slot;
        EXPECT_FLOAT_EQ(s.cn0, c.cn0) << c.slot;
        EXPECT_EQ(s.cn0Even, c.even) << c.slot;
        EXPECT_EQ(s.multipath, c.multipath) << c.slot;
        EXPECT_EQ(s.carrierMultipath, c.carrierMultipath) << c.slot;
        EXPECT_EQ(s.lossOfContinuity, 5) << c.slot;
        EXPECT_EQ(s.flags & kZeltInfoFlag, kZeltInfoFlag) << c.slot;
    }
    // What a companion that is too short no longer holds is absent, and so is what follows.
    const Bytes cutMp = viewOf(mp).sub(0, 16 + 3);
    ASSERT_TRUE(decode(ranges, {{}, viewOf(doppler).sub(0, 17), viewOf(cn0).sub(0, 16), viewOf(pp).sub(0, 16), cutMp}));
    EXPECT_NEAR(signal(0).doppler, 6.39 / kL1, 1e-4);
    EXPECT_EQ(signal(3).doppler, kNotAvailableF);
    EXPECT_EQ(signal(0).cn0, 44);
    EXPECT_EQ(signal(0).flags, kZeltSlotUsed);
    EXPECT_EQ(signal(0).multipath, 1270);
    EXPECT_EQ(signal(4).multipath, 0);
    EXPECT_EQ(signal(1).multipath, 0);
}

TEST_F(Meas3Test, SecondAntennaFillsItsOwnSlots) {
    const ByteVector first = rangesBlock(kReferenceTow, kMinuteInterval | kRate, 1, joined({kOneGps, shortMaster()}));
    const ByteVector second = rangesBlock(kReferenceTow, kMinuteInterval | kRate | 1, 1,
                                          joined({{0x01, 0x30}, shortMaster(), shortMaster()}));
    Meas3Blocks a;
    Meas3Blocks b;
    a.ranges = viewOf(first);
    b.ranges = viewOf(second);
    ASSERT_TRUE(zeltDecodeMeas3({a, b}, references, epoch));
    ASSERT_EQ(epoch.satelliteCount, 2);
    EXPECT_NE(epoch.satellites[0].signals[1][0].flags, 0);
    EXPECT_EQ(epoch.satellites[1].svid, 6);
    EXPECT_EQ(epoch.satellites[1].signals[0][0].flags, 0);
    EXPECT_NE(epoch.satellites[1].signals[1][0].flags, 0);
}

TEST_F(Meas3Test, CorruptRangesGiveNothing) {
    const ByteVector good = rangesBlock(kReferenceTow, kMinuteInterval | kRate, 0x7F,
                                        joined({kOneGps,
                                                shortMaster(1),
                                                packed(7, {}),
                                                {0x01, 1, 8},
                                                shortMaster(),
                                                {0x01, 1},
                                                shortMaster(),
                                                {0x01, 1, 0, 0},
                                                shortMaster(),
                                                {0x01, 1},
                                                shortMaster(),
                                                {0x01, 1},
                                                shortMaster(),
                                                {0x01, 1},
                                                shortMaster()}));
    ASSERT_TRUE(decode(good));
    EXPECT_EQ(epoch.satelliteCount, 7);
    for (size_t size = 20; size < good.size(); ++size) {
        const ByteVector cut(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(size));  // its own allocation
        EXPECT_FALSE(decode(cut)) << size;
        EXPECT_EQ(epoch.satelliteCount, 0) << size;
    }
    ByteVector format = good;
    format[19] = 31;
    EXPECT_TRUE(decode(format));
    format[19] = 32;
    EXPECT_FALSE(decode(format));
}

// More satellites than there are records: the last record is overwritten.
TEST_F(Meas3Test, NeverMoreThanTheRecords) {
    ByteVector data;
    for (const int bytes : {5, 4, 5}) {  // GPS 37 of 40, GLONASS 31 of 32, Galileo 36 of 40
        data += ByteVector{static_cast<uint8_t>(bytes)};
        data += ByteVector(static_cast<size_t>(bytes), 0xFF);
        if (bytes == 4) data += ByteVector(16, 0x88);
        for (int i = 0; i < 8 * bytes; ++i) data += shortMaster();
    }
    ASSERT_TRUE(decode(rangesBlock(kReferenceTow, kMinuteInterval | kRate, 7, data)));
    EXPECT_EQ(epoch.satelliteCount, kZeltMaxSatellites);
    EXPECT_EQ(epoch.satellites[79].svid, 106);
}

// The two example logs hold the same measurements. Codes are logged in millimetres in both; only the delta slaves of
// Meas3 carry a code as a difference to the carrier's, off the millimetres by up to half of one.
TEST(Meas3Twin, SameMeasurementsAsInTheVerboseLog) {
    const std::string paths[2] = {ZELT_EXAMPLES "/esbc-2020-06-25-3h.zelt",
                                  ZELT_EXAMPLES "/esbc-2020-06-25-3h-meas3.zelt"};
    const auto nextEpoch = [](ZeltFile& file, ZeltMeasEpoch& epoch) {
        Bytes block;
        while (zeltGetNextBlock(file, block, kZeltAnyBlock, kZeltAnyBlock, 0) == kZeltFound) {
            if (zeltCollectMeasBlock(file, block, epoch, kZeltAllowMeas3 | kZeltAllowMeasEpoch)) return true;
        }
        return false;
    };
    ZeltFile files[2];
    ZeltMeasEpoch epochs[2];
    for (int i = 0; i < 2; ++i) zeltOpenFile(paths[i].c_str(), files[i]);
    int compared = 0;
    while (nextEpoch(files[0], epochs[0])) {
        ASSERT_TRUE(nextEpoch(files[1], epochs[1]));
        ASSERT_EQ(epochs[1].tow, epochs[0].tow);
        ASSERT_EQ(epochs[1].satelliteCount, epochs[0].satelliteCount);
        const double codeTolerance = epochs[0].tow % 60000 == 0 ? 1e-6 : 0.000501;
        for (int32_t i = 0; i < epochs[0].satelliteCount; ++i) {
            const ZeltMeasSat& satellite = epochs[0].satellites[static_cast<size_t>(i)];
            const auto* twin = std::find_if(epochs[1].satellites.begin(), epochs[1].satellites.end(),
                                            [&](const ZeltMeasSat& s) { return s.svid == satellite.svid; });
            ASSERT_NE(twin, epochs[1].satellites.end());
            EXPECT_EQ(twin->glonassChannel, satellite.glonassChannel);
            for (size_t slot = 0; slot < kZeltSlots; ++slot) {
                const ZeltMeasSignal& a = satellite.signals[0][slot];
                const ZeltMeasSignal& b = twin->signals[0][slot];
                ASSERT_EQ(a.flags & kZeltSlotUsed, b.flags & kZeltSlotUsed);
                ASSERT_EQ(a.signalType, b.signalType);
                if (a.flags == 0) continue;
                ++compared;
                EXPECT_NEAR(a.pseudorange, b.pseudorange, codeTolerance);
                EXPECT_NEAR(a.carrierPhase, b.carrierPhase, 0.0011);
                EXPECT_NEAR(a.doppler, b.doppler, 0.003);
                EXPECT_NEAR(a.cn0, b.cn0, 0.22);
                EXPECT_LE(b.lockTime, a.lockTime);
                EXPECT_EQ(a.cn0Even, b.cn0Even);
            }
        }
    }
    EXPECT_EQ(compared, 54072);  // as counted in the logs by another decoder
    for (ZeltFile& file : files) zeltCloseFile(file);
}

}  // namespace
