#include "utils/geometry/geometry.h"

#include <gtest/gtest.h>

#include <cmath>

#include "utils/geometry/navtools.h"
#include "utils/geometry/satnames.h"
#include "utils/geometry/sigtypes.h"

using namespace Qon::Nav;

namespace {

constexpr double kRadian = 3.14159265358979323846 / 180;

// Published example of the WGS-84 conversion (SOFA/ERFA, gd2gc and gc2gd).
TEST(Geometry, GeodeticAndCartesian) {
    const Vector3 p = GeodeticToEcef(MakeLocalFrame(-0.5, 3.1), 2500);
    EXPECT_NEAR(p.x, -5599000.5577049947, 1e-7);
    EXPECT_NEAR(p.y, 233011.67223479203, 1e-7);
    EXPECT_NEAR(p.z, -3040909.4706983363, 1e-7);
    for (double degrees = -90; degrees <= 90; degrees += 7.5) {
        for (const double height : {-400.0, 0.0, 9000.0, 2.2e7}) {
            const Vector3 there = GeodeticToEcef(MakeLocalFrame(degrees * kRadian, -170 * kRadian), height);
            const Geodetic g = EcefToGeodetic(there);
            EXPECT_NEAR(g.latitude, degrees * kRadian, 1e-9) << degrees;
            EXPECT_NEAR(g.height, height, 1e-5 + height * 1e-8) << degrees;
            EXPECT_NEAR(g.longitude, -170 * kRadian, std::fabs(degrees) < 90 ? 1e-12 : 4) << degrees;
        }
    }
    const Geodetic pole = EcefToGeodetic({0, 0, 6400000});
    EXPECT_EQ(pole.longitude, 0);
    EXPECT_NEAR(pole.latitude, 90 * kRadian, 1e-9);
}

TEST(Geometry, AzimuthAndElevation) {
    const Vector3 receiver = GeodeticToEcef(MakeLocalFrame(0, 0), 0);
    const struct {
        double north, east, up;
        double azimuth, elevation;  // degrees
    } cases[] = {{1, 0, 0, 0, 0},  {0, 1, 0, 90, 0},     {-1, 0, 0, 180, 0}, {1, -1e-3, 0, 360 - 0.0572957604, 0},
                 {1, 0, 1, 0, 45}, {0, -1, -1, 270, -45}};
    const LocalFrame station = LocalFrameAt(receiver);
    for (const auto& c : cases) {
        const Vector3 satellite{receiver.x + c.up * 1e7, receiver.y + c.east * 1e7, receiver.z + c.north * 1e7};
        const AzEl direction = GetAzEl(satellite, receiver, station);
        EXPECT_NEAR(direction.elevation, c.elevation * kRadian, 1e-9);
        EXPECT_NEAR(direction.azimuth, c.azimuth * kRadian, 1e-9);
        EXPECT_EQ(GetElevation(satellite, receiver, station), direction.elevation);
    }
    // Seen from the pole by the equator's horizon, "up" is the equator's.
    const AzEl kept = GetAzEl({1e7, 0, 6356752}, {0, 0, 6356752}, station);
    EXPECT_NEAR(kept.elevation, 90 * kRadian, 1e-6);
    EXPECT_FALSE(GetLineOfSight(receiver, {receiver.x + 0.5, 0, 0}).isValid);
}

TEST(Satellites, NamesAndConstellations) {
    const struct {
        int svid;
        const char* name;
        int constellation;
    } cases[] = {{0, "???", 7},   {1, "G01", 0},   {32, "G32", 0},  {33, "???", 7},  {37, "???", 7},  {38, "R01", 3},
                 {67, "R30", 3},  {68, "R00", 3},  {69, "???", 7},  {70, "???", 7},  {71, "E01", 1},  {106, "E36", 1},
                 {107, "L01", 8}, {117, "L11", 8}, {118, "Lx2", 8}, {119, "Lx1", 8}, {120, "S20", 2}, {158, "S58", 2},
                 {159, "???", 7}, {161, "C01", 4}, {197, "C37", 4}, {198, "???", 7}, {201, "J01", 5}, {207, "J07", 5},
                 {208, "???", 7}, {211, "I01", 6}, {224, "I14", 6}, {225, "???", 7}};
    for (const auto& c : cases) {
        EXPECT_STREQ(SVIDToName(c.svid).data(), c.name);
        EXPECT_EQ(SVIDToConstellation(c.svid), c.constellation) << c.svid;
    }
}

// Carriers by the interface documents. A ratio is that of the squared frequencies, the reference's over the signal's.
TEST(Signals, FrequenciesWavelengthsRatios) {
    const struct {
        int signal;
        int channel;                  // of GLONASS
        double frequency, reference;  // kHz
    } cases[] = {{0, 0, 1575420, 1575420},  {2, 0, 1227600, 1575420},      {8, 1, 1598062.5, 1598062.5},
                 {8, 8, 1602000, 1602000},  {11, 1, 1242937.5, 1598062.5}, {11, 14, 1248625, 1605375},
                 {12, 8, 1202025, 1602000}, {12, 0, 1202025, 1602000},     {13, 0, 1575420, 1561098},
                 {18, 0, 1278750, 1575420}, {20, 0, 1176450, 1575420},     {22, 0, 1191795, 1575420},
                 {28, 0, 1561098, 1561098}, {29, 0, 1207140, 1561098},     {30, 0, 1268520, 1561098}};
    for (const auto& c : cases) {
        EXPECT_EQ(GetSignalFrequency(c.signal, c.channel), c.frequency * 1000) << c.signal;
        EXPECT_DOUBLE_EQ(GetSignalWavelength(c.signal, c.channel), 299792.458 / c.frequency) << c.signal;
        const double ratio = c.reference / c.frequency;
        EXPECT_FLOAT_EQ(GetSignalRatio(c.signal, c.channel), static_cast<float>(ratio * ratio)) << c.signal;
    }
    EXPECT_EQ(GetSignalRatio(11, 1), 81.0F / 49.0F);
    for (int channel = 1; channel <= 14; ++channel) {  // of GLONASS L3: rounded to single precision once
        const double ratio = GetSignalFrequency(8, channel) / 1202025000.0;
        EXPECT_EQ(GetSignalRatio(12, channel), static_cast<float>(ratio * ratio)) << channel;
    }
    const struct {
        int signal, channel;
        float ratio;
    } withoutCarrier[] = {{8, 0, 1}, {8, 15, 1}, {31, 0, 0}, {34, 0, 0}};
    for (const auto& c : withoutCarrier) {
        EXPECT_EQ(GetSignalWavelength(c.signal, c.channel), 0) << c.signal;
        EXPECT_EQ(GetSignalRatio(c.signal, c.channel), c.ratio) << c.signal;
    }
}

TEST(Time, CalendarToGpsSeconds) {
    EXPECT_EQ(DateToGpsSeconds(1980, 1, 6, 0, 0, 0), 0);
    EXPECT_EQ(DateToGpsSeconds(80, 1, 6, 0, 0, 0.25), 0.25);
    EXPECT_EQ(DateToGpsSeconds(2020, 6, 25, 0, 0, 0), GpsTime(2111, 4 * 86400));  // week 2111, a Thursday
    EXPECT_EQ(DateToGpsSeconds(79, 1, 1, 0, 0, 0), DateToGpsSeconds(2079, 1, 1, 0, 0, 0));
    EXPECT_EQ(DateToGpsSeconds(1900, 1, 1, 0, 0, 0), DateToGpsSeconds(3800, 1, 1, 0, 0, 0));
    constexpr uint32_t kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31, 31, 28};
    const auto monthBegins = [](uint32_t month) { return DateToGpsSeconds(2021, month, 1, 0, 0, 0); };
    for (uint32_t month = 1; month <= 14; ++month) {  // of a year that is no leap year, and two more
        EXPECT_EQ(monthBegins(month + 1) - monthBegins(month), kDays[month - 1] * 86400) << month;
    }
}

}  // namespace
