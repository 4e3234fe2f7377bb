// The pass over a log: every block in file order, measurements through the collector to the track engine, ephemerides
// to their store.
#pragma once

#include <cstdint>
#include <functional>

#include "app/runoptions.h"
#include "cggtts/runconfig.h"
#include "cggtts/trackengine.h"
#include "utils/nav/navdatadecoder/satnavdecoder/ephemerisstore.h"
#include "utils/zeltdata/zeltmeasepoch.h"
#include "utils/zeltdata/zeltnav.h"
#include "utils/zeltdata/zeltread.h"

// What one pass works on: a quarter of a megabyte, most of it track records, which is more than a stack of one should
// hold.
struct FilePass {
    // Both must outlive the pass.
    FilePass(const RunConfig& runConfig, const RunOptions& runOptions)
        : config(runConfig), options(runOptions), processor(runConfig, store) {}

    const RunConfig& config;
    const RunOptions& options;
    ZeltFile file;
    ZeltMeasEpoch epoch;  // the one decoded last
    ZeltNavBlock navBlock;
    Qon::Nav::EphemerisStore store;
    CggttsProcessor processor;
};

// What a pass tells of itself, to those who set it.
struct PassEvents {
    // A block comes, not looked at yet.
    std::function<void(Bytes)> block;
    // It was taken, and is gone.
    std::function<void()> blockTaken;
    // An epoch was decoded; the track engine takes it next if it is in the time window.
    std::function<void(bool isInWindow)> epoch;
    // The engine closed tracks, and lines are waiting in its buffers.
    std::function<void()> lines;
};

// Takes the log named in the options from its first block to its last. Faults of the system end the program, or the
// log (pass.file.window.fault() tells).
void runPass(FilePass& pass, const PassEvents& events, ZeltOnFault onFault = ZeltOnFault::kEndProgram);

// Handles one block; one whose time stamp is do-not-use is ignored altogether.
void dispatchBlock(Bytes block, FilePass& pass, const PassEvents& events);

// True when an epoch (GPS week, ms of the week) lies within the time window, its ends included.
bool isInTimeWindow(const RunOptions& options, uint32_t wnc, uint32_t tow);
