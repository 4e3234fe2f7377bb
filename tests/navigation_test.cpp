#include <gtest/gtest.h>

#include "tests/logbuilder.h"
#include "utils/geometry/navtools.h"
#include "utils/nav/navdatadecoder/satnavdecoder/ephemerisstore.h"
#include "utils/zeltdata/zeltnav.h"

using namespace Qon::Nav;

namespace {

constexpr uint32_t kToe = 7200;

BlockBuilder navBlock(int number, int svid, size_t length = 152) {
    return BlockBuilder(number, length, 0, kToe * 1000).u8(14, svid);
}

TEST(Navigation, WeeksAreCompleted) {
    // Current week, partial week, completed.
    const uint16_t cases[][3] = {{2100, 52, 2100},   {2100, 51, 2099},   {2100, 1000, 2024}, {2200, 152, 2200},
                                 {2200, 1000, 2024}, {2300, 2300, 2300}, {2100, 2700, 2700}, {1000, 2540, 1516},
                                 {2111, 63, 2111},   {2100, 564, 2612},  {2100, 565, 1589}};
    for (const auto& [current, partial, completed] : cases) EXPECT_EQ(resolveWeek(current, partial), completed);
}

// SVID and weeks as logged and as fixed, the least size, the offsets of the weeks.
TEST(Navigation, BlocksAreFixedByKind) {
    const Rows<int, int, int, int, int, int, int, size_t, size_t, size_t> cases = {
        {kZeltGpsNav, 5, 62, 63, 5, 2110, 2111, 140, 138, 136},
        {kZeltBdsNav, 141, 65000, 800, 161, 820, 2156, 140, 138, 136},  // 65000 + 1356 in 16 bits
        {kZeltGloNav, 62, 63, 63, 68, 2111, 2111, 91, 80, 80},
        {kZeltGalNav, 71, 63, 64, 71, 63, 64, 148, 124, 126}};  // Galileo weeks are logged full
    ZeltNavBlock fixed;
    for (const auto& [number, svid, toe, toc, fixedSvid, fixedToe, fixedToc, size, atToe, atToc] : cases) {
        const ByteVector block = navBlock(number, svid, size).u16(atToc, toc).u16(atToe, toe).done();
        ASSERT_TRUE(zeltFixNavBlock(viewOf(block), fixed)) << number;
        EXPECT_EQ(fixed.bytes().u8(14), fixedSvid);
        EXPECT_EQ(fixed.bytes().u16(atToe), fixedToe);
        EXPECT_EQ(fixed.bytes().u16(atToc), fixedToc);
        EXPECT_FALSE(zeltFixNavBlock(viewOf(block).sub(0, size - 1), fixed)) << number;
        EXPECT_EQ(fixed.size, 0U);
    }
    EXPECT_FALSE(zeltFixNavBlock(viewOf(navBlock(4007, 5).done()), fixed));
}

struct StoreTest : testing::Test {
    EphemerisStore store;

    void add(BlockBuilder builder) {
        ZeltNavBlock fixed;
        zeltFixNavBlock(viewOf(builder.done()), fixed);
        StoreNavBlock(store, fixed.bytes());
    }
    int issueOf(size_t svid) const { return HeadOf(store.slots[svid]).issue; }
};

TEST_F(StoreTest, NewestWinsWithinItsConstellation) {
    add(navBlock(kZeltGpsNav, 7).u8(25, 10));
    add(navBlock(kZeltGpsNav, 7).u8(25, 9).u8(20, 1));
    EXPECT_EQ(issueOf(7), 9);
    add(navBlock(kZeltGalNav, 80).u8(15, 16).u16(128, 1007));
    add(navBlock(kZeltGalNav, 80).u8(15, 2).u16(128, 99));  // I/NAV
    EXPECT_EQ(issueOf(80), 7);
    const Rows<int, int, size_t, bool> cases = {
        {kZeltGpsNav, 32, 32, true}, {kZeltGpsNav, 33, 33, false},  {kZeltGpsNav, 45, 45, false},
        {kZeltGloNav, 38, 38, true}, {kZeltGloNav, 69, 68, true},   {kZeltGloNav, 70, 69, false},
        {kZeltGloNav, 1, 1, false},  {kZeltBdsNav, 177, 197, true}, {kZeltBdsNav, 106, 106, false},
        {kZeltBdsNav, 0, 0, false},  {kZeltBdsNav, 255, 0, false}};
    for (const auto& [number, svid, slot, stored] : cases) {
        add(navBlock(number, svid));
        EXPECT_EQ(!IsEmpty(store.slots[slot]), stored) << number << ' ' << svid;
    }
}

TEST_F(StoreTest, UsableWithinTheSpanAndHealthy) {
    const double t0 = GpsTime(kTestWeek, kToe);
    const auto gps = navBlock(kZeltGpsNav, 1).u32(88, kToe).u16(138, kTestWeek % 1024);
    const auto bds = navBlock(kZeltBdsNav, 150).u32(88, kToe - 14).u16(138, kTestWeek - 1356);
    const auto glo = navBlock(kZeltGloNav, 40).u32(76, kToe).u16(80, kTestWeek % 1024);
    const auto gal = navBlock(kZeltGalNav, 71).u8(15, 16).u32(100, kToe).u16(124, kTestWeek).u16(130, 0xF1FF);
    const struct {
        BlockBuilder good;
        size_t svid;
        double span;
        size_t healthOffset;
        std::vector<int> unhealthy;
    } cases[] = {{gps, 1, 7200, 20, {1, 63}},
                 {bds, 170, 7200, 19, {1}},
                 {glo, 40, 1800, 90, {1}},
                 {gal, 71, 14400, 131, {0, 3, 5, 9, 15}}};
    for (const auto& c : cases) {
        const auto usable = [&](double dt) { return IsEphemerisUsable(store.slots[c.svid], t0 + dt); };
        EXPECT_FALSE(usable(0)) << c.svid;  // never received
        add(c.good);
        for (const double side : {-1.0, 1.0}) {
            EXPECT_TRUE(usable(side * (c.span - 0.1))) << c.svid;
            EXPECT_FALSE(usable(side * c.span)) << c.svid;
        }
        for (const int health : c.unhealthy) {
            add(BlockBuilder(c.good).u8(c.healthOffset, health));
            EXPECT_FALSE(usable(0)) << c.svid << ' ' << health;
        }
    }
}

TEST_F(StoreTest, ClockPolynomials) {
    add(navBlock(kZeltGpsNav, 1).f32(36, -1e-17).f32(40, 2e-12).f32(44, 3e-4));
    add(navBlock(kZeltBdsNav, 150).f32(36, -1e-17).f32(40, 2e-12).f32(44, 3e-4));
    add(navBlock(kZeltGalNav, 71).u8(15, 16).f32(108, -1e-17).f32(112, 2e-12).f64(116, 3e-4));
    const ClockPolynomial clocks[] = {std::get<GpsEphemeris>(store.slots[1]).clock,
                                      std::get<BdsEphemeris>(store.slots[170]).clock,
                                      std::get<GalEphemeris>(store.slots[71]).clock};
    for (const ClockPolynomial& clock : clocks) {
        EXPECT_FLOAT_EQ(clock.af2, -1e-17F);
        EXPECT_FLOAT_EQ(clock.af1, 2e-12F);
        EXPECT_FLOAT_EQ(static_cast<float>(clock.af0), 3e-4F);
    }
}

TEST_F(StoreTest, IssueOfEphemeris) {
    const int cases[][2] = {{0, 85}, {1425, 84}, {180, 1}, {165, 96}, {195, 2}};  // t_b and index of the UTC day
    for (const auto& [tb, issue] : cases) {
        add(navBlock(kZeltGloNav, 40).u16(86, tb));
        EXPECT_EQ(issueOf(40), issue);
    }
    add(navBlock(kZeltBdsNav, 150).u32(32, 26 * 3600 + 3599));
    EXPECT_EQ(issueOf(170), 2);
}

}  // namespace
