// zeltlog join of a hostile log and a part of it: each block comes out once, whole, and none is lost.
#include <algorithm>

#include "fuzz/logmutator.h"
#include "fuzz/support.h"
#include "zeltlog/logjoin.h"

namespace {

std::vector<ByteVector> sortedBlocks(Bytes log) {
    std::vector<ByteVector> blocks;
    for (const Bytes block : blocksOf(log)) blocks.push_back(copyOf(block));
    std::sort(blocks.begin(), blocks.end());
    return blocks;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    enterScratchFolder();
    // The last bytes say where the second log begins and ends, and whether it comes first.
    const size_t begin = size < 3 ? 0 : data[size - 1] * size / 256;
    const size_t end = size < 3 ? size : std::max(begin, data[size - 2] * size / 256);
    writeFile("log", {data, data + size});
    writeFile("part", {data + begin, data + end});
    JoinRequest request{{"log", "part"}};
    if (size >= 3 && (data[size - 3] & 1) != 0) std::swap(request.logs[0], request.logs[1]);
    ByteVector out;
    const JoinSummary summary = joinLogs(
        request,
        [&](Bytes block) {
            out.insert(out.end(), block.data, block.data + block.size);
            return true;
        },
        nullptr);
    const std::vector<ByteVector> whole = sortedBlocks({data, size});
    const std::vector<ByteVector> part = sortedBlocks({data + begin, end - begin});
    const std::vector<ByteVector> joined = sortedBlocks({out.data(), out.size()});
    require(joined.size() == summary.blocks, "whole blocks");
    require(summary.blocks + summary.doubles == whole.size() + part.size(), "each block written or a double");
    const auto hasAll = [&](std::vector<ByteVector> blocks) {
        blocks.erase(std::unique(blocks.begin(), blocks.end()), blocks.end());
        return std::includes(joined.begin(), joined.end(), blocks.begin(), blocks.end());
    };
    require(hasAll(whole) && hasAll(part), "no block lost");
    return 0;
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t maxSize, unsigned seed) {
    return mutateLog(data, size, maxSize, seed);
}
