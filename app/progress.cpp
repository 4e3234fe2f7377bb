#include "app/progress.h"

#include <cmath>
#include <cstdio>
#include <string>

namespace {

constexpr float kComplete = 100.0F;  // percent
constexpr const char* kLabel = "Processing:";

}  // namespace

std::string progressBar(const char* label, float percent) {
    constexpr int kAroundBar = 6;  // two bars and " nn%"
    const std::string start = *label == '\0' ? "" : std::string(label) + ' ';
    const int width = static_cast<int>(kProgressWidth) - kAroundBar - static_cast<int>(start.size());
    const float x = static_cast<float>(width) * percent / kComplete;
    int n = static_cast<int>(x);
    std::string bar(static_cast<size_t>(n), '=');
    if (x - static_cast<float>(n) >= 0.5F && n < width) {  // half a character
        bar += '-';
        ++n;
    }
    char end[16];
    std::snprintf(end, sizeof end, "| %2d%%", static_cast<int>(percent));
    return start + '|' + bar + std::string(static_cast<size_t>(width - n), ' ') + end;
}

void clearProgress() {
    std::printf("\r%*s\r", static_cast<int>(kProgressWidth), "");
    std::fflush(stdout);  // no line end does it
}

void drawProgress(const char* label, float percent) {
    if (!(percent >= 0 && percent < kComplete)) return clearProgress();
    std::printf("\r%s", progressBar(label, percent).c_str());
    std::fflush(stdout);
}

void showProgressRange(Progress& progress, ZeltFile& file, float firstPercent, float lastPercent) {
    if (progress.fileLength == 0) {
        progress.fileLength = static_cast<float>(zeltGetFileLength(file));
        std::printf("\n");
    }
    const auto position = static_cast<float>(zeltGetFilePos(file));
    float percent = position * (lastPercent - firstPercent) / progress.fileLength + firstPercent;
    if (firstPercent == kComplete || percent > kComplete) percent = kComplete;
    // Once per whole percent, however many blocks there are.
    if (percent > progress.threshold || percent == kComplete) {
        progress.threshold = static_cast<float>(std::floor(percent + 1.0));
        drawProgress(kLabel, percent);
    }
    if (firstPercent == kComplete) {
        clearProgress();
        std::printf("\n");
    }
}
