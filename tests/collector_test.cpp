#include <gtest/gtest.h>

#include "tests/logbuilder.h"
#include "utils/zeltdata/zeltmeas.h"
#include "utils/zeltdata/zeltread.h"

namespace {

constexpr unsigned kMode = kZeltAllowMeas3 | kZeltAllowMeasEpoch;

ByteVector epochBlock(uint32_t tow, uint8_t svid, uint16_t wnc = kTestWeek) {
    BlockBuilder b(kZeltMeasEpoch, 1, tow, wnc, 40);
    b.set<uint8_t>(14, 1).set<uint8_t>(15, 20).set<uint8_t>(20, 1).set<uint8_t>(22, svid).set<uint32_t>(24, 1000);
    return b.done();
}

ByteVector fullRangeBlock(uint32_t tow, double code, uint16_t wnc = kTestWeek) {
    BlockBuilder b(kZeltMeasFullRange, 0, tow, wnc, 40);
    return b.set<uint8_t>(14, 1).set<uint8_t>(15, 20).set<uint8_t>(20, 1).set<double>(24, code).done();
}

ByteVector otherBlock(uint32_t tow) { return BlockBuilder(4007, 0, tow, kTestWeek, 16).done(); }

struct Decoded {
    uint32_t tow;
    int svid;
    double code;
    bool operator==(const Decoded& o) const = default;
};

struct CollectorTest : testing::Test {
    TestDirectory directory{"collector"};

    static void note(const ZeltMeasEpoch& epoch, std::vector<Decoded>& decoded) {
        const ZeltMeasSat& first = epoch.satellites[0];
        decoded.push_back({epoch.tow, first.svid, first.signals[0][0].pseudorange});
    }

    // What comes out of a log: as the driver does it, or, without a file, with nothing to look ahead at.
    std::vector<Decoded> collect(const std::vector<ByteVector>& blocks, bool fromFile = true) {
        ByteVector log;
        for (const ByteVector& b : blocks) log += b;
        ZeltFile file;
        const std::string path = directory.write("log", log);
        zeltOpenFile(fromFile ? path.c_str() : nullptr, file);
        std::vector<Decoded> decoded;
        ZeltMeasEpoch epoch{};
        Bytes block;
        for (size_t i = 0; fromFile ? zeltGetNextBlock(file, block, kZeltAnyBlock, kZeltAnyBlock, 0) == kZeltFound
                                    : i < blocks.size();
             ++i) {
            if (!fromFile) block = viewOf(blocks[i]);
            if (!zeltHasTimeStamp(block)) continue;
            if (zeltCollectMeasBlock(file, block, epoch, kMode)) note(epoch, decoded);
        }
        if (zeltDecodePendingEpoch(file, epoch, kMode)) note(epoch, decoded);
        zeltCloseFile(file);
        return decoded;
    }
};

TEST_F(CollectorTest, EpochsEndWhereTheyShould) {
    using Log = std::vector<ByteVector>;
    const struct {
        const char* what;
        Log log;
        std::vector<Decoded> expected;
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
        {"nor at the end", {epochBlock(1, 5), fullRangeBlock(1, 7, kZeltNoWnc)}, {{1, 5, 1}}},
    };
    for (const auto& c : cases) EXPECT_EQ(collect(c.log), c.expected) << c.what;
}

TEST_F(CollectorTest, WithoutAFileTheKindsOfTheEpochBeforeTell) {
    const std::vector<Decoded> decoded = collect({epochBlock(1, 5), fullRangeBlock(1, 7), epochBlock(2, 6),
                                                  fullRangeBlock(2, 8), epochBlock(3, 7), otherBlock(3)},
                                                 false);
    EXPECT_EQ(decoded, (std::vector<Decoded>{{1, 5, 7}, {2, 6, 8}, {3, 7, 1}}));
}

TEST(MeasBlocks, NumbersAndAntennas) {
    for (const int number : {4000, 4027, 4098, 4109, 4110, 4111, 4112, 4113, 5944}) {
        const auto block = BlockBuilder(static_cast<uint16_t>(number), 3, 0, 0, 20).set<uint8_t>(14, 0xFA).done();
        EXPECT_TRUE(zeltIsMeasBlock(viewOf(block))) << number;
        EXPECT_EQ(zeltMeasAntennaIndex(viewOf(block)), number >= 4110 && number <= 4113 ? 2 : 0) << number;
    }
    EXPECT_EQ(zeltMeasAntennaIndex(viewOf(BlockBuilder(4109, 0, 0, 0, 20).set<uint8_t>(18, 0x79).done())), 1);
    EXPECT_FALSE(zeltIsMeasBlock(viewOf(otherBlock(0))));
}

}  // namespace
