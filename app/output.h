// The output stage: creates the CGGTTS files and writes what waits for them.
#pragma once

#include <array>
#include <cstdio>
#include <string>

#include "app/runoptions.h"
#include "cggtts/runconfig.h"
#include "cggtts/trackengine.h"

// One stream per constellation, in the order of kConstellations, null while its file is not created, and the names of
// the created files.
struct OutputRegistry {
    std::array<std::FILE*, kTrackedConstellations> streams{};
    std::string createdFiles;  // paths as created, separated by commas, cut to 499 characters
};

// Creates the files of all constellations not excluded that have none yet, each with its header, in the current
// directory, and writes every constellation's waiting lines to its file. A file that cannot be created ends the program
// with status 1; what was written before stays. Writes are not checked.
void writeOutputs(const CggttsProcessor& processor, const RunConfig& config, const RunOptions& options,
                  OutputRegistry& outputs);

// Opens a file; on failure prints a message with the kind word and ends the program with the given status.
std::FILE* openFileOrExit(const char* path, const char* mode, const char* kindWord, int exitStatus);

// Replaces every upper-case ASCII letter by "0", for tools that read numbers only.
void matlabFilter(std::string& text);

// Closes the files; their content is complete afterwards.
void closeOutputs(OutputRegistry& outputs);
