// The example log against what is known of the station, its receiver and the format.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>

#include "cggtts/writer.h"
#include "tests/logbuilder.h"

namespace {

struct Line {
    std::string sat, start;
    double elevation;     // degrees
    double refsys, mdtr;  // ns
};

std::vector<Line> dataLines(const std::string& text) {
    std::vector<Line> lines;
    for (const std::string& line : linesOf(text, 19)) {
        EXPECT_EQ(line.size(), 127U);
        EXPECT_EQ(std::stoul(line.substr(125), nullptr, 16), cggttsChecksum(line.substr(0, 125)));
        const auto tenths = [&](size_t at, size_t width) { return std::stod(line.substr(at, width)) / 10; };
        lines.push_back({line.substr(0, 3), line.substr(12, 7), tenths(24, 4), tenths(52, 12), tenths(80, 5)});
    }
    return lines;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return (values[values.size() / 2] + values[(values.size() - 1) / 2]) / 2;
}

// The receiver's clock was 480924.6 ns ahead of GPS time that day, by the precise orbits and clocks of an analysis
// centre; through the other constellations some ns to 20 ns more or less. The scatter of uncalibrated code
// measurements between satellites is a few ns; a wrong term anywhere is tens to thousands. All in ns.
TEST(Example, AgreesWithTheStationsClock) {
    const Rows<char, double, double, double, size_t> cases = {{'G', 480924.6, 5, 3.5, 80},
                                                              {'R', 480917.3, 8, 10, 60},
                                                              {'E', 480941.0, 5, 2.5, 60},
                                                              {'C', 480946.0, 8, 8, 20}};
    for (const auto& [letter, clock, tolerance, scatter, least] : cases) {
        const auto lines = dataLines(readFile(std::string(ZELT_EXAMPLES "/expected/") + letter + "ZEX0159.025"));
        std::map<std::string, std::vector<double>> tracks;
        for (const Line& line : lines) tracks[line.start].push_back(line.refsys);
        double sumSq = 0;
        size_t compared = 0;
        for (const Line& line : lines) {
            if (tracks[line.start].size() < 3) continue;
            ++compared;
            const double atMedian = median(tracks[line.start]);
            EXPECT_NEAR(atMedian, clock, tolerance) << line.sat << line.start;
            sumSq += std::pow(line.refsys - atMedian, 2);
            const double sine = std::sin(line.elevation * 3.14159265358979 / 180);
            EXPECT_NEAR(line.mdtr * sine, 8.1, 0.4) << line.sat << line.start;
        }
        EXPECT_GT(compared, least);
        EXPECT_LT(std::sqrt(sumSq / static_cast<double>(compared)), scatter) << letter;
    }
}

}  // namespace
