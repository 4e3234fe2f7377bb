// What zeltlog tells of logs whose contents are known from how they were made.
#include <gtest/gtest.h>

#include <random>

#include "tests/support/logs.h"
#include "tests/support/satellite.h"
#include "utils/geometry/satnames.h"
#include "zeltlog/infotext.h"
#include "zeltlog/tracktext.h"

namespace {

struct ZeltlogTest : testing::Test {
    ScratchFolder folder;

    LogInfo infoOf(const ByteVector& log) { return readLogInfo(folder.write("log", log), nullptr); }
};

struct TracksTest : ZeltlogTest {
    RunConfig config = stationConfig(kStation);
    RunOptions options;

    std::vector<TrackRow> rowsOf(const ByteVector& log) {
        options.inputFile = folder.write("log", log);
        std::vector<TrackRow> rows;
        followTracks(config, options, [&rows](const TrackRow& row) { rows.push_back(row); });
        return rows;
    }
    // Of a log in which one satellite is measured during one track.
    TrackFate fateOf(const ByteVector& log) {
        const std::vector<TrackRow> rows = rowsOf(log);
        EXPECT_EQ(rows.size(), 1U);
        EXPECT_TRUE(rows.empty() || rows[0].svid == 5);
        return rows.empty() ? TrackFate::kFates : rows[0].fate;
    }
};

ByteVector epochs(const Satellite& satellite, int count = 26) {
    ByteVector log;
    for (int i = 1; i <= count; ++i) log += epochBlock(satellite, kTrackStart + 30 * static_cast<uint32_t>(i));
    return log;
}

TEST_F(TracksTest, EveryFateOfATrack) {
    const ByteVector nav = navBlock(kGpsSatellite);
    const ByteVector measured = epochs(kGpsSatellite);
    const ByteVector whole = joined({nav, measured});
    EXPECT_EQ(fateOf(whole), TrackFate::kLine);
    EXPECT_EQ(fateOf(joined({measured, nav})), TrackFate::kNoEphemeris);
    EXPECT_EQ(fateOf(joined({BlockBuilder(nav).u8(20, 1).done(), measured})), TrackFate::kUnhealthy);
    EXPECT_EQ(fateOf(joined({BlockBuilder(nav).u32(88, kTrackStart - 7200).done(), measured})),
              TrackFate::kTooOldOrNew);
    EXPECT_EQ(fateOf(simulate(kGpsSatellite, 26, {0, 1, 2, 3, 4, 5})), TrackFate::kTooFewSamples);
    EXPECT_EQ(fateOf(simulate(kGpsSatellite, 26, {12})), TrackFate::kTooFewSamples);  // it began anew behind the break
    EXPECT_EQ(fateOf(simulate(kGpsSatellite, 25)), TrackFate::kNotFinished);
    Satellite oneCode = kGpsSatellite;
    oneCode.signal2 = 3;  // L2C
    EXPECT_EQ(fateOf(joined({nav, epochs(oneCode)})), TrackFate::kCodeMissing);
    config.elevationMaskDeg = 90.1;
    EXPECT_EQ(fateOf(whole), TrackFate::kBelowMask);
    options.excluded = "G";
    EXPECT_EQ(fateOf(whole), TrackFate::kExcluded);
    options.excluded = "REC";
    options.firstEpochMs = (int64_t{kTestWeek} * 604800 + kTrackStart + 210) * 1000;  // six instants are before it
    EXPECT_EQ(fateOf(whole), TrackFate::kOutsideWindow);
    options.lastEpochMs = options.firstEpochMs;
    EXPECT_EQ(fateOf(whole), TrackFate::kOutsideWindow);
}

// The files then have its line twice; a late epoch or two make no further track.
TEST_F(TracksTest, ATrackThatALogComesBackToIsThereAgain) {
    const ByteVector measured = epochs(kGpsSatellite);
    const ByteVector late = epochBlock(kGpsSatellite, kTrackStart + 750);
    const std::vector<TrackRow> rows = rowsOf(joined({navBlock(kGpsSatellite), measured, late, measured, late}));
    ASSERT_EQ(rows.size(), 2U);
    for (const TrackRow& row : rows) {
        EXPECT_EQ(row.fate, TrackFate::kLine);
        EXPECT_EQ(row.kept, 26);
    }
}

TEST_F(TracksTest, OfThirtyTwoSatellites23HaveRoom) {
    size_t lines = 0;
    for (const TrackRow& row : rowsOf(simulateAllGps())) {
        lines += row.fate == TrackFate::kLine ? 1 : 0;
        EXPECT_EQ(row.fate, row.svid <= 23 ? TrackFate::kLine : TrackFate::kNoRoom) << row.svid;
        EXPECT_EQ(row.bothCodes * 100 + row.kept, 2626) << row.svid;
    }
    EXPECT_EQ(lines, 23U);
}

// The rows that are lines are those of the files, for several sets of options.
TEST(Tracks, LinesAreThoseOfTheFiles) {
    for (const int how : {0, 1, 2, 3}) {
        RunConfig config = stationConfig();
        RunOptions options;
        config.isContiguous = how == 1;
        config.elevationMaskDeg = how == 2 ? 25 : 10;
        if (how == 2) options.excluded = "R";
        if (how == 3) options.firstEpochMs = (int64_t{2111} * 604800 + 346200) * 1000;
        std::multiset<std::string> inFiles;
        const ByteVector log = readLog(kExampleLog);
        for (const std::string& line : linesOf(convert(log, config, options))) {
            inFiles.insert(line.substr(7, 5) + '\t' + line.substr(13, 6) + '\t' + line.substr(0, 3));
        }
        options.inputFile = kExampleLog;
        std::multiset<std::string> rows;
        followTracks(config, options, [&rows](const TrackRow& row) {
            if (row.fate == TrackFate::kLine) rows.insert(rowText(row).substr(0, 16));
        });
        EXPECT_GT(rows.size(), 100U);
        EXPECT_EQ(rows, inFiles) << how;
    }
}

TEST_F(TracksTest, SaysWhatKeptAWholeLogFromGivingLines) {
    const auto firstSentence = [&](const ByteVector& log) {
        options.inputFile = folder.write("log", log);
        TrackReport report(options);
        report.setEpochTimes(
            followTracks(config, options, [&report](const TrackRow& row) { report.add(row, false); }).epochTimes);
        return report.sentences().at(0);
    };
    ByteVector minutes = navBlock(kGpsSatellite);
    ByteVector offGrid = minutes;
    for (uint32_t i = 0; i < 30; ++i) {
        minutes += epochBlock(kGpsSatellite, kTrackStart + 60 * i);
        offGrid += epochBlock(kGpsSatellite, kTrackStart + 30 * i + 15);
    }
    EXPECT_EQ(firstSentence(minutes), "Epochs are 00:01:00 apart; tracks need one every 30 s.");
    EXPECT_EQ(firstSentence(offGrid), "No epoch lies at a multiple of 30 s: the first is at 2020-06-25 00:10:15.");
    EXPECT_EQ(firstSentence(navBlock(kGpsSatellite)), "The log holds no measurement epoch.");
    EXPECT_EQ(firstSentence(epochs(kGpsSatellite)).substr(0, 68),
              "GPS: no line; 1 of its 1 track: no ephemeris at the start of the tra");
}

// Every damage leaves its mark in the counts, and nothing else.
TEST_F(ZeltlogTest, CountsAgreeWithTheDamage) {
    const ByteVector log = readLog(kExampleLog);
    std::vector<ByteVector> blocks;
    for (const Bytes block : blocksOf(viewOf(log))) blocks.push_back(copyOf(block));
    const LogInfo sound = infoOf(log);
    EXPECT_EQ(sound.blocks, blocks.size());
    EXPECT_EQ(sound.crcErrors + sound.unstampedBlocks + sound.backwards + sound.epochs.gapCount(), 0U);
    EXPECT_EQ(sound.strayBytes + sound.cutOffBytes, 0);
    std::minstd_rand random(7);
    for (size_t damaged = 1; damaged <= 32; damaged *= 2) {
        std::vector<ByteVector> parts = blocks;
        std::set<size_t> chosen;
        while (chosen.size() < damaged) chosen.insert(random() % blocks.size());
        int64_t lost = 0;
        for (const size_t i : chosen) {
            parts[i][14 + random() % (parts[i].size() - 14)] ^= 0x10;
            lost += static_cast<int64_t>(parts[i].size());
        }
        parts.insert(parts.begin() + 100, ByteVector(1000, 0x55));  // garbage
        ByteVector cut(blocks[5].begin(), blocks[5].end() - 3);
        parts.push_back(cut);
        parts.push_back(BlockBuilder(4007, 16, 0, kZeltNoTow).done());
        const LogInfo info = infoOf(joined(parts));
        EXPECT_EQ(info.blocks, blocks.size() - damaged + 1);
        EXPECT_GE(info.crcErrors, damaged + 1);  // what was cut off looks like a block up to the next one's end
        EXPECT_LE(info.crcErrors, damaged + 3);
        EXPECT_EQ(info.strayBytes, lost + 1000 + static_cast<int64_t>(cut.size()));
        EXPECT_EQ(info.unstampedBlocks, 1U);
    }
    const ByteVector truncated(log.begin(), log.end() - 10);
    EXPECT_EQ(infoOf(truncated).cutOffLength, static_cast<int64_t>(blocks.back().size()));
    EXPECT_EQ(infoOf(truncated).cutOffBytes, static_cast<int64_t>(blocks.back().size()) - 10);
}

TEST_F(ZeltlogTest, GapsEpochsAndEphemerides) {
    std::vector<int> missing;
    for (int i = 5; i < 15; ++i) missing.push_back(i);
    ByteVector log = simulate(kGpsSatellite, 26, missing);
    const LogInfo info = infoOf(log);
    EXPECT_EQ(info.epochs.count, 16U);
    EXPECT_EQ(info.epochs.interval(), 30000);
    EXPECT_EQ(info.epochs.gapCount(), 1U);
    EXPECT_EQ(info.epochs.missingTime(), 300000);
    EXPECT_EQ(formatTime(info.epochs.longest.at(0).from), "2020-06-25 00:12:30");
    const ConstellationInfo& gps = info.constellations[0];
    EXPECT_EQ(gps.bothCodes, 16U);
    EXPECT_EQ(gps.ephemerides[kNavOnly], 1U);
    EXPECT_EQ(gps.longestWithout, (780 + 600) * 1000);  // from the ephemeris, ten minutes before the track, to its end
    log += simulate(kGpsSatellite, 1);
    EXPECT_EQ(infoOf(log).backwards, 1U);
    EXPECT_EQ(infoOf(simulate(kGalSatellite, 1)).constellations[2].ephemerides[kFnav], 1U);
    EXPECT_EQ(infoOf(BlockBuilder(navBlock(kGalSatellite)).u8(15, 2).done()).constellations[2].ephemerides[kInav], 1U);
    EXPECT_EQ(infoOf(BlockBuilder(navBlock(kGpsSatellite)).u8(20, 1).done()).constellations[0].unhealthy, 1U);
}

TEST_F(ZeltlogTest, LeapSecondsOfEverySource) {
    const auto utc = [](uint32_t tow, int value) { return BlockBuilder(kZeltGpsUtc, 40, 0, tow).u8(33, value).done(); };
    const LogInfo info = infoOf(joined({utc(1000, 18), utc(kZeltNoTow, 17)}));
    EXPECT_EQ(info.leapSeconds[kLeapStamped].lowest, 18);
    EXPECT_EQ(info.leapSeconds[kLeapUnstamped].lowest, 17);
    EXPECT_FALSE(leapSecondsAgree(info));
    const ByteVector in2019 = BlockBuilder(kZeltMeasEpoch, 20, 1, 0, 2080).done();
    const LogInfo table = infoOf(joined({in2019, utc(kZeltNoTow, 18)}));
    EXPECT_EQ(table.leapSeconds[kLeapTable].highest, 18);  // since 2017
    EXPECT_TRUE(leapSecondsAgree(table));
}

TEST_F(ZeltlogTest, SpansOfHeadAndTail) {
    const ByteVector log = readLog(kExampleLog);
    const LogSpan span = readLogSpan(kExampleLog);
    EXPECT_EQ(formatTime(span.first) + ' ' + formatTime(span.last), "2020-06-25 00:00:00 2020-06-25 02:59:30");
    EXPECT_TRUE(span.isOrdered && !span.isWhole);
    // Neither a head nor a tail of garbage hides them.
    const ByteVector garbage(1000000, '$');
    const LogSpan found = readLogSpan(folder.write("log", joined({garbage, log, garbage})));
    EXPECT_EQ(found.first, span.first);
    EXPECT_EQ(found.last, span.last);
    const LogSpan turned = readLogSpan(
        folder.write("log", joined({BlockBuilder(4007, 16, 0, 5000).done(), BlockBuilder(4007, 16, 0, 4000).done()})));
    EXPECT_TRUE(turned.isWhole && !turned.isOrdered);
    // Before a tail of earlier times what is in between counts.
    for (const int early : {60, 86400}) {
        ByteVector wrong = log;
        const ByteVector stray = BlockBuilder(4007, 16).stamp(secondOf(viewOf(log)) - early).done();
        while (wrong.size() < log.size() + 150000) wrong += stray;
        const LogSpan whole = readLogSpan(folder.write("log", wrong));
        EXPECT_EQ(whole.first, span.first - early * 1000);
        EXPECT_EQ(whole.last, span.last);
    }
    EXPECT_FALSE(readLogSpan(folder.write("log", garbage)).hasBlock);
}

TEST(Calendar, Dates) {
    const struct {
        int64_t milliseconds;
        const char* text;
    } cases[] = {{0, "1980-01-06 00:00:00"},
                 {1267228800250, "2020-03-03 00:00:00.250"},
                 {1267056000000, "2020-03-01 00:00:00"},
                 {1266969600000, "2020-02-29 00:00:00"},
                 {628473600000, "1999-12-06 00:00:00"}};
    for (const auto& c : cases) EXPECT_EQ(formatTime(c.milliseconds), c.text);
    EXPECT_EQ(formatDuration(1000), "1 s");
    EXPECT_EQ(formatDuration(59250), "59.250 s");
    EXPECT_EQ(formatDuration(90061000), "1 d 01:01:01");
}

}  // namespace
