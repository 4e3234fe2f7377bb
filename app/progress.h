// The progress indicator: one line of 80 characters on standard output, redrawn about once per percent.
#pragma once

#include <cstddef>
#include <string>

#include "utils/zeltdata/zeltread.h"

constexpr size_t kProgressWidth = 80;  // characters

// The bar, kProgressWidth characters: "label |====-    |  5%", for 0 <= percent < 100 and labels of up to 60.
std::string progressBar(const char* label, float percent);

struct Progress {
    float fileLength = 0;  // bytes; 0: not yet measured
    float threshold = 0;   // percent; the indicator is redrawn beyond it
};

// Draws the share of the file read so far, on a scale from firstPercent to lastPercent. The first call ends the line
// that the console is on. With firstPercent 100 the pass is over: the indicator is blanked and its line ended.
void showProgressRange(Progress& progress, ZeltFile& file, float firstPercent, float lastPercent);

// Draws "label |====-    |  5%"; blanks the line unless 0 <= percent < 100.
void drawProgress(const char* label, float percent);

// Blanks the line.
void clearProgress();
