#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <memory>

#include "tests/support/logs.h"
#include "utils/geometry/constants.h"
#include "utils/zeltdata/bitcursor.h"
#include "utils/zeltdata/meas3companions.h"

using namespace Qon::Nav;

namespace {

constexpr double kL1 = 299792458.0 / 1575.42e6;  // wavelengths, m
constexpr double kL2 = 299792458.0 / 1227.60e6;
constexpr uint32_t kReferenceTow = 120000;
constexpr uint32_t kDeltaTow = kReferenceTow + 30000;
constexpr double kCode = 22e6;  // of "master"
constexpr double kLongCode = 21474836.480;

// What ranges are made of. "head" stands before the constellations: a reference every 60 s, masters with a rate. A
// header has one mask byte, the fifth satellite, short masters for signal index 0. The carrier of a short master is its
// code's when the field is in its middle. Long masters have a mask of signals from index 0 on, "longest" ones a byte of
// those from index 9 on. The differences say that nothing changed. A short slave is 12.345 - 10 m from its master, a
// long one as far as it reaches.
const Forms kForms = {
    {"head", "flags:8=0 jumps:8=-2 constellations:16=1 antenna:3=0 hasRate:1=1 interval:4=8 format:8=0 "},
    {"header", "maskSize:3=1 master:4=0 hasExcluded:1=0 mask:8=16 "},
    {"same", "header:8=0 "},
    {"master", "form:1=1 carrier:18=131072 codeHigh:1=0 lock:3=3 cn0:5=20 slaves:4=0 code:32=3000000000 rate:16=0 "},
    {"bareMaster", "form:1=1 carrier:18=0 codeHigh:1=0 lock:3=3 cn0:5=20 slaves:4=0 code:32=0 "},
    {"long", "form:2=0 codeHigh:4=5 carrier:22=0 lock:4=9 code:32=0 cn0:6=30 signals:9=1 more:1=0 rate:16=0 "},
    {"longest",
     "form:2=0 codeHigh:4=5 carrier:22=0 lock:4=9 code:32=0 cn0:6=30 signals:9=1 more:1=1 upper:8=128 "
     "rate:16=0 "},
    {"delta", "form:4=14 code:17=65536 cn0:3=4 carrier:16=32768 "},
    {"small", "form:2=2 cn0:2=1 code:14=8192 carrier:14=8192 "},
    {"slave", "form:1=1 carrier:16=32768 code:15=12345 lock:3=2 cn0:5=9 "},
    {"longSlave", "form:2=0 carrier:22=2097155 lock:4=13 codeHigh:3=7 unused:1=1 code:16=65535 cn0:6=50 unused:2=3 "},
    {"deltaSlave", "form:2=2 code:12=2048 cn0:2=2 carrier:8=128 "}};

ByteVector block(int number, uint32_t tow, const std::string& body) {
    return BlockBuilder(number, 14, 0, tow).bits(body).done();
}

ByteVector ranges(const std::string& text, uint32_t tow = kReferenceTow) {
    return block(kZeltMeas3Ranges, tow, fieldsOf(text.substr(0, 5) == "head " ? text : "head; " + text, kForms));
}

struct Meas3Test : testing::Test {
    std::unique_ptr<EpochReader> reader = std::make_unique<EpochReader>(kZeltAllowMeas3);
    ZeltMeasEpoch epoch{};

    // The satellites of the epoch that some blocks give, -1 when they give none.
    int decode(const std::vector<ByteVector>& blocks) {
        const ZeltMeasEpoch* decoded = reader->decode(blocks);
        epoch = decoded == nullptr ? ZeltMeasEpoch{} : *decoded;
        return decoded == nullptr ? -1 : static_cast<int>(epoch.used().size());
    }
    int decode(const std::string& text, uint32_t tow) { return decode({ranges(text, tow)}); }
    // The same of a log that begins with them.
    int decodeFirst(const std::vector<ByteVector>& blocks) {
        reader = std::make_unique<EpochReader>(kZeltAllowMeas3);
        return decode(blocks);
    }
    ZeltMeasSignal signal(int type, int svid = 5) const { return signalOf(epoch, svid, type); }
};

TEST_F(Meas3Test, RecordsOfEveryForm) {
    constexpr double kNone = kNotAvailable;
    constexpr double kRate = 0.064 * 30;  // m, by a rate of 1 in 30 s
    const std::string pair = "master slaves=1; slave code=10000 lock=1";
    // Between the epochs the master's code grows by 0.19 m and its carrier by as much.
    const std::string grown = "small code=8382; ";
    const struct {
        std::string reference, records;  // without records: those of the reference are looked at
        int signal;                      // what is to come out for it
        double code;                     // kNone: no signal
        double carrier = kNotAvailable;  // cycles beyond code / wavelength
        float cn0 = 0;
        uint32_t lock = 0;
        uint8_t flags = 0;
    } cases[] = {
        {"master carrier=1 lock=7 cn0=0 code=0", "", 0, 19e6, -131.071, 24, 1000},
        {"master codeHigh=1 lock=1 cn0=31 code=0", "", 0, 19e6 + 4294967.296, 0, 55, 60000},
        {"master carrier=262143 codeHigh=1 lock=0 code=4294967295", "", 0, 19e6 + 8589934.591, 131.071, 44, 0,
         kZeltHalfCycle},
        {"master carrier=0 lock=6 cn0=1 code=1", "", 0, 19e6 + 0.001, kNone, 25, 2000},
        {"master lock=4", "", 0, kCode, 0, 44, 10000},
        {"master lock=5", "", 0, kCode, 0, 44, 5000},
        {"long codeHigh=15 carrier=4194303 code=4294967295", "", 0, 68719476.735, 2097.151, 40, 200},
        {"long carrier=1 lock=15 cn0=63 code=1000", "", 0, kLongCode + 1, -2097.151, 73, 0},
        {"long lock=8 cn0=1 signals=8", "", 1, kLongCode, kNone, 1, 500},  // P(Y)
        {"longest lock=10 cn0=45 signals=2", "", 3, kLongCode, kNone, 55, 100},
        {"longest signals=0 upper=64", "", 0, kNone},  // index 15 is no signal of GPS
        {"long lock=11", "", 0, kLongCode, kNone, 40, 50},
        {"long lock=12", "", 0, kLongCode, kNone, 40, 40},
        {"long lock=14", "", 0, kLongCode, kNone, 40, 10},
        {"master", "delta", 0, kCode, 0, 44, 15000},
        {"master rate=-1000", "delta code=0 cn0=0 carrier=1", 0, kCode - 1000 * kRate - 65.536, -32.767, 40, 15000},
        {"master rate=32767", "delta code=131071 cn0=7 carrier=65535", 0, kCode + 32767 * kRate + 65.535, 32.767, 47,
         15000},
        {"master", "delta code=65537 carrier=0", 0, kCode + 0.001, kNone, 44, 15000},
        {"master rate=1", "small cn0=0 code=0 carrier=1", 0, kCode + kRate - 8.192, -8.191, 43, 15000},
        {"master rate=-32768", "small cn0=2 code=16383 carrier=16383", 0, kCode - 32768 * kRate + 8.191, 8.191, 45,
         15000},
        {"master carrier=0", "small", 0, kCode, kNone, 44, 15000},
        // Longer waves than the master's bring a longer code; P(Y) counts C/N0 from the master's.
        {"master carrier=131572 slaves=1; slave", "", 3, kCode + 2.345, 0.5 * kL2 / kL1, 33, 30000},
        {"master slaves=4; slave carrier=0 code=345 lock=0", "", 1, kCode + 9.655, kNone, 32, 0, kZeltHalfCycle},
        {"master slaves=5; slave; longSlave", "", 1, kCode + 262.143, 0.003, 50, 20},
        // Delta slaves: the code goes the carrier's way.
        {pair, grown + "deltaSlave", 3, kCode + 0.19, 0, 33, 60000},
        {pair, grown + "deltaSlave code=0 cn0=0 carrier=0", 3, kCode + 0.19 - 2.048 - 0.128 * kL2, 2.048 / kL2, 31,
         60000},
        {pair, grown + "deltaSlave code=4095 cn0=3 carrier=255", 3, kCode + 0.19 + 2.047 + 0.127 * kL2, -2.047 / kL2,
         34, 60000},
        // They need three carriers: the slave's and the master's at the reference epoch, and the master's now.
        {"master carrier=0 slaves=1; longSlave", "master slaves=1; deltaSlave", 3, kNone},
        {"master slaves=1; slave carrier=0", "small; deltaSlave", 3, kNone},
        {pair, "small carrier=0; deltaSlave", 3, kNone},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.reference + '|' + c.records);
        EXPECT_GE(decodeFirst({ranges("header; " + c.reference)}), 0);
        if (!c.records.empty()) {
            decode("header; " + c.records, kReferenceTow + 1000);  // which is nobody's reference
            EXPECT_EQ(decode("header; " + c.records, kDeltaTow), 1);
        }
        const ZeltMeasSignal s = signal(c.signal);
        EXPECT_EQ(s.flags, c.code == kNone ? 0 : kZeltSlotUsed | c.flags);
        if (s.flags == 0) continue;
        EXPECT_EQ(epoch.clockJumps, -2);
        EXPECT_NEAR(s.pseudorange, c.code, 1e-6);
        const double wavelength = c.signal == 3 ? kL2 : kL1;
        EXPECT_NEAR(s.carrierPhase, c.carrier == kNone ? kNone : c.code / wavelength + c.carrier, 1e-5);
        EXPECT_EQ(s.cn0, c.cn0);
        EXPECT_EQ(s.lockTime, c.lock);
        EXPECT_EQ(s.doppler, kNotAvailableF);
    }
    EXPECT_EQ(decodeFirst({ranges("header; long signals=0")}), -1);
}

TEST_F(Meas3Test, ReferencesAreNeeded) {
    constexpr uint32_t kMinute = 60000;
    EXPECT_EQ(decode("header; small", kDeltaTow), 0);  // none seen
    EXPECT_EQ(epoch.wnc, uint32_t{kTestWeek});
    EXPECT_EQ(decode("header; master", kReferenceTow), 1);
    EXPECT_EQ(decode("header; small", kDeltaTow + kMinute), 0);  // the next one's was not seen
    // A satellite that the reference does not hold: nothing of it, and the next one is still read right.
    EXPECT_EQ(decode("header mask=48; small; small", kDeltaTow), 1);
    EXPECT_EQ(epoch.used()[0].svid, 5);
    // The header of the reference is used where it is not repeated.
    EXPECT_EQ(decode("same; small", kDeltaTow + 1), 1);
    EXPECT_EQ(decode("head constellations=5; same; small; same", kDeltaTow + 2), 1);
    // A new reference forgets the one before, slaves included.
    EXPECT_EQ(decode("header mask=1; master slaves=1; slave", kReferenceTow), 1);
    EXPECT_EQ(decode("header mask=32; master", kReferenceTow + kMinute), 1);
    EXPECT_EQ(decode("header mask=33; small; small", kDeltaTow + kMinute), 1);
    EXPECT_EQ(epoch.used()[0].svid, 6);
    // And the headers: a constellation that was not in it has none to go on with.
    EXPECT_EQ(decode("head constellations=2; header mask=1; frequency:8=8; master", kReferenceTow), 1);
    EXPECT_EQ(decode("head constellations=3; same; same; small", kDeltaTow), 1);
    // A corrupt one is good up to the fault. How long the records behind it are is not known: nothing of them is read.
    EXPECT_EQ(decode("head constellations=5; header mask=48; master", kReferenceTow + kMinute), -1);
    EXPECT_EQ(decode("head constellations=5; header mask=112; small; small; master", kDeltaTow + kMinute), 1);
    EXPECT_EQ(epoch.used()[0].svid, 5);
    EXPECT_EQ(decode("head constellations=7; header; small; same; header mask=1; master", kDeltaTow + kMinute + 1), 1);
    EXPECT_EQ(decode("header mask=48; master; master", kDeltaTow + kMinute + 2), 2);  // none of it is a difference
    EXPECT_EQ(decode("header; master", kReferenceTow), 1);                            // a whole one again
    EXPECT_EQ(decode("header mask=24; small; small", kDeltaTow), 1);
}

// An epoch is a reference at the multiples of the interval: there differences have nothing to refer to.
TEST_F(Meas3Test, IntervalsByCode) {
    constexpr uint32_t kIntervals[] = {1, 500, 1000, 2000, 5000, 10000, 15000, 30000, 60000, 120000, 1, 1, 1, 1, 1, 1};
    for (size_t code = 0; code < std::size(kIntervals); ++code) {
        const std::string head = "head interval=" + std::to_string(code) + "; header; ";
        decodeFirst({ranges(head + "master")});
        EXPECT_EQ(decode(head + "small", kReferenceTow + kIntervals[code] - 1), kIntervals[code] == 1 ? -1 : 1) << code;
        EXPECT_EQ(decode(head + "small", kReferenceTow + kIntervals[code]), 0) << code;
    }
}

// The short master's index tells the signal: five or six of a constellation. More satellites than a constellation has
// are not kept, and of more than there are records the last ones overwrite the last record.
TEST_F(Meas3Test, EveryConstellation) {
    const struct {
        int first;
        double code;
        std::vector<int> signals;
        int logged, kept, last;
        std::string one = "", more = "";  // what the header has behind its mask, of one satellite and of many
    } cases[] = {{1, 22e6, {0, 3, 4, 1, 2, 5}, 40, 37, 37},
                 {38,
                  22e6,
                  {8, 11, 9, 10, 12},
                  32,
                  31,
                  68,
                  "; frequency:8=8",
                  "; frequencies:64=-1229782938247303442 frequencies:64=-1229782938247303442"},  // all 14
                 {71, 25e6, {17, 20, 21, 19, 22}, 40, 36, 106},
                 {161, 23e6, {28, 29, 30, 13, 14}, 40, 37, 197, "; high:16=0", "; high:16=0"},
                 {120, 37e6, {24, 25}, 40, 39, 158},
                 {201, 37e6, {6, 7, 26, 27, 32, 33}, 8, 7, 207},
                 {211, 37e6, {15}, 16, 14, 224}};
    std::string each, all;
    int constellation = 1;
    for (const auto& c : cases) {
        const std::string head = "head constellations=" + std::to_string(constellation) + "; ";
        for (size_t i = 0; i < 9; ++i) {
            const int known = i < c.signals.size() ? 1 : 0;
            const std::string header = "header mask=1 master=" + std::to_string(i);
            ASSERT_EQ(decodeFirst({ranges(head + header + c.one + "; master")}), known) << c.first << ' ' << i;
            EXPECT_TRUE(known == 0 || std::fabs(signal(c.signals[i], c.first).pseudorange - c.code) < 1e-7) << i;
        }
        std::string many =
            "size:8=" + std::to_string(c.logged / 8) + " mask:" + std::to_string(c.logged) + "=-1" + c.more;
        for (int i = 0; i < c.logged; ++i) many += "; master";
        ASSERT_EQ(decodeFirst({ranges(head + many)}), c.kept) << c.last;
        EXPECT_EQ(svidsOf(epoch).back(), c.last);
        each += "; header mask=1" + c.one + (c.first == 1 ? "; master slaves=1; longSlave" : "; master");
        all += "; " + many;
        constellation <<= 1;
    }
    ASSERT_EQ(decodeFirst({ranges("head constellations=127" + all)}), kZeltMaxSatellites);
    EXPECT_EQ(svidsOf(epoch).back(), 224);
    // Ranges that end too early give nothing, nor do those of an unknown format.
    const ByteVector good = ranges("head constellations=127 format=31" + each);
    EXPECT_EQ(decodeFirst({good}), 7);
    for (size_t size = 20; size < good.size(); ++size) {
        const ByteVector cut(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(size));  // its own allocation
        EXPECT_EQ(decodeFirst({cut}), -1) << size;
    }
    EXPECT_EQ(decodeFirst({ranges("head constellations=127 format=32" + each)}), -1);
}

TEST_F(Meas3Test, HeadersByConstellation) {
    const auto decodeAs = [&](int constellations, const std::string& text) {
        decodeFirst({ranges("head constellations=" + std::to_string(constellations) + "; header " + text)});
        return svidsOf(epoch);
    };
    using Svids = std::vector<int>;
    // GLONASS: frequency fields 0 and 15 drop the satellite, not its neighbours; 1 is 1598.0625 MHz.
    const std::string frequencies = "frequency:4=0 frequency:4=14 frequency:4=15 frequency:4=1";
    EXPECT_EQ(decodeAs(2, "mask=15; " + frequencies + "; master; master; master; master"), (Svids{39, 41}));
    EXPECT_EQ(epoch.used()[0].glonassChannel, 14);
    EXPECT_EQ(epoch.used()[1].channel, 1);
    EXPECT_NEAR(signal(8, 41).carrierPhase, 22e6 / (299792458.0 / 1598.0625e6), 1e-6);
    // BeiDou: a flag per satellite logged moves the code base.
    EXPECT_EQ(decodeAs(8, "mask=5; high:16=2; master; master"), (Svids{161, 163}));
    EXPECT_NEAR(signal(28, 161).pseudorange, 23e6, 1e-7);
    EXPECT_NEAR(signal(28, 163).pseudorange, 37e6, 1e-7);
    // Galileo satellite 28 of eight mask bytes; excluded signals give their indices to those behind: left 20, 19, 22.
    EXPECT_EQ(decodeAs(4, "maskSize=7 master=1 hasExcluded=1 mask=0; mask:24=524288 mask:32=0 excluded:8=5; master"),
              Svids{98});
    EXPECT_NE(signal(19, 98).flags, 0);
    // The slave of Galileo's E5a, E5b, has the shorter waves, and with them the shorter code.
    EXPECT_EQ(decodeAs(4, "master=1 mask=1; master slaves=1; slave"), Svids{71});
    EXPECT_NEAR(signal(21, 71).pseudorange, 25e6 - 2.345, 1e-7);
    // Two constellations one after the other, the first without satellites.
    EXPECT_EQ(decodeAs(3, "mask=0; header mask=1; frequency:8=8; master"), Svids{38});
}

// Of so many bytes logged, `size` are taken or, where nothing comes out of them, too few.
TEST(Meas3Doppler, CodesOfEverySize) {
    constexpr int kNone = kMeas3NoDoppler;
    const struct {
        uint32_t word;
        size_t logged;
        int32_t code;
        size_t size;
    } cases[] = {{0x00000000, 1, 0, 1},          {0x000000FC, 1, 63, 1},    {0x000000FD, 1, -63, 1},
                 {0x0000000A, 2, 1, 2},          {0x0000FFFA, 2, 8191, 2},  {0x0000FFFB, 2, -8191, 2},
                 {0x00800016, 3, 0x80001, 3},    {0x00FFFFF7, 3, kNone, 3}, {0x8000001E, 4, 0x8000001, 4},
                 {0xFFFFFFFF, 4, -0xFFFFFFF, 4}, {0x00FFFFFF, 3, kNone, 3}, {0x00000000, 0, kNone, 0}};
    for (const auto& c : cases) {
        const ByteVector bytes = BlockBuilder(ByteVector{}).put(0, c.logged, c.word).bytes;
        ByteCursor cursor{viewOf(bytes)};
        EXPECT_EQ(zeltReadDopplerCode(cursor), c.code);
        EXPECT_EQ(cursor.failed ? c.logged : c.logged - cursor.rest.size, c.size);
    }
}

// The companions' sizes may be cut.
std::vector<ByteVector> rangesAndCompanions(uint32_t tow, const std::vector<size_t>& sizes) {
    const std::pair<int, std::string> companions[] = {
        {kZeltMeas3Doppler,
         "positive:1=0 form:1=0 mmPerS:6=10 positive:1=1 form:1=0 mmPerS:6=20 none:24=16777207 "
         "positive:1=0 form:1=0 mmPerS:6=30"},
        {kZeltMeas3Cn0HiRes, "sixteenths:4=15 sixteenths:4=0 sixteenths:4=8 sixteenths:4=0"},
        {kZeltMeas3Pp, "tracking:5=11 isKnown:1=1 cn0:5=17 isKnown:1=0 isKnown:1=1 cn0:5=31 isKnown:1=1 cn0:5=3"},
        {kZeltMeas3Mp,
         "plus:2=1 code:7=127 carrier:5=16 none:2=0 minus:2=2 code:7=3 carrier:5=15 wide:2=3 code:11=1024 "
         "carrier:8=200"}};
    std::vector<ByteVector> blocks{ranges("header; master slaves=7 rate=-100; slave; slave; slave", tow)};
    for (const auto& [number, fields] : companions) {
        ByteVector bytes = block(number, tow, "antenna:16=0 " + fields);
        bytes.resize(std::min(sizes[blocks.size() - 1], bytes.size()));
        blocks.push_back(BlockBuilder(bytes).done());
    }
    return blocks;
}

TEST_F(Meas3Test, CompanionsFollowTheSignals) {
    std::vector<ByteVector> blocks = rangesAndCompanions(kReferenceTow, {99, 99, 99, 99});
    blocks.push_back(block(kZeltMeas3Pp, kReferenceTow, "antenna:16=2 ones:32=-1"));  // it has no place
    ASSERT_EQ(decode(blocks), 1);
    const struct {
        int signal;
        double doppler;  // Hz
        float cn0;
        int cn0Even, multipath, carrierMultipath;
    } cases[] = {{0, 6.390 / kL1, 44 + 0.4375F, 44, 1270, 0xF0},
                 {3, 6.410 / kL2, 33 - 0.5F, 32, 0, 0},
                 {4, kNotAvailable, 33, 72, -30, 15},
                 {1, 6.360 / kL1, 32 - 0.5F, 6, -10240, 200}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.signal);
        const ZeltMeasSignal s = signal(c.signal);
        EXPECT_NEAR(s.doppler, c.doppler, 1e-4);
        EXPECT_FLOAT_EQ(s.cn0, c.cn0);
        EXPECT_EQ(s.cn0Even, c.cn0Even);
        EXPECT_EQ(s.multipath, c.multipath);
        EXPECT_EQ(s.carrierMultipath, c.carrierMultipath);
        EXPECT_EQ(s.lossOfContinuity, 5);
        EXPECT_EQ(s.flags, kZeltSlotUsed | kZeltInfoFlag);
    }
    // What a companion that is too short no longer holds is absent, and so is what follows.
    ASSERT_EQ(decode(rangesAndCompanions(kReferenceTow + 60000, {17, 16, 16, 16 + 3})), 1);
    EXPECT_NEAR(signal(0).doppler, 6.390 / kL1, 1e-4);
    EXPECT_EQ(signal(3).doppler, kNotAvailableF);
    EXPECT_EQ(signal(0).cn0, 44);
    EXPECT_EQ(signal(0).flags, kZeltSlotUsed);
    EXPECT_EQ(signal(0).multipath, 1270);
    EXPECT_EQ(signal(4).multipath + signal(1).multipath, 0);
}

// The Doppler of a full record in a delta epoch refers to the reference epoch's rate, that of a new satellite to its
// own.
TEST_F(Meas3Test, DopplerRefersToTheRate) {
    const auto decodeAt = [&](uint32_t tow, const std::string& text) {
        return decode({ranges(text, tow), block(kZeltMeas3Doppler, tow, "antenna:16=0 zero:8=0 zero:8=0")});
    };
    ASSERT_EQ(decodeAt(kReferenceTow, "header; master rate=100"), 1);
    ASSERT_EQ(decodeAt(kDeltaTow, "header mask=48; master rate=200; master rate=200"), 2);
    EXPECT_NEAR(signal(0, 5).doppler, -6.4 / kL1, 1e-4);
    EXPECT_NEAR(signal(0, 6).doppler, -12.8 / kL1, 1e-4);
}

TEST_F(Meas3Test, SecondAntennaFillsItsOwnSlots) {
    const ByteVector second = ranges("head antenna=1 hasRate=0; header mask=48; bareMaster; bareMaster");
    ASSERT_EQ(decodeFirst({ranges("header; master"), second}), 2);
    EXPECT_NE(signalOf(epoch, 5, 0, 1).flags, 0);
    EXPECT_EQ(signalOf(epoch, 6, 0, 0).flags, 0);
    EXPECT_NE(signalOf(epoch, 6, 0, 1).flags, 0);
    // What it says of a GLONASS channel does not reach the first antenna's codes.
    const std::string glonass = "constellations=2; header mask=1; frequency:8=";
    ASSERT_EQ(decodeFirst({ranges("head " + glonass + "8; master"), ranges("head antenna=1 " + glonass + "3; master")}),
              1);
    EXPECT_EQ(epoch.used()[0].glonassChannel, 8);
}

using SignalKey = std::array<uint32_t, 4>;  // TOW, SVID, GLONASS frequency number, signal number

std::map<SignalKey, ZeltMeasSignal> signalsOf(const std::string& path) {
    std::map<SignalKey, ZeltMeasSignal> signals;
    EpochReader().read(path, [&](const ZeltMeasEpoch& epoch) {
        forEachSignal(epoch, [&](const ZeltMeasSat& satellite, size_t, const ZeltMeasSignal& signal) {
            signals[{epoch.tow, satellite.svid, satellite.glonassChannel, signal.signalType}] = signal;
        });
    });
    return signals;
}

// The two example logs hold the same measurements. Codes are logged in millimetres in both; only the delta slaves of
// Meas3 carry a code as a difference to the carrier's, off the millimetres by up to half of one.
TEST(Meas3Twin, SameMeasurementsAsInTheVerboseLog) {
    const auto compact = signalsOf(kCompactLog);
    EXPECT_EQ(compact.size(), 54072U);  // as counted by an independent implementation
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
