// The antenna's position by the example log: three hours of a surveyed station, altered here.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>

#include "tests/support/logs.h"
#include "zeltlog/jsontext.h"
#include "zeltlog/positiontext.h"

using namespace Qon::Nav;

namespace {

constexpr int kEpochs = 360;
constexpr double kMarkerToAntenna = 0.216;  // m, from the station's log sheet
// Published coordinates in the European frame stand still with the plate, orbits do not. The plate turns by (-0.085,
// -0.531, 0.770) mas a year (Z. Altamimi et al., ITRF2014 plate motion model, Geophysical Journal International 209,
// 2017), which is 17.63 mm east and 15.82 mm north here; m from 1989.0, when the frames were one, to 2020.48.
constexpr double kPlateEast = 0.555;
constexpr double kPlateNorth = 0.498;
constexpr double kMetresPerNs = 0.299792458;

constexpr int kG05 = 5;  // numbers as logged
constexpr int kG07 = 7;
constexpr int kG30 = 30;
constexpr int kE24 = 94;

Vector3 moved(const Vector3& p, double east, double north, double up) {
    const LocalFrame f = LocalFrameAt(p);
    return {p.x - f.sinLon * east - f.sinLat * f.cosLon * north + f.cosLat * f.cosLon * up,
            p.y + f.cosLon * east - f.sinLat * f.sinLon * north + f.cosLat * f.sinLon * up,
            p.z + f.cosLat * north + f.sinLat * up};
}

const Vector3 kAntenna = moved(kExampleStation, kPlateEast, kPlateNorth, kMarkerToAntenna);

double distance(const Vector3& a, const Vector3& b) { return std::hypot(a.x - b.x, a.y - b.y, a.z - b.z); }

StationConfig configAt(const Vector3& position) {
    StationConfig config{stationConfig(position), position};
    return config;
}

// Changes a satellite's record of a MeasEpoch: what it is given are the block and where the record begins.
using Change = std::function<void(int svid, BlockBuilder& block, size_t at)>;

ByteVector withSatellites(const ByteVector& log, const Change& change) {
    ByteVector changed;
    for (const Bytes view : blocksOf(viewOf(log))) {
        BlockBuilder block(copyOf(view));
        if (zeltNumber(view) == kZeltMeasEpoch) {
            size_t at = 20;
            for (int i = 0; i < view.u8(14); ++i) {
                const size_t next = at + view.u8(15) + size_t{view.u8(at + 19)} * view.u8(16);
                change(view.u8(at + 2), block, at);
                at = next;
            }
        }
        changed += block.done();
    }
    return changed;
}

// The codes of a satellite are all relative to the first one's.
Change shifted(int which, double metres) {
    return [which, metres](int svid, BlockBuilder& block, size_t at) {
        if (svid != which) return;
        const Bytes view = viewOf(block.bytes);
        const int64_t code = (int64_t{view.u8(at + 3) & 15} << 32 | view.u32(at + 4)) + std::llround(metres * 1000);
        block.u8(at + 3, (view.u8(at + 3) & 0xF0) | (code >> 32)).u32(at + 4, code & 0xFFFFFFFF);
    };
}

Change onlySatellites(const std::vector<int>& kept) {
    return [kept](int svid, BlockBuilder& block, size_t at) {
        if (std::find(kept.begin(), kept.end(), svid) == kept.end()) block.u8(at + 2, 0);  // no satellite's number
    };
}

struct Result {
    Result(const ByteVector& log, const StationConfig& runConfig, const RunOptions& runOptions = {})
        : config(runConfig), options(runOptions), pass(config, options), ledger(pass, config, events, nullptr) {
        options.inputFile = folder.write("log", log);
        runPass(pass, events);
        report = std::make_unique<PositionReport>(ledger, config, options);
        zeltCloseFile(pass.file);
    }
    const Vector3& position() const { return report->solution.position; }
    int outcomes(EpochOutcome outcome) const { return ledger.adjustment().outcomes[static_cast<size_t>(outcome)]; }
    const SatelliteSums& satellite(int svid) const { return ledger.adjustment().satellites[static_cast<size_t>(svid)]; }

    ScratchFolder folder;
    StationConfig config;
    RunOptions options;
    FilePass pass;
    PassEvents events;
    PositionLedger ledger;
    std::unique_ptr<PositionReport> report;
};

std::unique_ptr<Result> resultOf(const ByteVector& log, const StationConfig& config = configAt(kAntenna),
                                 const RunOptions& options = {}) {
    return std::make_unique<Result>(log, config, options);
}

const ByteVector& exampleLog() {
    static const ByteVector log = readLog(kExampleLog);
    return log;
}

const Result& clean() {
    static const std::unique_ptr<Result> result = resultOf(exampleLog());
    return *result;
}

TEST(Position, AgreesWithTheSurveyedAntennaAndRejectsNothing) {
    EXPECT_EQ(verdictText(*clean().report), "The position in use agrees.");
    EXPECT_LT(clean().report->comparison.enuSigma.x, 1);
    EXPECT_LT(clean().report->comparison.enuSigma.y, 1);
    EXPECT_LT(clean().report->comparison.enuSigma.z, 2);
    EXPECT_EQ(clean().outcomes(EpochOutcome::kConsistent), kEpochs);
    EXPECT_EQ(remarksOn(*clean().report), std::vector<std::string>{});
}

TEST(Position, TheObjectTellsWhatTheTextTells) {
    const std::string text = positionText(*clean().report);
    const Json json = Json::parse(positionJson(*clean().report));
    const Json& position = json["position"];
    const Json& clock = json["clocks"][1];
    const struct {
        std::string title;
        const Json& value;
        double tolerance;
    } cases[] = {{"  X ", position["ecef_m"][0], 1e-3},
                 {"  Z ", position["ecef_m"][2], 1e-3},
                 {"  latitude ", position["latitude_deg"], 1e-8},
                 {"  longitude ", position["longitude_deg"], 1e-8},
                 {"  height ", position["height_m"], 1e-3},
                 {"in use:  east ", json["comparison"]["enu_m"][0], 1e-3},
                 {", up ", json["comparison"]["enu_m"][2], 1e-3},
                 {"clock by Galileo less by GPS: ", clock["mean_ns"], 0.1},
                 {"\nRMS of residuals, m ", json["constellations"]["GPS"]["rms_m"], 0.01}};
    for (const auto& [title, value, tolerance] : cases) {
        ASSERT_NE(text.find(title), std::string::npos) << title;
        EXPECT_NEAR(value.get<double>(), std::atof(text.c_str() + text.find(title) + title.size()), tolerance) << title;
    }
}

TEST(Position, BothBlockFamiliesGiveIt) {
    EXPECT_LT(distance(resultOf(readLog(kCompactLog))->position(), clean().position()), 0.001);
}

TEST(Position, OneConstellationAloneGivesIt) {
    for (const char* excluded : {"REC", "GRC"}) {
        RunOptions options;
        options.excluded = excluded;
        EXPECT_EQ(verdictText(*resultOf(exampleLog(), configAt(kAntenna), options)->report),
                  "The position in use agrees.")
            << excluded;
    }
}

// The verdict is about the position in use; the result knows nothing of it.
TEST(Position, InUseChangesTheVerdictAlone) {
    const struct {
        Vector3 inUse;
        const char* verdict;
    } cases[] = {
        {moved(clean().position(), 0, 0, -10), "up differs by 10.0 m, which is 33 ns in REFSYS near the zenith: check"},
        {moved(clean().position(), -10, 0, 0), "east differs by 10.00 m: check -px"},
        {moved(clean().position(), 100e3, 0, 0), "it is 100.0 km away: check -px"},
        {{1, 0, 0}, " km away: check -px"},
        {{std::nan(""), 0, 0}, "the position in use is no place: check -px"},
    };
    for (const auto& [inUse, verdict] : cases) {
        const auto result = resultOf(exampleLog(), configAt(inUse));
        EXPECT_EQ(distance(result->position(), clean().position()), 0) << verdict;
        EXPECT_NE(verdictText(*result->report).find(verdict), std::string::npos) << verdictText(*result->report);
        EXPECT_FALSE(result->report->comparison.agrees) << verdict;
    }
}

TEST(Position, IsThatOfTheReferencePoint) {
    StationConfig config = configAt(kAntenna);
    for (Vector3& centre : config.phaseCentre) centre = moved(kAntenna, 0, 0, 1);
    const Vector3 expected = moved(clean().position(), 0, 0, -1);
    // The tropospheric delay is that of the reference point, at the zenith 0.3 mm more than that a metre above, and
    // heights take it several times.
    EXPECT_LT(distance(resultOf(exampleLog(), config)->position(), expected), 0.003);
}

TEST(Position, DelaysShowInTheClocks) {
    const auto clockDifference = [](const Result& r) {
        return DifferenceOfClocks(r.ledger.adjustment(), r.report->solution, 0, 2).mean / kMetresPerNs;
    };
    StationConfig config = configAt(kAntenna);
    config.delayGpsL1Ns = 10;
    config.delayCableNs = 500;
    const auto result = resultOf(exampleLog(), config);
    constexpr double kShareOfL1 = 77.0 * 77 / (77 * 77 - 60 * 60);  // in the ionosphere-free combination
    EXPECT_NEAR(clockDifference(*result) - clockDifference(clean()), 10 * kShareOfL1, 1e-3);
    EXPECT_LT(distance(result->position(), clean().position()), 0.001);
}

TEST(Position, TakesTheWindowAndTheMask) {
    RunOptions options;
    options.firstEpochMs = kTestWeek * kMillisecondsPerWeek + 4 * 86400000 + 3600000;  // 01:00:00 of the Thursday
    options.lastEpochMs = options.firstEpochMs + 600000;
    StationConfig config = configAt(kAntenna);
    config.elevationMaskDeg = 30;
    const auto result = resultOf(exampleLog(), config, options);
    EXPECT_EQ(result->ledger.adjustment().epochs, 21);
    EXPECT_LT(result->ledger.adjustment().measurements,
              clean().ledger.adjustment().measurements * 21 / kEpochs * 3 / 4);
}

TEST(Position, WrongSatellitesAreFound) {
    using Errors = std::vector<std::pair<int, double>>;  // satellite, m
    const Errors cases[] = {
        {{kG05, 30}}, {{kE24, -30}}, {{kG05, 300e3}}, {{kG05, 30}, {kE24, -40}}, {{kG05, 30}, {kG30, 30}}};
    for (const Errors& wrong : cases) {
        ByteVector log = exampleLog();
        for (const auto& [svid, metres] : wrong) log = withSatellites(log, shifted(svid, metres));
        const auto result = resultOf(log);
        int rejected = 0;
        for (size_t svid = 0; svid < 256; ++svid) rejected += result->satellite(static_cast<int>(svid)).atFault;
        for (const auto& [svid, metres] : wrong) {
            const int used = clean().satellite(svid).used;
            ASSERT_GT(used, 50) << svid;
            EXPECT_GE(result->satellite(svid).atFault, 0.95 * used) << svid << ' ' << metres;
            rejected -= result->satellite(svid).atFault;
            const FaultSpell& spell = result->ledger.spells().at(0);
            EXPECT_NEAR(std::fabs(spell.largest), std::fabs(wrong[0].second), 8);
        }
        EXPECT_EQ(rejected, 0);
        EXPECT_LT(distance(result->position(), clean().position()), 0.3);
    }
}

TEST(Position, UnhealthyConstellationTakesNoPart) {
    ByteVector log;
    for (const Bytes view : blocksOf(viewOf(exampleLog()))) {
        BlockBuilder block(copyOf(view));
        if (zeltNumber(view) == kZeltGpsNav) block.u8(static_cast<size_t>(ZeltGpsNav::kHealth), 0x3F);
        log += block.done();
    }
    const auto result = resultOf(log);
    EXPECT_EQ(remarksOn(*result->report).at(0).find("GPS took no part: ephemeris unhealthy ("), 0);
    EXPECT_EQ(result->ledger.adjustment().clockMeasurements[0], 0);
    EXPECT_TRUE(result->report->comparison.agrees);
    RunOptions options;
    options.excluded = "REC";
    const auto alone = resultOf(log, configAt(kAntenna), options);
    EXPECT_FALSE(alone->report->hasPosition());
    EXPECT_EQ(verdictText(*alone->report),
              "No position: none of 360 epochs has one that is checked; 360 of them: too few satellites.");
}

// Without enough satellites there is no result, whatever is wrong with them.
TEST(Position, TooFewSatellitesGiveNone) {
    for (const double wrong : {0.0, 30.0}) {
        ByteVector log = withSatellites(exampleLog(), onlySatellites({kG05, kG07, kG30, kE24}));
        log = withSatellites(log, shifted(kG05, wrong));
        const auto result = resultOf(log);
        EXPECT_FALSE(result->report->hasPosition());
        EXPECT_EQ(result->ledger.adjustment().epochs, 0);
        for (const std::string& text : {positionText(*result->report), positionJson(*result->report)}) {
            EXPECT_NE(text.find("No position: none of 360 epochs"), std::string::npos) << text;
        }
    }
}

TEST(Position, NothingInTheWindow) {
    RunOptions options;
    options.lastEpochMs = 0;
    const auto result = resultOf(exampleLog(), configAt(kAntenna), options);
    EXPECT_EQ(verdictText(*result->report),
              "No position: the log holds no epoch at a multiple of 30 s within the window.");
}

}  // namespace
