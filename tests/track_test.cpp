// Whole logs whose truth is known: what goes in as clock offset and ionosphere must come out.
#include <gtest/gtest.h>

#include <cmath>

#include "app/output.h"
#include "app/pass.h"
#include "cggtts/track.h"
#include "cggtts/troposphere.h"
#include "tests/support/logs.h"
#include "tests/support/satellite.h"
#include "utils/nav/navdatadecoder/satnavdecoder/makeephemeris.h"
#include "utils/zeltdata/zeltnav.h"

using namespace Qon::Nav;

namespace {

static_assert(kTrackedSatellites == 32 + 30 + 36 + 37);  // G01-G32, R01-R30, E01-E36, C01-C37

struct TrackTest : testing::Test {
    RunConfig config = stationConfig(kStation);
    RunOptions options;

    CreatedFiles filesOf(const ByteVector& log) { return convert(log, config, options); }
    std::vector<std::string> linesOfLog(const ByteVector& log) { return linesOf(filesOf(log)); }
};

int field(const std::string& line, size_t at, size_t width) { return std::stoi(line.substr(at, width)); }

TEST_F(TrackTest, KnownClockAndIonosphereComeBack) {
    const Truth truth{.delay1 = 45.5e-9, .delay2 = 35.0e-9};  // internal 20.5 and 10 + cable 120 - reference 95
    config.delayGpsL1Ns = config.delayGalE1Ns = config.delayBdsB1Ns = 20.5;
    config.delayGpsL2Ns = config.delayGalE5aNs = config.delayBdsB2Ns = 10.0;
    config.delayCableNs = 120;
    config.delayReferenceNs = 95;
    Satellite oneDelay = kBdsSatellite;
    oneDelay.groupDelay2 = 0;
    for (const Satellite& satellite : {kGpsSatellite, kGalSatellite, kBdsSatellite, oneDelay}) {
        const CreatedFiles files = filesOf(simulate(satellite, 26, {}, truth));
        ASSERT_EQ(linesOf(files).size(), 1U);
        const std::string line = files.at(satellite.letter + std::string("Z____59.025")).at(0);
        SCOPED_TRACE(line);
        EXPECT_EQ(line.substr(6, 14), " 59025 001000 ");
        EXPECT_NEAR(field(line, 52, 12), 4809246, 1);                     // REFSYS, 0.1 ns
        EXPECT_NEAR(field(line, 64, 7), 2000, 3);                         // SRSYS, 0.1 ps/s
        EXPECT_NEAR(field(line, 33, 12), 4809246 + 1000000, 1);           // REFSV
        EXPECT_LE(field(line, 71, 5), 1);                                 // DSG
        EXPECT_NEAR(field(line, 100, 5), 6.5 / kLightSpeed * 1e10, 1);    // MSIO
        EXPECT_NEAR(field(line, 105, 5), 0.001 / kLightSpeed * 1e13, 1);  // SMSI
        EXPECT_GE(field(line, 24, 4), 890);                               // ELV: the zenith at mid-track
        EXPECT_NEAR(field(line, 80, 5), 82, 2);                           // MDTR
    }
}

TEST_F(TrackTest, TwentyOneSamplesMakeALine) {
    const auto lines = [&](int epochs, const std::vector<int>& missing) {
        return linesOfLog(simulate(kGpsSatellite, epochs, missing)).size();
    };
    EXPECT_EQ(lines(26, {0, 1, 2, 3, 4}), 1U);
    EXPECT_EQ(lines(26, {0, 1, 2, 3, 4, 5}), 0U);
    EXPECT_EQ(lines(26, {3}), 1U);  // 22 left after the break
    EXPECT_EQ(lines(26, {6}), 0U);  // 19
    EXPECT_EQ(lines(25, {}), 0U);   // the closing instant is missing
}

TEST_F(TrackTest, MaskWindowAndExclusion) {
    const ByteVector log = simulate(kGpsSatellite);
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
    const std::string line = linesOfLog(simulate(kGpsSatellite, 27)).at(0);
    EXPECT_EQ(line.substr(12, 7), " 001030");
    EXPECT_NEAR(field(line, 52, 12), 4809246 + 60, 1);  // evaluated 30 s later, at 0.2 ns/s
}

// Epochs between whole half minutes, later ones within the same second and blocks without a time change nothing.
TEST_F(TrackTest, WhatIsNoSampleChangesNothing) {
    const ByteVector slow = simulate(kGpsSatellite);
    const auto expected = linesOfLog(slow);
    ByteVector fast = navBlock(kGpsSatellite);
    const Truth wrong{.iono = 1000};
    for (uint32_t t = kTrackStart; t < kTrackStart + 30 * 27; ++t) {
        fast += epochBlock(kGpsSatellite, t);
        fast += BlockBuilder(epochBlock(kGpsSatellite, t, wrong)).u32(kZeltTowOffset, t * 1000 + 500).done();
    }
    EXPECT_EQ(linesOfLog(fast), expected);
    BlockBuilder unstamped(kZeltMeasFullRange, 40, 0, (kTrackStart + 780) * 1000, kZeltNoWnc);
    EXPECT_EQ(linesOfLog(joined({slow, unstamped.u8(14, {1, 20}).u8(20, {1, 1}).done()})), expected);
}

// Directions are those of the first sample kept, though its track never yields a line.
TEST_F(TrackTest, TheFirstSampleFixesTheStation) {
    config.phaseCentre[2] = GeodeticToEcef(MakeLocalFrame(0.9 - 10 * kIcdPi / 180, 0.15), 80);
    ByteVector log =
        joined({navBlock(kGalSatellite), navBlock(kGpsSatellite), epochBlock(kGalSatellite, kTrackStart + 30)});
    for (uint32_t t = kTrackStart + 60; t <= kTrackStart + 780; t += 30) log += epochBlock(kGpsSatellite, t);
    const std::string line = linesOfLog(log).at(0);
    EXPECT_NEAR(field(line, 24, 4), 800, 3) << line;  // from a horizon 10 degrees off
}

TEST_F(TrackTest, NumericOnlyReplacesCapitals) {
    options.isNumericOnly = true;
    EXPECT_EQ(linesOfLog(simulate(kGpsSatellite)).at(0).substr(0, 7), "005 00 ");
    std::string filter = "AZaz@[09";
    matlabFilter(filter);
    EXPECT_EQ(filter, "00az@[09");
}

// A GLONASS satellite of unknown slot fills the record of Galileo's first satellite.
TEST_F(TrackTest, UnknownSlotCountsAsGalileosFirst) {
    Satellite satellite = kGalSatellite;
    satellite.svid = 71;
    satellite.signal1 = 8;
    satellite.signal2 = 11;
    satellite.groupDelay1 = satellite.groupDelay2 = 0;
    ByteVector log = navBlock(satellite);
    satellite.svid = 62;
    for (uint32_t t = kTrackStart + 30; t <= kTrackStart + 780; t += 30) {
        log += BlockBuilder(epochBlock(satellite, t)).u8(38, 8 << 3).done();
    }
    const std::string line = linesOfLog(log).at(0);
    EXPECT_EQ(line.substr(0, 3), "E01");
    EXPECT_NEAR(field(line, 52, 12), 4809246, 1);
}

// What an epoch before held behind the last satellite is not of this one.
TEST_F(TrackTest, SatellitesThatAreGoneAreGone) {
    Satellite second = kGpsSatellite;
    ++second.svid;
    ByteVector log = joined({navBlock(second), navBlock(kGpsSatellite), epochBlock(kGpsSatellite, kTrackStart, {}, 2)});
    EXPECT_EQ(linesOfLog(log += simulate(kGpsSatellite)).size(), 1U);
}

// Files are fixed to the byte: 23 lines are the most of a track.
TEST_F(TrackTest, NoMoreLinesThanTheBufferTakes) { EXPECT_EQ(linesOfLog(simulateAllGps()).size(), 23U); }

// What is asked for in single precision reaches the columns so: compilers have lost roundings of neighbouring values.
TEST(FinishTrack, SingleValuesAreSingle) {
    ZeltNavBlock nav;
    ASSERT_TRUE(zeltFixNavBlock(viewOf(navBlock(kGpsSatellite)), nav));
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
    ASSERT_EQ(finishTrack(record, start + kTrackLength, config, LocalFrameAt(kStation), line), TrackOutcome::kLine);
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
    EXPECT_NEAR(tropoMapping(2.4F, static_cast<float>(std::acos(0))), 2.4, 1e-3);
    EXPECT_NEAR(tropoMapping(2.4F, static_cast<float>(std::acos(0) / 3)), 4.8, 0.03);
}

}  // namespace
