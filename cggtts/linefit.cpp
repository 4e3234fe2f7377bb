#include "cggtts/linefit.h"

#include <cmath>

namespace {

// 0 for residuals that are no numbers, too: the value itself then shows it.
double residualRms(const double* x, const double* y, size_t n, const Line& line) {
    double sum = 0;
    for (size_t i = 0; i < n; ++i) {
        const double residual = y[i] - line.at(x[i]);
        sum += residual * residual;
    }
    return sum > 0 ? std::sqrt(sum / static_cast<double>(n - 2)) : 0.0;
}

}  // namespace

Line fitLine(const double* x, const double* y, size_t n, double* rms) {
    double sx = 0;
    double sxx = 0;
    double sy = 0;
    double sxy = 0;
    for (size_t i = 1; i < n; ++i) {
        const double dx = x[i] - x[0];
        const double dy = y[i] - y[0];
        sx += dx;
        sxx += dx * dx;
        sy += dy;
        sxy += dx * dy;
    }
    const auto count = static_cast<double>(n);
    const double d = sx * sx - sxx * count;
    const double slope = (sy * sx - sxy * count) / d;
    const Line line{slope, (sxy * sx - sy * sxx) / d + y[0] - x[0] * slope};
    if (rms != nullptr) *rms = residualRms(x, y, n, line);
    return line;
}
