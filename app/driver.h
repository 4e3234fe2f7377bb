// The pass over the log: every block in file order, measurements to the track engine, ephemerides to the store.
#pragma once

#include <cstdint>

#include "app/output.h"
#include "app/runoptions.h"
#include "cggtts/runconfig.h"

// Converts the log named in the options. A file that cannot be created, or a system call of the reader that must not
// fail, ends the program with status 1.
void processFile(const RunConfig& config, const RunOptions& options, OutputRegistry& outputs);

// True when an epoch (GPS week, ms of the week) lies within the time window, its ends included.
bool isInTimeWindow(const RunOptions& options, uint32_t wnc, uint32_t tow);
