#include <gtest/gtest.h>

#include <cerrno>

#include "tests/support/logs.h"
#include "utils/zeltdata/bitcursor.h"

namespace {

using Numbers = std::vector<int>;

ByteVector block(int number, size_t length) {
    BlockBuilder builder(number, length);
    for (size_t i = 14; i < length; ++i) builder.u8(i, static_cast<int>(i * 37));
    return builder.done();
}

struct ReaderTest : testing::Test {
    ScratchFolder folder;
    ZeltFile file;

    void TearDown() override { zeltCloseFile(file); }
    void open(const ByteVector& log) {
        zeltCloseFile(file);
        zeltOpenFile(folder.write("log", log).c_str(), file);
    }
    Numbers numbersIn(const ByteVector& log) {
        open(log);
        Numbers numbers;
        for (int number = next(0); number != 0; number = next(0)) numbers.push_back(number);
        return numbers;
    }
    // The number of the next block, 0 at the end.
    int next(unsigned flags, uint16_t id1 = kZeltAnyBlock, uint16_t id2 = kZeltAnyBlock) {
        Bytes found;
        if (zeltGetNextBlock(file, found, id1, id2, flags) != kZeltFound) return 0;
        EXPECT_TRUE(zeltCrcIsValid(found));
        return zeltNumber(found);
    }
};

TEST(Crc, IsXmodemByEveryWay) {
    const std::string check = "123456789";
    const auto* digits = reinterpret_cast<const uint8_t*>(check.data());
    EXPECT_EQ(zeltCrc(digits, check.size()), 0x31C3);  // the published check value
    ByteVector data;
    for (int i = 0; i < 1000; ++i) data.push_back(static_cast<uint8_t>(i * i >> 3));
    ZeltCrcIndex index;
    zeltBuildCrcIndex(viewOf(data), index);
    for (size_t start = 0; start < 20; ++start) {
        unsigned bitwise = 0;
        for (size_t end = start; end < data.size(); ++end) {
            for (const ZeltCrcMethod& method : zeltCrcMethods()) {
                if (!method.isAvailable) continue;
                ASSERT_EQ(method.crc(data.data() + start, end - start), bitwise) << start << ' ' << end;
            }
            ASSERT_EQ(zeltIndexedCrc(index, start, end - start), bitwise) << start << ' ' << end;
            bitwise ^= static_cast<unsigned>(data[end]) << 8;
            for (int bit = 0; bit < 8; ++bit) bitwise = (bitwise << 1) ^ ((bitwise & 0x8000) != 0 ? 0x11021 : 0);
        }
    }
    data.resize(70000, 0x5A);
    zeltBuildCrcIndex(viewOf(data), index);
    EXPECT_EQ(zeltIndexedCrc(index, 1001, 65535), zeltCrc(data.data() + 1001, 65535));
}

TEST_F(ReaderTest, EveryFlippedBitLosesExactlyItsBlock) {
    const ByteVector log = joined({block(4000, 20), block(4002, 40), block(4004, 24)});
    for (size_t bit = 0; bit < 8 * 40; ++bit) {
        ByteVector flipped = log;
        flipped[20 + bit / 8] ^= static_cast<uint8_t>(1U << bit % 8);
        EXPECT_EQ(numbersIn(flipped), (Numbers{4000, 4004})) << bit;
    }
}

TEST_F(ReaderTest, EveryTruncationKeepsTheWholeBlocks) {
    ByteVector log = joined({block(4000, 20), block(4002, 40)});
    while (!log.empty()) {
        log.pop_back();
        EXPECT_EQ(numbersIn(log), log.size() < 20 ? Numbers{} : Numbers{4000}) << log.size();
        EXPECT_EQ(zeltGetFilePos(file), log.size() < 20 ? 0 : 20) << log.size();
        EXPECT_EQ(file.crcErrorCount, 0U) << log.size();
    }
}

// A log that is being written: what was cut off is whole a moment later.
TEST_F(ReaderTest, TheEndIsLookedForAgain) {
    ByteVector damaged = block(4001, 30);
    damaged[20] ^= 1;
    const ByteVector log = joined({block(4000, 20), damaged, block(4002, 40), block(4004, 24)});
    for (size_t cut = 1; cut < 40; ++cut) {
        const size_t first = 50 + cut;
        open({log.begin(), log.begin() + static_cast<std::ptrdiff_t>(first)});
        EXPECT_EQ(next(0), 4000);
        EXPECT_EQ(next(kZeltPeek) + next(0), 0) << cut;
        folder.write("log", log);
        EXPECT_EQ(next(kZeltPeek), 4002) << cut;
        EXPECT_EQ(next(0), 4002) << cut;
        EXPECT_EQ(next(0), 4004) << cut;
        EXPECT_EQ(next(0), 0) << cut;
        EXPECT_EQ(file.crcErrorCount, 1U) << cut;  // however often it was met
    }
}

TEST_F(ReaderTest, FaultsCanBeKept) {
    zeltOpenFile((folder.path / "absent").string().c_str(), file, ZeltOnFault::kEndFile);
    EXPECT_EQ(next(0), 0);
    EXPECT_EQ(file.window.fault().place, ZeltFaultPlace::kOpen);
    EXPECT_EQ(file.window.fault().systemError, ENOENT);
}

TEST_F(ReaderTest, BlocksInsideADamagedOneAreFound) {
    ByteVector outer = block(4002, 200);
    const ByteVector inner = joined({block(4004, 60), block(4006, 15), block(4008, 16)});  // 15: too short for one
    std::copy(inner.begin(), inner.end(), outer.begin() + 100);  // which makes the outer CRC wrong
    EXPECT_EQ(numbersIn(outer), (Numbers{4004, 4008}));
    EXPECT_EQ(file.crcErrorCount, 1U);
}

// What looks like the beginnings of long blocks.
ByteVector falseStarts(size_t size) {
    ByteVector bytes;
    while (bytes.size() < size) bytes += ByteVector{'$', '@', 1, 2, 3, 4, 0xE0, 0xE0, 9, 9, 9, 9};
    return bytes;
}

// Garbage and blocks over several windows, with peeks and filters between: the same blocks as a plain walk gives.
TEST_F(ReaderTest, LongLogIsDeliveredWholeWhateverIsPeekedAt) {
    ByteVector log;
    for (int i = 0; i < 60; ++i) {
        const auto garbage = static_cast<size_t>(i * i * 7 % 50000);
        log += i % 3 == 0 ? falseStarts(garbage) : ByteVector(garbage, static_cast<uint8_t>(i % 3 == 1 ? '$' : 'x'));
        log += block(4000 + i, i % 7 == 0 ? 65535 : static_cast<size_t>(16 + i * 40));
    }
    open(log);
    EXPECT_EQ(zeltGetFileLength(file), static_cast<int64_t>(log.size()));
    for (int i = 0; i <= 60; ++i) {
        const int64_t position = zeltGetFilePos(file);
        const int expected = i < 60 ? 4000 + i : 0;
        EXPECT_EQ(next(kZeltPeek), expected);
        if (i % 10 == 3) {
            EXPECT_EQ(next(kZeltPeek, 4059, 4059), 4059);          // the last: far ahead
            EXPECT_EQ(next(kZeltPeek | kZeltRewind, 4000), 4000);  // the first: far behind
        }
        EXPECT_EQ(zeltGetFilePos(file), position);
        EXPECT_EQ(next(0), expected);
    }
    EXPECT_EQ(next(kZeltRewind, 4001, 4003), 4001);
    EXPECT_EQ(next(0, 4001, 4003), 4003);
    EXPECT_EQ(next(0, 4001, 4001), 0);
    EXPECT_EQ(next(0, 4001), 4004);  // one "any" lets all through
}

TEST(Bytes, NoLoadLeavesTheView) {
    const ByteVector data{1, 2, 3, 4, 5, 6, 7, 0x88, 9};
    const Bytes view = viewOf(data).sub(0, 8);
    EXPECT_EQ(view.u32(4), 0x88070605U);
    EXPECT_EQ(view.i32(4), static_cast<int32_t>(0x88070605U));
    for (const size_t offset : {size_t{5}, size_t{8}, size_t{9}, SIZE_MAX, SIZE_MAX - 3}) {
        EXPECT_EQ(view.u32(offset), 0U) << offset;
        EXPECT_FALSE(view.has(offset, 4)) << offset;
    }
    EXPECT_EQ(view.sub(9, 1).size, 0U);
    EXPECT_EQ(view.sub(6, SIZE_MAX).size, 2U);
    ByteCursor bytes{view};
    BitCursor bits{view.sub(0, 4)};
    EXPECT_EQ(bytes.take(6).size, 6U);
    EXPECT_EQ(bits.take(31), 0x04030201U);
    EXPECT_EQ(bytes.take(3).size + bits.take(2), 0U);
    EXPECT_EQ(bytes.take(1).size + bits.take(1), 0U);  // failed once and for all
    EXPECT_TRUE(bytes.failed && bits.failed);
}

}  // namespace
