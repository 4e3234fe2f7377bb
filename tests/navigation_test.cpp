#include <gtest/gtest.h>

#include "tests/support/blocks.h"
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
    const struct {
        uint16_t current, partial, completed;
    } cases[] = {{2100, 52, 2100},   {2100, 51, 2099},   {2100, 1000, 2024}, {2200, 152, 2200},
                 {2200, 1000, 2024}, {2300, 2300, 2300}, {2100, 2700, 2700}, {1000, 2540, 1516},
                 {2111, 63, 2111},   {2100, 564, 2612},  {2100, 565, 1589}};
    for (const auto& c : cases) EXPECT_EQ(resolveWeek(c.current, c.partial), c.completed);
}

TEST(Navigation, BlocksAreFixedByKind) {
    struct Fields {
        int svid, weekToe, weekToc;
    };
    const struct {
        int number;
        size_t size, atWeekToe, atWeekToc;
        Fields logged, fixed;
    } cases[] = {{kZeltGpsNav, 140, 138, 136, {5, 62, 63}, {5, 2110, 2111}},
                 {kZeltBdsNav, 140, 138, 136, {141, 65000, 800}, {161, 820, 2156}},  // 65000 + 1356 in 16 bits
                 {kZeltGloNav, 91, 80, 80, {62, 63, 63}, {68, 2111, 2111}},
                 {kZeltGalNav, 148, 124, 126, {71, 63, 64}, {71, 63, 64}}};  // Galileo weeks are logged full
    ZeltNavBlock fixed;
    for (const auto& [number, size, atWeekToe, atWeekToc, logged, expected] : cases) {
        BlockBuilder builder = navBlock(number, logged.svid, size);
        const ByteVector block = builder.u16(atWeekToc, logged.weekToc).u16(atWeekToe, logged.weekToe).done();
        ASSERT_TRUE(zeltFixNavBlock(viewOf(block), fixed)) << number;
        EXPECT_EQ(fixed.bytes().u8(14), expected.svid);
        EXPECT_EQ(fixed.bytes().u16(atWeekToe), expected.weekToe);
        EXPECT_EQ(fixed.bytes().u16(atWeekToc), expected.weekToc);
        EXPECT_FALSE(zeltFixNavBlock(viewOf(block).sub(0, size - 1), fixed)) << number;
    }
    EXPECT_FALSE(zeltFixNavBlock(viewOf(navBlock(4007, 5).done()), fixed));
    EXPECT_EQ(fixed.size, 0U);
}

struct StoreTest : testing::Test {
    EphemerisStore store;

    void add(BlockBuilder builder) {
        ZeltNavBlock fixed;
        zeltFixNavBlock(viewOf(builder.done()), fixed);
        StoreNavBlock(store, fixed.bytes());
    }
    int issueOf(size_t svid) const { return HeadOf(store.slots[svid]).issue; }
    bool isStored(size_t svid) const { return !IsEmpty(store.slots[svid]); }
};

TEST_F(StoreTest, NewestWinsWithinItsConstellation) {
    add(navBlock(kZeltGpsNav, 7).u8(25, 10));
    add(navBlock(kZeltGpsNav, 7).u8(25, 9).u8(20, 1));
    EXPECT_EQ(issueOf(7), 9);
    add(navBlock(kZeltGalNav, 80).u8(15, 16).u16(128, 1007));
    add(navBlock(kZeltGalNav, 80).u8(15, 2).u16(128, 99));  // I/NAV
    EXPECT_EQ(issueOf(80), 7);
    const struct {
        int number, svid, slot;  // 0: none
    } cases[] = {{kZeltGpsNav, 32, 32}, {kZeltGpsNav, 33, 0},  {kZeltGpsNav, 45, 0}, {kZeltGloNav, 38, 38},
                 {kZeltGloNav, 69, 68}, {kZeltGloNav, 70, 0},  {kZeltGloNav, 1, 0},  {kZeltBdsNav, 177, 197},
                 {kZeltBdsNav, 106, 0}, {kZeltBdsNav, 255, 0}, {kZeltBdsNav, 0, 0}};
    for (const auto& [number, svid, slot] : cases) {
        store = {};
        add(navBlock(number, svid));
        for (size_t i = 0; i < store.slots.size(); ++i) {
            EXPECT_EQ(isStored(i), slot != 0 && i == static_cast<size_t>(slot)) << number << ' ' << svid;
        }
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
        size_t atHealth;
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
            EXPECT_TRUE(usable(side * (c.span - 0.1)) && !usable(side * c.span)) << c.svid;
        }
        for (const int health : c.unhealthy) {
            add(BlockBuilder(c.good).u8(c.atHealth, health));
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
    const struct { int tb, quarterOfUtcDay; } cases[] = {{0, 85}, {1425, 84}, {180, 1}, {165, 96}, {195, 2}};
    for (const auto& c : cases) {
        add(navBlock(kZeltGloNav, 40).u16(86, c.tb));
        EXPECT_EQ(issueOf(40), c.quarterOfUtcDay);
    }
    add(navBlock(kZeltBdsNav, 150).u32(32, 26 * 3600 + 3599));
    EXPECT_EQ(issueOf(170), 2);
}

}  // namespace
