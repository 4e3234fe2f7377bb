#include "app/progress.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

constexpr int kLineWidth = 80;
constexpr float kComplete = 100.0F;  // percent
constexpr const char* kLabel = "Processing:";

}  // namespace

void clearProgress() {
    std::printf("\r%*s\r", kLineWidth, "");
    std::fflush(stdout);  // no line end does it
}

void drawProgress(const char* label, float percent) {
    if (!(percent >= 0 && percent < kComplete)) return clearProgress();
    constexpr int kAroundBar = 6;  // two strokes and " nn%"
    const int labelLength = static_cast<int>(std::strlen(label));
    const int width = kLineWidth - kAroundBar - (labelLength == 0 ? 0 : labelLength + 1);
    const float x = static_cast<float>(width) * percent / kComplete;
    int n = static_cast<int>(x);
    std::string bar(static_cast<size_t>(n), '=');
    if (x - static_cast<float>(n) >= 0.5F && n < width) {  // half a character
        bar += '-';
        ++n;
    }
    std::printf("\r%s%s|%s%*s| %2d%%", label, labelLength >= 1 ? " " : "", bar.c_str(), width - n, "",
                static_cast<int>(percent));
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
