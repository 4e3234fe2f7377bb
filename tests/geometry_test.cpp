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
    for (double latitude = -90; latitude <= 90; latitude += 7.5) {
        for (const double height : {-400.0, 0.0, 9000.0, 2.2e7}) {
            const Geodetic g =
                EcefToGeodetic(GeodeticToEcef(MakeLocalFrame(latitude * kRadian, -170 * kRadian), height));
            EXPECT_NEAR(g.latitude, latitude * kRadian, 1e-9) << latitude;
            EXPECT_NEAR(g.height, height, 1e-5 + height * 1e-8) << latitude;
            if (std::fabs(latitude) < 90) {
                EXPECT_NEAR(g.longitude, -170 * kRadian, 1e-12) << latitude;
            }
        }
    }
    EXPECT_EQ(EcefToGeodetic({0, 0, 6400000}).longitude, 0);
}

TEST(Geometry, AzimuthAndElevation) {
    const Vector3 receiver = GeodeticToEcef(MakeLocalFrame(0, 0), 0);
    const struct {
        double north, east, up, azimuth, elevation;  // degrees
    } cases[] = {
        {1, 0, 0, 0, 0},  {0, 1, 0, 90, 0}, {-1, 0, 0, 180, 0},    {1, -1e-3, 0, 360 - 0.0572957604, 0},
        {1, 0, 1, 0, 45}, {0, 0, 1, 0, 90}, {0, -1, -1, 270, -45},
    };
    Station station;
    for (const auto& c : cases) {
        const Vector3 satellite{receiver.x + c.up * 1e7, receiver.y + c.east * 1e7, receiver.z + c.north * 1e7};
        const AzEl direction = GetAzEl(satellite, receiver, station);
        EXPECT_NEAR(direction.elevation, c.elevation * kRadian, 1e-9);
        if (c.elevation < 90) {
            EXPECT_NEAR(direction.azimuth, c.azimuth * kRadian, 1e-9);
        }
        EXPECT_LT(direction.azimuth, 2 * 180 * kRadian);
    }
    // The frame stays that of the first receiver: seen from the pole, "up" is still the equator's.
    const AzEl kept = GetAzEl({1e7, 0, 6356752}, {0, 0, 6356752}, station);
    EXPECT_NEAR(kept.elevation, 90 * kRadian, 1e-6);
    EXPECT_FALSE(GetLineOfSight(receiver, {receiver.x + 0.5, 0, 0}).valid);
}

TEST(Satellites, NamesAndConstellations) {
    const struct {
        int svid;
        const char* name;
        int code;
    } cases[] = {
        {0, "???", 7},   {1, "G01", 0},   {32, "G32", 0},  {33, "???", 7},  {37, "???", 7},  {38, "R01", 3},
        {67, "R30", 3},  {68, "R00", 3},  {69, "???", 7},  {70, "???", 7},  {71, "E01", 1},  {106, "E36", 1},
        {107, "L01", 8}, {117, "L11", 8}, {118, "Lx2", 8}, {119, "Lx1", 8}, {120, "S20", 2}, {158, "S58", 2},
        {159, "???", 7}, {161, "C01", 4}, {197, "C37", 4}, {198, "???", 7}, {201, "J01", 5}, {207, "J07", 5},
        {211, "I01", 6}, {224, "I14", 6}, {225, "???", 7},
    };
    for (const auto& c : cases) {
        EXPECT_STREQ(SVIDToName(c.svid).data(), c.name);
        EXPECT_EQ(SVIDToConstellation(c.svid), c.code) << c.svid;
    }
}

// Wavelengths and ratios as printed in the tables of the interface documents' carriers.
TEST(Signals, FrequenciesWavelengthsRatios) {
    const struct {
        int signal, channel;
        uint32_t frequency;
        double wavelength;
        float ratio;
    } cases[] = {
        {0, 0, 1575420000, 0.19029367279836487, 1.0F},
        {2, 0, 1227600000, 0.24421021342456825, 1.6469444F},
        {8, 1, 1598062500, 0.1875974550432164, 1.0F},
        {8, 8, 1602000000, 299792458.0 / 1602e6, 1.0F},
        {11, 1, 1242937500, 0.2411967279127068, 1.6530613F},
        {11, 14, 1248625000, 299792458.0 / 1248.625e6, 1.6530613F},
        {12, 8, 1202025000, 0.24940617541232504, static_cast<float>(1602e6 * 1602e6 / (1202.025e6 * 1202.025e6))},
        {12, 0, 1202025000, 0.24940617541232504, static_cast<float>(1602e6 * 1602e6 / (1202.025e6 * 1202.025e6))},
        {13, 0, 1575420000, 0.19029367279836487, 0.98190075F},
        {20, 0, 1176450000, 0.25482804879085386, 1.7932702F},
        {22, 0, 1191795000, 0.251547000952345, 1.7473891F},
        {28, 0, 1561098000, 0.19203948631027648, 1.0F},
        {29, 0, 1207140000, 0.2483493695843067, 1.6724188F},
        {8, 0, 0, 0, 1.0F},
        {8, 15, 0, 0, 1.0F},
        {31, 0, 0, 0, 0.0F},
        {34, 0, 0, 0, 0.0F},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(GetSignalFrequency(c.signal, c.channel), c.frequency) << c.signal;
        EXPECT_DOUBLE_EQ(GetSignalWavelength(c.signal, c.channel), c.wavelength) << c.signal;
        EXPECT_FLOAT_EQ(GetSignalRatio(c.signal, c.channel), c.ratio) << c.signal;
    }
}

TEST(Time, CalendarToGpsSeconds) {
    EXPECT_EQ(DateToGpsSeconds(1980, 1, 6, 0, 0, 0), 0);
    EXPECT_EQ(DateToGpsSeconds(80, 1, 6, 0, 0, 0.25), 0.25);
    EXPECT_EQ(DateToGpsSeconds(2020, 6, 25, 0, 0, 0), GpsTime(2111, 4 * 86400));  // week 2111, a Thursday
    EXPECT_EQ(DateToGpsSeconds(79, 1, 1, 0, 0, 0), DateToGpsSeconds(2079, 1, 1, 0, 0, 0));
    EXPECT_EQ(DateToGpsSeconds(2021, 14, 1, 0, 0, 0), DateToGpsSeconds(2022, 2, 1, 0, 0, 0));
}

}  // namespace
