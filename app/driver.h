// The conversion: a pass over the log whose lines go to the output files.
#pragma once

#include "app/output.h"
#include "app/runoptions.h"
#include "cggtts/runconfig.h"

// Converts the log named in the options. A file that cannot be created, or a system call of the reader that must not
// fail, ends the program with status 1.
void processFile(const RunConfig& config, const RunOptions& options, OutputRegistry& outputs);
