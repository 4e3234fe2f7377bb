// Logs joined: whatever pieces a log was cut into, and however they come, its blocks come back once and in order.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

#include "cggtts/schedule.h"
#include "tests/support/logs.h"
#include "utils/zeltdata/zeltnav.h"
#include "zeltlog/asidefile.h"
#include "zeltlog/logjoin.h"
#include "zeltlog/textformat.h"

namespace fs = std::filesystem;

namespace {

using Blocks = std::vector<ByteVector>;
using Random = std::minstd_rand;

constexpr int64_t kMinute = 60000;  // ms

// The example's blocks, now and then with one behind it that has no time stamp.
Blocks exampleBlocks() {
    const ByteVector log = readLog(kExampleLog);
    Blocks blocks;
    for (const Bytes block : blocksOf(viewOf(log))) {
        blocks.push_back(copyOf(block));
        if (blocks.size() % 50 != 0) continue;
        const auto number = static_cast<int64_t>(blocks.size());
        blocks.push_back(BlockBuilder(4007, 24, 0, kZeltNoTow, kZeltNoWnc).u32(16, number).done());
    }
    return blocks;
}

ByteVector part(const Blocks& blocks, size_t begin, size_t end) {
    return joined(Blocks(blocks.begin() + static_cast<std::ptrdiff_t>(begin),
                         blocks.begin() + static_cast<std::ptrdiff_t>(std::min(end, blocks.size()))));
}

struct Joined {
    ByteVector log;
    JoinSummary summary;
};

Joined join(const Blocks& logs, JoinRequest request = {}) {
    const ScratchFolder folder;
    for (size_t i = 0; i < logs.size(); ++i) request.logs.push_back(folder.write(std::to_string(i), logs[i]));
    Joined result;
    result.summary = joinLogs(
        request,
        [&](Bytes block) {
            result.log += copyOf(block);
            return true;
        },
        nullptr);
    return result;
}

uint64_t outOfOrder(const Joined& result) {
    uint64_t count = 0;
    for (const JoinedLog& log : result.summary.logs) count += log.outOfOrder;
    return count;
}

int64_t millisecondOf(const ByteVector& block) { return blockTime(viewOf(block)); }

// The log cut anywhere, within epochs too, but not within its first instant alone, of which many blocks tell. Every
// piece overlaps the one before it by up to `overlap` blocks, and all come twice.
Blocks piecesOf(const Blocks& blocks, size_t overlap, Random& random) {
    Blocks pieces;
    for (size_t begin = 0, end = 0; begin < blocks.size(); begin = end) {
        end = begin + (begin == 0 ? 300 : 20) + random() % 60;
        const size_t from = begin - std::min(begin, overlap == 0 ? 0 : random() % overlap);
        for (int copy = 0; copy < 2; ++copy) pieces.push_back(part(blocks, from, end));
    }
    std::shuffle(pieces.begin(), pieces.end(), random);
    return pieces;
}

TEST(Join, GivesTheLogBackThatWasCut) {
    const Blocks blocks = exampleBlocks();
    const ByteVector whole = joined(blocks);
    Random random(3);
    for (const size_t overlap : {size_t{0}, size_t{5}, size_t{100}}) {
        const Joined result = join(piecesOf(blocks, overlap, random));
        EXPECT_TRUE(result.log == whole) << overlap;
        EXPECT_EQ(result.summary.blocks, blocks.size());
        EXPECT_GE(result.summary.doubles, blocks.size());
        EXPECT_EQ(outOfOrder(result), 0U);
    }
}

// A block that is damaged in one log and whole in the other comes where that has it: of the many of the first instant,
// each log lacks others.
TEST(Join, FillsInWhatOneLogLacks) {
    const Blocks blocks = exampleBlocks();
    Blocks all;
    Blocks gaps[2];
    for (size_t i = 0; i < blocks.size() && secondOf(viewOf(blocks[i])) == secondOf(viewOf(blocks[0])); ++i) {
        all.push_back(blocks[i]);
        if (i % 7 != 0) gaps[0].push_back(blocks[i]);
        if (i % 7 != 3) gaps[1].push_back(blocks[i]);
    }
    EXPECT_GT(all.size(), 40U);
    EXPECT_TRUE(join({joined(gaps[0]), joined(gaps[1])}).log == joined(all));
}

TEST(Join, SortsWithinItsWindow) {
    const ByteVector log = readLog(kExampleLog);
    Blocks blocks;  // no two of one time: their order is the log's
    for (const Bytes block : blocksOf(viewOf(log))) {
        if (zeltNumber(block) == kZeltMeasEpoch) blocks.push_back(copyOf(block));
    }
    Blocks mixed = blocks;
    Random random(4);
    for (auto at = mixed.begin(); at < mixed.end(); at += 8) std::shuffle(at, std::min(at + 8, mixed.end()), random);
    EXPECT_TRUE(join({joined(mixed)}).log == joined(blocks));
    EXPECT_TRUE(join({joined(mixed), joined(blocks)}).log == joined(blocks));

    Blocks late = blocks;  // half an hour too late: left behind the one it followed, and said
    std::rotate(late.begin() + 100, late.begin() + 101, late.begin() + 161);
    const Joined result = join({joined(late), joined(late)});
    EXPECT_TRUE(result.log == joined(late));
    EXPECT_EQ(outOfOrder(result), 2U);
}

TEST(Join, KeepsWhatIsCurrentBeforeItsFirstTime) {
    const Blocks blocks = exampleBlocks();
    const int64_t start = millisecondOf(blocks[0]);
    const JoinRequest request{{}, start + 90 * kMinute, start + 120 * kMinute, 1};
    std::map<std::tuple<int, int, int>, size_t> current;  // number, satellite and message: the last block
    Blocks inside;
    int64_t time = start;
    for (size_t i = 0; i < blocks.size(); ++i) {
        const Bytes block = viewOf(blocks[i]);
        if (zeltHasTimeStamp(block)) time = millisecondOf(blocks[i]);
        ZeltNavBlock nav;
        const bool isNav = zeltFixNavBlock(block, nav);
        const int number = zeltNumber(block);
        const bool stays = isNav || number == kZeltReceiverSetup || number == kZeltGpsUtc || number == kZeltUtc2;
        const std::tuple key(number, isNav ? block.u8(kZeltSvidOffset) : 0,
                             number == kZeltGalNav ? block.u8(ZeltGalNav::kSource) : 0);
        if (time < request.from && stays) current[key] = i;
        if (time >= request.from && time <= request.to) inside.push_back(blocks[i]);
    }
    std::vector<size_t> order;
    for (const auto& [key, index] : current) order.push_back(index);
    std::sort(order.begin(), order.end());
    ByteVector expected;
    for (const size_t index : order) expected += blocks[index];
    expected += joined(inside);
    Random random(5);
    const Joined result = join(piecesOf(blocks, 20, random), request);
    EXPECT_TRUE(result.log == expected);
    EXPECT_EQ(result.summary.setups, 1U);
    uint64_t setups = 0;
    size_t wholes = 0;
    for (const JoinedLog& log : result.summary.logs) {
        setups += log.setups;
        wholes += log.isReadWhole ? 1 : 0;
    }
    EXPECT_GE(setups, 1U) << "some pieces overlap";
    EXPECT_GT(wholes, 0U);
    EXPECT_LT(wholes, result.summary.logs.size()) << "the log ends an hour behind the window";
    EXPECT_EQ(result.summary.first, request.from);
    EXPECT_EQ(result.summary.last, request.to);

    RunOptions options;
    options.firstEpochMs = request.from;
    options.lastEpochMs = request.to;
    const CreatedFiles whole = convert(joined(blocks), stationConfig(), options);
    EXPECT_GT(linesOf(whole).size(), 30U);
    EXPECT_EQ(convert(result.log, stationConfig(), options), whole);
}

// It stays in its place, and no other block leaves its own, nor is taken for what is wanted or not.
TEST(Join, TakesAWrongStampForWrong) {
    const Blocks blocks = exampleBlocks();
    const int64_t start = millisecondOf(blocks[0]);
    const JoinRequest request{{}, start + 20 * kMinute, start + 150 * kMinute, 1};
    const size_t size = join({joined(blocks)}, request).log.size();
    const auto isEpoch = [](const ByteVector& block) { return zeltNumber(viewOf(block)) == kZeltMeasEpoch; };
    for (const int number : {4007, static_cast<int>(kZeltMeasEpoch)}) {
        for (const size_t early : {155U, 605U}) {
            const auto place = std::find_if(blocks.begin() + static_cast<std::ptrdiff_t>(early), blocks.end(), isEpoch);
            for (const int64_t minutes : {7, 20, 1440}) {
                SCOPED_TRACE(formatText("%d at %zu, %d min ahead", number, early, static_cast<int>(minutes)));
                const int64_t far = secondOf(viewOf(*place)) + minutes * 60;
                Blocks wrong = blocks;
                wrong.insert(wrong.begin() + (place - blocks.begin()),
                             BlockBuilder(*place).u16(4, number).stamp(far).done());
                const bool isInside = early == 605 && (number == 4007 || minutes < 1440);
                for (const Blocks& logs : {Blocks{joined(wrong), joined(blocks)}, {joined(blocks), joined(wrong)}}) {
                    const Joined result = join(logs, request);
                    const Joined whole = join(logs);
                    EXPECT_EQ(result.log.size(), size + (isInside ? place->size() : 0));
                    EXPECT_EQ(outOfOrder(result), 1U);
                    EXPECT_EQ(result.summary.conflicts, 0U);
                    EXPECT_EQ(whole.summary.blocks, wrong.size());
                    EXPECT_TRUE(whole.log == joined(wrong));
                }
            }
        }
    }
}

// A log that steps back, and goes on far behind the last time wanted before it does, has all that is wanted.
TEST(Join, LosesNothingOfALogInPieces) {
    const ByteVector log = readLog(kExampleLog);
    Blocks blocks;
    for (const Bytes block : blocksOf(viewOf(log))) blocks.push_back(copyOf(block));
    const int64_t start = millisecondOf(blocks[0]);
    for (const int64_t minutes : {70, 118, 121}) {
        const JoinRequest request{{}, start, start + minutes * kMinute, 1};
        const Joined result = join({joined({part(blocks, 480, 960), part(blocks, 0, 480)})}, request);
        EXPECT_EQ(result.log.size(), join({part(blocks, 0, 960)}, request).log.size()) << minutes;
    }
}

// Blocks stamped too early, or late behind a gap, make no others wrong: these meet their doubles (one in front of all
// need not).
TEST(Join, TakesNoStampForWrongByFewOthers) {
    const Blocks blocks = exampleBlocks();
    const auto at = [](Blocks& log, int i) { return log.begin() + i; };
    const auto early = [&](int place) {
        return BlockBuilder(4007, 24).stamp(secondOf(viewOf(blocks[0])) - 3600).u32(16, place).done();
    };
    Blocks first = blocks;
    first.insert(at(first, 20), early(20));
    Blocks two = blocks;
    for (const int place : {650, 600}) two.insert(at(two, place), early(place));
    Blocks behindGap = blocks;
    const Blocks inGap(at(behindGap, 500), at(behindGap, 900));
    behindGap.erase(at(behindGap, 500), at(behindGap, 900));
    behindGap.insert(at(behindGap, 550), early(550));
    for (const Blocks& log : {first, two, behindGap}) {
        const Joined result = join({joined(log), joined(log)});
        EXPECT_LE(result.summary.blocks, log.size() + 1);
        EXPECT_LE(outOfOrder(result), 4U);
    }
    EXPECT_TRUE(convert(join({joined(behindGap), joined(inGap)}).log) == convert(joined(blocks)));
}

// Seconds between the half minutes reach no track.
TEST(Join, ThinsMeasurementsOut) {
    for (const std::string& path : {kExampleLog, kCompactLog}) {
        const ByteVector log = readLog(path);
        ByteVector dense;
        for (const Bytes block : blocksOf(viewOf(log))) {
            dense += copyOf(block);
            if (zeltNumber(block) == kZeltMeasEpoch) {
                dense += BlockBuilder(copyOf(block)).stamp(secondOf(block) + 1).done();
            }
        }
        JoinRequest request;
        request.everySeconds = kSampleSpacing;
        EXPECT_TRUE(join({dense}, request).log == join({log}).log) << path;
    }
}

TEST(Join, TellsWhatIsWrongWithALog) {
    const Blocks blocks = exampleBlocks();
    ByteVector damaged = joined(blocks);
    const size_t begin = blocks[0].size() + blocks[1].size();
    damaged[begin + 20] ^= 1;
    const std::vector<std::string> bad = {"/nowhere/log", fs::temp_directory_path().string()};
    const Joined result = join({damaged}, {bad, INT64_MIN, INT64_MAX, 1});
    const std::vector<JoinedLog>& logs = result.summary.logs;
    EXPECT_EQ(logs[0].fault.place, ZeltFaultPlace::kOpen);
    EXPECT_EQ(logs[1].fault.place, ZeltFaultPlace::kRead);
    EXPECT_EQ(logs[2].strayBytes, static_cast<int64_t>(blocks[2].size()));
    EXPECT_EQ(logs[2].crcErrors, 1U);
    EXPECT_EQ(result.log.size(), damaged.size() - blocks[2].size());
}

// Both families of one receiver: between two blocks of an epoch there is none that ends it. One family's log is cut
// behind the measurements of an epoch, in front of another block of its time, and both pieces have them.
TEST(Join, KeepsTheBlocksOfAnEpochTogether) {
    const ByteVector log = readLog(kExampleLog);
    const std::vector<Bytes> blocks = blocksOf(viewOf(log));
    size_t cut = blocks.size() / 2;
    while (zeltNumber(blocks[cut]) != kZeltMeasEpoch || secondOf(blocks[cut]) != secondOf(blocks[cut + 2])) ++cut;
    const auto begin = log.begin() + (blocks[cut].data - log.data());
    const auto end = log.begin() + (blocks[cut + 2].data - log.data());
    const Blocks logs = {{log.begin(), end}, {begin, log.end()}, readLog(kCompactLog)};
    const CreatedFiles expected = convert(logs[2]);  // of an epoch that comes in both, the compact blocks come last
    std::array<size_t, 3> order = {0, 1, 2};
    do {
        EXPECT_TRUE(convert(join({logs[order[0]], logs[order[1]], logs[order[2]]}).log) == expected)
            << order[0] << order[1] << order[2];
    } while (std::next_permutation(order.begin(), order.end()));
}

TEST(Join, CountsMeasurementsOfAnotherReceiver) {
    const Blocks blocks = exampleBlocks();
    Blocks other = blocks;
    uint64_t epochs = 0;
    for (ByteVector& block : other) {
        if (zeltNumber(viewOf(block)) != kZeltMeasEpoch) continue;
        block = BlockBuilder(block).u8(block.size() - 1, 0x55).done();
        ++epochs;
    }
    EXPECT_EQ(join({joined(blocks), joined(other)}).summary.conflicts, epochs);
    EXPECT_EQ(join({joined(blocks), joined(blocks)}).summary.conflicts, 0U);
    EXPECT_EQ(join({readLog(kCompactLog), joined(blocks)}).summary.conflicts, 0U);
}

TEST(Join, TellsOfALogThatShrinks) {
    const ScratchFolder folder;
    const std::string path = folder.write("log", readLog(kExampleLog));
    const auto size = static_cast<int64_t>(fs::file_size(path));
    bool isCut = false;
    const JoinSummary summary = joinLogs(
        {{path}},
        [&](Bytes /*block*/) {
            if (!isCut) fs::resize_file(path, static_cast<uintmax_t>(size / 2));
            isCut = true;
            return true;
        },
        nullptr);
    EXPECT_EQ(summary.logs[0].fault.place, ZeltFaultPlace::kShrunk);
    EXPECT_FALSE(summary.logs[0].isReadWhole);
    EXPECT_LT(summary.bytes, size);
}

TEST(Join, LosesNothingOfManyBlocksAtOneTime) {
    Blocks blocks;
    for (int i = 0; i < 5000; ++i) blocks.push_back(BlockBuilder(4007, 24).u32(16, i).done());
    EXPECT_TRUE(join({joined(blocks)}).log == joined(blocks));
}

TEST(AsideFile, HasItsNameOnlyWhenWhole) {
    const ScratchFolder folder;
    const std::string path = folder.write("out", {});
    const ByteVector bytes(1000000, 'x');
#ifndef _WIN32  // where the second cannot begin
    {
        AsideFile first(path);
        AsideFile second(path);
        first.write(viewOf(bytes));
        EXPECT_FALSE(first.finish());
        EXPECT_EQ(first.problem(), path + ".part: another program writes it");
        second.write(viewOf({'n', 'e', 'w'}));
        EXPECT_TRUE(second.finish());
        EXPECT_EQ(readLog(path), ByteVector({'n', 'e', 'w'}));
    }
#endif
    { AsideFile(path).write(viewOf(bytes)); }
    EXPECT_FALSE(fs::exists(path + ".part"));
    EXPECT_FALSE(AsideFile((folder.path / "none" / "out").string()).finish());
    AsideFile good(path);
    good.write(viewOf(bytes));
    EXPECT_TRUE(good.finish());
    EXPECT_EQ(readLog(path), bytes);
    EXPECT_FALSE(fs::exists(path + ".part"));
}

}  // namespace
