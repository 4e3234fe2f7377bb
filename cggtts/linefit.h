// Least-squares lines.
#pragma once

#include <cstddef>

struct Line {
    double slope = 0;
    double intercept = 0;  // value at x = 0

    double at(double x) const { return slope * x + intercept; }
};

// The line through n points (n >= 3) that minimises the squared residuals in y; summed from the first point, so that
// large common offsets cost no digits. Not finite when all x are the same. rms, when asked for, is that of the
// residuals with n - 2 degrees of freedom.
Line fitLine(const double* x, const double* y, size_t n, double* rms = nullptr);
