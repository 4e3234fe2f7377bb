// The reader against a model of it that goes byte by byte, and the ways to a CRC against each other.
//
// An input is a script: a first part builds a log of up to several windows, a second one asks for blocks.
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <array>
#include <vector>

#include "fuzz/support.h"
#include "utils/zeltdata/zeltcrc.h"
#include "utils/zeltdata/zeltread.h"

namespace {

constexpr const char* kLog = "log";
constexpr size_t kMaxLog = size_t{300} * 1024;
constexpr size_t kMaxSummed = size_t{800} * 1024;  // bytes that the model may sum for false starts

uint16_t modelCrc(const uint8_t* data, size_t size) {
    static const auto kTable = [] {
        std::array<uint16_t, 256> table{};
        for (unsigned v = 0; v < 256; ++v) {
            unsigned crc = v << 8;
            for (int bit = 0; bit < 8; ++bit) crc = (crc & 0x8000) != 0 ? crc << 1 ^ 0x1021 : crc << 1;
            table[v] = static_cast<uint16_t>(crc);
        }
        return table;
    }();
    unsigned crc = 0;
    for (size_t i = 0; i < size; ++i) crc = (crc << 8 & 0xFFFF) ^ kTable[crc >> 8 ^ data[i]];
    return static_cast<uint16_t>(crc);
}

unsigned u16At(const ByteVector& log, size_t at) { return log[at] | static_cast<unsigned>(log[at + 1]) << 8; }

// Length of the valid block that begins at `at`, 0 when none does.
size_t blockLength(const ByteVector& log, size_t at) {
    if (log[at] != '$' || log.size() - at < 8 || log[at + 1] != '@') return 0;
    const size_t length = u16At(log, at + 6);
    if (length < 16 || length > log.size() - at) return 0;
    return modelCrc(log.data() + at + 4, length - 4) == u16At(log, at + 2) ? length : 0;
}

// Every place where a valid block begins, in another one or not.
struct Model {
    struct Block {
        size_t at;
        size_t length;
        unsigned number;
    };
    const ByteVector& log;
    std::vector<Block> blocks;

    explicit Model(const ByteVector& bytes) : log(bytes) {
        for (size_t at = 0; at < log.size(); ++at) {
            const size_t length = blockLength(log, at);
            if (length != 0) blocks.push_back({at, length, u16At(log, at + 4) & 0x1FFF});
        }
    }
};

void appendBlock(FuzzedDataProvider& script, size_t length, ByteVector& log) {
    const size_t at = log.size();
    const auto number = static_cast<uint16_t>(4000 + script.ConsumeIntegralInRange(0, 7));
    const auto filling = script.ConsumeIntegral<uint8_t>();
    log.resize(at + length, filling);
    const uint8_t header[8] = {'$',
                               '@',
                               0,
                               0,
                               static_cast<uint8_t>(number & 0xFF),
                               static_cast<uint8_t>(number >> 8),
                               static_cast<uint8_t>(length & 0xFF),
                               static_cast<uint8_t>(length >> 8)};
    std::copy_n(header, std::min(length, sizeof header), log.begin() + static_cast<std::ptrdiff_t>(at));
    if (length < 16) return;
    const uint16_t crc = modelCrc(log.data() + at + 4, length - 4);
    log[at + 2] = static_cast<uint8_t>(crc & 0xFF);
    log[at + 3] = static_cast<uint8_t>(crc >> 8);
}

ByteVector makeLog(FuzzedDataProvider& script) {
    ByteVector log;
    size_t summed = 0;
    for (int step = script.ConsumeIntegral<uint8_t>(); step > 0 && log.size() < kMaxLog; --step) {
        const auto size = script.ConsumeIntegral<uint16_t>();
        switch (script.ConsumeIntegralInRange(0, 6)) {
            case 0: {
                const auto bytes = script.ConsumeBytes<uint8_t>(size % 32);
                log.insert(log.end(), bytes.begin(), bytes.end());
                break;
            }
            case 1: log.resize(log.size() + size, 'x'); break;
            case 2: log.resize(log.size() + size % 256, '$'); break;
            case 3: appendBlock(script, size, log); break;
            case 4: appendBlock(script, size % 64, log); break;
            case 5:  // a block that becomes a false start, what is inside it stays
                summed += size;
                if (summed > kMaxSummed) break;
                log.insert(log.end(),
                           {'$', '@', 1, 2, 3, 4, static_cast<uint8_t>(size & 0xFF), static_cast<uint8_t>(size >> 8)});
                break;
            default:  // a bit of what is there turns
                if (!log.empty()) log[log.size() - 1 - size % log.size()] ^= 4;
        }
    }
    return log;
}

void compareCrcs(const ByteVector& log, FuzzedDataProvider& script) {
    ZeltCrcIndex index;
    zeltBuildCrcIndex({log.data(), log.size()}, index);
    for (int i = 0; i < 8; ++i) {
        const size_t offset = script.ConsumeIntegralInRange<size_t>(0, log.size());
        const size_t size = script.ConsumeIntegralInRange<size_t>(0, std::min(log.size() - offset, kZeltMaxLength));
        // In an allocation of its own, so that no way reads beyond its end unseen.
        const ByteVector part(log.begin() + static_cast<std::ptrdiff_t>(offset),
                              log.begin() + static_cast<std::ptrdiff_t>(offset + size));
        const uint16_t expected = modelCrc(part.data(), size);
        for (const ZeltCrcMethod& method : zeltCrcMethods()) {
            require(!method.isAvailable || method.crc(part.data(), size) == expected, "the CRC by every way");
        }
        require(zeltIndexedCrc(index, offset, size) == expected, "the CRC by an index");
    }
}

// One request of the reader and of the model.
void compareRequest(ZeltFile& file, const Model& model, size_t& position, FuzzedDataProvider& script) {
    const auto anyOr = [&script] {
        const int n = script.ConsumeIntegralInRange(0, 9);
        return n > 7 ? kZeltAnyBlock : static_cast<uint16_t>(4000 + n);
    };
    const uint16_t id1 = anyOr();
    const uint16_t id2 = anyOr();
    const unsigned flags = script.ConsumeIntegralInRange(0U, 15U);
    Bytes block;
    const int result = zeltGetNextBlock(file, block, id1, id2, flags);
    size_t at = (flags & kZeltRewindMask) == kZeltRewind ? 0 : position;
    const Model::Block* found = nullptr;
    for (const Model::Block& candidate : model.blocks) {
        if (candidate.at < at) continue;
        at = candidate.at + candidate.length;
        const bool isAny = id1 == kZeltAnyBlock || id2 == kZeltAnyBlock;
        if (!isAny && candidate.number != id1 && candidate.number != id2) continue;
        found = &candidate;
        break;
    }
    require(result == (found != nullptr ? kZeltFound : kZeltEndOfFile), "that there is a block, or none");
    if (found != nullptr) {
        const auto begin = model.log.begin() + static_cast<std::ptrdiff_t>(found->at);
        require(block.size == found->length && std::equal(block.data, block.data + block.size, begin), "the block");
        if ((flags & kZeltPeekMask) != kZeltPeek) position = found->at + found->length;
    }
    require(zeltGetFilePos(file) == static_cast<int64_t>(position), "the position");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const Inside inside(scratch());
    FuzzedDataProvider script(data, size);
    const ByteVector log = makeLog(script);
    writeFile(kLog, log);
    compareCrcs(log, script);
    const Model model(log);
    ZeltFile file;
    zeltOpenFile(kLog, file);
    require(zeltGetFileLength(file) == static_cast<int64_t>(log.size()), "the length");
    size_t position = 0;
    for (int n = 0; n < 60 && script.remaining_bytes() > 0; ++n) compareRequest(file, model, position, script);
    zeltCloseFile(file);
    return 0;
}
