#include <gtest/gtest.h>

#include <map>

#include "tests/support/logs.h"

namespace {

ByteVector epochBlock(uint32_t tow, int svid) {
    return BlockBuilder(kZeltMeasEpoch, 40, 1, tow).u8(14, {1, 20}).u8(20, {1, 0, svid}).u32(24, 1000).done();
}

ByteVector fullRangeBlock(uint32_t tow, double code, int wnc = kTestWeek) {
    return BlockBuilder(kZeltMeasFullRange, 40, 0, tow, wnc).u8(14, {1, 20}).u8(20, 1).f64(24, code).done();
}

ByteVector otherBlock(uint32_t tow) { return BlockBuilder(4007, 16, 0, tow).done(); }

using Decoded = std::vector<std::tuple<uint32_t, int, double>>;  // TOW, SVID and code of every epoch

// What comes out of a log: as the driver does it, or, without a file, with nothing to look ahead at.
Decoded collect(const std::vector<ByteVector>& blocks, bool fromFile = true) {
    Decoded decoded;
    const auto note = [&decoded](const ZeltMeasEpoch& epoch) {
        forEachSignal(epoch, [&](const ZeltMeasSat& satellite, size_t, size_t, const ZeltMeasSignal& signal) {
            decoded.emplace_back(epoch.tow, satellite.svid, signal.pseudorange);
        });
    };
    EpochReader reader;
    if (fromFile) {
        reader.read(ScratchFolder().write("log", joined(blocks)), note);
    } else {
        for (const ByteVector& block : blocks) reader.take(viewOf(block), note);
        reader.finish(note);
    }
    return decoded;
}

TEST(Collector, EpochsEndWhereTheyShould) {
    const struct {
        const char* what;
        std::vector<ByteVector> log;
        Decoded expected;
    } cases[] = {
        {"refinement before and after",
         {fullRangeBlock(1, 7), epochBlock(1, 5), epochBlock(2, 6), fullRangeBlock(2, 9)},
         {{1, 5, 7}, {2, 6, 9}}},
        {"another kind closes the epoch",
         {epochBlock(1, 5), otherBlock(1), fullRangeBlock(1, 7), epochBlock(2, 6)},
         {{1, 5, 1}, {2, 6, 1}}},
        {"no epoch twice", {epochBlock(1, 5), otherBlock(1), epochBlock(1, 6), otherBlock(1)}, {{1, 5, 1}}},
        {"the later block of a kind wins", {epochBlock(1, 5), epochBlock(1, 6)}, {{1, 6, 1}}},
        {"refinements alone are nothing", {fullRangeBlock(1, 7), epochBlock(2, 6)}, {{2, 6, 1}}},
        {"an unusable block does not cost the epoch before or after it",
         {epochBlock(1, 5), fullRangeBlock(1, 7, kZeltNoWnc), epochBlock(2, 6), otherBlock(2)},
         {{1, 5, 1}, {2, 6, 1}}},
        {"an epoch that was complete takes no later block",
         {epochBlock(1, 5), fullRangeBlock(1, 7, kZeltNoWnc), epochBlock(2, 6), fullRangeBlock(3, 8, kZeltNoWnc),
          fullRangeBlock(2, 9), epochBlock(4, 7)},
         {{1, 5, 1}, {2, 6, 1}, {4, 7, 1}}},
        {"nor at the end", {epochBlock(1, 5), fullRangeBlock(1, 7, kZeltNoWnc)}, {{1, 5, 1}}},
    };
    for (const auto& c : cases) EXPECT_EQ(collect(c.log), c.expected) << c.what;
}

TEST(Collector, WithoutAFileTheKindsOfTheEpochBeforeTell) {
    std::vector<ByteVector> log = {epochBlock(1, 5), fullRangeBlock(1, 7), epochBlock(2, 6), fullRangeBlock(2, 8)};
    Decoded expected = {{1, 5, 7}, {2, 6, 8}};
    EXPECT_EQ(collect(log, false), expected);
    log.insert(log.end(), {epochBlock(3, 7), otherBlock(3)});
    expected.emplace_back(3, 7, 1);
    EXPECT_EQ(collect(log, false), expected);
}

// Of the compact family one byte tells the antenna; the others have none.
TEST(MeasBlocks, Antennas) {
    const struct {
        int number, antenna;
    } cases[] = {{4000, 0}, {4027, 0}, {4098, 0}, {4109, 1}, {4110, 2}, {4111, 2}, {4112, 2}, {4113, 2}, {5944, 0}};
    for (const auto& c : cases) {
        const ByteVector block = BlockBuilder(c.number, 20, 3).u8(14, 0xFA).u8(18, 0x79).done();
        EXPECT_TRUE(zeltIsMeasBlock(viewOf(block))) << c.number;
        EXPECT_EQ(zeltMeasAntennaIndex(viewOf(block)), c.antenna) << c.number;
    }
    EXPECT_FALSE(zeltIsMeasBlock(viewOf(otherBlock(0))));
}

}  // namespace
