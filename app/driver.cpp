#include "app/driver.h"

#include <memory>

#include "utils/geometry/navtools.h"

namespace {

constexpr unsigned kMeasMode = kZeltAllowMeas3 | kZeltAllowMeasEpoch | kZeltCodesOnly;

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
    const bool isMeas = zeltIsMeasBlock(block);
    const unsigned interest = mayBeNeeded(zeltWnc(block), zeltTow(block)) ? 0 : kZeltNoteOnly;
    if (zeltCollectMeasBlock(pass.file, block, pass.epoch, kMeasMode | interest)) useEpoch(pass);
    if (isMeas) return;
    if (zeltFixNavBlock(block, pass.navBlock)) Qon::Nav::StoreNavBlock(pass.store, pass.navBlock.bytes());
}

void processFile(const RunConfig& config, const RunOptions& options, OutputRegistry& outputs) {
    const auto pass = std::make_unique<FilePass>(config, options, outputs);
    zeltOpenFile(options.inputFile.c_str(), pass->file);
    Bytes block;
    while (zeltGetNextBlock(pass->file, block, kZeltAnyBlock, kZeltAnyBlock, 0) == kZeltFound) {
        dispatchBlock(block, *pass);
        if (options.progress) showProgressRange(pass->progress, pass->file, 0, 100);
    }
    // An epoch is still pending when the last block was one of its own that could not be used.
    if (zeltDecodePendingEpoch(pass->file, pass->epoch, kMeasMode)) useEpoch(*pass);
    if (options.progress) showProgressRange(pass->progress, pass->file, 100, 100);
    zeltCloseFile(pass->file);
}
