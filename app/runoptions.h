// The settings that do not enter the computation: texts of the header and file names, flags, the time window. Texts are
// cut to the capacities of their options (optionTable).
#pragma once

#include <cstdint>
#include <string>

#include "utils/geometry/navtools.h"

struct RunOptions {
    std::string inputFile;  // empty: nothing is to be converted
    std::string laboratory = "Unknown";
    std::string laboratoryCode = "__";
    std::string receiverId = "__";
    std::string calibrationId;
    std::string revisionDate;
    std::string timeReference;
    std::string comment;
    std::string suffix;
    std::string excluded;  // letters of constellations (Constellation::letter) that get no file
    std::string firmwareVersion = "Unknown";
    std::string productName = "Unknown";
    bool showsProgress = false;  // on standard output
    bool isNumericOnly = false;  // letters of data lines become zeros
    // Time window of epochs, both ends included, ms since 1980-01-06 in GPS time, as the receiver stamps them.
    int64_t firstEpochMs = 0;
    int64_t lastEpochMs = 60000 * Qon::Nav::kMillisecondsPerWeek;
};

// True unless the letter (of kConstellations) occurs among the excluded ones.
inline bool isConstellationEnabled(const RunOptions& options, char letter) {
    return options.excluded.find(letter) == std::string::npos;
}
