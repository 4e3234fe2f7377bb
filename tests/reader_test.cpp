#include <gtest/gtest.h>

#include "tests/logbuilder.h"
#include "utils/zeltdata/zeltread.h"

namespace {

ByteVector block(uint16_t number, size_t length, uint32_t tow = 0) {
    BlockBuilder builder(number, 0, tow, kTestWeek, length);
    for (size_t i = 14; i < length; ++i) builder.set<uint8_t>(i, static_cast<uint8_t>(i * 37));
    return builder.done();
}

struct ReaderTest : testing::Test {
    TestDirectory directory{"reader"};
    ZeltFile file;

    void open(const ByteVector& log) { zeltOpenFile(directory.write("log", log).c_str(), file); }
    void TearDown() override { zeltCloseFile(file); }

    std::vector<int> remainingNumbers() {
        std::vector<int> numbers;
        Bytes found;
        while (zeltGetNextBlock(file, found, kZeltAnyBlock, kZeltAnyBlock, 0) == kZeltFound) {
            numbers.push_back(zeltNumber(found));
        }
        return numbers;
    }
    std::vector<int> numbersIn(const ByteVector& log) {
        zeltCloseFile(file);
        open(log);
        return remainingNumbers();
    }
};

using Numbers = std::vector<int>;

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
            ASSERT_EQ(zeltCrcByTable(data.data() + start, end - start), bitwise) << start << ' ' << end;
            ASSERT_EQ(zeltCrcByFolding(data.data() + start, end - start), bitwise) << start << ' ' << end;
            ASSERT_EQ(zeltIndexedCrc(index, start, end - start), bitwise) << start << ' ' << end;
            bitwise ^= static_cast<unsigned>(data[end]) << 8;
            for (int bit = 0; bit < 8; ++bit) bitwise = (bitwise << 1) ^ ((bitwise & 0x8000) != 0 ? 0x11021 : 0);
        }
    }
    data.resize(70000, 0x5A);
    zeltBuildCrcIndex(viewOf(data), index);
    EXPECT_EQ(zeltIndexedCrc(index, 1001, 65535), zeltCrcByTable(data.data() + 1001, 65535));
}

TEST_F(ReaderTest, EveryFlippedBitLosesExactlyItsBlock) {
    const ByteVector middle = block(4002, 40);
    for (size_t bit = 0; bit < 8 * middle.size(); ++bit) {
        ByteVector log = block(4000, 20);
        const size_t start = log.size();
        log += middle;
        log += block(4004, 24);
        log[start + bit / 8] ^= static_cast<uint8_t>(1U << bit % 8);
        EXPECT_EQ(numbersIn(log), (Numbers{4000, 4004})) << bit;
    }
}

TEST_F(ReaderTest, EveryTruncationKeepsTheWholeBlocks) {
    ByteVector log = block(4000, 20);
    log += block(4002, 40);
    for (size_t size = 0; size < log.size(); ++size) {
        const ByteVector cut(log.begin(), log.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_EQ(numbersIn(cut), size < 20 ? Numbers{} : Numbers{4000}) << size;
        EXPECT_EQ(zeltGetFilePos(file), size < 20 ? 0 : 20) << size;
    }
}

TEST_F(ReaderTest, LengthBelowSixteenIsNoBlock) {
    EXPECT_EQ(numbersIn(block(4000, 15)), Numbers{});
    EXPECT_EQ(numbersIn(block(4000, 16)), Numbers{4000});
}

TEST_F(ReaderTest, BlocksInsideADamagedOneAreFound) {
    ByteVector outer = block(4002, 200);
    const ByteVector inner = block(4004, 60);
    std::copy(inner.begin(), inner.end(), outer.begin() + 100);  // which makes the outer CRC wrong
    open(outer);
    EXPECT_EQ(remainingNumbers(), Numbers{4004});
    EXPECT_EQ(file.crcErrorCount, 1U);
}

// Garbage and blocks over several windows, with peeks and filters between: the same blocks as a plain walk gives.
TEST_F(ReaderTest, LongLogIsDeliveredWholeWhateverIsPeekedAt) {
    ByteVector log;
    Numbers expected;
    for (int i = 0; i < 60; ++i) {
        log += ByteVector(static_cast<size_t>(i * i * 7 % 50000), static_cast<uint8_t>(i % 3 == 0 ? '$' : 'x'));
        log += block(static_cast<uint16_t>(4000 + i), i % 7 == 0 ? 65535 : static_cast<size_t>(16 + i * 40));
        expected.push_back(4000 + i);
    }
    open(log);
    EXPECT_EQ(zeltGetFileLength(file), static_cast<int64_t>(log.size()));
    Numbers walked;
    Bytes found;
    Bytes peeked;
    for (;;) {
        const int64_t position = zeltGetFilePos(file);
        const int peek = zeltGetNextBlock(file, peeked, kZeltAnyBlock, kZeltAnyBlock, kZeltPeek);
        const int number = peek == kZeltFound ? zeltNumber(peeked) : 0;
        if (walked.size() % 10 == 3) {
            ASSERT_EQ(zeltGetNextBlock(file, peeked, 4059, 4059, kZeltPeek), kZeltFound);  // the last: far ahead
        }
        EXPECT_EQ(zeltGetFilePos(file), position);
        if (zeltGetNextBlock(file, found, kZeltAnyBlock, kZeltAnyBlock, 0) != kZeltFound) {
            EXPECT_EQ(peek, kZeltEndOfFile);
            break;
        }
        EXPECT_EQ(zeltNumber(found), number);
        EXPECT_TRUE(zeltCrcIsValid(found));
        walked.push_back(number);
    }
    EXPECT_EQ(walked, expected);
    EXPECT_EQ(zeltGetNextBlock(file, found, 4001, 4001, kZeltRewind), kZeltFound);
    EXPECT_EQ(zeltNumber(found), 4001);
    EXPECT_EQ(zeltGetNextBlock(file, found, 4001, 4001, 0), kZeltEndOfFile);
    EXPECT_EQ(zeltGetNextBlock(file, found, 4001, kZeltAnyBlock, 0), kZeltFound);  // one "any" lets all through
    EXPECT_EQ(zeltNumber(found), 4002);
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
}

}  // namespace
