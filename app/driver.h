// The pass over the log: every block in file order, to the measurement collector and the ephemeris store.
#pragma once

#include <cstdint>

#include "app/output.h"
#include "app/progress.h"
#include "app/runoptions.h"
#include "cggtts/runconfig.h"
#include "cggtts/trackengine.h"
#include "utils/nav/navdatadecoder/satnavdecoder/ephemerisstore.h"
#include "utils/zeltdata/zeltmeasepoch.h"
#include "utils/zeltdata/zeltnav.h"
#include "utils/zeltdata/zeltread.h"

// Everything one pass works on.
struct FilePass {
    FilePass(const RunConfig& runConfig, const RunOptions& runOptions, OutputRegistry& outputRegistry)
        : config(runConfig), options(runOptions), outputs(outputRegistry), processor(runConfig, store) {}

    const RunConfig& config;
    const RunOptions& options;
    OutputRegistry& outputs;
    ZeltFile file;
    ZeltMeasEpoch epoch{};
    ZeltNavBlock navBlock;
    Qon::Nav::EphemerisStore store;
    CggttsProcessor processor;
    Progress progress;
};

// Converts the log named in the options. A file that cannot be created, or a system call of the reader that must not
// fail, ends the program with status 1.
void processFile(const RunConfig& config, const RunOptions& options, OutputRegistry& outputs);

// Handles one block; one whose time stamp is do-not-use is ignored altogether.
void dispatchBlock(Bytes block, FilePass& pass);

// True when an epoch (GPS week, ms of the week) lies within the time window, its ends included.
bool isInTimeWindow(const RunOptions& options, uint32_t wnc, uint32_t tow);
