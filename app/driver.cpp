#include "app/driver.h"

#include <memory>

#include "app/progress.h"
#include "cggtts/trackengine.h"
#include "utils/geometry/navtools.h"
#include "utils/nav/navdatadecoder/satnavdecoder/ephemerisstore.h"
#include "utils/zeltdata/zeltmeasepoch.h"
#include "utils/zeltdata/zeltnav.h"
#include "utils/zeltdata/zeltread.h"

namespace {

constexpr unsigned kMeasMode = kZeltAllowMeas3 | kZeltAllowMeasEpoch | kZeltCodesOnly;

// What one pass works on.
struct FilePass {
    FilePass(const RunConfig& runConfig, const RunOptions& runOptions, OutputRegistry& outputRegistry)
        : config(runConfig), options(runOptions), outputs(outputRegistry), processor(runConfig, store) {}

    const RunConfig& config;
    const RunOptions& options;
    OutputRegistry& outputs;
    ZeltFile file;
    ZeltMeasEpoch epoch{};
    Qon::Nav::EphemerisStore store;
    CggttsProcessor processor;
    Progress progress;
};

void useEpoch(FilePass& pass) {
    if (!isInTimeWindow(pass.options, pass.epoch.wnc, pass.epoch.tow)) return;
    if (pass.processor.addEpoch(pass.epoch)) {
        writeOutputs(pass.processor, pass.config, pass.options, pass.outputs);
    }
}

// A block whose time stamp is do-not-use is ignored altogether.
void dispatchBlock(Bytes block, FilePass& pass) {
    if (!zeltHasTimeStamp(block)) return;
    const bool isMeas = zeltIsMeasBlock(block);
    const unsigned interest = mayBeNeeded(zeltWnc(block), zeltTow(block)) ? 0 : kZeltNoteOnly;
    if (zeltCollectMeasBlock(pass.file, block, pass.epoch, kMeasMode | interest)) useEpoch(pass);
    if (isMeas) return;
    ZeltNavBlock nav;
    if (zeltFixNavBlock(block, nav)) Qon::Nav::StoreNavBlock(pass.store, nav.bytes());
}

}  // namespace

bool isInTimeWindow(const RunOptions& options, uint32_t wnc, uint32_t tow) {
    const int64_t t = wnc * Qon::Nav::kMillisecondsPerWeek + tow;
    return options.firstEpochMs <= t && t <= options.lastEpochMs;
}

void processFile(const RunConfig& config, const RunOptions& options, OutputRegistry& outputs) {
    // On the heap: its quarter of a megabyte, most of it track records, is more than a stack of one should hold.
    const auto pass = std::make_unique<FilePass>(config, options, outputs);
    zeltOpenFile(options.inputFile.c_str(), pass->file);
    Bytes block;
    while (zeltGetNextBlock(pass->file, block, kZeltAnyBlock, kZeltAnyBlock, 0) == kZeltFound) {
        dispatchBlock(block, *pass);
        if (options.showsProgress) showProgressRange(pass->progress, pass->file, 0, 100);
    }
    // An epoch may still be pending: when the last call delivered the one before it, and when its last block was passed
    // over for want of a time stamp, though the block before it had seen it coming.
    if (zeltDecodePendingEpoch(pass->file, pass->epoch, kMeasMode)) useEpoch(*pass);
    if (options.showsProgress) showProgressRange(pass->progress, pass->file, 100, 100);
    zeltCloseFile(pass->file);
}
