#include <gtest/gtest.h>

#include <sstream>

#include "tests/support/logs.h"

namespace {

// A block of one letter, its TOW and a value: "E1=5" a MeasEpoch with satellite 5 and a code of 1 m, "F1=7" a
// MeasFullRange with a code of 7 m, "f1=7" the same without a valid week, "o1=0" a block without measurements.
ByteVector blockOf(const std::string& word) {
    const auto tow = static_cast<uint32_t>(word[1] - '0');
    const int value = word[3] - '0';
    if (word[0] == 'o') return BlockBuilder(4007, 16, 0, tow).done();
    BlockBuilder block(word[0] == 'E' ? kZeltMeasEpoch : kZeltMeasFullRange, 40, 1, tow,
                       word[0] == 'f' ? kZeltNoWnc : kTestWeek);
    block.u8(14, {1, 20}).u8(20, 1);
    return word[0] == 'E' ? block.u8(22, value).u32(24, 1000).done() : block.f64(24, value).done();
}

// The epochs that come out of blocks, each as "TOW:satellite=code ", read from a file or, without one, with nothing to
// look ahead at.
std::string collect(const std::string& blocks, bool fromFile = true) {
    std::ostringstream epochs;
    const auto note = [&epochs](const ZeltMeasEpoch& epoch) {
        forEachSignal(epoch, [&](const ZeltMeasSat& satellite, size_t, const ZeltMeasSignal& signal) {
            epochs << epoch.tow << ':' << int{satellite.svid} << '=' << signal.pseudorange << ' ';
        });
    };
    EpochReader reader;
    std::istringstream words(blocks);
    ByteVector log;
    for (std::string word; words >> word; log += blockOf(word)) {
        if (!fromFile) reader.take(viewOf(blockOf(word)), note);
    }
    fromFile ? reader.read(ScratchFolder().write("log", log), note) : reader.finish(note);
    return epochs.str();
}

TEST(Collector, EpochsEndWhereTheyShould) {
    const struct {
        const char *what, *log, *epochs;
    } cases[] = {
        {"refinement before and after", "F1=7 E1=5 E2=6 F2=9", "1:5=7 2:6=9 "},
        {"another kind closes the epoch", "E1=5 o1=0 F1=7 E2=6", "1:5=1 2:6=1 "},
        {"no epoch twice", "E1=5 o1=0 E1=6 o1=0", "1:5=1 "},
        {"the later block of a kind wins", "E1=5 E1=6", "1:6=1 "},
        {"refinements alone are nothing", "F1=7 E2=6", "2:6=1 "},
        {"an unusable block does not cost the epoch before or after it", "E1=5 f1=7 E2=6 o2=0", "1:5=1 2:6=1 "},
        {"an epoch that was complete takes no later block", "E1=5 f1=7 E2=6 f3=8 F2=9 E4=7", "1:5=1 2:6=1 4:7=1 "},
        {"nor at the end", "E1=5 f1=7", "1:5=1 "}};
    for (const auto& c : cases) EXPECT_EQ(collect(c.log), c.epochs) << c.what;
}

TEST(Collector, WithoutAFileTheKindsOfTheEpochBeforeTell) {
    EXPECT_EQ(collect("E1=5 F1=7 E2=6 F2=8", false), "1:5=7 2:6=8 ");
    EXPECT_EQ(collect("E1=5 F1=7 E2=6 F2=8 E3=7 o3=0", false), "1:5=7 2:6=8 3:7=1 ");
}

// From the second block on, which tells what an epoch is made of, none is held back.
TEST(Collector, WithoutAFileNoEpochIsLate) {
    EpochReader reader;
    size_t delivered = 0;
    for (const char* const block : {"E1=5", "E2=5", "E3=5", "E4=5", "E5=5"}) {
        reader.take(viewOf(blockOf(block)), [&delivered](const ZeltMeasEpoch&) { ++delivered; });
        EXPECT_EQ(delivered, block[1] == '1' ? 0 : static_cast<size_t>(block[1] - '0')) << block;
    }
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
    EXPECT_FALSE(zeltIsMeasBlock(viewOf(blockOf("o1=0"))));
}

}  // namespace
