#include "utils/nav/positionfilter/epochsolution.h"

#include <Eigen/Cholesky>
#include <Eigen/Core>
#include <algorithm>
#include <bitset>
#include <cmath>
#include <limits>

#include "utils/nav/positionfilter/distributions.h"

namespace Qon::Nav {
namespace {

using Eigen::Index;
constexpr int kRows = static_cast<int>(kMaxMeasurements);
constexpr int kColumns = static_cast<int>(kMaxUnknowns);
constexpr double kInfinity = std::numeric_limits<double>::infinity();

// All of bounded size, so that they live on the stack.
using Design = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor, kRows, kColumns>;
using Rows = Eigen::Matrix<double, Eigen::Dynamic, 1, Eigen::ColMajor, kRows, 1>;
using Normal = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::ColMajor, kColumns, kColumns>;
using Unknowns = Eigen::Matrix<double, Eigen::Dynamic, 1, Eigen::ColMajor, kColumns, 1>;
using Redundancy = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::ColMajor, kRows, kRows>;

using Members = std::bitset<kMaxMeasurements>;
using Span = std::span<const CodeMeasurement>;

constexpr int kMaxSteps = 20;
constexpr double kCoarseStep = 1000;  // m: then directions and elevations are good to 1e-4 rad
constexpr double kFineStep = 1e-4;    // m
constexpr int kMaskRounds = 4;
constexpr int kSearchRounds = 4;
// Smallest ratio of pivots in the Cholesky factor: 1e-5 is a dilution of precision of about 1e5, far behind any use and
// far above the rounding errors.
constexpr double kMinPivotRatio = 1e-5;
// Share of a residual's variance in the measurement's, below which nothing checks the measurement.
constexpr double kMinRedundancy = 1e-6;

// Far from the answer neither elevations nor delays mean anything: all measurements weigh the same there.
enum class Phase { kCoarse, kFine };

// Linear equations of some measurements at a point, each divided by its standard deviation, and their solution.
struct Adjustment {
    Index count = 0;
    std::array<size_t, kMaxMeasurements> measurement;  // that each row is of
    std::array<Sight, kMaxMeasurements> sights;        // by row
    std::array<Index, kMaxClocks> column;              // of each clock; 0: not among the unknowns
    Design design;
    Rows residuals;     // misfits before, residuals after the solution
    Unknowns solution;  // shift of the position, then the clocks
    Normal cofactors;   // inverse of the normal matrix

    Index degreesOfFreedom() const { return count - design.cols(); }
    double statistic() const { return residuals.squaredNorm(); }
};

// How the solution of a set of measurements ended; the equations are those at `position`.
struct Fit {
    EpochOutcome outcome = EpochOutcome::kTooFewSatellites;
    Vector3 position;
    Members used;
    Members excluded;  // as faulty
    Adjustment equations;
};

void assignColumns(Span measurements, const Members& members, Adjustment& eq) {
    eq.column.fill(0);
    eq.count = static_cast<Index>(members.count());
    Index columns = 3;
    for (size_t i = 0; i < measurements.size(); ++i) {
        if (!members[i]) continue;
        Index& column = eq.column[static_cast<size_t>(measurements[i].clock)];
        if (column == 0) column = columns++;
    }
    eq.design.setZero(eq.count, columns);
    eq.residuals.resize(eq.count);
}

void setEquations(Span measurements, const Members& members, const CodeModel& model, const Vector3& position,
                  Phase phase, Adjustment& eq) {
    assignColumns(measurements, members, eq);
    const Viewpoint viewpoint = MakeViewpoint(model, position);
    Index row = 0;
    for (size_t i = 0; i < measurements.size(); ++i) {
        if (!members[i]) continue;
        const Sight sight = SeeSatellite(model, viewpoint, measurements[i]);
        const double weight = phase == Phase::kFine ? 1 / sight.sigma : 1.0;
        eq.measurement[static_cast<size_t>(row)] = i;
        eq.sights[static_cast<size_t>(row)] = sight;
        eq.design(row, 0) = -sight.direction.x * weight;
        eq.design(row, 1) = -sight.direction.y * weight;
        eq.design(row, 2) = -sight.direction.z * weight;
        eq.design(row, eq.column[static_cast<size_t>(measurements[i].clock)]) = weight;
        eq.residuals(row) = (phase == Phase::kFine ? sight.misfit : sight.misfit + sight.delay) * weight;
        ++row;
    }
}

EpochOutcome solve(Adjustment& eq) {
    if (eq.degreesOfFreedom() < 0 || eq.count == 0) return EpochOutcome::kTooFewSatellites;
    const Normal normal = eq.design.transpose() * eq.design;
    if (!normal.allFinite() || !eq.residuals.allFinite()) return EpochOutcome::kNoConvergence;
    const Eigen::LLT<Normal> factor(normal);
    const auto pivots = factor.matrixLLT().diagonal();
    if (factor.info() != Eigen::Success || !(pivots.minCoeff() > kMinPivotRatio * pivots.maxCoeff())) {
        return EpochOutcome::kSingularGeometry;
    }
    eq.solution = factor.solve(eq.design.transpose() * eq.residuals);
    eq.residuals -= eq.design * eq.solution;
    eq.cofactors = factor.solve(Normal::Identity(normal.rows(), normal.cols()));
    return EpochOutcome::kUntested;
}

// Steps until one is shorter than `end`; the equations left are those of the last step.
EpochOutcome iterate(Span measurements, const Members& members, const CodeModel& model, Phase phase, double end,
                     Fit& fit) {
    for (int i = 0; i < kMaxSteps; ++i) {
        setEquations(measurements, members, model, fit.position, phase, fit.equations);
        const EpochOutcome outcome = solve(fit.equations);
        if (outcome != EpochOutcome::kUntested) return outcome;
        const auto shift = fit.equations.solution.head<3>();
        fit.position.x += shift(0);
        fit.position.y += shift(1);
        fit.position.z += shift(2);
        if (shift.norm() < end) return outcome;
    }
    return EpochOutcome::kNoConvergence;
}

Members aboveMask(Span measurements, const Members& members, const CodeModel& model, const Vector3& position) {
    const Viewpoint viewpoint = MakeViewpoint(model, position);
    const double mask = std::max(model.elevationMask, kLowestElevation);
    Members above;
    for (size_t i = 0; i < measurements.size(); ++i) {
        above[i] = members[i] && SeeSatellite(model, viewpoint, measurements[i]).elevation >= mask;
    }
    return above;
}

// Solves with the members that stand above the mask at the position they give. A wrong measurement can move the
// position by so much that it takes itself below the mask and, left out, comes up again: from the third round on
// satellites are only added, and the test gets to see it.
Fit fitMembers(Span measurements, const Members& members, const CodeModel& model, const Vector3& start) {
    Fit fit;
    fit.position = start;
    fit.outcome = iterate(measurements, members, model, Phase::kCoarse, kCoarseStep, fit);
    for (int round = 0; round < kMaskRounds && fit.outcome == EpochOutcome::kUntested; ++round) {
        Members visible = aboveMask(measurements, members, model, fit.position);
        if (round >= 2) visible |= fit.used;
        if (round > 0 && visible == fit.used) break;
        fit.used = visible;
        fit.outcome = iterate(measurements, visible, model, Phase::kFine, kFineStep, fit);
    }
    return fit;
}

bool passes(double statistic, Index degrees, const IntegrityLimits& limits) {
    return degrees > 0 && statistic <= limits.threshold[static_cast<size_t>(degrees)];
}

// Cofactors of the residuals of equations that are divided by their standard deviations. A residual's own says how much
// of its measurement's error it shows, 0 to 1.
void setRedundancy(const Adjustment& eq, Redundancy& r) {
    r.setIdentity(eq.count, eq.count);
    r.noalias() -= eq.design * eq.cofactors * eq.design.transpose();
}

// The rows whose removal lowers the statistic most, and how many sets of that size make the test pass.
struct Suspects {
    std::array<Index, kMaxFaults> rows{};
    double reduction = -1;  // of the statistic by removing them; negative: no such set
    int passing = 0;
};

void consider(Suspects& suspects, Index first, Index second, double reduction, double needed) {
    if (reduction >= needed) ++suspects.passing;
    if (reduction > suspects.reduction) suspects = {{first, second}, reduction, suspects.passing};
}

// needed: reduction with which the test passes.
Suspects findSingle(const Adjustment& eq, const Redundancy& r, double needed) {
    Suspects suspects;
    for (Index i = 0; i < eq.count; ++i) {
        if (r(i, i) < kMinRedundancy) continue;
        consider(suspects, i, i, eq.residuals(i) * eq.residuals(i) / r(i, i), needed);
    }
    return suspects;
}

// Pairs whose residuals are one and the same (two satellites of a constellation) lower the statistic no more than one
// of them does and are passed over.
Suspects findPair(const Adjustment& eq, const Redundancy& r, double needed) {
    Suspects suspects;
    for (Index i = 0; i < eq.count; ++i) {
        const double a = eq.residuals(i);
        for (Index j = i + 1; j < eq.count; ++j) {
            const double b = eq.residuals(j);
            const double determinant = r(i, i) * r(j, j) - r(i, j) * r(i, j);
            if (determinant < kMinRedundancy * r(i, i) * r(j, j) || determinant < kMinRedundancy * kMinRedundancy) {
                continue;
            }
            const double reduction = (a * a * r(j, j) - 2 * a * b * r(i, j) + b * b * r(i, i)) / determinant;
            consider(suspects, i, j, reduction, needed);
        }
    }
    return suspects;
}

Suspects findSuspects(const Adjustment& eq, int faults, const IntegrityLimits& limits) {
    Redundancy r;
    setRedundancy(eq, r);
    const double needed = eq.statistic() - limits.threshold[static_cast<size_t>(eq.degreesOfFreedom() - faults)];
    return faults == 1 ? findSingle(eq, r, needed) : findPair(eq, r, needed);
}

// Looks for a set of faulty measurements of one size, and solves without them. The search is linear and begins at the
// position of all measurements, which the wrong ones may have moved by hundreds of kilometres; it is repeated at the
// position got without the suspects until they stay the same. kFaultNotFound: nothing of this size explains the data.
Fit excludeFaults(Span measurements, const Members& members, const Fit& all, int faults,
                  const EpochSettings& settings) {
    Fit fit;
    fit.position = all.position;
    Members excluded;
    Members visible = members;
    for (int round = 0; round < kSearchRounds; ++round) {
        Adjustment eq;
        setEquations(measurements, visible, settings.model, fit.position, Phase::kFine, eq);
        fit.outcome = EpochOutcome::kFaultNotFound;
        if (solve(eq) != EpochOutcome::kUntested || eq.degreesOfFreedom() < faults + kMinRemainingDegrees) return fit;
        const Suspects suspects = findSuspects(eq, faults, settings.limits);
        if (suspects.reduction < 0) return fit;
        Members chosen;
        for (const Index row : suspects.rows) chosen.set(eq.measurement[static_cast<size_t>(row)]);
        if (chosen == excluded) {
            if (!passes(fit.equations.statistic(), fit.equations.degreesOfFreedom(), settings.limits)) return fit;
            const bool enoughLeft = fit.equations.degreesOfFreedom() >= kMinRemainingDegrees;
            fit.outcome =
                enoughLeft && suspects.passing == 1 ? EpochOutcome::kFaultExcluded : EpochOutcome::kFaultAmbiguous;
            return fit;
        }
        excluded = chosen;
        fit = fitMembers(measurements, members & ~excluded, settings.model, fit.position);
        fit.excluded = excluded;
        if (fit.outcome != EpochOutcome::kUntested) break;
        visible = aboveMask(measurements, members, settings.model, fit.position);
    }
    fit.outcome = EpochOutcome::kFaultNotFound;
    return fit;
}

// The farthest that an error of one measurement moves the position while it is just large enough to be noticed at the
// power of the limits (Brown's slope). A measurement that nothing checks and that the position does not rest on, alone
// with its clock, has none.
double unseenShift(const Adjustment& eq, const IntegrityLimits& limits) {
    const double noncentrality = limits.noncentrality[static_cast<size_t>(eq.degreesOfFreedom())];
    double farthest = 0;
    for (Index row = 0; row < eq.count; ++row) {
        const Unknowns response = eq.cofactors * eq.design.row(row).transpose();
        const double shift = response.head<3>().squaredNorm();
        const double own = 1 - eq.design.row(row).dot(response);
        if (shift < kMinRedundancy) continue;
        farthest = std::max(farthest, own < kMinRedundancy ? kInfinity : std::sqrt(noncentrality * shift / own));
    }
    return farthest;
}

// Tests the fit of all measurements; when that fails, it may be replaced by one without those at fault.
EpochOutcome test(Span measurements, const Members& members, const EpochSettings& settings, Fit& fit) {
    const Index degrees = fit.equations.degreesOfFreedom();
    if (degrees == 0) return EpochOutcome::kUntested;
    if (passes(fit.equations.statistic(), degrees, settings.limits)) return EpochOutcome::kConsistent;
    for (int faults = 1; faults <= std::min(settings.maxFaults, kMaxFaults); ++faults) {
        const Fit without = excludeFaults(measurements, members, fit, faults, settings);
        if (without.outcome == EpochOutcome::kFaultExcluded) fit = without;
        if (without.outcome != EpochOutcome::kFaultNotFound) return without.outcome;
    }
    return EpochOutcome::kFaultNotFound;
}

void fillUnknowns(const Fit& fit, EpochSolution& solution) {
    const Adjustment& eq = fit.equations;
    std::array<Index, kMaxUnknowns> columns{0, 1, 2};
    std::copy(eq.column.begin(), eq.column.end(), columns.begin() + 3);
    for (size_t clock = 0; clock < kMaxClocks; ++clock) {
        solution.hasClock[clock] = eq.column[clock] != 0;
        if (solution.hasClock[clock]) solution.clocks[clock] = eq.solution(eq.column[clock]);
    }
    for (size_t i = 0; i < kMaxUnknowns; ++i) {
        for (size_t j = 0; j < kMaxUnknowns; ++j) {
            const bool known = (i < 3 || columns[i] != 0) && (j < 3 || columns[j] != 0);
            solution.covariance[i][j] = known ? eq.cofactors(columns[i], columns[j]) : 0.0;
        }
    }
}

void fillUsed(const Fit& fit, EpochSolution& solution) {
    const Adjustment& eq = fit.equations;
    for (Index row = 0; row < eq.count; ++row) {
        const auto at = static_cast<size_t>(row);
        const Sight& sight = eq.sights[at];
        const double own = 1 - (eq.design.row(row) * eq.cofactors).dot(eq.design.row(row));
        const double normalised = own < kMinRedundancy ? 0.0 : eq.residuals(row) / std::sqrt(own);
        solution.measurements[eq.measurement[at]] = {MeasurementStatus::kUsed, sight.elevation, sight.sigma,
                                                     eq.residuals(row) * sight.sigma, normalised};
    }
}

// A measurement at fault is checked by the position and the clock of the others.
MeasurementResult judgeExcluded(const Sight& sight, Index clockColumn, const Adjustment& eq, double clock) {
    Unknowns row = Unknowns::Zero(eq.design.cols());
    row.head<3>() << -sight.direction.x, -sight.direction.y, -sight.direction.z;
    if (clockColumn == 0) return {MeasurementStatus::kAtFault, sight.elevation, sight.sigma, 0, 0};
    row(clockColumn) = 1;
    const double residual = sight.misfit - clock;
    const double variance = sight.sigma * sight.sigma + row.dot(eq.cofactors * row);
    return {MeasurementStatus::kAtFault, sight.elevation, sight.sigma, residual, residual / std::sqrt(variance)};
}

void fillUnused(Span measurements, const Members& members, const CodeModel& model, const Fit& fit,
                EpochSolution& solution) {
    const Viewpoint viewpoint = MakeViewpoint(model, fit.position);
    for (size_t i = 0; i < measurements.size(); ++i) {
        if (!members[i] || fit.used[i]) continue;
        const Sight sight = SeeSatellite(model, viewpoint, measurements[i]);
        const auto clock = static_cast<size_t>(measurements[i].clock);
        MeasurementResult& result = solution.measurements[i];
        result = {MeasurementStatus::kBelowMask, sight.elevation, sight.sigma, 0, 0};
        if (fit.excluded[i])
            result = judgeExcluded(sight, fit.equations.column[clock], fit.equations, solution.clocks[clock]);
    }
}

Members validMembers(Span measurements) {
    Members valid;
    for (size_t i = 0; i < measurements.size(); ++i) valid[i] = IsValidMeasurement(measurements[i]);
    return valid;
}

Span firstOf(Span measurements) { return measurements.first(std::min(measurements.size(), kMaxMeasurements)); }

}  // namespace

IntegrityLimits MakeIntegrityLimits(double falseAlarmRate, double power) {
    IntegrityLimits limits;
    for (size_t degrees = 1; degrees <= kMaxMeasurements; ++degrees) {
        const int n = static_cast<int>(degrees);
        limits.threshold[degrees] = ChiSquareQuantile(falseAlarmRate, n);
        limits.noncentrality[degrees] = NoncentralityForTail(limits.threshold[degrees], n, power);
    }
    return limits;
}

bool IsUsable(EpochOutcome outcome) {
    return outcome == EpochOutcome::kConsistent || outcome == EpochOutcome::kFaultExcluded;
}

const char* EpochOutcomeText(EpochOutcome outcome) {
    constexpr const char* kTexts[kEpochOutcomes] = {"consistent",        "fault excluded",  "untested",
                                                    "fault ambiguous",   "fault not found", "too few satellites",
                                                    "singular geometry", "no convergence"};
    return kTexts[static_cast<size_t>(outcome)];
}

EpochSolution SolveEpoch(Span epoch, const EpochSettings& settings, const Vector3& start) {
    EpochSolution solution;
    const Span measurements = firstOf(epoch);
    const Members members = validMembers(measurements);
    Fit fit = fitMembers(measurements, members, settings.model, start);
    solution.outcome = fit.outcome;
    if (fit.outcome != EpochOutcome::kUntested) return solution;

    solution.outcome = test(measurements, members, settings, fit);
    const Adjustment& eq = fit.equations;
    solution.unseenShift = unseenShift(eq, settings.limits);
    if (IsUsable(solution.outcome) && !(solution.unseenShift <= settings.maxUnseenShift)) {
        solution.outcome = EpochOutcome::kUntested;
    }
    solution.position = fit.position;
    solution.used = static_cast<int>(eq.count);
    solution.degreesOfFreedom = static_cast<int>(eq.degreesOfFreedom());
    solution.statistic = eq.statistic();
    solution.threshold = settings.limits.threshold[static_cast<size_t>(eq.degreesOfFreedom())];
    fillUnknowns(fit, solution);
    fillUsed(fit, solution);
    solution.faults = static_cast<int>(fit.excluded.count());
    fillUnused(measurements, members, settings.model, fit, solution);
    return solution;
}

std::array<double, kMaxMeasurements> FindSmallestIdentifiable(Span epoch, const EpochSettings& settings,
                                                              const EpochSolution& solution) {
    std::array<double, kMaxMeasurements> errors;
    errors.fill(kInfinity);
    const Span measurements = firstOf(epoch);
    Members used;
    for (size_t i = 0; i < measurements.size(); ++i) {
        used[i] = solution.measurements[i].status == MeasurementStatus::kUsed;
    }
    Adjustment eq;
    setEquations(measurements, used, settings.model, solution.position, Phase::kFine, eq);
    if (solve(eq) != EpochOutcome::kUntested || eq.degreesOfFreedom() <= kMinRemainingDegrees) return errors;
    Redundancy r;
    setRedundancy(eq, r);
    const auto degrees = static_cast<size_t>(eq.degreesOfFreedom());
    for (Index i = 0; i < eq.count; ++i) {
        // What is left of the error's effect when another measurement is taken for the wrong one.
        double left = r(i, i);
        for (Index j = 0; j < eq.count; ++j) {
            if (j != i && r(j, j) >= kMinRedundancy) left = std::min(left, r(i, i) - r(i, j) * r(i, j) / r(j, j));
        }
        if (left < kMinRedundancy) continue;
        const double noncentrality = std::max(settings.limits.noncentrality[degrees] / r(i, i),
                                              settings.limits.noncentrality[degrees - 1] / left);
        errors[eq.measurement[static_cast<size_t>(i)]] =
            eq.sights[static_cast<size_t>(i)].sigma * std::sqrt(noncentrality);
    }
    return errors;
}

}  // namespace Qon::Nav
