#include "utils/nav/positionfilter/logadjustment.h"

#include <Eigen/Cholesky>
#include <Eigen/Core>
#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>
#include <utility>

#include "utils/nav/positionfilter/distributions.h"

namespace Qon::Nav {
namespace {

using Eigen::Matrix3d;
using Eigen::Vector3d;

constexpr double kGradientStep = 100;  // m of height: a single-precision delay changes by 1e5 of its steps
constexpr double kMinPivotRatio = 1e-5;

// A measurement's equation: misfit = clock + row x + error.
struct Equation {
    size_t satellite = 0;
    size_t clock = 0;
    double weight = 0;  // 1/m^2
    double misfit = 0;
    Vector3d row;
    double perZenithDelay = 0;
};

// Weighted means of an epoch's equations by clock.
struct ClockMean {
    int count = 0;
    double weight = 0;
    double misfit = 0;
    Vector3d row = Vector3d::Zero();
    double perZenithDelay = 0;
};

struct EpochEquations {
    size_t count = 0;
    std::array<Equation, kMaxMeasurements> equations;
    std::array<ClockMean, kMaxClocks> means;
};

Vector3d toEigen(const std::array<double, 3>& v) { return {v[0], v[1], v[2]}; }
Vector3d toEigen(const Vector3& v) { return {v.x, v.y, v.z}; }
Vector3 toVector3(const Vector3d& v) { return {v(0), v(1), v(2)}; }

Matrix3d toEigen(const Covariance& m) {
    Matrix3d matrix;
    for (size_t i = 0; i < 3; ++i) matrix.row(static_cast<Eigen::Index>(i)) = toEigen(m[i]).transpose();
    return matrix;
}

Covariance toCovariance(const Matrix3d& m) {
    Covariance covariance;
    for (size_t i = 0; i < 3; ++i) {
        for (size_t j = 0; j < 3; ++j) {
            covariance[i][j] = m(static_cast<Eigen::Index>(i), static_cast<Eigen::Index>(j));
        }
    }
    return covariance;
}

void addTo(std::array<double, 3>& sum, const Vector3d& v) {
    for (size_t i = 0; i < 3; ++i) sum[i] += v(static_cast<Eigen::Index>(i));
}

void addSquare(SquareSum& sum, double weight, double value, const Vector3d& row) {
    sum.constant += weight * value * value;
    addTo(sum.linear, weight * value * row);
    for (size_t i = 0; i < 3; ++i) addTo(sum.quadratic[i], weight * row(static_cast<Eigen::Index>(i)) * row);
}

double valueAt(const SquareSum& sum, const Vector3d& x) {
    return std::max(0.0, sum.constant - 2 * toEigen(sum.linear).dot(x) + x.dot(toEigen(sum.quadratic) * x));
}

bool isRegular(const Eigen::LLT<Matrix3d>& factor) {
    const auto pivots = factor.matrixLLT().diagonal();
    return factor.info() == Eigen::Success && pivots.minCoeff() > kMinPivotRatio * pivots.maxCoeff();
}

// What the zenith delay changes by when the position moves 1 m along each axis.
Vector3d zenithDelayGradient(const CodeModel& model, const Viewpoint& viewpoint) {
    if (model.troposphere.zenith == nullptr) return Vector3d::Zero();
    const LocalFrame& f = viewpoint.frame;
    const Vector3d up(f.cosLat * f.cosLon, f.cosLat * f.sinLon, f.sinLat);
    const Vector3 higher = toVector3(toEigen(viewpoint.position) + kGradientStep * up);
    return (double{model.troposphere.zenith(higher)} - viewpoint.zenithDelay) / kGradientStep * up;
}

void addToMean(ClockMean& mean, const Equation& equation) {
    ++mean.count;
    mean.weight += equation.weight;
    const double share = equation.weight / mean.weight;
    mean.misfit += share * (equation.misfit - mean.misfit);
    mean.row += share * (equation.row - mean.row);
    mean.perZenithDelay += share * (equation.perZenithDelay - mean.perZenithDelay);
}

void setEquations(std::span<const CodeMeasurement> measurements, const CodeModel& model, const EpochSolution& solution,
                  const Vector3& reference, EpochEquations& epoch) {
    const Viewpoint viewpoint = MakeViewpoint(model, reference);
    const Vector3d gradient = zenithDelayGradient(model, viewpoint);
    for (size_t i = 0; i < std::min(measurements.size(), kMaxMeasurements); ++i) {
        if (solution.measurements[i].status != MeasurementStatus::kUsed) continue;
        const Sight sight = SeeSatellite(model, viewpoint, measurements[i]);
        const double mapping = DelayPerZenithDelay(model, viewpoint, sight);
        Equation& equation = epoch.equations[epoch.count++];
        equation.satellite = static_cast<size_t>(measurements[i].satellite);
        equation.clock = static_cast<size_t>(measurements[i].clock);
        equation.weight = 1 / (sight.sigma * sight.sigma);
        equation.misfit = sight.misfit;
        equation.row = mapping * gradient - toEigen(sight.direction);
        equation.perZenithDelay = mapping;
        addToMean(epoch.means[equation.clock], equation);
    }
}

// Taking a measurement out moves the clock's mean, too: together that is worth the measurement's own term over the
// share that the others have in the mean.
void addEquation(LogAdjustment& sums, const Equation& equation, const ClockMean& mean) {
    const double misfit = equation.misfit - mean.misfit;
    const Vector3d row = equation.row - mean.row;
    const double left = 1 - equation.weight / mean.weight;
    addSquare(sums.weighted, equation.weight, misfit, row);
    addTo(sums.perZenithDelay, equation.weight * (equation.perZenithDelay - mean.perZenithDelay) * row);
    SatelliteSums& satellite = sums.satellites[equation.satellite];
    ++satellite.used;
    addSquare(satellite.squares, 1, misfit, row);
    addSquare(satellite.part, equation.weight / left, misfit, row);
    ++sums.clockMeasurements[equation.clock];
    addSquare(sums.clockSquares[equation.clock], 1, misfit, row);
}

void addClockPairs(LogAdjustment& sums, const std::array<ClockMean, kMaxClocks>& means) {
    for (size_t a = 0; a < kMaxClocks; ++a) {
        for (size_t b = a + 1; b < kMaxClocks; ++b) {
            if (means[a].count == 0 || means[b].count == 0) continue;
            ClockPairSums& pair = sums.clockPairs[a][b];
            const double difference = means[b].misfit - means[a].misfit;
            const Vector3d row = means[b].row - means[a].row;
            ++pair.epochs;
            pair.sum += difference;
            addTo(pair.row, row);
            addSquare(pair.squares, 1, difference, row);
        }
    }
}

void countFaults(LogAdjustment& sums, std::span<const CodeMeasurement> measurements, const EpochSolution& solution) {
    for (size_t i = 0; i < std::min(measurements.size(), kMaxMeasurements); ++i) {
        if (solution.measurements[i].status != MeasurementStatus::kAtFault) continue;
        ++sums.satellites[static_cast<size_t>(measurements[i].satellite)].atFault;
    }
}

// Covariance by the jackknife over satellites; false when there are too few of them, or one that the position cannot do
// without.
bool jackknife(const LogAdjustment& sums, const Vector3d& x, Matrix3d& covariance) {
    covariance.setZero();
    int satellites = 0;
    for (const SatelliteSums& satellite : sums.satellites) {
        if (satellite.used == 0) continue;
        ++satellites;
        const Matrix3d own = toEigen(satellite.part.quadratic);
        const Eigen::LLT<Matrix3d> others(toEigen(sums.weighted.quadratic) - own);
        if (!isRegular(others)) return false;
        const Vector3d change = others.solve(toEigen(satellite.part.linear) - own * x);
        covariance += change * change.transpose();
    }
    covariance *= (satellites - 1.0) / satellites;
    return satellites >= kMinJackknifeSatellites;
}

double rms(const SquareSum& squares, int64_t count, const LogPosition& solution) {
    if (count == 0) return 0;
    return std::sqrt(valueAt(squares, toEigen(solution.shift)) / static_cast<double>(count));
}

}  // namespace

bool AddEpoch(LogAdjustment& adjustment, std::span<const CodeMeasurement> measurements, const CodeModel& model,
              const EpochSolution& solution) {
    ++adjustment.outcomes[static_cast<size_t>(solution.outcome)];
    countFaults(adjustment, measurements, solution);
    if (!IsUsable(solution.outcome)) return false;
    if (!adjustment.hasReference) adjustment.reference = solution.position;
    adjustment.hasReference = true;

    EpochEquations epoch;
    setEquations(measurements, model, solution, adjustment.reference, epoch);
    int added = 0;
    for (size_t i = 0; i < epoch.count; ++i) {
        const ClockMean& mean = epoch.means[epoch.equations[i].clock];
        if (mean.count < 2) continue;
        addEquation(adjustment, epoch.equations[i], mean);
        ++added;
    }
    for (const ClockMean& mean : epoch.means) adjustment.degreesOfFreedom -= mean.count >= 2 ? 1 : 0;
    adjustment.degreesOfFreedom += added;
    adjustment.measurements += added;
    ++adjustment.epochs;
    addClockPairs(adjustment, epoch.means);
    return true;
}

LogPosition SolveLog(const LogAdjustment& adjustment) {
    LogPosition result;
    const int64_t degrees = adjustment.degreesOfFreedom - 3;
    if (adjustment.epochs == 0 || degrees < 1) return result;
    const Eigen::LLT<Matrix3d> factor(toEigen(adjustment.weighted.quadratic));
    result.outcome = LogOutcome::kSingularGeometry;
    if (!isRegular(factor)) return result;

    const Vector3d shift = factor.solve(toEigen(adjustment.weighted.linear));
    const Matrix3d cofactors = factor.solve(Matrix3d::Identity());
    result.shift = toVector3(shift);
    result.position = toVector3(toEigen(adjustment.reference) + shift);
    result.varianceFactor = valueAt(adjustment.weighted, shift) / static_cast<double>(degrees);

    Matrix3d correlated;
    result.outcome = LogOutcome::kTooFewSatellites;
    if (!jackknife(adjustment, shift, correlated) || !(result.varianceFactor > 0)) return result;
    const Eigen::GeneralizedSelfAdjointEigenSolver<Matrix3d> ratios(correlated, cofactors, Eigen::EigenvaluesOnly);
    const double inflation = ratios.eigenvalues()(2) / result.varianceFactor;
    result.correlationFactor = std::sqrt(std::max(1.0, inflation));
    const Vector3d byZenithDelay = kZenithDelayUncertainty * (cofactors * toEigen(adjustment.perZenithDelay));
    const double scale = result.varianceFactor * result.correlationFactor * result.correlationFactor;
    const Matrix3d frame = kFrameUncertainty * kFrameUncertainty * Matrix3d::Identity();
    result.covariance = toCovariance(scale * cofactors + byZenithDelay * byZenithDelay.transpose() + frame);
    result.outcome = shift.norm() > kMaxShift ? LogOutcome::kReferenceFar : LogOutcome::kSolved;
    return result;
}

double SatelliteRms(const LogAdjustment& adjustment, const LogPosition& solution, int satellite) {
    const SatelliteSums& sums = adjustment.satellites[static_cast<size_t>(satellite)];
    return rms(sums.squares, sums.used, solution);
}

double ClockRms(const LogAdjustment& adjustment, const LogPosition& solution, int clock) {
    const auto i = static_cast<size_t>(clock);
    return rms(adjustment.clockSquares[i], adjustment.clockMeasurements[i], solution);
}

ClockDifference DifferenceOfClocks(const LogAdjustment& adjustment, const LogPosition& solution, int a, int b) {
    if (a == b) return {};
    const auto [first, second] = std::minmax(a, b);
    const ClockPairSums& pair = adjustment.clockPairs[static_cast<size_t>(first)][static_cast<size_t>(second)];
    if (pair.epochs == 0) return {};
    const Vector3d shift = toEigen(solution.shift);
    const double n = pair.epochs;
    const double mean = (pair.sum - toEigen(pair.row).dot(shift)) / n;
    const double variance = pair.epochs > 1 ? (valueAt(pair.squares, shift) - n * mean * mean) / (n - 1) : 0.0;
    return {pair.epochs, a < b ? mean : -mean, std::sqrt(std::max(variance, 0.0))};
}

PositionComparison ComparePositions(const Vector3& position, const Covariance& covariance, const Vector3& other,
                                    double falseAlarmRate) {
    PositionComparison comparison;
    const Geodetic geodetic = EcefToGeodetic(position);
    const LocalFrame frame = MakeLocalFrame(geodetic.latitude, geodetic.longitude);
    Matrix3d turn;  // its columns are what the axes become in the local frame
    turn << toEigen(EcefToEnu({1, 0, 0}, frame)), toEigen(EcefToEnu({0, 1, 0}, frame)),
        toEigen(EcefToEnu({0, 0, 1}, frame));
    const Vector3d difference = turn * (toEigen(position) - toEigen(other));
    const Matrix3d local = turn * toEigen(covariance) * turn.transpose();
    comparison.enu = toVector3(difference);
    comparison.enuSigma = toVector3(local.diagonal().cwiseMax(0).cwiseSqrt());
    comparison.threshold = ChiSquareQuantile(falseAlarmRate, 3);
    const double limit = NormalQuantile(falseAlarmRate / 3 / 2);
    for (size_t i = 0; i < 3; ++i) {
        const auto axis = static_cast<Eigen::Index>(i);
        comparison.differs[i] = !(std::fabs(difference(axis)) <= limit * std::sqrt(local(axis, axis)));
    }
    const Eigen::LLT<Matrix3d> factor(local);
    if (factor.info() != Eigen::Success) return comparison;
    comparison.statistic = difference.dot(factor.solve(difference));
    comparison.agrees = comparison.statistic <= comparison.threshold;
    return comparison;
}

}  // namespace Qon::Nav
