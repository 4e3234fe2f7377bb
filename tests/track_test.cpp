// Whole logs whose truth is known: what goes in as clock offset and ionosphere must come out.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <sstream>

#include "app/driver.h"
#include "cggtts/troposphere.h"
#include "tests/logbuilder.h"
#include "utils/geometry/navtools.h"

using namespace Qon::Nav;

namespace {

constexpr double kC = 299792458.0;
constexpr double kPi = 3.1415926535898;
constexpr uint32_t kTrackStart = 346200;  // s of week 2111: 00:10 of 2020-06-25, MJD 59025, where a BIPM track starts
const Vector3 kStation = GeodeticToEcef(MakeLocalFrame(0.9, 0.15), 80);

// One satellite on a circular orbit, near the station's zenith in the middle of the track.
struct SimulatedSystem {
    const char* name;
    uint16_t navNumber;
    uint8_t svid;
    uint8_t signal1, signal2;
    double f1, f2;  // Hz
    double mu, earthRate;
    double groupDelay1, groupDelay2;  // s
    size_t file;
};
const SimulatedSystem kSystems[] = {
    {"GPS", kZeltGpsNav, 5, 1, 2, 1575.42e6, 1227.6e6, 3.986005e14, 7.2921151467e-5, 5e-9,
     5e-9 * (77.0 / 60) * (77.0 / 60), 0},
    {"Galileo", kZeltGalNav, 75, 17, 20, 1575.42e6, 1176.45e6, 3.986004418e14, 7.2921151467e-5, -3e-9,
     -3e-9 * (154.0 / 115) * (154.0 / 115), 2},
    {"BeiDou", kZeltBdsNav, 150, 28, 29, 1561.098e6, 1207.14e6, 3.986004418e14, 7.292115e-5, 8e-9, -2e-9, 3},
};

struct Truth {
    double clock = 480924.6e-9;     // receiver ahead of system time, s
    double drift = 2e-10;           // s/s
    double satelliteClock = -1e-4;  // s
    double iono = 6.5;              // m on signal 1
    double ionoRate = 0.001;        // m/s
    double delay1 = 0, delay2 = 0;  // s, in receiver and cable
};

constexpr double kSqrtA = 5200;
constexpr double kInclination = 0.3;  // semicircles

// Node and argument of latitude that put the satellite over the station at track time 408 s.
struct Orbit {
    double omega0, m0;  // semicircles
};

// t_oe in the constellation's own seconds of week, from which its node counts.
uint32_t toeOf(const SimulatedSystem& system) { return kTrackStart - (system.navNumber == kZeltBdsNav ? 14 : 0); }

double meanMotion(const SimulatedSystem& system) { return std::sqrt(system.mu) / std::pow(kSqrtA, 3); }

Orbit overhead(const SimulatedSystem& system) {
    const double tk = 408;  // t_oe is the track's start
    const double u = std::asin(std::sin(0.9) / std::sin(kInclination * kPi));
    const double lon = std::atan2(std::sin(u) * std::cos(kInclination * kPi), std::cos(u));
    const double node = 0.15 - lon + system.earthRate * (toeOf(system) + tk);
    return {node / kPi, (u - meanMotion(system) * tk) / kPi};
}

Vector3 satelliteAt(const SimulatedSystem& system, const Orbit& orbit, double tk) {
    const double a = kSqrtA * kSqrtA;
    const double u = orbit.m0 * kPi + meanMotion(system) * tk;
    const double node = orbit.omega0 * kPi - system.earthRate * (toeOf(system) + tk);
    const double i = kInclination * kPi;
    return {a * (std::cos(u) * std::cos(node) - std::sin(u) * std::cos(i) * std::sin(node)),
            a * (std::cos(u) * std::sin(node) + std::sin(u) * std::cos(i) * std::cos(node)),
            a * std::sin(u) * std::sin(i)};
}

ByteVector navBlock(const SimulatedSystem& system, const Orbit& orbit, const Truth& truth) {
    BlockBuilder b(system.navNumber, 0, (kTrackStart - 600) * 1000, kTestWeek, 152);
    b.set<uint8_t>(14, system.svid);
    const uint32_t toe = toeOf(system);
    const auto tgd = static_cast<float>(system.groupDelay1);
    if (system.navNumber == kZeltGalNav) {
        b.set<uint8_t>(15, 16).set<double>(16, kSqrtA).set<double>(24, orbit.m0).set<double>(40, kInclination);
        b.set<double>(56, orbit.omega0).set<uint32_t>(100, toe).set<uint32_t>(104, toe);
        b.set<double>(116, truth.satelliteClock).set<uint16_t>(124, kTestWeek).set<uint16_t>(126, kTestWeek);
        return b.set<uint16_t>(130, 0x0100).set<float>(136, tgd).done();
    }
    const auto week = static_cast<uint16_t>(system.navNumber == kZeltBdsNav ? kTestWeek - 1356 : kTestWeek % 1024);
    b.set<uint32_t>(32, toe).set<float>(44, static_cast<float>(truth.satelliteClock)).set<double>(56, orbit.m0);
    b.set<double>(80, kSqrtA).set<uint32_t>(88, toe).set<double>(96, orbit.omega0).set<double>(108, kInclination);
    b.set<uint16_t>(136, week).set<uint16_t>(138, week);
    if (system.navNumber == kZeltGpsNav) return b.set<uint8_t>(25, 77).set<float>(28, tgd).done();
    return b.set<float>(24, tgd).set<float>(28, static_cast<float>(system.groupDelay2)).done();
}

// Pseudoranges at receiver time t: light time by iteration, the Earth turned rigorously.
struct Codes {
    double first, second;
};
Codes simulateCodes(const SimulatedSystem& system, const Orbit& orbit, const Truth& truth, double t) {
    const double tk = t - kTrackStart;
    const double clock = truth.clock + truth.drift * (tk - 408);
    Station station;
    double travel = 0.07;
    double range = 0;
    AzEl direction{};
    for (int i = 0; i < 6; ++i) {
        const double sent = tk - clock - travel;
        // The node of a frame frozen at reception: turned by the Earth's rotation during the travel.
        Vector3 p = satelliteAt(system, orbit, sent);
        const double turn = 7.2921151467e-5 * travel;
        p = {p.x * std::cos(turn) + p.y * std::sin(turn), p.y * std::cos(turn) - p.x * std::sin(turn), p.z};
        range = GetLineOfSight(kStation, p).range;
        direction = GetAzEl(p, kStation, station);
        travel = range / kC;
    }
    const double tropo = tropoMapping(zenithTropoDelay(kStation), static_cast<float>(direction.elevation));
    const double geometric = range + kC * (clock - static_cast<float>(truth.satelliteClock)) + tropo;
    const double iono = truth.iono + truth.ionoRate * (tk - 408);
    const double gamma = (system.f1 / system.f2) * (system.f1 / system.f2);
    return {geometric + iono + kC * (truth.delay1 + system.groupDelay1),
            geometric + iono * gamma + kC * (truth.delay2 + system.groupDelay2)};
}

ByteVector epochBlock(const SimulatedSystem& system, const Codes& codes, uint32_t t) {
    BlockBuilder b(kZeltMeasEpoch, 1, t * 1000, kTestWeek, 52);
    b.set<uint8_t>(14, 1).set<uint8_t>(15, 20).set<uint8_t>(16, 12).set<uint8_t>(20, 1).set<uint8_t>(22, system.svid);
    const auto code = static_cast<uint64_t>(std::llround(codes.first * 1000));
    const int64_t offset = std::llround(codes.second * 1000) - static_cast<int64_t>(code);
    b.set<uint8_t>(21, system.signal1).set<uint8_t>(23, static_cast<uint8_t>(code >> 32)).set<uint8_t>(39, 1);
    b.set<uint32_t>(24, static_cast<uint32_t>(code)).set<uint8_t>(40, system.signal2);
    b.set<uint8_t>(43, static_cast<uint8_t>((offset >> 16) & 7)).set<uint16_t>(46, static_cast<uint16_t>(offset));
    return b.done();
}

struct TrackTest : testing::Test {
    TestDirectory directory{"track"};
    std::filesystem::path before = std::filesystem::current_path();
    RunConfig config;
    RunOptions options;
    OutputRegistry outputs;

    void SetUp() override {
        std::filesystem::current_path(directory.path);
        config.leapSeconds = 18;
        config.phaseCentre.fill(kStation);
    }
    void TearDown() override { std::filesystem::current_path(before); }

    // A log of `epochs` samples from the track's first on, without those in `missing`.
    static ByteVector simulate(const SimulatedSystem& system, const Truth& truth, int epochs,
                               const std::vector<int>& missing = {}) {
        const Orbit orbit = overhead(system);
        ByteVector log = navBlock(system, orbit, truth);
        for (int i = 0; i < epochs; ++i) {
            if (std::find(missing.begin(), missing.end(), i) != missing.end()) continue;
            const uint32_t t = kTrackStart + 30 + 30 * static_cast<uint32_t>(i);
            log += epochBlock(system, simulateCodes(system, orbit, truth, t), t);
        }
        return log;
    }

    // The data lines of the constellation's file.
    std::vector<std::string> convert(const ByteVector& log, size_t constellation) {
        for (const auto& entry : std::filesystem::directory_iterator(directory.path)) {
            std::filesystem::remove(entry.path());
        }
        options.inputFile = directory.write("log", log);
        outputs = {};
        processFile(config, options, outputs);
        closeOutputs(outputs);
        std::vector<std::string> lines;
        for (const auto& entry : std::filesystem::directory_iterator(directory.path)) {
            if (entry.path().filename().string().find(kConstellations[constellation].filePrefix) != 0) continue;
            std::istringstream in(readFile(entry.path()));
            for (std::string line; std::getline(in, line);) lines.push_back(line);
        }
        lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(std::min<size_t>(19, lines.size())));
        return lines;
    }

    static int field(const std::string& line, size_t at, size_t width) { return std::stoi(line.substr(at, width)); }
};

TEST_F(TrackTest, KnownClockAndIonosphereComeBack) {
    Truth truth;
    truth.delay1 = 45.5e-9;  // internal 20.5 + cable 120 - reference 95
    truth.delay2 = 35.0e-9;
    config.delayGpsL1 = config.delayGalE1 = config.delayBdsB1 = 20.5;
    config.delayGpsL2 = config.delayGalE5a = config.delayBdsB2 = 10.0;
    config.delayCable = 120;
    config.delayReference = 95;
    for (const SimulatedSystem& system : kSystems) {
        const auto lines = convert(simulate(system, truth, 26), system.file);
        ASSERT_EQ(lines.size(), 1U) << system.name;
        const std::string& line = lines[0];
        EXPECT_EQ(line.substr(6, 14), " 59025 001000 ") << system.name;
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
    const SimulatedSystem& gps = kSystems[0];
    EXPECT_EQ(convert(simulate(gps, {}, 26, {0, 1, 2, 3, 4}), 0).size(), 1U);
    EXPECT_EQ(convert(simulate(gps, {}, 26, {0, 1, 2, 3, 4, 5}), 0).size(), 0U);
    EXPECT_EQ(convert(simulate(gps, {}, 26, {3}), 0).size(), 1U);  // 22 left after the break
    EXPECT_EQ(convert(simulate(gps, {}, 26, {6}), 0).size(), 0U);  // 19
    EXPECT_EQ(convert(simulate(gps, {}, 25), 0).size(), 0U);       // the closing instant is missing
}

TEST_F(TrackTest, MaskWindowAndExclusion) {
    const ByteVector log = simulate(kSystems[0], {}, 26);
    config.elevationMask = 90.1;
    EXPECT_TRUE(convert(log, 0).empty());
    config.elevationMask = 89;
    options.firstEpoch = (int64_t{kTestWeek} * 604800 + kTrackStart + 30) * 1000;
    options.lastEpoch = options.firstEpoch + 750000;
    EXPECT_EQ(convert(log, 0).size(), 1U);
    EXPECT_EQ(outputs.createdFiles, "GZ____59.025,RZ____59.025,EZ____59.025,CZ____59.025");
    options.lastEpoch -= 1;
    convert(log, 0);
    EXPECT_TRUE(outputs.createdFiles.empty());
    options.lastEpoch += 1;
    options.excluded = "REC";
    options.suffix = std::string(60, 's');
    convert(log, 0);
    EXPECT_EQ(outputs.createdFiles, "GZ____59.025" + std::string(37, 's'));
}

// Contiguous tracks begin at the first epoch, wherever the schedule's tracks are.
TEST_F(TrackTest, ContiguousTracksStartAtTheFirstEpoch) {
    config.contiguous = true;
    const auto lines = convert(simulate(kSystems[0], {}, 27), 0);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].substr(12, 7), " 001030");
    EXPECT_NEAR(field(lines[0], 52, 12), 4809246 + 60, 1);  // evaluated 30 s later, at 0.2 ns/s
}

// Epochs between whole half minutes, and later ones within the same second, change nothing.
TEST_F(TrackTest, FasterLogsGiveTheSameLines) {
    const ByteVector slow = simulate(kSystems[0], {}, 26);
    const auto expected = convert(slow, 0);
    ByteVector fast = simulate(kSystems[0], {}, 0);
    const Orbit orbit = overhead(kSystems[0]);
    for (uint32_t half = 0; half < 2 * 30 * 27; ++half) {
        const uint32_t t = kTrackStart + half / 2;
        Codes codes = simulateCodes(kSystems[0], orbit, {}, t);
        if (half % 2 == 1) codes.first += 1000;
        BlockBuilder b(0, 0, 0, 0, 0);
        b.bytes = epochBlock(kSystems[0], codes, t);
        fast += b.set<uint32_t>(kZeltTowOffset, t * 1000 + half % 2 * 500).done();
    }
    EXPECT_EQ(convert(fast, 0), expected);
}

TEST_F(TrackTest, NumericOnlyReplacesCapitals) {
    options.numericOnly = true;
    const auto lines = convert(simulate(kSystems[0], {}, 26), 0);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].substr(0, 7), "005 00 ");
    EXPECT_EQ(lines[0].find_first_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ"), std::string::npos);
    std::string filter = "AZaz@[09";
    matlabFilter(filter);
    EXPECT_EQ(filter, "00az@[09");
}

// A GLONASS satellite of unknown slot fills the record of Galileo's first satellite.
TEST_F(TrackTest, UnknownSlotCountsAsGalileosFirst) {
    const SimulatedSystem galileo = {"E01",          kZeltGalNav,     71, 8, 11, 1602e6, 1246e6,
                                     3.986004418e14, 7.2921151467e-5, 0,  0, 2};
    SimulatedSystem glonass = galileo;
    glonass.svid = 62;
    const Orbit orbit = overhead(galileo);
    ByteVector log = navBlock(galileo, orbit, {});
    for (uint32_t t = kTrackStart + 30; t <= kTrackStart + 780; t += 30) {
        BlockBuilder b(0, 0, 0, 0, 0);
        b.bytes = epochBlock(glonass, simulateCodes(galileo, orbit, {}, t), t);
        log += b.set<uint8_t>(38, 8 << 3).done();
    }
    const auto lines = convert(log, 2);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].substr(0, 3), "E01");
    EXPECT_NEAR(field(lines[0], 52, 12), 4809246, 1);
}

// Zenith delays of the NATO model at the surface and its continuity at 1 km; refractivity 324.8 at sea level.
TEST(Troposphere, ZenithDelayAndMapping) {
    const auto zenithAt = [](double height) {
        return zenithTropoDelay(GeodeticToEcef(MakeLocalFrame(0.8, 0), height));
    };
    EXPECT_NEAR(zenithAt(0), (324.8 + 2162 - 22.39578446) / 1000, 1e-6);
    EXPECT_NEAR(zenithAt(999.9), zenithAt(1000.1), 3e-3);  // where the two branches meet
    EXPECT_GT(zenithAt(1000), zenithAt(5000));
    EXPECT_NEAR(tropoMapping(2.4F, static_cast<float>(kPi / 2)), 2.4, 1e-3);
    EXPECT_NEAR(tropoMapping(2.4F, static_cast<float>(kPi / 6)), 4.8, 0.03);
}

}  // namespace
