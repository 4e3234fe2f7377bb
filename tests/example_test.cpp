// The example log against what is known of the station, its receiver and the format.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <sstream>

#include "app/cmdline.h"
#include "app/driver.h"
#include "cggtts/writer.h"
#include "tests/logbuilder.h"

namespace {

struct Line {
    std::string sat;
    std::string start;
    double elevation;  // degrees
    double refsys;     // ns
    double mdtr;       // ns
};

std::vector<Line> dataLines(const std::string& text) {
    std::vector<Line> lines;
    std::istringstream in(text);
    std::string line;
    for (int i = 0; std::getline(in, line); ++i) {
        if (i < 19) continue;
        EXPECT_EQ(line.size(), 127U);
        EXPECT_EQ(std::stoul(line.substr(125), nullptr, 16), cggttsChecksum(line.substr(0, 125)));
        lines.push_back({line.substr(0, 3), line.substr(12, 7), std::stod(line.substr(24, 4)) / 10,
                         std::stod(line.substr(52, 12)) / 10, std::stod(line.substr(80, 5)) / 10});
    }
    return lines;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return (values[values.size() / 2] + values[(values.size() - 1) / 2]) / 2;
}

// The receiver's clock was 480924.6 ns ahead of GPS time that day, by the precise orbits and clocks of an analysis
// centre; through the other constellations some ns to 20 ns more or less. The scatter of uncalibrated code
// measurements between satellites is a few ns; a wrong term anywhere is tens to thousands.
TEST(Example, AgreesWithTheStationsClock) {
    const struct {
        char letter;
        double clock, tolerance, scatter;  // ns
        size_t lines;
    } cases[] = {{'G', 480924.6, 5, 3.5, 80},
                 {'R', 480917.3, 8, 10, 60},
                 {'E', 480941.0, 5, 2.5, 60},
                 {'C', 480946.0, 8, 8, 20}};
    for (const auto& c : cases) {
        const auto lines = dataLines(readFile(std::string(ZELT_EXAMPLES "/expected/") + c.letter + "ZEX0159.025"));
        std::map<std::string, std::vector<double>> tracks;
        for (const Line& line : lines) tracks[line.start].push_back(line.refsys);
        double sumSq = 0;
        size_t compared = 0;
        for (const Line& line : lines) {
            if (tracks[line.start].size() < 3) continue;
            ++compared;
            const double atMedian = median(tracks[line.start]);
            EXPECT_NEAR(atMedian, c.clock, c.tolerance) << line.sat << line.start;
            sumSq += std::pow(line.refsys - atMedian, 2);
            const double sine = std::sin(line.elevation * 3.14159265358979 / 180);
            EXPECT_NEAR(line.mdtr * sine, 8.1, 0.4) << line.sat << line.start;
        }
        EXPECT_GT(compared, c.lines);
        EXPECT_LT(std::sqrt(sumSq / static_cast<double>(compared)), c.scatter) << c.letter;
    }
}

std::map<std::string, std::string> convertInto(const TestDirectory& directory, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "zelt2cggtts");
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(directory.path);
    RunConfig config;
    RunOptions options;
    OutputRegistry outputs;
    EXPECT_TRUE(parseOptions(static_cast<int>(argv.size()), argv.data(), config, options));
    processFile(config, options, outputs);
    closeOutputs(outputs);
    std::filesystem::current_path(before);
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(directory.path)) {
        if (entry.path().extension() == ".025") files[entry.path().filename().string()] = readFile(entry.path());
    }
    return files;
}

// A log cut in two and joined again is the log; garbage between its blocks does not count.
TEST(Example, GarbageBetweenBlocksChangesNothing) {
    const ByteVector log = readLog(ZELT_EXAMPLES "/esbc-2020-06-25-3h.zelt");
    ByteVector dirty{'$', '@', '$', '$'};
    for (size_t at = 0; at < log.size();) {
        const size_t length = viewOf(log).u16(at + kZeltLengthOffset);
        dirty.insert(dirty.end(), log.begin() + static_cast<std::ptrdiff_t>(at),
                     log.begin() + static_cast<std::ptrdiff_t>(at + length));
        at += length;
        if (at % 3 == 0) dirty += ByteVector{'$', '@', 1, 2, 3, 4, 0xFF, 0xFF, '$'};
    }
    TestDirectory clean("clean");
    TestDirectory soiled("soiled");
    const auto expected = convertInto(clean, {"-f", clean.write("log", log), "-ls18"});
    EXPECT_EQ(expected.size(), 4U);
    EXPECT_EQ(convertInto(soiled, {"-f", soiled.write("log", dirty), "-ls18"}), expected);
}

// A reference delay moves every REFSV and REFSYS by just itself.
TEST(Example, ReferenceDelayShiftsEveryLine) {
    TestDirectory plain("plain");
    TestDirectory delayed("delayed");
    const std::string log = ZELT_EXAMPLES "/esbc-2020-06-25-3h.zelt";
    const auto before = convertInto(plain, {"-f", log, "-ls18"});
    const auto after = convertInto(delayed, {"-f", log, "-ls18", "-dref10"});
    for (const auto& [name, text] : before) {
        const auto a = dataLines(text);
        const auto b = dataLines(after.at(name));
        ASSERT_EQ(a.size(), b.size());
        for (size_t i = 0; i < a.size(); ++i) EXPECT_NEAR(b[i].refsys - a[i].refsys, 10, 1e-6) << a[i].sat;
    }
}

// The compact log of the same measurements gives the same files, but for single units of the last digit: codes of its
// delta slaves are off the millimetres of the verbose log by up to half of one, which can tip a rounding.
TEST(Example, CompactLogGivesTheSameLines) {
    TestDirectory verbose("verbose");
    TestDirectory compact("compact");
    const auto a = convertInto(verbose, {"-f", ZELT_EXAMPLES "/esbc-2020-06-25-3h.zelt", "-ls18"});
    const auto b = convertInto(compact, {"-f", ZELT_EXAMPLES "/esbc-2020-06-25-3h-meas3.zelt", "-ls18"});
    int differing = 0;
    for (const auto& [name, text] : a) {
        std::istringstream ina(text);
        std::istringstream inb(b.at(name));
        for (std::string la, lb; std::getline(ina, la) && std::getline(inb, lb);) {
            if (la == lb) continue;
            ++differing;
            std::istringstream fa(la.substr(0, 114));
            std::istringstream fb(lb.substr(0, 114));
            for (std::string va, vb; fa >> va && fb >> vb;) {
                EXPECT_TRUE(va == vb || std::abs(std::stod(va) - std::stod(vb)) <= 1) << la << '\n' << lb;
            }
        }
        EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), std::count(b.at(name).begin(), b.at(name).end(), '\n'));
    }
    EXPECT_LE(differing, 8) << "of 253 lines";
}

}  // namespace
