#include "app/pass.h"

#include "cggtts/schedule.h"
#include "utils/geometry/navtools.h"
#include "utils/zeltdata/zeltmeas.h"

namespace {

constexpr unsigned kMeasMode = kZeltAllowMeas3 | kZeltAllowMeasEpoch;

void useEpoch(FilePass& pass, const PassEvents& events) {
    const bool isInWindow = isInTimeWindow(pass.options, pass.epoch.wnc, pass.epoch.tow);
    if (events.epoch) events.epoch(isInWindow);
    if (isInWindow && pass.processor.addEpoch(pass.epoch) && events.lines) events.lines();
}

}  // namespace

bool isInTimeWindow(const RunOptions& options, uint32_t wnc, uint32_t tow) {
    const int64_t t = wnc * Qon::Nav::kMillisecondsPerWeek + tow;
    return options.firstEpochMs <= t && t <= options.lastEpochMs;
}

void dispatchBlock(Bytes block, FilePass& pass, const PassEvents& events) {
    if (!zeltHasTimeStamp(block)) return;
    const bool isNav = zeltFixNavBlock(block, pass.navBlock);  // a copy, before collecting voids the view
    for (bool isReady = zeltCollectMeasBlock(pass.file, block, pass.epoch, kMeasMode); isReady;
         isReady = zeltNextCompleteEpoch(pass.file, pass.epoch, kMeasMode)) {
        useEpoch(pass, events);
    }
    if (isNav) Qon::Nav::StoreNavBlock(pass.store, pass.navBlock.bytes());
}

void runPass(FilePass& pass, const PassEvents& events, ZeltOnFault onFault) {
    zeltOpenFile(pass.options.inputFile.c_str(), pass.file, onFault);
    pass.file.meas.wanted = {.everySeconds = kSampleSpacing, .beforeWeek = kFirstWrappedWeek, .codesOnly = true};
    Bytes block;
    while (zeltGetNextBlock(pass.file, block, kZeltAnyBlock, kZeltAnyBlock, 0) == kZeltFound) {
        if (events.block) events.block(block);
        dispatchBlock(block, pass, events);
        if (events.blockTaken) events.blockTaken();
    }
    // An epoch is still pending when its last block was passed over for want of a time stamp, though the block before
    // had seen it coming.
    if (zeltDecodePendingEpoch(pass.file, pass.epoch, kMeasMode)) useEpoch(pass, events);
}
