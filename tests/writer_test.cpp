#include "cggtts/writer.h"

#include <gtest/gtest.h>

#include <cmath>

#include "cggtts/linefit.h"
#include "cggtts/schedule.h"

namespace {

constexpr double kMetresPerNs = 0.299792458;
constexpr uint32_t kMjd60123 = 559699200 + (60123 - 50722) * 86400;

std::string printed(const DataLine& line) {
    std::string text;
    formatDataLine(line, text);
    return text;
}

DataLine exampleLine() {
    DataLine line;
    line.svid = 45;
    line.trackStart = kMjd60123 + 3 * 3600 + 25 * 60 + 7;
    line.elevation = 3.14159265358979 / 4;
    line.azimuth = 359.96 * 3.14159265358979 / 180;
    line.refsv = -1234567.8 * kMetresPerNs;
    line.srsv = -0.0123 * kMetresPerNs;
    line.refsys = 98.76 * kMetresPerNs;
    line.srsys = 0.00004 * kMetresPerNs;
    line.dsg = 1.25 * kMetresPerNs * 1.0000001;
    line.ioe = 96;
    line.mdtr = 82.2 * kMetresPerNs;
    line.smdt = -0.001 * kMetresPerNs;
    line.mdio = -5 * kMetresPerNs;
    line.smdi = 0.0005 * kMetresPerNs;
    line.isg = 0.3 * kMetresPerNs;
    line.frequencyChannel = -7;
    return line;
}

// Columns by hand from the format: 0.1 degree, 0.1 ns, 0.1 ps/s.
TEST(DataLines, EveryColumnInItsPlace) {
    const std::string expected =
        "R08 FF 60123 032507  780 450 3600   -12345678   -123         988      0   13  96  822  -10  -50    5  -50    5"
        "   3 -7  0 L3P ";
    const std::string text = printed(exampleLine());
    ASSERT_EQ(text.size(), 128U);
    EXPECT_EQ(text.substr(0, 125), expected);
    unsigned sum = 0;
    for (const char c : expected) sum += static_cast<unsigned char>(c);
    char checksum[8];
    std::snprintf(checksum, sizeof checksum, "%02X\n", sum % 256);
    EXPECT_EQ(text.substr(125), checksum);
}

TEST(DataLines, WhatDoesNotFitShowsIt) {
    const struct {
        double metres;
        const char* refsv;
        const char* dsg;
    } cases[] = {
        {1e9, "-2147483648", "****"},
        {-1e9, "-2147483648", "****"},
        {NAN, "-2147483648", "****"},
        {INFINITY, "-2147483648", "****"},
        {9999 * 0.1 * kMetresPerNs, "       9999", "9999"},
        {10000 * 0.1 * kMetresPerNs, "      10000", "****"},
        {-1000 * 0.1 * kMetresPerNs, "      -1000", "****"},
        {-999 * 0.1 * kMetresPerNs, "       -999", "-999"},
    };
    for (const auto& c : cases) {
        DataLine line = exampleLine();
        line.refsv = c.metres;
        line.dsg = c.metres;
        const std::string text = printed(line);
        EXPECT_EQ(text.size(), 128U);
        EXPECT_EQ(text.substr(34, 11), c.refsv);
        EXPECT_EQ(text.substr(72, 4), c.dsg);
    }
    DataLine line = exampleLine();
    line.svid = 33;
    line.elevation = std::acos(0);
    EXPECT_EQ(printed(line).substr(0, 3), "???");
    EXPECT_EQ(printed(line).substr(24, 4), " 900");
    line.svid = 71;
    EXPECT_EQ(printed(line).substr(121, 3), "L3E");
    line.svid = 197;
    EXPECT_EQ(printed(line).substr(121, 3), "L3B");
}

TEST(FileNames, CodesAndDay) {
    const struct {
        size_t constellation;
        const char *lab, *rx;
        uint32_t mjd;
        const char* name;
    } cases[] = {
        {0, "LL", "00", 60123, "GZLL0060.123"},
        {1, " A", "", 50722, "RZ_A__50.722"},
        {2, "A", "1 ", 59000, "EZA_1_59.000"},
        {3, "__", "__", 99999, "CZ____99.999"},
    };
    for (const auto& c : cases) {
        const uint32_t midnight = kScheduleOrigin + (c.mjd - kScheduleOriginMjd) * 86400;
        const auto name = [&](uint32_t t) { return makeFileName(kConstellations[c.constellation], c.lab, c.rx, t); };
        EXPECT_EQ(name(midnight + 780), c.name);  // the track began at midnight
        EXPECT_EQ(name(midnight + 780 + 86399), c.name);
        EXPECT_NE(name(midnight + 779 + 86401), c.name);
    }
}

TEST(Headers, LinesCapacitiesAndChecksum) {
    RunConfig config;
    config.leapSeconds = 18;
    config.elevationMask = 9.5;
    config.delayGalE1 = 12.34;
    config.delayGalE5a = -5;
    config.delayCable = 153.44;
    config.phaseCentre[2] = {1e6, -2e6, 3.0005};
    HeaderTexts texts{"Rx", "5.4", 80, std::string(90, 'L'), "2020-01-01", "cal", std::string(80, 'c'), "UTC(X)"};
    const std::string header = formatHeader(2, texts, config);
    EXPECT_EQ(header.find("CGGTTS   GENERIC DATA FORMAT VERSION = 2E\nREV DATE = 2020-01-01\n"
                          "RCVR = Rx (5.4)     zelt2cggtts-1.3.3\nCH = 80\nIMS = Rx\nLAB = " +
                          std::string(73, 'L') + "X = 1000000.000 m\n"),
              0U);  // a line that is too long loses its end
    EXPECT_NE(header.find("\nCOMMENTS = LS=18; ElMask=10deg; " + std::string(80, 'c') +
                          "\n"
                          "INT DLY = 12.3 ns (Galileo E1)   -5.0 ns (Galileo E5a)     CAL_ID = cal\n"
                          "CAB DLY = 153.4 ns\nREF DLY = 0.0 ns\nREF = UTC(X)\nCKSUM = "),
              std::string::npos);
    const size_t end = header.find("CKSUM =") + 7;
    unsigned sum = 0;
    for (const char c : header.substr(0, end)) sum += c == '\n' ? 0U : static_cast<unsigned char>(c);
    char checksum[8];
    std::snprintf(checksum, sizeof checksum, " %02x\n\n", sum % 256);
    EXPECT_EQ(header.substr(end, 5), checksum);
}

// The BIPM schedule: tracks start at these minutes of the day, i = 0 to 88.
TEST(Schedule, AgreesWithTheBipmList) {
    for (const uint32_t mjd : {50722U, 50723U, 59025U, 60123U}) {
        const uint32_t midnight = kScheduleOrigin + (mjd - kScheduleOriginMjd) * 86400;
        int tracks = 0;
        for (uint32_t i = 0; i < 89; ++i) {
            const uint32_t minute = (2 + 16 * i + 1436 * 1000 - 4 * (mjd - 50722)) % 1436;
            for (uint32_t slot = 0; slot < 26; ++slot) {
                ASSERT_EQ(slotIndex(midnight + minute * 60 + 30 * (slot + 1), false, 0), static_cast<int>(slot))
                    << mjd << ' ' << i;
            }
        }
        for (uint32_t t = 0; t < 86160; t += 30) tracks += slotIndex(midnight + t, false, 0) == 0 ? 1 : 0;
        EXPECT_EQ(tracks, 89);
    }
    for (const uint32_t phase : {120U, 930U, 85470U, 85500U}) {
        EXPECT_EQ(slotIndex(kScheduleOrigin + phase, false, 0), kNoSlot) << phase;
    }
}

TEST(Schedule, ContiguousTracksHaveNoGaps) {
    constexpr uint32_t kAnchor = 1276992000 + 90;
    EXPECT_EQ(slotIndex(kAnchor, true, kAnchor), 25);
    for (uint32_t n = 1; n < 100; ++n) {
        EXPECT_EQ(slotIndex(kAnchor + n * 30, true, kAnchor), static_cast<int>((n - 1) % 26));
    }
}

TEST(LineFit, RecoversRandomLines) {
    uint32_t seed = 12345;
    const auto random = [&seed] {
        seed = seed * 1664525 + 1013904223;
        return seed / 4294967296.0 - 0.5;
    };
    for (int trial = 0; trial < 200; ++trial) {
        const double slope = random() * 10;
        const double offset = random() * 1e8;
        double x[26];
        double y[26];
        double sumSq = 0;
        for (int i = 0; i < 26; ++i) {
            x[i] = 30 * (i + 1);
            const double noise = i % 2 == 0 ? 1 : -1;  // nearly orthogonal to any line
            y[i] = offset + slope * x[i] + noise;
            sumSq += noise * noise;
        }
        double rms = 0;
        const Line line = fitLine(x, y, 26, &rms);
        EXPECT_NEAR(line.slope, slope, 0.005);
        EXPECT_NEAR(line.at(400), offset + slope * 400, 0.05);
        EXPECT_NEAR(rms, std::sqrt(sumSq / 24), 0.02);
        for (int i = 0; i < 26; ++i) y[i] = offset + slope * x[i];
        const Line exact = fitLine(x, y, 26, &rms);
        EXPECT_NEAR(exact.slope, slope, 1e-9);
        EXPECT_LT(rms, 1e-6);
    }
    const double same[3] = {1, 1, 1};
    EXPECT_FALSE(std::isfinite(fitLine(same, same, 3).slope));
}

}  // namespace
