#include "cggtts/writer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

#include "cggtts/linefit.h"
#include "cggtts/schedule.h"

namespace {

constexpr double kTenthNs = 0.0299792458;  // m
constexpr double kTenthPs = kTenthNs / 1000;
constexpr double kDegree = 3.14159265358979 / 180;

uint32_t midnightOf(uint32_t mjd) { return 559699200 + (mjd - 50722) * 86400; }  // 1997-10-01 is MJD 50722

std::string printed(const DataLine& line) {
    std::string text;
    formatDataLine(line, text);
    EXPECT_EQ(text.size(), 128U);
    return text;
}

// Columns by hand from the format: 0.1 degree, 0.1 ns, 0.1 ps/s.
const DataLine kLine{45,
                     midnightOf(60123) + 86387,
                     45 * kDegree,
                     359.96 * kDegree,
                     -12345678 * kTenthNs,
                     -123 * kTenthPs,
                     987.6 * kTenthNs,
                     0.4 * kTenthPs,
                     12.500001 * kTenthNs,
                     96,
                     822 * kTenthNs,
                     -10 * kTenthPs,
                     -50 * kTenthNs,
                     5 * kTenthPs,
                     3 * kTenthNs,
                     -7};
const std::string kPrinted =
    "R08 FF 60123 235947  780 450 3600   -12345678   -123         988      0   13  96  822  -10  -50    5  "
    "-50    5   3 -7  0 L3P 2F\n";

TEST(DataLines, EveryColumnInItsPlace) { EXPECT_EQ(printed(kLine), kPrinted); }

TEST(DataLines, WhatDoesNotFitShowsIt) {
    const struct {
        double tenths;
        const char *refsv, *dsg;
    } numbers[] = {{1e11, "-2147483648", "****"},     {-1e11, "-2147483648", "****"}, {NAN, "-2147483648", "****"},
                   {INFINITY, "-2147483648", "****"}, {9999, "       9999", "9999"},  {10000, "      10000", "****"},
                   {-1000, "      -1000", "****"},    {-999, "       -999", "-999"}};
    for (const auto& n : numbers) {
        DataLine line = kLine;
        line.refsv = line.dsg = n.tenths * kTenthNs;
        EXPECT_EQ(printed(line).substr(34, 11), n.refsv);
        EXPECT_EQ(printed(line).substr(72, 4), n.dsg);
    }
    const std::string text = printed({.svid = 33, .elevation = 90 * kDegree});
    EXPECT_EQ(text.substr(0, 3), "???");
    EXPECT_EQ(text.substr(24, 4), " 900");
}

TEST(FileNames, CodesAndDay) {
    // Of a track that began so many seconds after midnight.
    const auto name = [](size_t c, const char* lab, const char* rx, uint32_t mjd, uint32_t second) {
        return makeFileName(kConstellations[c], lab, rx, midnightOf(mjd) + second + 780);
    };
    EXPECT_EQ(name(0, "LL", "00", 60123, 0), "GZLL0060.123");
    EXPECT_EQ(name(0, "LL", "00", 60123, 86399), "GZLL0060.123");
    EXPECT_EQ(name(1, " A", "", 50722, 0), "RZ_A__50.722");
    EXPECT_EQ(name(2, "A", "1 ", 59000, 0), "EZA_1_59.000");
    EXPECT_EQ(name(3, "__", "__", 99999, 0), "CZ____99.999");
}

// A line that is too long loses its end. The rest of a header is in the example's files.
TEST(Headers, CapacitiesAndRounding) {
    RunConfig config;
    config.leapSeconds = 18;
    config.elevationMaskDeg = 9.5;
    config.delayGalE1Ns = 12.34;
    config.delayGalE5aNs = -5;
    config.delayCableNs = 153.44;
    config.phaseCentre[2] = {1e6, -2e6, 3.0005};
    const std::string t(200, 'T');
    const auto cut = [&t](const std::string& label, size_t size) { return (label + t).substr(0, size - 1); };
    std::ostringstream expected;
    expected << cut("REV DATE = ", 50) << cut("RCVR = ", 160) << "CH = 80\n"
             << cut("IMS = ", 80) << cut("LAB = ", 80)
             << "X = 1000000.000 m\nY = -2000000.000 m\nZ = 3.001 m\nFRAME = ITRF\n"
             << cut("COMMENTS = LS=18; ElMask=10deg; ", 160)
             << cut("INT DLY = 12.3 ns (Galileo E1)   -5.0 ns (Galileo E5a)     CAL_ID = ", 160)
             << "CAB DLY = 153.4 ns\nREF DLY = 0.0 ns\n"
             << cut("REF = ", 80) << "CKSUM = ";
    const std::string header = formatHeader(2, {t, "5.4", 80, t, t, t, t, t}, config);
    EXPECT_NE(header.find(expected.str()), std::string::npos) << header;
}

// The BIPM schedule: tracks start at these minutes of the day, i = 0 to 88.
TEST(Schedule, AgreesWithTheBipmList) {
    for (const uint32_t mjd : {50722U, 50723U, 59025U, 60123U}) {
        int tracks = 0;
        for (uint32_t i = 0; i < 89; ++i) {
            const uint32_t minute = (2 + 16 * i + 1436 * 1000 - 4 * (mjd - 50722)) % 1436;
            for (uint32_t slot = 0; slot < 26; ++slot) {
                const uint32_t t = midnightOf(mjd) + minute * 60 + 30 * (slot + 1);
                ASSERT_EQ(slotIndex(t), static_cast<int>(slot)) << mjd << ' ' << i;
            }
        }
        for (uint32_t t = 0; t < 86160; t += 30) tracks += slotIndex(midnightOf(mjd) + t) == 0 ? 1 : 0;
        EXPECT_EQ(tracks, 89);
    }
    for (const uint32_t phase : {120U, 930U, 85470U, 85500U}) {
        EXPECT_EQ(slotIndex(kScheduleOrigin + phase), kNoSlot) << phase;
    }
}

// A time of week may be as long as its 32 bits of ms; where the sum wraps, the instants move within the weeks.
TEST(Schedule, NoSampleInstantIsPassedOver) {
    for (const uint32_t week : {2111U, 7094U, 7095U, 7101U, 65534U}) {
        for (uint32_t second = 0; second < 4294967; second += 7) {
            const bool isInstant = (week * 604800 + second) % kSampleSpacing == 0;
            ASSERT_TRUE(!isInstant || second % kSampleSpacing == 0 || week >= kFirstWrappedWeek)
                << week << ' ' << second;
        }
    }
}

TEST(Schedule, ContiguousTracksHaveNoGaps) {
    constexpr uint32_t kAnchor = 1276992000 + 90;
    for (uint32_t n = 0; n < 100; ++n) {
        EXPECT_EQ(contiguousSlotIndex(kAnchor + n * 30, kAnchor), static_cast<int>((n + 25) % 26));
    }
}

TEST(LineFit, RecoversLines) {
    for (const double slope : {-4.2, 0.0, 3.7e-3}) {
        for (const double offset : {-4.8e7, 12.3, 3.1e7}) {
            for (const double noise : {0.0, 1.0}) {
                double x[26], y[26];
                for (int i = 0; i < 26; ++i) {
                    x[i] = 30 * (i + 1);
                    y[i] = offset + slope * x[i] + (i % 2 == 0 ? noise : -noise);  // nearly orthogonal to any line
                }
                double rms = 0;
                const Line line = fitLine(x, y, 26, &rms);
                EXPECT_NEAR(line.slope, slope, noise == 0 ? 1e-9 : 0.005);
                EXPECT_NEAR(line.at(400), offset + slope * 400, noise == 0 ? 1e-6 : 0.05);
                EXPECT_NEAR(rms, noise * std::sqrt(26.0 / 24), noise == 0 ? 1e-6 : 0.02);
            }
        }
    }
    const double same[3] = {1, 1, 1};
    EXPECT_FALSE(std::isfinite(fitLine(same, same, 3).slope));
}

}  // namespace
