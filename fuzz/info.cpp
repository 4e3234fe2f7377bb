// What zeltlog info tells of a hostile log: it adds up, and can be said in every form.
#include "fuzz/logmutator.h"
#include "fuzz/support.h"
#include "zeltlog/infotext.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    enterScratchFolder();
    writeFile("log", {data, data + size});
    const LogInfo info = readLogInfo("log", nullptr);
    const std::vector<Bytes> blocks = blocksOf({data, size});
    uint64_t counted = 0;
    for (const uint64_t count : info.blockCounts) counted += count;
    require(counted == info.blocks && info.blocks == blocks.size(), "every block counted once");
    int64_t ofBlocks = 0;
    for (const Bytes block : blocks) ofBlocks += static_cast<int64_t>(block.size);
    require(info.strayBytes + ofBlocks == static_cast<int64_t>(size), "every byte in a block or stray");
    require(info.cutOffBytes < info.cutOffLength || info.cutOffBytes == 0, "a cut block shorter than whole");
    const LogSpan span = readLogSpan("log");
    require(span.hasBlock == (info.blocks != 0), "a span when there is a block");
    require(!span.isWhole || (span.first == info.blockTimes.first && span.last == info.blockTimes.last),
            "the span of a log that was read whole");
    for (const std::string& text :
         {infoText(info), infoTableLine(info), infoJson(info), spanText(span), spanJson(span)}) {
        require(!text.empty() && text.back() == '\n', "whole lines");
    }
    return 0;
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t maxSize, unsigned seed) {
    return mutateLog(data, size, maxSize, seed);
}
