#include <gtest/gtest.h>

#include "tests/logbuilder.h"
#include "utils/geometry/navtools.h"
#include "utils/nav/navdatadecoder/satnavdecoder/ephemerisstore.h"
#include "utils/zeltdata/zeltnav.h"

using namespace Qon::Nav;

namespace {

constexpr uint32_t kToe = 7200;

BlockBuilder navBlock(uint16_t number, uint8_t svid, size_t length = 152) {
    BlockBuilder b(number, 0, kToe * 1000, kTestWeek, length);
    return b.set<uint8_t>(14, svid);
}

Bytes fix(const ByteVector& block, ZeltNavBlock& fixed) {
    zeltFixNavBlock(viewOf(block), fixed);
    return fixed.bytes();
}

TEST(Navigation, WeeksAreCompleted) {
    const struct {
        int current, partial, expected;
    } cases[] = {
        {2100, 52, 2100},   {2100, 51, 2099},   {2100, 1000, 2024}, {2200, 152, 2200}, {2200, 1000, 2024},
        {2300, 2300, 2300}, {2100, 2700, 2700}, {1000, 2540, 1516}, {2111, 63, 2111},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(resolveWeek(static_cast<uint16_t>(c.current), static_cast<uint16_t>(c.partial)), c.expected);
    }
}

TEST(Navigation, BlocksAreFixedByKind) {
    ZeltNavBlock fixed;
    Bytes gps = fix(navBlock(kZeltGpsNav, 5).set<uint16_t>(136, 63).set<uint16_t>(138, 62).done(), fixed);
    EXPECT_EQ(gps.u16(136), 2111);
    EXPECT_EQ(gps.u16(138), 2110);
    Bytes bds = fix(navBlock(kZeltBdsNav, 141).set<uint16_t>(136, 800).set<uint16_t>(138, 65000).done(), fixed);
    EXPECT_EQ(bds.u8(14), 161);
    EXPECT_EQ(bds.u16(136), 2156);
    EXPECT_EQ(bds.u16(138), (65000 + 1356) % 65536);
    Bytes glo = fix(navBlock(kZeltGloNav, 62).set<uint16_t>(80, 63).done(), fixed);
    EXPECT_EQ(glo.u8(14), 68);
    EXPECT_EQ(glo.u16(80), 2111);
    Bytes gal = fix(navBlock(kZeltGalNav, 71).set<uint16_t>(124, 63).done(), fixed);
    EXPECT_EQ(gal.u16(124), 63);  // Galileo weeks are logged full
    const struct {
        uint16_t number;
        size_t size;
    } sizes[] = {{kZeltGpsNav, 140}, {kZeltGalNav, 148}, {kZeltGloNav, 91}, {kZeltBdsNav, 140}};
    for (const auto& s : sizes) {
        EXPECT_TRUE(zeltFixNavBlock(viewOf(navBlock(s.number, 5, s.size).done()), fixed)) << s.number;
        EXPECT_FALSE(zeltFixNavBlock(viewOf(navBlock(s.number, 5, s.size - 1).done()), fixed)) << s.number;
        EXPECT_EQ(fixed.size, 0U);
    }
    EXPECT_FALSE(zeltFixNavBlock(viewOf(navBlock(4007, 5).done()), fixed));
}

struct StoreTest : testing::Test {
    EphemerisStore store;
    ZeltNavBlock fixed;

    void add(BlockBuilder builder) { StoreNavBlock(store, fix(builder.done(), fixed)); }
    bool filled(size_t svid) const { return !std::holds_alternative<std::monostate>(store.slots[svid]); }
};

TEST_F(StoreTest, NewestWinsWithinItsConstellation) {
    add(navBlock(kZeltGpsNav, 7).set<uint8_t>(25, 10));
    add(navBlock(kZeltGpsNav, 7).set<uint8_t>(25, 9).set<uint8_t>(20, 1));
    EXPECT_EQ(IssueOfEphemeris(store.slots[7]), 9);
    add(navBlock(kZeltGalNav, 80).set<uint8_t>(15, 16).set<uint16_t>(128, 1007));
    add(navBlock(kZeltGalNav, 80).set<uint8_t>(15, 2).set<uint16_t>(128, 99));  // I/NAV
    EXPECT_EQ(IssueOfEphemeris(store.slots[80]), 7);
    const struct {
        uint16_t number;
        uint8_t svid;
        size_t slot;
        bool stored;
    } cases[] = {
        {kZeltGpsNav, 32, 32, true}, {kZeltGpsNav, 33, 33, false},  {kZeltGpsNav, 45, 45, false},
        {kZeltGloNav, 38, 38, true}, {kZeltGloNav, 69, 68, true},   {kZeltGloNav, 70, 69, false},
        {kZeltGloNav, 1, 1, false},  {kZeltBdsNav, 177, 197, true}, {kZeltBdsNav, 106, 106, false},
        {kZeltBdsNav, 0, 0, false},  {kZeltBdsNav, 255, 0, false},
    };
    for (const auto& c : cases) {
        add(navBlock(c.number, c.svid));
        EXPECT_EQ(filled(c.slot), c.stored) << c.number << ' ' << int{c.svid};
    }
}

TEST_F(StoreTest, UsableWithinTheSpanAndHealthy) {
    const double t0 = GpsTime(kTestWeek, kToe);
    const auto gps = navBlock(kZeltGpsNav, 1).set<uint32_t>(88, kToe).set<uint16_t>(138, kTestWeek % 1024);
    const auto bds = navBlock(kZeltBdsNav, 150).set<uint32_t>(88, kToe - 14).set<uint16_t>(138, kTestWeek - 1356);
    const auto glo = navBlock(kZeltGloNav, 40).set<uint32_t>(76, kToe).set<uint16_t>(80, kTestWeek % 1024);
    auto gal = navBlock(kZeltGalNav, 71).set<uint8_t>(15, 16).set<uint32_t>(100, kToe);
    gal.set<uint16_t>(124, kTestWeek).set<uint16_t>(130, 0xF1FF);
    const struct {
        BlockBuilder good;
        size_t svid;
        double span;
        size_t healthOffset;
        std::vector<uint16_t> unhealthy;
    } cases[] = {
        {gps, 1, 7200, 20, {1, 63}},
        {bds, 170, 7200, 19, {1}},
        {glo, 40, 1800, 90, {1}},
        {gal, 71, 14400, 130, {0x0000, 0x0300, 0x0000 | 0x0500, 0x0900, 0x0F00}},
    };
    for (const auto& c : cases) {
        EXPECT_FALSE(IsEphemerisUsable(store.slots[c.svid], t0)) << c.svid;  // never received
        add(c.good);
        for (const double side : {-1.0, 1.0}) {
            EXPECT_TRUE(IsEphemerisUsable(store.slots[c.svid], t0 + side * (c.span - 0.1))) << c.svid;
            EXPECT_FALSE(IsEphemerisUsable(store.slots[c.svid], t0 + side * c.span)) << c.svid;
        }
        for (const uint16_t health : c.unhealthy) {
            BlockBuilder bad = c.good;
            add(c.svid == 71 ? bad.set<uint16_t>(c.healthOffset, health)
                             : bad.set<uint8_t>(c.healthOffset, static_cast<uint8_t>(health)));
            EXPECT_FALSE(IsEphemerisUsable(store.slots[c.svid], t0)) << c.svid << ' ' << health;
        }
    }
}

TEST_F(StoreTest, IssueOfEphemeris) {
    const struct {
        uint16_t tb;
        int issue;
    } cases[] = {{0, 85}, {1425, 84}, {180, 1}, {165, 96}, {195, 2}};
    for (const auto& c : cases) {
        add(navBlock(kZeltGloNav, 40).set<uint16_t>(86, c.tb));
        EXPECT_EQ(IssueOfEphemeris(store.slots[40]), c.issue);
    }
    add(navBlock(kZeltBdsNav, 150).set<uint32_t>(32, 26 * 3600 + 3599));
    EXPECT_EQ(IssueOfEphemeris(store.slots[170]), 2);
}

}  // namespace
