#include "app/cmdline.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

#include "app/helptext.h"
#include "cggtts/writer.h"
#include "tests/support/logs.h"
#include "utils/geometry/navtools.h"

namespace {

// The first ReceiverSetup of a log, with a position on the equator at 90 degrees east, 100 m up.
ByteVector setupBlock(int revision = 4, double latitude = 0) {
    BlockBuilder builder(kZeltReceiverSetup, 424, revision);
    builder.text(116, "Lab of the file").text(196, "5.30").text(328, "ZeltRx");
    return builder.f64(368, latitude).f64(376, std::acos(0)).f32(384, 100).done();
}

ByteVector epochBlock(int64_t second, int number = kZeltMeasEpoch) {
    return BlockBuilder(number, 20).stamp(second).done();
}

ByteVector utcBlock(int wnc, int leapSeconds, int number = kZeltGpsUtc) {
    return BlockBuilder(number, 36, 0, 0, wnc).u8(33, leapSeconds).done();
}

struct CommandLineTest : testing::Test {
    ScratchFolder folder;
    std::string log = folder.write("log", setupBlock());
    RunConfig config;
    RunOptions options;
    std::string errors;

    // Arguments are separated by blanks; "" is an empty one.
    bool parse(const std::string& text) {
        std::istringstream words("zelt2cggtts " + text);
        std::vector<std::string> arguments;
        for (std::string word; words >> word;) arguments.push_back(word == "\"\"" ? "" : word);
        std::vector<char*> argv;
        for (std::string& argument : arguments) argv.push_back(argument.data());
        config = {};
        options = {};
        testing::internal::CaptureStderr();
        const bool result = parseOptions(static_cast<int>(argv.size()), argv.data(), config, options);
        errors = testing::internal::GetCapturedStderr();
        return result;
    }
    bool parseWithLog(const std::string& text) { return parse(text + " -ls18 -f " + log); }
};

TEST_F(CommandLineTest, ValuesGluedOrApart) {
    ASSERT_TRUE(
        parseWithLog("-dl110 -dl2 -2.5e1x -dcab78.4 -labidXYZ -lab Paris -rxid7 -C -de5a3 -de1 4 -elm5deg -x RE "
                     "-dl1 x -dl1 1 -dg13 -dg24 -db1 5 -db2= -db26"));
    const char* const delays[] = {"= 1.0 ns (GPS P1)   -25.0 ns (GPS P2)", "= 3.0 ns (GLO C1)   4.0 ns (GLO C2)",
                                  "= 4.0 ns (Galileo E1)   3.0 ns (Galileo E5a)",
                                  "= 5.0 ns (BeiDou B1)   6.0 ns (BeiDou B2)"};
    for (size_t c = 0; c < 4; ++c) EXPECT_NE(formatHeader(c, {}, config).find(delays[c]), std::string::npos) << c;
    EXPECT_EQ(config.delayCableNs, 78.4);
    EXPECT_EQ(config.elevationMaskDeg, 5);
    EXPECT_EQ(config.leapSeconds, 18);
    EXPECT_TRUE(config.isContiguous);
    EXPECT_EQ(options.laboratoryCode + options.laboratory + options.receiverId, "XYParis7_");
    EXPECT_EQ(options.firmwareVersion + options.productName + options.excluded, "5.30ZeltRxRE");
    EXPECT_EQ(errors, "");
}

TEST_F(CommandLineTest, EachFailurePrintsItsMessage) {
    const std::string stamped = folder.write("2021", utcBlock(kTestWeek, 18));
    const auto syntaxError = [](const std::string& option) {
        return "!! Syntax error in " + option + " argument.  Use -h option for help.\n";
    };
    const std::pair<std::string, std::string> cases[] = {
        {"-f", "The Zelt file \"\" could not be opened for reading: No such file or directory\n"},
        {"-elm abc -f " + log, syntaxError("-elm")},
        {"-dl1 3 -dl1 x -f " + log, syntaxError("-dl1")},
        {"foo -ls many -f " + log, syntaxError("-ls")},
        {"-bx -f " + log, syntaxError("-b")},
        {"-e never -f " + log, syntaxError("-e")},
        {"foo bar -f " + log, "!! Unknown option foo.  Use -h option for help.\n"},
        {"-px1 -f " + stamped, "!! Leap second cannot be determined.  Use -ls option to set it manually.\n"},
        {"-ls18 -f " + stamped, "!! Receiver position unknown.  Use -px, -py and -pz options to set it.\n"},
    };
    for (const auto& [arguments, message] : cases) {
        EXPECT_FALSE(parse(arguments)) << message;
        EXPECT_EQ(errors, message);
    }
}

TEST_F(CommandLineTest, HelpAndVersionWinOverEverything) {
    EXPECT_TRUE(parse("bogus -h"));
    EXPECT_TRUE(options.inputFile.empty());
    EXPECT_EQ(errors, std::string(kHelpTexts[0]) + kHelpTexts[1] + kHelpTexts[2]);
    testing::internal::CaptureStdout();
    EXPECT_TRUE(parse("-Vx bogus"));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "zelt2cggtts-1.3.3\n");
}

// The prefix rule only works when no option stands behind one that it begins with. The help knows every option but the
// one meant for scripts, and of a text the characters kept, though it promises fewer for -x.
TEST_F(CommandLineTest, TableOrderAndHelpHold) {
    AntennaSettings antenna;
    const std::vector<Option> table = optionTable(config, options, antenna);
    const std::string help = std::string(kHelpTexts[0]) + kHelpTexts[1];
    for (size_t i = 0; i < table.size(); ++i) {
        const std::string text = table[i].text;
        for (size_t j = i + 1; j < table.size(); ++j) EXPECT_NE(std::string(table[j].text).find(text), 0U) << text;
        const auto* target = std::get_if<TextTarget>(&table[i].target);
        const bool hasCapacity = target != nullptr && text != "-x";
        const std::string entry = "\n  " + text + (hasCapacity ? " str" + std::to_string(target->capacity) : "") + " ";
        EXPECT_EQ(help.find(entry) == std::string::npos, text == "-matlab") << entry;
    }
}

// Rounded half up: -1000 + 0.5 is cut to -999. A year alone is its month 0, day 0: 30 November before it.
TEST_F(CommandLineTest, EpochBounds) {
    constexpr int64_t kDay = 86400000;
    constexpr int64_t kJune2019 = 14391 * kDay;  // 2019-06-01, counted from 1980-01-06
    const std::pair<const char*, int64_t> cases[] = {
        {"19/06/01 00.00.00", kJune2019},       {"119-6-1", kJune2019},
        {"2020-02-30", kJune2019 + 274 * kDay}, {"2019-06-01_23:59:59.9995", kJune2019 + kDay},
        {"2019", kJune2019 - 183 * kDay},       {"1980-01-06", 0},
        {"1980-01-05_23:59:59", -999},          {"2019-06-01_00:00:inf", INT64_MAX},
        {"2019-06-01_00:00:-1e300", INT64_MIN}};
    for (const auto& [text, milliseconds] : cases) {
        int64_t value = 1;
        EXPECT_TRUE(parseEpochBound(text, value)) << text;
        EXPECT_EQ(value, milliseconds) << text;
    }
    int64_t untouched = 1;
    EXPECT_FALSE(parseEpochBound("x", untouched));
    EXPECT_TRUE(parseWithLog("-b 2019-06-01 -e2019-06-01_00:00:0955"));  // 19 characters count
    EXPECT_EQ(options.firstEpochMs, kJune2019);
    EXPECT_EQ(options.lastEpochMs, kJune2019 + 9000);
    EXPECT_TRUE(parseWithLog("-b \"\" -e \"\""));
    EXPECT_EQ(options.lastEpochMs, 36288000000000);
}

// Unknown up to the first leap second, during which the count before still holds, and from 2020 on.
TEST_F(CommandLineTest, LeapSecondsOfTheLog) {
    constexpr int kUnknown = INT32_MIN;
    std::vector<std::pair<ByteVector, int>> cases = {{epochBlock(1261872000, kZeltMeas3Ranges), kUnknown},
                                                     {epochBlock(1261871999, kZeltMeas3Ranges), 18},
                                                     {utcBlock(kZeltNoWnc, -3), -3},
                                                     {utcBlock(kZeltNoWnc, 5, kZeltUtc2), 5},
                                                     {utcBlock(2000, 18), kUnknown}};
    int count = 0;
    // Years from 1900 and months before which a leap second was inserted (IERS Bulletin C).
    constexpr uint32_t kMonths[] = {8107, 8207, 8307, 8507, 8801,  9001,  9101,  9207,  9307,
                                    9407, 9601, 9707, 9901, 10601, 10901, 11207, 11507, 11701};
    for (const uint32_t month : kMonths) {
        const double utc = Qon::Nav::DateToGpsSeconds(1900 + month / 100, month % 100, 1, 0, 0, 0);
        const int64_t leap = static_cast<int64_t>(utc) + count;
        cases.emplace_back(epochBlock(leap), count == 0 ? kUnknown : count);
        cases.emplace_back(epochBlock(leap + 1), ++count);
    }
    for (const auto& [block, leapSeconds] : cases) {
        const std::string leap = folder.write("leap", joined({setupBlock(), block}));
        EXPECT_EQ(parse("-f " + leap), leapSeconds != kUnknown);
        EXPECT_EQ(config.leapSeconds, leapSeconds);
    }
}

// Position of the log's setup: on the equator at 90 degrees east; the phase centres move along the Y axis.
TEST_F(CommandLineTest, PhaseCentresFollowTheOffsets) {
    using Qon::Nav::GetLineOfSight;
    ASSERT_TRUE(parseWithLog("-al1 0.1 -ag1 0.5 -ag2 1 -ab1 0.01 -ab2 0.01"));
    EXPECT_EQ(options.laboratory, "Lab of the file");
    const double height[] = {0.1 * 2.5457277801631593, 0.5 * 2.543764495985727 - 1.543764495985727,
                             0.1 * 2.2606043275188257, 0.01};
    for (size_t i = 0; i < kTrackedConstellations; ++i) {
        EXPECT_LT(GetLineOfSight({0, 6378137 + 100 + height[i], 0}, config.phaseCentre[i]).range, 1e-6) << i;
    }
    ASSERT_TRUE(parseWithLog("-px1e6 -py-6e6 -pz2e6"));  // before the log's
    EXPECT_LT(GetLineOfSight({1e6, -6e6, 2e6}, config.phaseCentre[0]).range, 1e-3);
}

// The product name came with revision 3, the position with revision 4; the receiver may not know it.
TEST_F(CommandLineTest, SetupsOfEveryRevision) {
    const auto productOf = [&](int revision, double latitude) {
        const std::string path = folder.write("setup", setupBlock(revision, latitude));
        return (parse("-ls18 -f " + path) ? "placed " : "") + options.productName;
    };
    EXPECT_EQ(productOf(2, 0), "Unknown");
    EXPECT_EQ(productOf(3, 0), "ZeltRx");
    EXPECT_EQ(productOf(4, 0), "placed ZeltRx");
    EXPECT_EQ(productOf(4, -2e10), "ZeltRx");
}

}  // namespace
