#include "utils/nav/positionfilter/distributions.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Qon::Nav {
namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr int kMaxTerms = 10000;
constexpr int kMaxNewtonSteps = 100;
constexpr double kMaxNoncentrality = 1000;

// x^a e^-x / Gamma(a + 1), the leading term of both expansions.
double leadingTerm(double a, double x) { return std::exp(a * std::log(x) - x - std::lgamma(a + 1)); }

// Lower incomplete gamma function over Gamma(a) by its series (6.5.29), quick for x < a + 1.
double lowerGammaBySeries(double a, double x) {
    double term = 1;
    double sum = 1;
    for (int k = 1; k < kMaxTerms && term > sum * 1e-17; ++k) {
        term *= x / (a + k);
        sum += term;
    }
    return sum * leadingTerm(a, x);
}

// Upper incomplete gamma function over Gamma(a) by its continued fraction (6.5.31, contracted to its even part),
// evaluated forwards by the method of Lentz; quick for x > a + 1.
double upperGammaByFraction(double a, double x) {
    double b = x + 1 - a;
    double c = kInfinity;
    double d = 1 / b;
    double fraction = d;
    for (int k = 1; k < kMaxTerms; ++k) {
        const double numerator = -k * (k - a);
        b += 2;
        d = 1 / (numerator * d + b);
        c = b + numerator / c;
        fraction *= c * d;
        if (std::fabs(c * d - 1) < 1e-16) break;
    }
    return fraction * a * leadingTerm(a, x);
}

double chiSquareDensity(double x, int degrees) { return leadingTerm(0.5 * degrees, 0.5 * x) * 0.5 * degrees / x; }

double normalTail(double x) { return 0.5 * std::erfc(x * std::sqrt(0.5)); }

double normalDensity(double x) {
    constexpr double kInverseRootOfTwoPi = 0.3989422804014327;
    return kInverseRootOfTwoPi * std::exp(-0.5 * x * x);
}

// Newton's step towards a tail, taken on the tail's logarithm, which is nearly straight where tails are small.
double newtonStep(double tail, double density, double wanted) { return tail / density * std::log(tail / wanted); }

}  // namespace

double ChiSquareTail(double x, int degrees) {
    if (degrees < 1 || std::isnan(x)) return kNan;
    if (x <= 0) return 1;
    const double a = 0.5 * degrees;
    const double half = 0.5 * x;
    return half < a + 1 ? 1 - lowerGammaBySeries(a, half) : upperGammaByFraction(a, half);
}

double ChiSquareQuantile(double upperTail, int degrees) {
    if (degrees < 1 || !(upperTail > 0 && upperTail < 1)) return kNan;
    const double spread = 2.0 / (9.0 * degrees);
    const double root = 1 - spread + NormalQuantile(upperTail) * std::sqrt(spread);
    double x = degrees * std::max(root * root * root, 1e-8);
    // The answer stays between these two; a step that leaves them is replaced by a halving.
    double low = 0;
    double high = kInfinity;
    for (int i = 0; i < kMaxNewtonSteps; ++i) {
        const double tail = ChiSquareTail(x, degrees);
        (tail > upperTail ? low : high) = x;
        double next = x + newtonStep(tail, chiSquareDensity(x, degrees), upperTail);
        if (!(next > low && next < high)) next = high < kInfinity ? 0.5 * (low + high) : 2 * x;
        const double step = std::fabs(next - x);
        x = next;
        if (step <= 1e-13 * x) break;
    }
    return x;
}

double NormalQuantile(double upperTail) {
    if (!(upperTail > 0 && upperTail < 1)) return kNan;
    if (upperTail > 0.5) return -NormalQuantile(1 - upperTail);
    const double t = std::sqrt(-2 * std::log(upperTail));
    double x = t - (2.515517 + t * (0.802853 + t * 0.010328)) / (1 + t * (1.432788 + t * (0.189269 + t * 0.001308)));
    for (int i = 0; i < 4; ++i) x += newtonStep(normalTail(x), normalDensity(x), upperTail);
    return x;
}

double NoncentralChiSquareTail(double x, int degrees, double noncentrality) {
    if (degrees < 1 || !(noncentrality >= 0 && noncentrality <= kMaxNoncentrality) || std::isnan(x)) return kNan;
    if (x <= 0) return 1;
    // A Poisson mixture of central distributions with two more degrees of freedom each (26.4.8 leads from one to the
    // next).
    const double half = 0.5 * x;
    double tail = ChiSquareTail(x, degrees);
    double increment = leadingTerm(0.5 * degrees, half);
    double weight = std::exp(-0.5 * noncentrality);
    double sum = weight * tail;
    double weights = weight;
    for (int j = 1; j < kMaxTerms && 1 - weights > 1e-13; ++j) {
        tail += increment;
        increment *= half / (0.5 * degrees + j);
        weight *= 0.5 * noncentrality / j;
        weights += weight;
        sum += weight * tail;
    }
    return std::min(sum, 1.0);
}

double NoncentralityForTail(double x, int degrees, double upperTail) {
    if (degrees < 1 || !(upperTail > 0 && upperTail < 1) || std::isnan(x)) return kNan;
    double low = 0;
    double high = kMaxNoncentrality;
    if (NoncentralChiSquareTail(x, degrees, low) >= upperTail) return low;
    if (NoncentralChiSquareTail(x, degrees, high) < upperTail) return high;
    while (high - low > 1e-7) {
        const double middle = 0.5 * (low + high);
        (NoncentralChiSquareTail(x, degrees, middle) < upperTail ? low : high) = middle;
    }
    return high;
}

}  // namespace Qon::Nav
