#include "app/driver.h"

#include <memory>

#include "utils/geometry/navtools.h"
#include "utils/zeltdata/zeltmeas.h"

namespace {

constexpr unsigned kMeasMode = kZeltAllowMeas3 | kZeltAllowMeasEpoch;

void useEpoch(FilePass& pass) {
    if (!isInTimeWindow(pass.options, pass.epoch.wnc, pass.epoch.tow)) return;
    if (pass.processor.addEpoch(pass.epoch)) {
        writeOutputs(pass.processor, pass.config, pass.options, pass.outputs);
    }
}

}  // namespace

bool isInTimeWindow(const RunOptions& options, uint32_t wnc, uint32_t tow) {
    const int64_t t = wnc * Qon::Nav::kMillisecondsPerWeek + tow;
    return options.firstEpoch <= t && t <= options.lastEpoch;
}

void dispatchBlock(Bytes block, FilePass& pass) {
    if (!zeltHasTimeStamp(block)) return;
    const bool isNav = zeltFixNavBlock(block, pass.navBlock);  // a copy, before collecting voids the view
    for (bool ready = zeltCollectMeasBlock(pass.file, block, pass.epoch, kMeasMode); ready;
         ready = zeltNextCompleteEpoch(pass.file, pass.epoch, kMeasMode)) {
        useEpoch(pass);
    }
    if (isNav) Qon::Nav::StoreNavBlock(pass.store, pass.navBlock.bytes());
}

void processFile(const RunConfig& config, const RunOptions& options, OutputRegistry& outputs) {
    const auto pass = std::make_unique<FilePass>(config, options, outputs);
    zeltOpenFile(options.inputFile.c_str(), pass->file);
    pass->file.meas.wanted = {.everySeconds = kSampleSpacing, .beforeWeek = kFirstWrappedWeek, .codesOnly = true};
    Bytes block;
    while (zeltGetNextBlock(pass->file, block, kZeltAnyBlock, kZeltAnyBlock, 0) == kZeltFound) {
        dispatchBlock(block, *pass);
        if (options.progress) showProgressRange(pass->progress, pass->file, 0, 100);
    }
    // An epoch is still pending when the log ends in one of its blocks that has no valid time stamp.
    if (zeltDecodePendingEpoch(pass->file, pass->epoch, kMeasMode)) useEpoch(*pass);
    if (options.progress) showProgressRange(pass->progress, pass->file, 100, 100);
    zeltCloseFile(pass->file);
}
