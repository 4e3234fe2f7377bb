// Whole logs whose truth is known: what goes in as clock offset and ionosphere must come out.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>

#include "app/driver.h"
#include "cggtts/track.h"
#include "cggtts/troposphere.h"
#include "tests/logbuilder.h"
#include "utils/geometry/navtools.h"
#include "utils/geometry/sigtypes.h"
#include "utils/nav/navdatadecoder/satnavdecoder/makeephemeris.h"
#include "utils/zeltdata/zeltnav.h"

using namespace Qon::Nav;

namespace {

static_assert(kTrackedSatellites == 32 + 30 + 36 + 37);  // G01-G32, R01-R30, E01-E36, C01-C37

constexpr double kC = 299792458.0;
constexpr double kPi = 3.1415926535898;
constexpr double kEarthRate = 7.2921151467e-5;
constexpr uint32_t kTrackStart = 346200;  // s of week 2111: 00:10 of 2020-06-25, MJD 59025, where a BIPM track starts
constexpr double kMiddle = 408;           // s after it: where lines are evaluated, 18 leap seconds after half a track
const Vector3 kStation = GeodeticToEcef(MakeLocalFrame(0.9, 0.15), 80);

constexpr double kSqrtA = 5200;
constexpr double kInclination = 0.3 * kPi;                                  // 0.3 semicircles
const double kZenithU = std::asin(std::sin(0.9) / std::sin(kInclination));  // argument of latitude at the zenith
const double kZenithNode = 0.15 - std::atan2(std::sin(kZenithU) * std::cos(kInclination), std::cos(kZenithU));

// One satellite on a circular orbit, at the station's zenith in the middle of the track.
struct System {
    char letter;
    int navNumber, svid, signal1, signal2;
    double mu, earthRate;
    double groupDelay1, groupDelay2;  // s; BeiDou's second is not broadcast when it is 0

    double meanMotion() const { return std::sqrt(mu) / std::pow(kSqrtA, 3); }
    // t_oe is the track's start, in the constellation's own seconds of week, from which its node counts.
    uint32_t toe() const { return kTrackStart - (navNumber == kZeltBdsNav ? 14 : 0); }
    double m0() const { return (kZenithU - meanMotion() * kMiddle) / kPi; }
    double omega0() const { return (kZenithNode + earthRate * (toe() + kMiddle)) / kPi; }
    Vector3 positionAt(double tk) const {
        const double a = kSqrtA * kSqrtA;
        const double u = kZenithU + meanMotion() * (tk - kMiddle);
        const double node = kZenithNode - earthRate * (tk - kMiddle);
        const double inPlane = std::sin(u) * std::cos(kInclination);
        return {a * (std::cos(u) * std::cos(node) - inPlane * std::sin(node)),
                a * (std::cos(u) * std::sin(node) + inPlane * std::cos(node)),
                a * std::sin(u) * std::sin(kInclination)};
    }
};
constexpr double square(double x) { return x * x; }
const System kGps{'G', kZeltGpsNav, 5, 1, 2, 3.986005e14, kEarthRate, 5e-9, 5e-9 * square(77.0 / 60)};
const System kGal{'E', kZeltGalNav, 75, 17, 20, 3.986004418e14, kEarthRate, -3e-9, -3e-9 * square(154.0 / 115)};
const System kBds{'C', kZeltBdsNav, 150, 28, 29, 3.986004418e14, 7.292115e-5, 8e-9, -2e-9};
const System kBdsOneDelay{'C', kZeltBdsNav, 150, 28, 29, 3.986004418e14, 7.292115e-5, 8e-9, 0};

struct Truth {
    double clock = 480924.6e-9;     // receiver ahead of system time, s
    double drift = 2e-10;           // s/s
    float satelliteClock = -1e-4F;  // s
    double iono = 6.5;              // m on signal 1
    double ionoRate = 0.001;        // m/s
    double delay1 = 0, delay2 = 0;  // s, in receiver and cable
};

ByteVector navBlock(const System& system, const Truth& truth = {}) {
    BlockBuilder b(system.navNumber, 152, 0, (kTrackStart - 600) * 1000);
    b.u8(14, system.svid);
    if (system.navNumber == kZeltGalNav) {
        b.u8(15, 16).f64(16, kSqrtA).f64(24, system.m0()).f64(40, 0.3).f64(56, system.omega0());
        b.u32(100, system.toe()).u32(104, system.toe()).f64(116, truth.satelliteClock).u16(124, kTestWeek);
        return b.u16(126, kTestWeek).u16(130, 0x0100).f32(136, system.groupDelay1).done();
    }
    const int week = system.navNumber == kZeltBdsNav ? kTestWeek - 1356 : kTestWeek % 1024;
    b.u32(32, system.toe()).f32(44, truth.satelliteClock).f64(56, system.m0()).f64(80, kSqrtA).u32(88, system.toe());
    b.f64(96, system.omega0()).f64(108, 0.3).u16(136, week).u16(138, week);
    if (system.navNumber == kZeltGpsNav) return b.u8(25, 77).f32(28, system.groupDelay1).done();
    const double second = system.groupDelay2 == 0 ? kNotAvailable : system.groupDelay2;
    return b.f32(24, system.groupDelay1).f32(28, second).done();
}

// The MeasEpoch at receiver time t of `count` satellites from the system's on: light time by iteration, the Earth
// turned rigorously.
ByteVector epochBlock(const System& system, uint32_t t, const Truth& truth = {}, int count = 1) {
    const double tk = t - kTrackStart;
    const double clock = truth.clock + truth.drift * (tk - kMiddle);
    const LocalFrame station = LocalFrameAt(kStation);
    double travel = 0.07;
    double elevation = 0;
    for (int i = 0; i < 6; ++i) {
        Vector3 p = system.positionAt(tk - clock - travel);
        const double turn = kEarthRate * travel;  // into the frame at reception
        p = {p.x * std::cos(turn) + p.y * std::sin(turn), p.y * std::cos(turn) - p.x * std::sin(turn), p.z};
        elevation = GetAzEl(p, kStation, station).elevation;
        travel = GetLineOfSight(kStation, p).range / kC;
    }
    const double tropo = tropoMapping(zenithTropoDelay(kStation), static_cast<float>(elevation));
    const double geometric = kC * (travel + clock - truth.satelliteClock) + tropo;
    const double iono = truth.iono + truth.ionoRate * (tk - kMiddle);
    const int64_t code1 = std::llround((geometric + iono + kC * (truth.delay1 + system.groupDelay1)) * 1000);
    const double f1 = GetSignalFrequency(system.signal1, 8);
    const double f2 = GetSignalFrequency(system.signal2, 8);
    const double iono2 = iono * square(f1 / f2);
    const int64_t code2 = std::llround((geometric + iono2 + kC * (truth.delay2 + system.groupDelay2)) * 1000);

    BlockBuilder b(kZeltMeasEpoch, 20, 1, t * 1000);
    b.u8(14, {count, 20, 12});
    for (int i = 0; i < count; ++i) {
        const size_t at = b.bytes.size();
        b.u8(at, {i + 1, system.signal1, system.svid + i}).u8(at + 3, code1 >> 32).u32(at + 4, code1).u8(at + 19, 1);
        b.u8(at + 20, system.signal2).u8(at + 23, (code2 - code1) >> 16 & 7).u16(at + 26, code2 - code1);
        b.u16(at + 30, 0);
    }
    return b.done();
}

// A log of `epochs` samples from the track's first on, without those in `missing`.
ByteVector simulate(const System& system, int epochs, const std::vector<int>& missing = {}, const Truth& truth = {}) {
    ByteVector log = navBlock(system, truth);
    for (int i = 0; i < epochs; ++i) {
        if (std::find(missing.begin(), missing.end(), i) != missing.end()) continue;
        log += epochBlock(system, kTrackStart + 30 + 30 * static_cast<uint32_t>(i), truth);
    }
    return log;
}

struct TrackTest : testing::Test {
    TestDirectory directory;
    RunConfig config;
    RunOptions options;

    void SetUp() override {
        config.leapSeconds = 18;
        config.phaseCentre.fill(kStation);
    }
    // The files created, by name.
    std::map<std::string, std::string> filesOf(const ByteVector& log) {
        OutputRegistry outputs;
        options.inputFile = directory.write("log", log);
        processFile(config, options, outputs);
        closeOutputs(outputs);
        std::map<std::string, std::string> files;
        std::istringstream names(outputs.createdFiles);
        for (std::string name; std::getline(names, name, ',');) files[name] = readFile(name);
        return files;
    }
    // The data lines of a constellation's file.
    std::vector<std::string> linesOfLog(const ByteVector& log, char letter = 'G') {
        return linesOf(filesOf(log)[letter + std::string("Z____59.025")], 19);
    }
};

int field(const std::string& line, size_t at, size_t width) { return std::stoi(line.substr(at, width)); }

TEST_F(TrackTest, KnownClockAndIonosphereComeBack) {
    const Truth truth{.delay1 = 45.5e-9, .delay2 = 35.0e-9};  // internal 20.5 and 10 + cable 120 - reference 95
    config.delayGpsL1Ns = config.delayGalE1Ns = config.delayBdsB1Ns = 20.5;
    config.delayGpsL2Ns = config.delayGalE5aNs = config.delayBdsB2Ns = 10.0;
    config.delayCableNs = 120;
    config.delayReferenceNs = 95;
    for (const System& system : {kGps, kGal, kBds, kBdsOneDelay}) {
        const auto lines = linesOfLog(simulate(system, 26, {}, truth), system.letter);
        ASSERT_EQ(lines.size(), 1U) << system.letter;
        const std::string& line = lines[0];
        EXPECT_EQ(line.substr(6, 14), " 59025 001000 ") << system.letter;
        EXPECT_NEAR(field(line, 52, 12), 4809246, 1) << line;            // REFSYS, 0.1 ns
        EXPECT_NEAR(field(line, 64, 7), 2000, 3) << line;                // SRSYS, 0.1 ps/s
        EXPECT_NEAR(field(line, 33, 12), 4809246 + 1000000, 1) << line;  // REFSV
        EXPECT_LE(field(line, 71, 5), 1) << line;                        // DSG
        EXPECT_NEAR(field(line, 100, 5), 6.5 / kC * 1e10, 1) << line;    // MSIO
        EXPECT_NEAR(field(line, 105, 5), 0.001 / kC * 1e13, 1) << line;  // SMSI
        EXPECT_GE(field(line, 24, 4), 890) << line;                      // ELV: the zenith at mid-track
        EXPECT_NEAR(field(line, 80, 5), 82, 2) << line;                  // MDTR
    }
}

TEST_F(TrackTest, TwentyOneSamplesMakeALine) {
    const auto lines = [&](int epochs, const std::vector<int>& missing) {
        return linesOfLog(simulate(kGps, epochs, missing)).size();
    };
    EXPECT_EQ(lines(26, {0, 1, 2, 3, 4}), 1U);
    EXPECT_EQ(lines(26, {0, 1, 2, 3, 4, 5}), 0U);
    EXPECT_EQ(lines(26, {3}), 1U);  // 22 left after the break
    EXPECT_EQ(lines(26, {6}), 0U);  // 19
    EXPECT_EQ(lines(25, {}), 0U);   // the closing instant is missing
}

TEST_F(TrackTest, MaskWindowAndExclusion) {
    const ByteVector log = simulate(kGps, 26);
    config.elevationMaskDeg = 90.1;
    EXPECT_TRUE(linesOfLog(log).empty());
    config.elevationMaskDeg = 89;
    options.firstEpochMs = (int64_t{kTestWeek} * 604800 + kTrackStart + 30) * 1000;
    options.lastEpochMs = options.firstEpochMs + 750000;
    EXPECT_TRUE(isInTimeWindow(options, kTestWeek, (kTrackStart + 30) * 1000));
    EXPECT_FALSE(isInTimeWindow(options, kTestWeek, (kTrackStart + 30) * 1000 - 1));
    EXPECT_EQ(filesOf(log).size(), 4U);
    options.lastEpochMs -= 1;
    EXPECT_TRUE(filesOf(log).empty());
    options.lastEpochMs += 1;
    options.excluded = "REC";
    options.suffix = std::string(60, 's');
    EXPECT_EQ(filesOf(log).begin()->first, "GZ____59.025" + std::string(37, 's'));
}

// Contiguous tracks begin at the first epoch, wherever the schedule's tracks are.
TEST_F(TrackTest, ContiguousTracksStartAtTheFirstEpoch) {
    config.isContiguous = true;
    const std::string line = linesOfLog(simulate(kGps, 27)).at(0);
    EXPECT_EQ(line.substr(12, 7), " 001030");
    EXPECT_NEAR(field(line, 52, 12), 4809246 + 60, 1);  // evaluated 30 s later, at 0.2 ns/s
}

// Epochs between whole half minutes, later ones within the same second and blocks without a time change nothing.
TEST_F(TrackTest, WhatIsNoSampleChangesNothing) {
    const ByteVector slow = simulate(kGps, 26);
    const auto expected = linesOfLog(slow);
    ByteVector fast = navBlock(kGps);
    const Truth wrong{.iono = 1000};
    for (uint32_t t = kTrackStart; t < kTrackStart + 30 * 27; ++t) {
        fast += epochBlock(kGps, t);
        fast += BlockBuilder(epochBlock(kGps, t, wrong)).u32(kZeltTowOffset, t * 1000 + 500).done();
    }
    EXPECT_EQ(linesOfLog(fast), expected);
    BlockBuilder unstamped(kZeltMeasFullRange, 40, 0, (kTrackStart + 780) * 1000, kZeltNoWnc);
    EXPECT_EQ(linesOfLog(joined({slow, unstamped.u8(14, {1, 20}).u8(20, {1, 1}).done()})), expected);
}

// Directions are those of the first sample kept, though its track never yields a line.
TEST_F(TrackTest, TheFirstSampleFixesTheStation) {
    config.phaseCentre[2] = GeodeticToEcef(MakeLocalFrame(0.9 - 10 * kPi / 180, 0.15), 80);
    ByteVector log = joined({navBlock(kGal), navBlock(kGps), epochBlock(kGal, kTrackStart + 30)});
    for (uint32_t t = kTrackStart + 60; t <= kTrackStart + 780; t += 30) log += epochBlock(kGps, t);
    const std::string line = linesOfLog(log).at(0);
    EXPECT_NEAR(field(line, 24, 4), 800, 3) << line;  // from a horizon 10 degrees off
}

// The very first second of GPS time is an instant like any other: it anchors the contiguous tracks.
TEST_F(TrackTest, TimeMayBeginAtTheOrigin) {
    config.isContiguous = true;
    config.elevationMaskDeg = -90;
    ByteVector log = BlockBuilder(navBlock(kGps)).u16(kZeltWncOffset, 0).u32(88, 0).u16(138, 0).done();
    for (uint32_t i = 0; i <= 26; ++i) {
        log += BlockBuilder(epochBlock(kGps, kTrackStart)).u32(kZeltTowOffset, i * 30000).u16(kZeltWncOffset, 0).done();
    }
    EXPECT_EQ(filesOf(log).size(), 4U);
}

TEST_F(TrackTest, NumericOnlyReplacesCapitals) {
    options.isNumericOnly = true;
    EXPECT_EQ(linesOfLog(simulate(kGps, 26)).at(0).substr(0, 7), "005 00 ");
    std::string filter = "AZaz@[09";
    matlabFilter(filter);
    EXPECT_EQ(filter, "00az@[09");
}

// A GLONASS satellite of unknown slot fills the record of Galileo's first satellite.
TEST_F(TrackTest, UnknownSlotCountsAsGalileosFirst) {
    const System galileo{'E', kZeltGalNav, 71, 8, 11, 3.986004418e14, kEarthRate, 0, 0};
    System glonass = galileo;
    glonass.svid = 62;
    ByteVector log = navBlock(galileo);
    for (uint32_t t = kTrackStart + 30; t <= kTrackStart + 780; t += 30) {
        log += BlockBuilder(epochBlock(glonass, t)).u8(38, 8 << 3).done();
    }
    const std::string line = linesOfLog(log, 'E').at(0);
    EXPECT_EQ(line.substr(0, 3), "E01");
    EXPECT_NEAR(field(line, 52, 12), 4809246, 1);
}

// No line is begun behind 2850 bytes: 23 lines of 128 bytes are the most of a track.
TEST_F(TrackTest, NoMoreLinesThanTheBufferTakes) {
    System satellite = kGps;
    ByteVector log;
    for (satellite.svid = 1; satellite.svid <= 32; ++satellite.svid) log += navBlock(satellite);
    satellite.svid = 1;
    for (uint32_t t = kTrackStart + 30; t <= kTrackStart + 780; t += 30) log += epochBlock(satellite, t, {}, 32);
    EXPECT_EQ(linesOfLog(log).size(), 23U);
}

// What is asked for in single precision reaches the columns so: compilers have lost roundings of neighbouring values.
TEST(FinishTrack, SingleValuesAreSingle) {
    ZeltNavBlock nav;
    ASSERT_TRUE(zeltFixNavBlock(viewOf(navBlock(kGps)), nav));
    TrackRecord record;
    record.ephemeris = MakeGpsEphemeris(nav.bytes());
    RunConfig config;
    config.leapSeconds = 18;
    config.phaseCentre.fill(kStation);
    startTrack(record, config, kConstellations[0]);
    const uint32_t start = kTestWeek * kSecondsPerWeek + kTrackStart;
    for (int slot = 0; slot < kSlotsPerTrack; ++slot) {
        const uint32_t t = start + 30 * static_cast<uint32_t>(slot + 1);
        trackSample(record, slot, t, {0, kGpsL1P, kGpsL2P, 22e6, 22e6 + 3.1 + 0.01 * slot * slot});
    }
    DataLine line;
    ASSERT_TRUE(finishTrack(record, start + kTrackLength, config, LocalFrameAt(kStation), line));
    for (const double value : {line.mdtr, line.smdt, line.mdio, line.smdi, line.isg}) {
        const volatile float single = static_cast<float>(value);
        EXPECT_EQ(value, single);
    }
}

// The NATO model (STANAG 4294): refractivity 324.8 at sea level, falling linearly up to 1 km, from there exponentially
// to 105 at 9 km, where 732 mm are left.
TEST(Troposphere, ZenithDelayAndMapping) {
    const auto zenithAt = [](double height) {
        return zenithTropoDelay(GeodeticToEcef(MakeLocalFrame(0.8, 0), height));
    };
    EXPECT_NEAR(zenithAt(0), (324.8 + 2162 - 22.39578446) / 1000, 1e-6);
    EXPECT_NEAR(zenithAt(999.9), zenithAt(1000.1), 3e-3);
    const double atOneKm = 324.8 - 7.32 * std::exp(0.005577 * 324.8);
    const double decay = std::log(atOneKm / 105) / 8;
    for (const double h : {1.1, 1.65, 4.0}) {
        EXPECT_NEAR(zenithAt(h * 1000), 0.732 + (atOneKm * std::exp(decay * (1 - h)) - 105) / decay / 1000, 1e-5) << h;
    }
    EXPECT_NEAR(zenithAt(9000), 0.732, 1e-5);
    EXPECT_NEAR(tropoMapping(2.4F, static_cast<float>(kPi / 2)), 2.4, 1e-3);
    EXPECT_NEAR(tropoMapping(2.4F, static_cast<float>(kPi / 6)), 4.8, 0.03);
}

}  // namespace
