// The reader against a walk that goes byte by byte, and the ways to a CRC against each other.
//
// An input is a script: a first part builds a log, in one case of sixteen of more than a window, a second one asks for
// blocks.
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>

#include "fuzz/support.h"
#include "utils/zeltdata/zeltcrc.h"

namespace {

constexpr const char* kLog = "log";
constexpr size_t kSmallLog = 4096;
constexpr size_t kMaxSummed = 300;
constexpr size_t kLargeLog = size_t{300} * 1024;

unsigned bitwiseCrc(Bytes bytes) {
    unsigned crc = 0;
    for (size_t i = 0; i < bytes.size; ++i) {
        crc ^= static_cast<unsigned>(bytes.data[i]) << 8;
        for (int bit = 0; bit < 8; ++bit) crc = (crc & 0x8000) != 0 ? (crc << 1 ^ 0x1021) & 0xFFFF : crc << 1;
    }
    return crc;
}

ByteVector makeBlock(FuzzedDataProvider& script, size_t size) {
    BlockBuilder block(4000 + script.ConsumeIntegralInRange(0, 7), kZeltMinLength);
    block.bytes.resize(size, script.ConsumeIntegral<uint8_t>());
    return block.done();
}

ByteVector makeLog(FuzzedDataProvider& script) {
    const size_t maxLog = script.ConsumeIntegralInRange(0, 15) == 0 ? kLargeLog : kSmallLog;
    ByteVector log;
    for (int step = script.ConsumeIntegral<uint8_t>(); step > 0 && log.size() < maxLog; --step) {
        const size_t size = script.ConsumeIntegral<uint16_t>() % maxLog;
        switch (script.ConsumeIntegralInRange(0, 6)) {
            case 0: log += script.ConsumeBytes<uint8_t>(size % 32); break;
            case 1: log.resize(log.size() + size, 'x'); break;
            case 2: log.resize(log.size() + size % 256, '$'); break;
            case 3: log += makeBlock(script, size); break;
            case 4: log += makeBlock(script, size % 64); break;
            // The beginning of a block that there is not, what follows stays.
            case 5: log += BlockBuilder({'$', '@', 1, 2, 3, 4}).u16(6, static_cast<int64_t>(size)).bytes; break;
            default:  // a bit of what is there turns
                if (!log.empty()) log[log.size() - 1 - size % log.size()] ^= 4;
        }
    }
    return log;
}

void compareCrcs(const ByteVector& log, FuzzedDataProvider& script) {
    ZeltCrcIndex index;
    zeltBuildCrcIndex(viewOf(log), index);
    for (int i = 0; i < 4; ++i) {
        const size_t offset = script.ConsumeIntegralInRange<size_t>(0, log.size());
        const size_t size = script.ConsumeIntegralInRange<size_t>(0, std::min(log.size() - offset, kMaxSummed));
        // In an allocation of its own, so that no way reads beyond its end unseen.
        const ByteVector part = copyOf(viewOf(log).sub(offset, size));
        const unsigned expected = bitwiseCrc(viewOf(part));
        for (const ZeltCrcMethod& method : zeltCrcMethods()) {
            require(!method.isAvailable || method.crc(part.data(), size) == expected, "the CRC by every way");
        }
        require(zeltIndexedCrc(index, offset, size) == expected, "the CRC by an index");
    }
}

// One request of the reader, and of the log's blocks from `position` on.
void compareRequest(ZeltFile& file, const ByteVector& log, const std::vector<Bytes>& blocks, size_t& position,
                    FuzzedDataProvider& script) {
    const auto anyOr = [&script] {
        const int n = script.ConsumeIntegralInRange(0, 9);
        return n > 7 ? kZeltAnyBlock : static_cast<uint16_t>(4000 + n);
    };
    const uint16_t id1 = anyOr();
    const uint16_t id2 = anyOr();
    const unsigned flags = script.ConsumeIntegralInRange(0U, 15U);
    const uint8_t* from = log.data() + ((flags & kZeltRewindMask) == kZeltRewind ? 0 : position);
    const auto expected = std::find_if(blocks.begin(), blocks.end(), [&](Bytes block) {
        const bool isAny = id1 == kZeltAnyBlock || id2 == kZeltAnyBlock;
        return block.data >= from && (isAny || zeltNumber(block) == id1 || zeltNumber(block) == id2);
    });
    Bytes block;
    const int result = zeltGetNextBlock(file, block, id1, id2, flags);
    require(result == (expected != blocks.end() ? kZeltFound : kZeltEndOfFile), "that there is a block, or none");
    if (expected != blocks.end()) {
        require(std::equal(block.data, block.data + block.size, expected->data, expected->data + expected->size),
                "the block");
        const auto end = static_cast<size_t>(expected->data + expected->size - log.data());
        if ((flags & kZeltPeekMask) != kZeltPeek) position = end;
    }
    require(zeltGetFilePos(file) == static_cast<int64_t>(position), "the position");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    enterScratchFolder();
    FuzzedDataProvider script(data, size);
    const ByteVector log = makeLog(script);
    writeFile(kLog, log);
    compareCrcs(log, script);
    const std::vector<Bytes> blocks = blocksOf(viewOf(log));
    ZeltFile file;
    zeltOpenFile(kLog, file);
    require(zeltGetFileLength(file) == static_cast<int64_t>(log.size()), "the length");
    size_t position = 0;
    for (int n = 0; n < 16 && script.remaining_bytes() > 0; ++n) compareRequest(file, log, blocks, position, script);
    zeltCloseFile(file);
    return 0;
}
