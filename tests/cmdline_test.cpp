#include "app/cmdline.h"

#include <gtest/gtest.h>

#include <cmath>

#include "app/helptext.h"
#include "tests/logbuilder.h"

namespace {

// The first revision-4 ReceiverSetup of a log, with a position on the equator.
ByteVector setupBlock() {
    BlockBuilder builder(kZeltReceiverSetup, 4, 0, kTestWeek, 424);
    builder.text(116, "Lab of the file").text(196, "5.30").text(328, "ZeltRx");
    return builder.set<double>(368, 0.0).set<double>(376, 0.0).set<float>(384, 100.0F).done();
}

ByteVector measBlock(uint16_t wnc, uint32_t tow) { return BlockBuilder(kZeltMeasEpoch, 1, tow, wnc, 20).done(); }

ByteVector utcBlock(uint16_t wnc, int8_t leapSeconds) {
    return BlockBuilder(kZeltGpsUtc, 0, 0, wnc, 36).set<int8_t>(33, leapSeconds).done();
}

struct CommandLineTest : testing::Test {
    TestDirectory directory{"cmdline"};
    std::string log = directory.write("log", setupBlock());
    RunConfig config;
    RunOptions options;
    std::string errors;

    bool parse(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "zelt2cggtts");
        std::vector<char*> argv;
        for (std::string& argument : arguments) argv.push_back(argument.data());
        config = {};
        options = {};
        testing::internal::CaptureStderr();
        const bool result = parseOptions(static_cast<int>(argv.size()), argv.data(), config, options);
        errors = testing::internal::GetCapturedStderr();
        return result;
    }
    bool parseWithLog(std::vector<std::string> arguments) {
        arguments.insert(arguments.end(), {"-f", log, "-ls18"});
        return parse(std::move(arguments));
    }
};

TEST_F(CommandLineTest, ValuesGluedOrApart) {
    ASSERT_TRUE(parseWithLog({"-dl110", "-dl2", "-2.5e1x", "-dcab78.4", "-labidXYZ", "-lab",     "Paris",
                              "-rxid7", "-C",   "-de5a3",  "-de1",      "4",         "-elm5deg", "-x",
                              "RE",     "-px",  "1",       "-dl1",      "x",         "-dl1",     "3"}));
    EXPECT_EQ(config.delayGpsL1, 3);
    EXPECT_EQ(config.delayGpsL2, -25);
    EXPECT_EQ(config.delayCable, 78.4);
    EXPECT_EQ(config.delayGalE5a, 3);
    EXPECT_EQ(config.delayGalE1, 4);
    EXPECT_EQ(config.elevationMask, 5);
    EXPECT_EQ(config.leapSeconds, 18);
    EXPECT_TRUE(config.contiguous);
    EXPECT_EQ(options.laboratoryCode, "XY");
    EXPECT_EQ(options.laboratory, "Paris");
    EXPECT_EQ(options.receiverId, "7_");
    EXPECT_EQ(options.firmwareVersion, "5.30");
    EXPECT_EQ(options.productName, "ZeltRx");
    EXPECT_FALSE(isConstellationEnabled(options, 'R'));
    EXPECT_TRUE(isConstellationEnabled(options, 'G'));
    EXPECT_EQ(errors, "");
}

TEST_F(CommandLineTest, EachFailurePrintsItsMessage) {
    const std::string unstamped = directory.write("2021", utcBlock(kTestWeek, 18));
    const struct {
        std::vector<std::string> arguments;
        std::string message;
    } cases[] = {
        {{}, "!! Argument -f is mandatory.  Use -h option for help.\n"},
        {{"-f"}, "The Zelt file \"\" could not be opened for reading: No such file or directory\n"},
        {{"-f", log, "-elm", "abc"}, "!! Syntax error in -elm argument.  Use -h option for help.\n"},
        {{"-f", log, "-dl1", "3", "-dl1", "x"}, "!! Syntax error in -dl1 argument.  Use -h option for help.\n"},
        {{"-f", log, "foo", "-ls", "many"}, "!! Syntax error in -ls argument.  Use -h option for help.\n"},
        {{"-f", log, "-bx"}, "!! Syntax error in -b argument.  Use -h option for help.\n"},
        {{"-f", log, "-e", "never"}, "!! Syntax error in -e argument.  Use -h option for help.\n"},
        {{"-f", log, "foo", "bar"}, "!! Unknown option foo.  Use -h option for help.\n"},
        {{"-f", log}, "!! Leap second cannot be determined.  Use -ls option to set it manually.\n"},
        {{"-f", unstamped, "-px1"}, "!! Leap second cannot be determined.  Use -ls option to set it manually.\n"},
        {{"-f", unstamped, "-ls18"}, "!! Receiver position unknown.  Use -px, -py and -pz options to set it.\n"},
    };
    for (const auto& c : cases) {
        EXPECT_FALSE(parse(c.arguments)) << c.message;
        EXPECT_EQ(errors, c.message);
    }
}

TEST_F(CommandLineTest, HelpAndVersionWinOverEverything) {
    EXPECT_TRUE(parse({"bogus", "-h"}));
    EXPECT_TRUE(options.inputFile.empty());
    EXPECT_EQ(errors, std::string(kHelpTexts[0]) + kHelpTexts[1] + kHelpTexts[2]);
    testing::internal::CaptureStdout();
    EXPECT_TRUE(parse({"-Vx", "bogus"}));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "zelt2cggtts-1.3.3\n");
}

// The prefix rule only works when no option stands behind one that it begins with, and the help knows every option
// but the one meant for scripts.
TEST_F(CommandLineTest, TableOrderAndHelpHold) {
    AntennaSettings antenna;
    const std::vector<Option> table = optionTable(config, options, antenna);
    const std::string help = std::string(kHelpTexts[0]) + kHelpTexts[1];
    for (size_t i = 0; i < table.size(); ++i) {
        const std::string text = table[i].text;
        for (size_t j = i + 1; j < table.size(); ++j) EXPECT_NE(std::string(table[j].text).find(text), 0U) << text;
        EXPECT_EQ(help.find("\n  " + text + " ") == std::string::npos, text == "-matlab") << text;
    }
}

TEST_F(CommandLineTest, EpochBounds) {
    constexpr int64_t kJune2019 = 1243382400000;  // 2019-06-01: 14391 days after 1980-01-06
    const struct {
        const char* text;
        int64_t milliseconds;
    } cases[] = {
        {"2019-06-01_00:00:00", kJune2019},
        {"19/06/01 00.00.00", kJune2019},
        {"119-6-1", kJune2019},
        {"2019-06-01_23:59:59.9995", kJune2019 + 86399999 + 1},
        {"2019", kJune2019 - int64_t{183} * 86400000},  // month 0, day 0: 2018-11-30
        {"1980-01-06", 0},
        {"1980-01-05_23:59:59", -1000 + 1},  // half up: trunc(-999.5)
        {"2020-02-30", kJune2019 + int64_t{274} * 86400000},
        {"2019-06-01_00:00:inf", INT64_MAX},
        {"2019-06-01_00:00:-1e300", INT64_MIN},
    };
    for (const auto& c : cases) {
        int64_t value = 1;
        EXPECT_TRUE(parseEpochBound(c.text, value)) << c.text;
        EXPECT_EQ(value, c.milliseconds) << c.text;
    }
    int64_t untouched = 1;
    EXPECT_FALSE(parseEpochBound("x", untouched));
    EXPECT_TRUE(parseWithLog({"-b", "2019-06-01", "-e2019-06-01_00:00:00"}));
    EXPECT_EQ(options.firstEpoch, kJune2019);
    EXPECT_EQ(options.lastEpoch, kJune2019);
    EXPECT_TRUE(parseWithLog({"-b", "", "-e", ""}));
    EXPECT_EQ(options.lastEpoch, 36288000000000);
}

TEST_F(CommandLineTest, LeapSecondsOfTheLog) {
    constexpr uint32_t kLeapDay2017 = 1167264017;  // GPS second from which 18 holds
    const auto epochAt = [](uint32_t t) { return measBlock(static_cast<uint16_t>(t / 604800), t % 604800 * 1000); };
    const struct {
        ByteVector log;
        int32_t expected;
    } cases[] = {
        {epochAt(kLeapDay2017 - 1), 17},      {epochAt(kLeapDay2017 + 1), 18},
        {epochAt(46828800), INT32_MIN},  // not yet after the first
        {epochAt(1261872000), INT32_MIN},     {utcBlock(kZeltNoWnc, -3), -3},
        {utcBlock(kTestWeek, 18), INT32_MIN},
    };
    for (const auto& c : cases) {
        ByteVector whole = setupBlock();
        whole += c.log;
        const bool known = parse({"-f", directory.write("leap", whole)});
        EXPECT_EQ(known, c.expected != INT32_MIN);
        EXPECT_EQ(config.leapSeconds, c.expected);
    }
}

// Position of the log's setup: on the equator at longitude 0, 100 m up; the phase centres move along the X axis.
TEST_F(CommandLineTest, PhaseCentresFollowTheOffsets) {
    ASSERT_TRUE(parseWithLog({"-al1", "0.1", "-ag2", "1", "-ab1", "0.01", "-ab2", "0.01"}));
    const double height[] = {0.1 * 2.5457277801631593, -1.543764495985727, 0.1 * 2.2606043275188257, 0.01};
    for (size_t i = 0; i < kTrackedConstellations; ++i) {
        EXPECT_NEAR(config.phaseCentre[i].x, 6378137 + 100 + height[i], 1e-6) << i;
        EXPECT_NEAR(config.phaseCentre[i].y, 0, 1e-6);
        EXPECT_NEAR(config.phaseCentre[i].z, 0, 1e-6);
    }
    EXPECT_EQ(options.laboratory, "Lab of the file");
}

}  // namespace
