#include "utils/zeltdata/meas3.h"

#include <gtest/gtest.h>

#include <map>
#include <sstream>

#include "tests/logbuilder.h"
#include "utils/geometry/constants.h"
#include "utils/zeltdata/bitcursor.h"
#include "utils/zeltdata/zeltsignal.h"

using namespace Qon::Nav;

namespace {

constexpr double kL1 = 299792458.0 / 1575.42e6;  // wavelengths, m
constexpr double kL2 = 299792458.0 / 1227.60e6;
constexpr uint32_t kReferenceTow = 120000;
constexpr uint32_t kDeltaTow = kReferenceTow + 30000;
constexpr int kMisc = 8 << 4 | 0x08;  // reference every 60 s, masters with a rate

// The bytes of packed fields, "width:value ..." from bit 0 on.
ByteVector packed(const std::string& fields) {
    ByteVector bytes;
    std::istringstream in(fields);
    unsigned width = 0;
    char colon = 0;
    int64_t value = 0;
    for (unsigned bit = 0; in >> width >> colon >> value;) {
        for (unsigned i = 0; i < width; ++i, ++bit) {
            if (bit % 8 == 0) bytes.push_back(0);
            bytes.back() |= static_cast<uint8_t>((value >> i & 1) << bit % 8);
        }
    }
    return bytes;
}

ByteVector block(int number, uint32_t tow, const std::string& body) {
    BlockBuilder b(number, 14, 0, tow);
    b.bytes += packed(body);
    return b.done();
}

// A Meas3Ranges block of the constellations in `mask`; `data` is their headers and records.
ByteVector rangesBlock(uint32_t tow, int mask, const std::string& data, int misc = kMisc) {
    const std::string head = "8:0 8:-2 16:" + std::to_string(mask) + " 8:" + std::to_string(misc) + " 8:0 ";
    return block(kZeltMeas3Ranges, tow, head + data);
}

const std::string kGps = "8:1 8:16 ";  // header: one mask byte, satellite 5, short masters for signal index 0

// A short master: code base + 3e6 m, 44 dB-Hz; its carrier is that code's when the field is in its middle.
std::string master(int slaves = 0, int carrier = 131072, int rate = 0) {
    return "1:1 18:" + std::to_string(carrier) + " 1:0 3:3 5:20 4:" + std::to_string(slaves) +
           " 32:3000000000 16:" + std::to_string(rate) + " ";
}
const std::string kMaster = master();
constexpr double kCode = 22e6;

// A short slave of 33 dB-Hz, 12.345 - 10 m from its master.
const std::string kSlave = "1:1 16:32768 15:12345 3:2 5:9 ";
const std::string kLongSlave = "2:0 22:2097155 4:13 3:7 1:1 16:65535 6:50 2:3 ";
const std::string kDelta = "2:2 2:1 14:8192 14:8192 ";  // a master that nothing changed for

struct Meas3Test : testing::Test {
    Meas3References references;
    ZeltMeasEpoch epoch{};

    bool decode(const ByteVector& ranges) {
        return zeltDecodeMeas3({{{viewOf(ranges), {}, {}, {}, {}}, {}}}, references, epoch);
    }
    bool collect(const std::vector<Bytes>& blocks) {
        ZeltFile none;
        for (const Bytes logged : blocks) zeltCollectMeasBlock(none, logged, epoch, kZeltAllowMeas3);
        return zeltDecodePendingEpoch(none, epoch, kZeltAllowMeas3);
    }
    bool decodeGps(uint32_t tow, const std::string& records) { return decode(rangesBlock(tow, 1, kGps + records)); }
    const ZeltMeasSignal& signal(int number, size_t satellite = 0) {
        return epoch.satellites[satellite].signals[0][static_cast<size_t>(zeltSignalSlot(number))];
    }
};

TEST_F(Meas3Test, RecordsOfEveryForm) {
    constexpr double kNone = kNotAvailable;
    constexpr double kRate = 0.064 * 30;  // m, by a rate of 1 in 30 s
    const std::string pair = master(1) + "1:1 16:32768 15:10000 3:1 5:9 ";
    // Between the epochs the master's code grows by 0.19 m and its carrier by as much.
    const std::string grown = "2:2 2:1 14:8382 14:8192 ";
    const struct {
        std::string reference, records;  // without records: those of the reference are looked at
        int signal;                      // what is to come out for it
        double code, carrier;            // carrier: cycles beyond code / wavelength
        float cn0;
        uint32_t lock;
    } cases[] = {
        // Short masters: carrier, code in two pieces, lock, C/N0, slaves.
        {"1:1 18:1 1:0 3:7 5:0 4:0 32:0 16:0", "", 0, 19e6, -131.071, 24, 1000},
        {"1:1 18:131072 1:1 3:1 5:31 4:0 32:0 16:0", "", 0, 19e6 + 4294967.296, 0, 55, 60000},
        {"1:1 18:262143 1:1 3:0 5:16 4:0 32:4294967295 16:0", "", 0, 19e6 + 8589934.591, 131.071, 40, 0},
        {"1:1 18:0 1:0 3:6 5:1 4:0 32:1 16:0", "", 0, 19e6 + 0.001, kNone, 25, 2000},
        // Long masters: code in two pieces, carrier, lock; C/N0, signals, extension.
        {"2:0 4:15 22:4194303 4:9 32:4294967295 6:63 9:1 1:0 16:0", "", 0, 68719476.735, 2097.151, 73, 200},
        {"2:0 4:5 22:2097152 4:15 32:1000 6:1 9:8 1:0 16:0", "", 1, 21474837.480, 0, 1, 0},  // P(Y): no offset
        {"2:0 4:5 22:0 4:10 32:0 6:45 9:2 1:1 8:128 16:0", "", 3, 21474836.480, kNone, 55, 100},
        // Delta masters and small delta masters, the last of a reference without a carrier.
        {kMaster, "4:14 17:65536 3:4 16:32768", 0, kCode, 0, 44, 15000},
        {master(0, 131072, -1000), "4:14 17:0 3:0 16:1", 0, kCode - 1000 * kRate - 65.536, -32.767, 40, 15000},
        {master(0, 131072, 32767), "4:14 17:131071 3:7 16:65535", 0, kCode + 32767 * kRate + 65.535, 32.767, 47, 15000},
        {kMaster, "4:14 17:65537 3:4 16:0", 0, kCode + 0.001, kNone, 44, 15000},
        {master(0, 131072, 1), "2:2 2:0 14:0 14:1", 0, kCode + kRate - 8.192, -8.191, 43, 15000},
        {master(0, 131072, -32768), "2:2 2:2 14:16383 14:16383", 0, kCode - 32768 * kRate + 8.191, 8.191, 45, 15000},
        {master(0, 0), kDelta, 0, kCode, kNone, 44, 15000},
        // Short slaves: longer waves than the master's bring a longer code; P(Y) counts C/N0 from the master's.
        {master(1, 131572) + kSlave, "", 3, kCode + 2.345, 0.5 * kL2 / kL1, 33, 30000},
        {master(4) + "1:1 16:0 15:345 3:0 5:9", "", 1, kCode - 0.345 + 10, kNone, 44 - 3 - 9, 0},
        // A long slave behind a short one.
        {master(5) + kSlave + kLongSlave, "", 1, kCode + 262.143, 0.003, 50, 20},
        // Delta slaves, the code relative to the carrier's way.
        {pair, grown + "2:2 12:2048 2:2 8:128", 3, kCode + 0.19, 0, 33, 60000},
        {pair, grown + "2:2 12:0 2:0 8:0", 3, kCode + 0.19 - 2.048 - 0.128 * kL2, 2.048 / kL2, 31, 60000},
        {pair, grown + "2:2 12:4095 2:3 8:255", 3, kCode + 0.19 + 2.047 + 0.127 * kL2, -2.047 / kL2, 34, 60000},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.reference + '|' + c.records);
        ASSERT_TRUE(decodeGps(kReferenceTow, c.reference));
        ASSERT_TRUE(c.records.empty() || decodeGps(kDeltaTow, c.records));
        ASSERT_EQ(epoch.satelliteCount, 1);
        EXPECT_EQ(epoch.satellites[0].svid, 5);
        EXPECT_EQ(epoch.clockJumps, -2);
        const ZeltMeasSignal& s = signal(c.signal);
        EXPECT_EQ(s.signalType, c.signal);
        EXPECT_NEAR(s.pseudorange, c.code, 1e-6);
        const double wavelength = c.signal == 3 ? kL2 : kL1;
        EXPECT_NEAR(s.carrierPhase, c.carrier == kNone ? kNone : c.code / wavelength + c.carrier, 1e-5);
        EXPECT_EQ(s.cn0, c.cn0);
        EXPECT_EQ(s.lockTime, c.lock);
        const bool halfCycle = c.lock == 0 && c.reference[0] == '1';  // lock index 0, not 15
        EXPECT_EQ(s.flags, kZeltSlotUsed | (halfCycle ? kZeltHalfCycle : 0));
        EXPECT_EQ(s.doppler, kNotAvailableF);
    }
    // A delta slave needs three carriers: its own and its master's at the reference epoch, and its master's now.
    const std::string lacking[][2] = {{master(1, 0) + kLongSlave, master(1)},
                                      {master(1) + "1:1 16:0 15:10000 3:1 5:9 ", kDelta},
                                      {pair, "2:2 2:1 14:8192 14:0 "}};
    for (const auto& [reference, now] : lacking) {
        ASSERT_TRUE(decodeGps(kReferenceTow, reference));
        ASSERT_TRUE(decodeGps(kDeltaTow, now + "2:2 12:2048 2:2 8:128"));
        EXPECT_NE(signal(0).flags, 0);
        EXPECT_EQ(signal(3).flags, 0);
    }
    // Index 15 is no signal of GPS; a mask without a signal is corrupt.
    EXPECT_TRUE(decodeGps(kReferenceTow, "2:0 4:5 22:1 4:9 32:0 6:30 9:0 1:1 8:64 16:0"));
    EXPECT_EQ(epoch.satelliteCount, 0);
    EXPECT_FALSE(decodeGps(kReferenceTow, "2:0 4:5 22:1 4:9 32:0 6:30 9:0 1:0 16:0"));
}

TEST_F(Meas3Test, ReferencesAreNeeded) {
    const auto satellites = [&](uint32_t tow, int mask, const std::string& data) {
        return decode(rangesBlock(tow, mask, data)) ? epoch.satelliteCount : -1;
    };
    EXPECT_EQ(satellites(kDeltaTow, 1, kGps + kDelta), 0);  // none seen
    EXPECT_EQ(epoch.wnc, uint32_t{kTestWeek});
    EXPECT_EQ(satellites(kReferenceTow, 1, kGps + kMaster), 1);
    EXPECT_EQ(satellites(kDeltaTow + 60000, 1, kGps + kDelta), 0);  // the next one's was not seen
    // A satellite that the reference does not hold: nothing of it, and the next one is still read right.
    EXPECT_EQ(satellites(kDeltaTow, 1, "8:1 8:48 " + kDelta + kDelta), 1);
    EXPECT_EQ(epoch.satellites[0].svid, 5);
    // The header of the reference is used where it is not repeated.
    EXPECT_EQ(satellites(kDeltaTow, 1, "8:0 " + kDelta), 1);
    EXPECT_EQ(satellites(kDeltaTow, 5, "8:0 " + kDelta + "8:0"), 1);
    // A new reference forgets the one before, slaves included.
    EXPECT_EQ(satellites(kReferenceTow, 1, kGps + master(1) + kSlave), 1);
    EXPECT_EQ(satellites(kReferenceTow + 60000, 1, "8:1 8:32 " + kMaster), 1);
    EXPECT_EQ(satellites(kDeltaTow + 60000, 1, "8:1 8:48 " + kDelta + kDelta), 1);
    EXPECT_EQ(epoch.satellites[0].svid, 6);
    // A corrupt one is good up to the fault. How long the records behind it are is not known: nothing of them is read.
    EXPECT_EQ(satellites(kReferenceTow, 5, "8:1 8:48 " + kMaster), -1);
    EXPECT_EQ(satellites(kDeltaTow, 5, "8:1 8:112 " + kDelta + kDelta + kMaster), 1);
    EXPECT_EQ(epoch.satellites[0].svid, 5);
    EXPECT_EQ(satellites(kDeltaTow, 7, kGps + kDelta + "8:0 8:1 8:1 " + kMaster), 1);
    EXPECT_EQ(satellites(kDeltaTow, 1, "8:1 8:48 " + kMaster + kMaster), 2);  // none of it is a difference
    EXPECT_EQ(satellites(kReferenceTow, 1, kGps + kMaster), 1);               // a whole one again
    EXPECT_EQ(satellites(kDeltaTow, 1, "8:1 8:24 " + kDelta + kDelta), 1);
}

TEST_F(Meas3Test, LockTimesByIndex) {
    constexpr uint32_t kExpected[] = {0,   60000, 30000, 15000, 10000, 5000, 2000, 1000,
                                      500, 200,   100,   50,    40,    20,   10,   0};
    for (size_t i = 0; i < std::size(kExpected); ++i) {
        ASSERT_TRUE(decodeGps(kReferenceTow, "2:0 4:5 22:1 4:" + std::to_string(i) + " 32:0 6:30 9:1 1:0 16:0"));
        EXPECT_EQ(signal(0).lockTime, kExpected[i]) << i;
    }
}

TEST_F(Meas3Test, IntervalsByCode) {
    constexpr uint32_t kExpected[] = {1, 500, 1000, 2000, 5000, 10000, 15000, 30000, 60000, 120000, 1, 1, 1, 1, 1, 1};
    for (uint32_t code = 0; code < 16; ++code) {
        for (const uint32_t step : {kExpected[code] - 1, kExpected[code], kExpected[code] + 1}) {
            ASSERT_TRUE(decodeGps(kReferenceTow, kMaster));
            ASSERT_TRUE(decode(rangesBlock(kReferenceTow + step, 0, "", static_cast<int>(code << 4))));
            const bool isReference = references[0].tow == kReferenceTow + step;
            EXPECT_EQ(isReference, step % kExpected[code] == 0) << code << ' ' << step;
        }
    }
}

// The short master's signal index tells the signal: five or six per constellation, as the format lists them. `rest` is
// what the header has behind its mask.
TEST_F(Meas3Test, SignalsOfEveryConstellation) {
    const Rows<int, double, const char*, const char*> rows = {{1, 22e6, "", "0 3 4 1 2 5"},
                                                              {38, 22e6, "8:8 ", "8 11 9 10 12"},
                                                              {71, 25e6, "", "17 20 21 19 22"},
                                                              {161, 23e6, "16:0 ", "28 29 30 13 14"},
                                                              {120, 37e6, "", "24 25"},
                                                              {201, 37e6, "", "6 7 26 27 32 33"},
                                                              {211, 37e6, "", "15"}};
    int mask = 1;
    for (const auto& [svid, code, rest, numbers] : rows) {
        std::istringstream signals(numbers);
        for (int i = 0, number = 0; i < 9; ++i) {
            const std::string header = "3:1 4:" + std::to_string(i) + " 1:0 8:1 " + rest;
            ASSERT_TRUE(decode(rangesBlock(kReferenceTow, mask, header + kMaster)));
            const bool known = static_cast<bool>(signals >> number);
            ASSERT_EQ(epoch.satelliteCount, known ? 1 : 0) << svid << ' ' << i;
            if (!known) continue;
            EXPECT_EQ(epoch.satellites[0].svid, svid);
            EXPECT_EQ(signal(number).signalType, number);
            EXPECT_NEAR(signal(number).pseudorange, code, 1e-7);
        }
        mask <<= 1;
    }
}

TEST_F(Meas3Test, HeadersByConstellation) {
    const auto decodeAs = [&](int mask, const std::string& data) {
        return decode(rangesBlock(kReferenceTow, mask, data));
    };
    // GLONASS: frequency fields 0, 14, 15, 1. 0 and 15 drop the satellite, not its neighbours; 1 is 1598.0625 MHz.
    ASSERT_TRUE(decodeAs(2, "8:1 8:15 4:0 4:14 4:15 4:1 " + kMaster + kMaster + kMaster + kMaster));
    ASSERT_EQ(epoch.satelliteCount, 2);
    EXPECT_EQ(epoch.satellites[0].svid, 39);
    EXPECT_EQ(epoch.satellites[0].glonassChannel, 14);
    EXPECT_EQ(epoch.satellites[1].svid, 41);
    EXPECT_EQ(epoch.satellites[1].channel, 1);
    EXPECT_NEAR(signal(8, 1).carrierPhase, 22e6 / (299792458.0 / 1598.0625e6), 1e-6);
    // BeiDou: a flag per satellite logged moves the code base.
    ASSERT_TRUE(decodeAs(8, "8:1 8:5 16:2 " + kMaster + kMaster));
    EXPECT_NEAR(signal(28, 0).pseudorange, 23e6, 1e-7);
    EXPECT_NEAR(signal(28, 1).pseudorange, 37e6, 1e-7);
    // Galileo satellite 28 of eight mask bytes; excluded signals give their indices to those behind: left 20, 19, 22.
    ASSERT_TRUE(decodeAs(4, "3:7 4:1 1:1 32:134217728 32:0 8:5 " + kMaster));
    EXPECT_EQ(epoch.satellites[0].svid, 71 + 27);
    EXPECT_EQ(signal(19).signalType, 19);
    // The slave of Galileo's E5a, E5b, has the shorter waves, and with them the shorter code.
    ASSERT_TRUE(decodeAs(4, "3:1 4:1 1:0 8:1 " + master(1) + kSlave));
    EXPECT_NEAR(signal(21).pseudorange, 25e6 - 2.345, 1e-7);
    // Two constellations one after the other, the first without satellites.
    ASSERT_TRUE(decodeAs(3, "8:1 8:0 8:1 8:1 8:8 " + kMaster));
    EXPECT_EQ(epoch.satellites[0].svid, 38);
}

// Of so many bytes logged, `size` are taken or, where nothing comes out of them, too few.
TEST(Meas3Doppler, CodesOfEverySize) {
    constexpr int kNone = kMeas3NoDoppler;
    const Rows<uint32_t, size_t, int32_t, size_t> cases = {
        {0x00000000, 1, 0, 1},          {0x000000FC, 1, 63, 1},    {0x000000FD, 1, -63, 1},
        {0x0000000A, 2, 1, 2},          {0x0000FFFA, 2, 8191, 2},  {0x0000FFFB, 2, -8191, 2},
        {0x00800016, 3, 0x80001, 3},    {0x00FFFFF7, 3, kNone, 3}, {0x8000001E, 4, 0x8000001, 4},
        {0xFFFFFFFF, 4, -0xFFFFFFF, 4}, {0x00FFFFFF, 3, kNone, 3}, {0x00000000, 0, kNone, 0}};
    for (const auto& [word, logged, code, size] : cases) {
        const ByteVector bytes = BlockBuilder(ByteVector{}).put(0, logged, word).bytes;
        ByteCursor cursor{viewOf(bytes)};
        EXPECT_EQ(zeltReadDopplerCode(cursor), code);
        EXPECT_EQ(cursor.failed ? logged : logged - cursor.rest.size, size);
    }
}

TEST_F(Meas3Test, CompanionsFollowTheSignals) {
    const auto companion = [](int number, const std::string& fields) {
        return block(number, kReferenceTow, "16:0 " + fields);
    };
    const ByteVector ranges = rangesBlock(kReferenceTow, 1, kGps + master(7, 131072, -100) + kSlave + kSlave + kSlave);
    // Dopplers 10 and -20 mm/s, none, 30; C/N0 nibbles 15, 0, 8; a fourth would be cut off.
    const ByteVector doppler = companion(kZeltMeas3Doppler, "1:0 1:0 6:10 1:1 1:0 6:20 24:16777207 1:0 1:0 6:30");
    const ByteVector cn0 = companion(kZeltMeas3Cn0HiRes, "4:15 4:0 4:8 4:0");
    const ByteVector pp = companion(kZeltMeas3Pp, "5:11 1:1 5:17 1:0 1:1 5:31 1:1 5:3");
    const ByteVector mp = companion(kZeltMeas3Mp, "2:1 7:127 5:16 2:0 2:2 7:3 5:15 2:3 11:1024 8:200");
    const ByteVector third = block(kZeltMeas3Pp, kReferenceTow, "16:2 32:-1");  // an antenna that has no place
    ASSERT_TRUE(collect({viewOf(ranges), viewOf(doppler), viewOf(cn0), viewOf(pp), viewOf(mp), viewOf(third)}));
    // Signal, Doppler in m/s, C/N0, C/N0 rounded to even, multipath of code and carrier.
    const Rows<int, double, float, int, int, int> cases = {{0, 6.4 - 0.010, 44 + 0.4375F, 44, 1270, 0xF0},
                                                           {3, 6.4 - 0.010 + 0.020, 33 - 0.5F, 32, 0, 0},
                                                           {4, kNotAvailable, 33, 72, -30, 15},
                                                           {1, 6.4 - 0.010 - 0.030, 32 - 0.5F, 6, -10240, 200}};
    for (const auto& [number, speed, fineCn0, even, multipath, carrierMultipath] : cases) {
        SCOPED_TRACE(number);
        const ZeltMeasSignal& s = signal(number);
        const double wavelength = number == 3 ? kL2 : kL1;
        EXPECT_NEAR(s.doppler, speed == kNotAvailable ? kNotAvailable : speed / wavelength, 1e-4);
        EXPECT_FLOAT_EQ(s.cn0, fineCn0);
        EXPECT_EQ(s.cn0Even, even);
        EXPECT_EQ(s.multipath, multipath);
        EXPECT_EQ(s.carrierMultipath, carrierMultipath);
        EXPECT_EQ(s.lossOfContinuity, 5);
        EXPECT_EQ(s.flags & kZeltInfoFlag, kZeltInfoFlag);
    }
    // What a companion that is too short no longer holds is absent, and so is what follows.
    ASSERT_TRUE(collect({viewOf(ranges), viewOf(doppler).sub(0, 17), viewOf(cn0).sub(0, 16), viewOf(pp).sub(0, 16),
                         viewOf(mp).sub(0, 16 + 3)}));
    EXPECT_NEAR(signal(0).doppler, 6.39 / kL1, 1e-4);
    EXPECT_EQ(signal(3).doppler, kNotAvailableF);
    EXPECT_EQ(signal(0).cn0, 44);
    EXPECT_EQ(signal(0).flags, kZeltSlotUsed);
    EXPECT_EQ(signal(0).multipath, 1270);
    EXPECT_EQ(signal(4).multipath, 0);
    EXPECT_EQ(signal(1).multipath, 0);
}

// The Doppler of a full record in a delta epoch refers to the reference epoch's rate, that of a new satellite to its
// own.
TEST_F(Meas3Test, DopplerRefersToTheRate) {
    ASSERT_TRUE(decode(rangesBlock(kReferenceTow, 1, kGps + master(0, 131072, 100))));
    const ByteVector ranges = rangesBlock(kDeltaTow, 1, "8:1 8:48 " + master(0, 131072, 200) + master(0, 131072, 200));
    const ByteVector doppler = block(kZeltMeas3Doppler, kDeltaTow, "16:0 8:0 8:0");
    ASSERT_TRUE(zeltDecodeMeas3({{{viewOf(ranges), viewOf(doppler), {}, {}, {}}, {}}}, references, epoch));
    EXPECT_NEAR(signal(0, 0).doppler, -6.4 / kL1, 1e-4);
    EXPECT_NEAR(signal(0, 1).doppler, -12.8 / kL1, 1e-4);
}

TEST_F(Meas3Test, SecondAntennaFillsItsOwnSlots) {
    const ByteVector first = rangesBlock(kReferenceTow, 1, kGps + kMaster);
    const ByteVector second = rangesBlock(kReferenceTow, 1, "8:1 8:48 " + kMaster + kMaster, kMisc | 1);
    ASSERT_TRUE(collect({viewOf(first), viewOf(second)}));
    ASSERT_EQ(epoch.satelliteCount, 2);
    EXPECT_NE(epoch.satellites[0].signals[1][0].flags, 0);
    EXPECT_EQ(epoch.satellites[1].svid, 6);
    EXPECT_EQ(epoch.satellites[1].signals[0][0].flags, 0);
    EXPECT_NE(epoch.satellites[1].signals[1][0].flags, 0);
    // What it says of a GLONASS channel does not reach the first antenna's codes.
    const ByteVector channel8 = rangesBlock(kReferenceTow + 60000, 2, "8:1 8:1 8:8 " + kMaster);
    const ByteVector channel3 = rangesBlock(kReferenceTow + 60000, 2, "8:1 8:1 8:3 " + kMaster, kMisc | 1);
    ASSERT_TRUE(collect({viewOf(channel8), viewOf(channel3)}));
    EXPECT_EQ(epoch.satellites[0].glonassChannel, 8);
}

TEST_F(Meas3Test, CorruptRangesGiveNothing) {
    const std::string simple = "8:1 8:1 " + kMaster;
    const std::string longSlave = "32:0 16:0 8:0 ";
    ByteVector good = rangesBlock(kReferenceTow, 0x7F,
                                  kGps + master(1) + longSlave + "8:1 8:1 8:8 " + kMaster + simple + "8:1 8:1 16:0 " +
                                      kMaster + simple + simple + simple);
    ASSERT_TRUE(decode(good));
    EXPECT_EQ(epoch.satelliteCount, 7);
    for (size_t size = 20; size < good.size(); ++size) {
        const ByteVector cut(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(size));  // its own allocation
        EXPECT_FALSE(decode(cut)) << size;
        EXPECT_EQ(epoch.satelliteCount, 0) << size;
    }
    good[19] = 31;  // the format
    EXPECT_TRUE(decode(good));
    good[19] = 32;
    EXPECT_FALSE(decode(good));
}

// More satellites than a constellation has, and together more than there are records: the last record is overwritten.
TEST_F(Meas3Test, NeverMoreThanThereAre) {
    const std::string channels = "64:-1229782938247303442 64:-1229782938247303442 ";  // all of frequency field 14
    // Satellites of the mask, those there are, the last one's number, what the header has behind the mask.
    const Rows<int, int, int, std::string> rows = {{40, 37, 37, ""},       {32, 31, 68, channels}, {40, 36, 106, ""},
                                                   {40, 37, 197, "16:0 "}, {40, 39, 158, ""},      {8, 7, 207, ""},
                                                   {16, 14, 224, ""}};
    std::string all;
    int mask = 1;
    for (const auto& [logged, kept, last, rest] : rows) {
        std::string data = "8:" + std::to_string(logged / 8) + ' ' + std::to_string(logged) + ":-1 " + rest;
        for (int i = 0; i < logged; ++i) data += kMaster;
        ASSERT_TRUE(decode(rangesBlock(kReferenceTow, mask, data)));
        ASSERT_EQ(epoch.satelliteCount, kept) << last;
        EXPECT_EQ(epoch.satellites[static_cast<size_t>(kept - 1)].svid, last);
        all += data;
        mask <<= 1;
    }
    ASSERT_TRUE(decode(rangesBlock(kReferenceTow, 0x7F, all)));
    EXPECT_EQ(epoch.satelliteCount, kZeltMaxSatellites);
    EXPECT_EQ(epoch.satellites[79].svid, 224);
}

using SignalKey = std::array<uint32_t, 4>;  // TOW, SVID, GLONASS frequency number, signal number

std::map<SignalKey, ZeltMeasSignal> signalsOf(const std::string& path) {
    std::map<SignalKey, ZeltMeasSignal> signals;
    ZeltMeasEpoch epoch;
    forEachBlock(path, [&](ZeltFile& file, Bytes logged) {
        if (!zeltCollectMeasBlock(file, logged, epoch, kZeltAllowMeas3 | kZeltAllowMeasEpoch)) return;
        for (size_t i = 0; i < static_cast<size_t>(epoch.satelliteCount); ++i) {
            const ZeltMeasSat& satellite = epoch.satellites[i];
            for (const ZeltMeasSignal& s : satellite.signals[0]) {
                if (s.flags != 0) signals[{epoch.tow, satellite.svid, satellite.glonassChannel, s.signalType}] = s;
            }
        }
    });
    return signals;
}

// The two example logs hold the same measurements. Codes are logged in millimetres in both; only the delta slaves of
// Meas3 carry a code as a difference to the carrier's, off the millimetres by up to half of one.
TEST(Meas3Twin, SameMeasurementsAsInTheVerboseLog) {
    const auto compact = signalsOf(kCompactLog);
    EXPECT_EQ(compact.size(), 54072U);  // as counted in the logs by another decoder
    for (const auto& [key, a] : signalsOf(kExampleLog)) {
        ASSERT_EQ(compact.count(key), 1U) << key[0] << ' ' << key[1] << ' ' << key[3];
        const ZeltMeasSignal& b = compact.at(key);
        EXPECT_NEAR(a.pseudorange, b.pseudorange, key[0] % 60000 == 0 ? 1e-6 : 0.000501);
        EXPECT_NEAR(a.carrierPhase, b.carrierPhase, 0.0011);
        EXPECT_NEAR(a.doppler, b.doppler, 0.003);
        EXPECT_NEAR(a.cn0, b.cn0, 0.22);
        EXPECT_LE(b.lockTime, a.lockTime);
        EXPECT_EQ(a.cn0Even, b.cn0Even);
    }
}

}  // namespace
