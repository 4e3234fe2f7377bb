#include "app/driver.h"

#include <memory>

#include "app/pass.h"
#include "app/progress.h"

void processFile(const RunConfig& config, const RunOptions& options, OutputRegistry& outputs) {
    const auto pass = std::make_unique<FilePass>(config, options);
    Progress progress;
    PassEvents events;
    events.lines = [&] { writeOutputs(pass->processor, config, options, outputs); };
    if (options.showsProgress) events.blockTaken = [&] { showProgressRange(progress, pass->file, 0, 100); };
    runPass(*pass, events);
    if (options.showsProgress) showProgressRange(progress, pass->file, 100, 100);
    zeltCloseFile(pass->file);
}
