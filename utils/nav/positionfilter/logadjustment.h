// One position from all epochs of a log, with a receiver clock per epoch and constellation.
//
// The clocks are eliminated epoch by epoch (the Schur complement of the normal equations; for clocks, which all
// measurements of a constellation share, that is taking the weighted mean off every column), so memory stays the same
// however long the log is. The equations are linear about one reference position, that of the first epoch that is
// usable. What that costs grows with the square of the distance d to the result: in a range d^2 / (2 x 20000 km) by its
// curvature, and less than d x 6e-6 by the turn of the Earth and the slant of the troposphere, which are not
// differentiated; the troposphere's change with height is. An epoch's code position is off by some tens of metres at
// most, which comes to about 0.1 mm; at kMaxShift it is below 1 mm, and beyond that the outcome says so.
//
// Standard deviations. Residuals of code every 30 s are no independent numbers: multipath returns, broadcast orbits and
// clocks are wrong for hours. Standard deviations from the normal equations would be several times too small. What the
// errors have in common over time belongs to a satellite, so they are found by leaving out one satellite after the
// other, with all its measurements (the jackknife: J. W. Tukey, Annals of Mathematical Statistics 29, 1958, 614; B.
// Efron, The Jackknife, the Bootstrap and Other Resampling Plans, 1982). Its covariance is that of a handful of
// satellites, and a single element of it can be far too small; so the covariance of independent residuals is used,
// multiplied by its largest ratio to that in any direction (correlationFactor squared). Two errors shift all
// satellites alike and show in no residual; they are added as uncertainties of what is not estimated (G. J. Bierman,
// Factorization Methods for Discrete Sequential Estimation, 1977): kZenithDelayUncertainty, carried through to the
// position, and kFrameUncertainty.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "utils/geometry/geometry.h"
#include "utils/nav/positionfilter/codemodel.h"
#include "utils/nav/positionfilter/epochsolution.h"

namespace Qon::Nav {

constexpr double kMaxShift = 100;  // m
// m, at one standard deviation: a delay computed from the height alone misses the weather; at sea level the wet part at
// the zenith lies between 0 and 0.4 m.
constexpr double kZenithDelayUncertainty = 0.1;
// m, at one standard deviation in each coordinate: of the frame of the broadcast orbits, and of antenna phase centres.
constexpr double kFrameUncertainty = 0.05;
constexpr int kMinJackknifeSatellites = 6;  // in the log, used by the adjustment

using Covariance = std::array<std::array<double, 3>, 3>;  // m^2, ECEF x, y, z

// Sum of weighted squares of (value - row x) as a function of x, a shift of the position from the reference.
struct SquareSum {
    double constant = 0;
    std::array<double, 3> linear{};
    std::array<std::array<double, 3>, 3> quadratic{};
};

struct SatelliteSums {
    int used = 0;       // measurements in the adjustment
    int atFault = 0;    // measurements that the integrity test excluded
    SquareSum squares;  // of the residuals, m^2
    SquareSum part;     // what the weighted sum loses when the satellite is left out
};

// Difference of two clocks, summed over the epochs that have both.
struct ClockPairSums {
    int epochs = 0;
    double sum = 0;
    std::array<double, 3> row{};
    SquareSum squares;
};

// The state of the adjustment, some 80 KB. Starts empty.
struct LogAdjustment {
    bool hasReference = false;
    Vector3 reference;
    std::array<int, kEpochOutcomes> outcomes{};  // epochs by outcome
    int epochs = 0;                              // that contribute
    int64_t measurements = 0;                    // that contribute
    int64_t degreesOfFreedom = 0;                // before the position is subtracted
    SquareSum weighted;
    std::array<double, 3> perZenithDelay{};  // normal equations' response to 1 m of zenith delay
    std::array<SatelliteSums, kMaxSatelliteNumbers> satellites;
    std::array<int64_t, kMaxClocks> clockMeasurements{};
    std::array<SquareSum, kMaxClocks> clockSquares;                            // of the residuals, m^2
    std::array<std::array<ClockPairSums, kMaxClocks>, kMaxClocks> clockPairs;  // [a][b] with a < b: b less a
};

// Adds an epoch as SolveEpoch left it: with the measurements it used when it is usable, else its outcome alone. A
// measurement that is the only one of its clock in the epoch says nothing and is not counted. False: nothing was added.
bool AddEpoch(LogAdjustment& adjustment, std::span<const CodeMeasurement> measurements, const CodeModel& model,
              const EpochSolution& solution);

enum class LogOutcome : uint8_t {
    kSolved,
    kNoEpochs,          // no usable epoch
    kTooFewSatellites,  // fewer than kMinJackknifeSatellites, or one that nothing can replace: no standard deviations
    kSingularGeometry,
    kReferenceFar,  // solved, but more than kMaxShift from the reference: the epochs do not belong to one place
};

struct LogPosition {
    LogOutcome outcome = LogOutcome::kNoEpochs;
    Vector3 position;         // m, ECEF
    Vector3 shift;            // from the reference, m
    Covariance covariance{};  // of the position, correlated errors and troposphere included
    // Weighted residual sum over its degrees of freedom: 1 when the a-priori standard deviations are right.
    double varianceFactor = 0;
    // Standard deviation by the jackknife over that of independent residuals, in the direction where it is largest; at
    // least 1.
    double correlationFactor = 1;
};

// May be called at any time, and again after more epochs.
LogPosition SolveLog(const LogAdjustment& adjustment);

// RMS of residuals at a solution, m; 0 without any.
double SatelliteRms(const LogAdjustment& adjustment, const LogPosition& solution, int satellite);
double ClockRms(const LogAdjustment& adjustment, const LogPosition& solution, int clock);

// Receiver clock against constellation `b` less that against constellation `a`, at a solution, m.
struct ClockDifference {
    int epochs = 0;
    double mean = 0;
    double scatter = 0;  // standard deviation of one epoch
};
ClockDifference DifferenceOfClocks(const LogAdjustment& adjustment, const LogPosition& solution, int a, int b);

// A position less another, in the local frame of the first.
struct PositionComparison {
    Vector3 enu;           // east, north, up, m
    Vector3 enuSigma;      // of the first position, m
    double statistic = 0;  // squared distance in standard deviations, chi-square of 3 degrees of freedom
    double threshold = 0;  // that is exceeded by chance at the false-alarm rate
    bool agrees = false;   // the difference as a whole is within the threshold
    // East, north, up: more than the deviation explains. Each at a third of the rate, so that all together keep it.
    std::array<bool, 3> differs{};
};

// other: taken as exact. falseAlarmRate: within 0..1, exclusive. A covariance that is not positive definite agrees with
// nothing.
PositionComparison ComparePositions(const Vector3& position, const Covariance& covariance, const Vector3& other,
                                    double falseAlarmRate);

}  // namespace Qon::Nav
