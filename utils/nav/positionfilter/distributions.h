// Tail probabilities and quantiles of the distributions that decisions on residuals rest on.
// Sources: M. Abramowitz and I. A. Stegun, Handbook of Mathematical Functions, 1964, sections 6.5, 26.2 and 26.4.
// "Upper tail" is the probability that a value exceeds x. Nothing here keeps state or fails: outside the given ranges
// the result is NaN.
#pragma once

namespace Qon::Nav {

// Upper tail of the chi-square distribution. degrees >= 1, x >= 0 (below: 1). Absolute error below 1e-12.
double ChiSquareTail(double x, int degrees);

// The x that chi-square exceeds with probability `upperTail`, 0 < upperTail < 1, degrees >= 1: the approximation of
// Wilson and Hilferty (26.4.17), refined by Newton's method. Relative error below 1e-9 for tails of 1e-15 to 0.999.
double ChiSquareQuantile(double upperTail, int degrees);

// The x that the standard normal distribution exceeds with probability `upperTail`, 0 < upperTail < 1: 26.2.23,
// refined by Newton's method. Absolute error below 1e-9 for tails of 1e-15 to 1 - 1e-6.
double NormalQuantile(double upperTail);

// Upper tail of the noncentral chi-square distribution (26.4.25), 0 <= noncentrality <= 1000.
double NoncentralChiSquareTail(double x, int degrees, double noncentrality);

// The noncentrality with which the distribution exceeds x with probability `upperTail`, 0 < upperTail < 1; 0 when it
// does so without any, 1000 when no noncentrality up to there is enough. Absolute error below 1e-6.
double NoncentralityForTail(double x, int degrees, double upperTail);

}  // namespace Qon::Nav
