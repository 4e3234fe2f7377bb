#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <cmath>
#include <memory>
#include <numeric>
#include <random>
#include <tuple>
#include <vector>

#include "utils/nav/positionfilter/distributions.h"
#include "utils/nav/positionfilter/epochsolution.h"
#include "utils/nav/positionfilter/logadjustment.h"

using namespace Qon::Nav;

namespace {

using Measurements = std::vector<CodeMeasurement>;

constexpr double kRadian = 3.14159265358979323846 / 180;
constexpr Vector3 kEarthCentre{};
const LocalFrame kFrame = MakeLocalFrame(55.5 * kRadian, 8.5 * kRadian);
const Vector3 kTruth = GeodeticToEcef(kFrame, 60);

Vector3 plus(const Vector3& p, double x, double y, double z) { return {p.x + x, p.y + y, p.z + z}; }

double distance(const Vector3& a, const Vector3& b) { return GetLineOfSight(a, b).range; }

// A delay that depends on height and elevation as real ones do, in round numbers.
float zenithDelay(const Vector3& position) {
    return static_cast<float>(2.4 - 3e-4 * std::fmin(5000, EcefToGeodetic(position).height));
}
float slantDelay(float zenith, float elevation) { return zenith / std::sin(elevation); }

EpochSettings makeSettings(double falseAlarmRate = 1e-3) {
    EpochSettings settings;
    settings.limits = MakeIntegrityLimits(falseAlarmRate);
    settings.model.troposphere = {zenithDelay, slantDelay};
    settings.model.noise.fill({0.6, 0.5});
    settings.model.phaseCentre[1] = {0.3, -0.2, 0.5};
    return settings;
}

// Satellites of a constellation: 3 circular planes of 8, at a time in s, in the Earth-fixed frame.
Vector3 orbitPosition(int clock, int number, double t) {
    const double radius = 25.5e6 + 2e6 * clock;
    const double node = (120 * (number % 3) + 30 * clock) * kRadian - 7.292e-5 * t;
    const double along = (45 * (number / 3) + 15 * (number % 3)) * kRadian + 1.4e-4 * t;
    const double tilt = (55 + 3 * clock) * kRadian;
    const double x = radius * std::cos(along);
    const double y = radius * std::sin(along) * std::cos(tilt);
    return {x * std::cos(node) - y * std::sin(node), x * std::sin(node) + y * std::cos(node),
            radius * std::sin(along) * std::sin(tilt)};
}

// The range, computed the other way round: the antenna is turned back by the angle that the Earth turns during the
// travel, which is found by iteration.
double inertialRange(const Vector3& antenna, const Vector3& satellite) {
    double range = 0;
    for (int i = 0; i < 5; ++i) {
        const double angle = 7.2921151467e-5 * range / 299792458.0;
        const Vector3 turned{antenna.x * std::cos(angle) - antenna.y * std::sin(angle),
                             antenna.x * std::sin(angle) + antenna.y * std::cos(angle), antenna.z};
        range = distance(turned, satellite);
    }
    return range;
}

struct Simulation {
    EpochSettings settings = makeSettings();
    std::mt19937 random{12345};
    double noise = 1;  // of the a-priori standard deviation

    // All satellites above the mask at t, `perClock` at most of each constellation; numbers are 32 clock + number.
    Measurements epoch(double t, std::array<int, kMaxClocks> perClock, const Vector3& antenna = kTruth) {
        Measurements all;
        const Viewpoint viewpoint = MakeViewpoint(settings.model, antenna);
        for (int clock = 0; clock < 4; ++clock) {
            const Vector3& centre = settings.model.phaseCentre[static_cast<size_t>(clock)];
            int left = perClock[static_cast<size_t>(clock)];
            for (int number = 0; number < 24 && left > 0; ++number) {
                CodeMeasurement m{32 * clock + number, clock, orbitPosition(clock, number, t), 0};
                const Sight sight = SeeSatellite(settings.model, viewpoint, m);
                if (sight.elevation < settings.model.elevationMask + 1e-3) continue;
                m.range = inertialRange(plus(antenna, centre.x, centre.y, centre.z), m.sentFrom) + sight.delay +
                          144000 + 10 * clock + noise * sight.sigma * std::normal_distribution<double>()(random);
                all.push_back(m);
                --left;
            }
        }
        return all;
    }
};

struct Check {
    double tail;
    int degrees;
    double quantile;
};

// Percentage points of the chi-square distribution as statistical tables print them.
TEST(Distributions, PublishedTables) {
    const Check cases[] = {{0.995, 10, 2.15586}, {0.95, 1, 0.00393214}, {0.5, 5, 4.35146},    {0.05, 1, 3.84146},
                           {0.01, 1, 6.63490},   {0.05, 10, 18.3070},   {0.01, 10, 23.2093},  {0.001, 10, 29.588},
                           {0.001, 1, 10.828},   {0.01, 30, 50.8922},   {0.995, 30, 13.7867}, {0.05, 100, 124.342}};
    for (const auto& [tail, degrees, quantile] : cases) {
        EXPECT_NEAR(ChiSquareQuantile(tail, degrees), quantile, quantile * 5e-5) << tail << ' ' << degrees;
        EXPECT_NEAR(ChiSquareTail(quantile, degrees), tail, 2e-5) << tail << ' ' << degrees;
    }
    EXPECT_NEAR(NormalQuantile(0.025), 1.959963985, 1e-9);
    EXPECT_NEAR(NormalQuantile(0.001), 3.090232306, 1e-9);
    EXPECT_NEAR(NormalQuantile(0.9), -1.281551566, 1e-9);
    // Two degrees of freedom have a closed form; far tails included.
    for (const double tail : {1e-12, 1e-5, 0.3, 0.99}) {
        EXPECT_NEAR(ChiSquareQuantile(tail, 2), -2 * std::log(tail), 1e-9 * -2 * std::log(tail));
    }
    for (const double bad : {0.0, 1.0, -1.0, std::nan("")}) EXPECT_TRUE(std::isnan(ChiSquareQuantile(bad, 3)));
}

// One degree of freedom: the square of a normal value with a mean.
TEST(Distributions, Noncentral) {
    for (const double mean : {0.0, 0.5, 3.0, 12.0}) {
        const double x = 6.5;
        const double expected = 0.5 * std::erfc((std::sqrt(x) - mean) / std::sqrt(2.0)) +
                                0.5 * std::erfc((std::sqrt(x) + mean) / std::sqrt(2.0));
        EXPECT_NEAR(NoncentralChiSquareTail(x, 1, mean * mean), expected, 1e-10);
    }
    EXPECT_NEAR(NoncentralityForTail(ChiSquareQuantile(0.001, 1), 1, 0.8), 17.075, 1e-3);  // (3.2905 + 0.8416)^2
    EXPECT_EQ(NoncentralityForTail(1, 5, 0.5), 0);
}

TEST(Epoch, ExactDataFromAnyStart) {
    Simulation simulation;
    simulation.noise = 0;
    const Measurements epoch = simulation.epoch(1000, {8, 8, 8, 8});
    for (const Vector3& start : {kTruth, kEarthCentre, plus(kTruth, 1e5, 0, 0), plus(kEarthCentre, 0, 0, -6.4e6)}) {
        const EpochSolution solution = SolveEpoch(epoch, simulation.settings, start);
        EXPECT_EQ(solution.outcome, EpochOutcome::kConsistent);
        EXPECT_LT(distance(solution.position, kTruth), 1e-3);
        for (size_t clock = 0; clock < kMaxClocks; ++clock) {
            EXPECT_NEAR(solution.clocks[clock], 144000 + 10 * static_cast<double>(clock), 1e-3);
        }
    }
}

// The result's own standard deviations hold, and clean epochs fail the test at the stated rate.
TEST(Epoch, CleanDataKeepTheStatedRate) {
    Simulation simulation;
    simulation.settings = makeSettings(0.01);
    const int epochs = 4000;
    int alarms = 0;
    double squares = 0;
    for (int i = 0; i < epochs; ++i) {
        const EpochSolution s = SolveEpoch(simulation.epoch(30 * i, {8, 6, 8, 4}), simulation.settings, kTruth);
        if (s.statistic > s.threshold || s.faults > 0) ++alarms;
        squares += std::pow(s.position.x - kTruth.x, 2) / s.covariance[0][0];
    }
    EXPECT_NEAR(alarms, 40, 4 * std::sqrt(40));
    EXPECT_NEAR(squares / epochs, 1, 0.15);
}

// Errors on random satellites are found where the test can, or told; hardly ever is a usable position farther off than
// what the test lets pass unseen.
struct Faults {
    const char* name;
    std::array<int, kMaxClocks> satellites;
    std::vector<double> sizes;  // of the errors, each on a satellite of its own
    double found;               // least share of the epochs in which the test can
    int wrong;                  // most usable epochs of 600 that are farther off
};

struct Tally {
    int can = 0;
    int found = 0;
    int wrong = 0;
};

void tryFaults(Simulation& simulation, Measurements epoch, const std::vector<double>& sizes, Tally& tally) {
    const EpochSolution clean = SolveEpoch(epoch, simulation.settings, kTruth);
    const auto smallest = FindSmallestIdentifiable(epoch, simulation.settings, clean);
    std::vector<size_t> order(epoch.size());
    std::iota(order.begin(), order.end(), size_t{0});
    std::shuffle(order.begin(), order.end(), simulation.random);
    bool can = true;
    for (size_t k = 0; k < sizes.size(); ++k) {
        epoch[order[k]].range += sizes[k];
        can = can && smallest[order[k]] <= std::fabs(sizes[k]);
    }
    const EpochSolution solution = SolveEpoch(epoch, simulation.settings, kTruth);
    bool found = solution.faults == static_cast<int>(sizes.size());
    for (size_t k = 0; k < sizes.size(); ++k) {
        found = found && solution.measurements[order[k]].status == MeasurementStatus::kAtFault;
    }
    tally.can += can;
    tally.found += can && found;
    tally.wrong +=
        IsUsable(solution.outcome) && distance(solution.position, kTruth) > simulation.settings.maxUnseenShift;
}

TEST(Epoch, FaultsAreFoundOrTold) {
    const Faults cases[] = {{"30 m", {8, 6, 8, 6}, {30}, 0.95, 0},
                            {"30 m, one constellation", {9, 0, 0, 0}, {30}, 0.95, 0},
                            {"300 km", {8, 6, 8, 6}, {300e3}, 0.95, 0},
                            {"300 km, one constellation", {9, 0, 0, 0}, {300e3}, 0.95, 0},
                            {"two", {8, 6, 8, 6}, {60, -45}, 0.95, 0},
                            {"two of 300 km", {8, 6, 8, 0}, {300e3, 300e3}, 0.95, 0},
                            {"two, hardly any redundancy", {8, 0, 0, 0}, {60, 45}, 0, 3},
                            {"three", {8, 6, 0, 0}, {60, 90, -100}, 0, 0}};
    for (const auto& [name, satellites, sizes, found, wrong] : cases) {
        Simulation simulation;
        Tally tally;
        for (int i = 0; i < 600; ++i) tryFaults(simulation, simulation.epoch(137 * i, satellites), sizes, tally);
        EXPECT_GE(tally.found, found * tally.can) << name;
        EXPECT_LE(tally.wrong, wrong) << name;
        EXPECT_GT(tally.can, found > 0 ? 150 : -1) << name;
    }
}

// Sets at and below the smallest ones; at 4000 s every constellation shows six satellites and more.
TEST(Epoch, SmallestSets) {
    using enum EpochOutcome;
    const std::tuple<std::array<int, kMaxClocks>, EpochOutcome, int> cases[] = {
        {{0, 0, 0, 0}, kTooFewSatellites, 0}, {{3, 0, 0, 0}, kTooFewSatellites, 0},
        {{2, 2, 0, 0}, kTooFewSatellites, 0}, {{4, 0, 0, 0}, kUntested, 0},
        {{3, 2, 0, 0}, kUntested, 0},         {{4, 1, 1, 1}, kUntested, 0},
        {{6, 0, 0, 0}, kConsistent, 2},       {{6, 1, 1, 1}, kConsistent, 2},
        {{6, 2, 0, 1}, kConsistent, 3}};
    for (const auto& [satellites, outcome, degrees] : cases) {
        Simulation simulation;
        simulation.settings.maxUnseenShift = 1e6;
        const Measurements epoch = simulation.epoch(4000, satellites);
        const EpochSolution solution = SolveEpoch(epoch, simulation.settings, kEarthCentre);
        EXPECT_EQ(solution.outcome, outcome) << EpochOutcomeText(solution.outcome) << ' ' << epoch.size();
        EXPECT_EQ(solution.degreesOfFreedom, degrees);
        simulation.settings.maxUnseenShift = 1e-3;
        EXPECT_FALSE(IsUsable(SolveEpoch(epoch, simulation.settings, kTruth).outcome));
    }
}

TEST(Epoch, WhatCannotBeSolvedIsTold) {
    Simulation simulation;
    const Measurements good = simulation.epoch(0, {8, 6, 2, 0});
    const auto outcomeOf = [&](const Measurements& m) { return SolveEpoch(m, simulation.settings, kTruth).outcome; };
    // One of two satellites of a constellation is wrong: which one, nothing tells.
    Measurements epoch = good;
    epoch.back().range += 100;
    EXPECT_EQ(outcomeOf(epoch), EpochOutcome::kFaultAmbiguous);
    EXPECT_EQ(outcomeOf(Measurements(12, good[0])), EpochOutcome::kSingularGeometry);
    EXPECT_EQ(outcomeOf(Measurements(200, good[0])), EpochOutcome::kSingularGeometry);
    simulation.settings.model.elevationMask = 1.5;
    EXPECT_EQ(outcomeOf(good), EpochOutcome::kTooFewSatellites);
    simulation.settings.model.elevationMask = 0.1;

    const double nan = std::nan("");
    const CodeMeasurement bad[] = {{1, 0, good[0].sentFrom, nan},  {1, 0, {nan, 0, 0}, 2e7},
                                   {1, 0, {1, 2, 3}, 2e7},         {1, 4, good[0].sentFrom, 2e7},
                                   {-1, 0, good[0].sentFrom, 2e7}, {1, 0, {2e7, 0, 0}, -2e10},
                                   {1, -1, good[0].sentFrom, 2e7}, {256, 0, good[0].sentFrom, 2e7}};
    for (const CodeMeasurement& m : bad) {
        epoch = good;
        epoch.insert(epoch.begin() + 2, m);
        const EpochSolution solution = SolveEpoch(epoch, simulation.settings, kTruth);
        EXPECT_EQ(solution.measurements[2].status, MeasurementStatus::kInvalid);
        EXPECT_LT(distance(solution.position, SolveEpoch(good, simulation.settings, kTruth).position), 1e-6);
    }
}

// The log against all its epochs at once: coordinates and every clock unknown, derivatives by differences.
struct Dense {
    Eigen::Vector3d shift;
    double variance = 0;  // of unit weight
    Eigen::Matrix3d cofactors;
};

Dense solveDense(const std::vector<Measurements>& epochs, const CodeModel& model, const Vector3& reference,
                 int without) {
    std::vector<Eigen::VectorXd> rows;
    std::vector<double> values;
    const auto columns = static_cast<Eigen::Index>(3 + 4 * epochs.size());
    for (size_t e = 0; e < epochs.size(); ++e) {
        for (const CodeMeasurement& m : epochs[e]) {
            if (m.satellite == without) continue;
            const auto misfitAt = [&](double x, double y, double z) {
                return SeeSatellite(model, MakeViewpoint(model, plus(reference, x, y, z)), m).misfit;
            };
            const double sigma = SeeSatellite(model, MakeViewpoint(model, reference), m).sigma;
            Eigen::VectorXd row = Eigen::VectorXd::Zero(columns);
            row(0) = -(misfitAt(10, 0, 0) - misfitAt(-10, 0, 0)) / 20;
            row(1) = -(misfitAt(0, 10, 0) - misfitAt(0, -10, 0)) / 20;
            row(2) = -(misfitAt(0, 0, 10) - misfitAt(0, 0, -10)) / 20;
            row(static_cast<Eigen::Index>(3 + 4 * e) + m.clock) = 1;
            rows.push_back(row / sigma);
            values.push_back(misfitAt(0, 0, 0) / sigma);
        }
    }
    Eigen::MatrixXd design(static_cast<Eigen::Index>(rows.size()), columns);
    for (size_t i = 0; i < rows.size(); ++i) design.row(static_cast<Eigen::Index>(i)) = rows[i].transpose();
    const Eigen::Map<const Eigen::VectorXd> y(values.data(), design.rows());
    const Eigen::VectorXd x = design.colPivHouseholderQr().solve(y);
    const auto degrees = static_cast<double>(design.rows() - columns);
    const Eigen::MatrixXd normal = design.transpose() * design;
    const Eigen::MatrixXd cofactors = normal.llt().solve(Eigen::MatrixXd::Identity(columns, columns));
    return {x.head<3>(), (y - design * x).squaredNorm() / degrees, cofactors.topLeftCorner<3, 3>()};
}

TEST(Log, EqualsTheDenseSolution) {
    Simulation simulation;
    std::vector<Measurements> epochs;
    const auto adjustment = std::make_unique<LogAdjustment>();
    for (int i = 0; i < 6; ++i) {
        epochs.push_back(simulation.epoch(3000 * i, {6, 5, 4, 4}));
        const EpochSolution solution = SolveEpoch(epochs.back(), simulation.settings, kTruth);
        ASSERT_TRUE(AddEpoch(*adjustment, epochs.back(), simulation.settings.model, solution));
    }
    const LogPosition log = SolveLog(*adjustment);
    ASSERT_EQ(log.outcome, LogOutcome::kSolved);
    const Dense dense = solveDense(epochs, simulation.settings.model, adjustment->reference, -1);
    EXPECT_LT(distance(log.shift, {dense.shift(0), dense.shift(1), dense.shift(2)}), 1e-4);
    EXPECT_NEAR(log.varianceFactor, dense.variance, 1e-4);

    Eigen::Matrix3d jackknife = Eigen::Matrix3d::Zero();
    int satellites = 0;
    for (int number = 0; number < 128; ++number) {
        if (adjustment->satellites[static_cast<size_t>(number)].used == 0) continue;
        const Eigen::Vector3d change =
            solveDense(epochs, simulation.settings.model, adjustment->reference, number).shift - dense.shift;
        jackknife += change * change.transpose();
        ++satellites;
    }
    jackknife *= (satellites - 1.0) / satellites;
    const double inflation = (jackknife * dense.cofactors.inverse()).eigenvalues().real().maxCoeff() / dense.variance;
    EXPECT_NEAR(log.correlationFactor, std::sqrt(std::max(1.0, inflation)), 1e-3);
    EXPECT_NEAR(DifferenceOfClocks(*adjustment, log, 3, 1).mean, -20, 2);
    EXPECT_GT(ClockRms(*adjustment, log, 2), 0.3);
}

// Errors that stay with a satellite: positions keep to what their standard deviations promise, and a difference of 10 m
// in the position in use changes the verdict alone.
TEST(Log, PromisesHoldWithCorrelatedErrors) {
    Simulation simulation;
    int disagree = 0;
    double statistics = 0;
    const int logs = 100;
    for (int i = 0; i < logs; ++i) {
        std::vector<double> bias(128);
        for (double& b : bias) b = 2 * std::normal_distribution<double>()(simulation.random);
        const auto adjustment = std::make_unique<LogAdjustment>();
        for (int k = 0; k < 60; ++k) {
            Measurements epoch = simulation.epoch(12345 * i + 120 * k, {7, 7, 0, 0});
            for (CodeMeasurement& m : epoch) m.range += bias[static_cast<size_t>(m.satellite)];
            AddEpoch(*adjustment, epoch, simulation.settings.model, SolveEpoch(epoch, simulation.settings, kTruth));
        }
        const LogPosition log = SolveLog(*adjustment);
        const PositionComparison comparison = ComparePositions(log.position, log.covariance, kTruth, 0.01);
        disagree += !comparison.agrees;
        statistics += comparison.statistic / logs;
        EXPECT_FALSE(ComparePositions(log.position, log.covariance, plus(kTruth, 1e5, 0, 0), 0.01).agrees);
    }
    EXPECT_LE(disagree, 4);
    EXPECT_GT(statistics, 1);  // 3 in theory; more is too confident, much less is of no use
    EXPECT_LT(statistics, 4);
}

TEST(Log, OutcomesAndVerdict) {
    const auto adjustment = std::make_unique<LogAdjustment>();
    EXPECT_EQ(SolveLog(*adjustment).outcome, LogOutcome::kNoEpochs);
    Simulation simulation;
    for (int i = 0; i < 20; ++i) {  // a receiver that is carried 1 km away
        const Vector3 antenna = plus(kTruth, 0, i < 5 ? 0 : 1000, 0);
        const Measurements epoch = simulation.epoch(300 * i, {8, 8, 0, 0}, antenna);
        AddEpoch(*adjustment, epoch, simulation.settings.model, SolveEpoch(epoch, simulation.settings, kTruth));
    }
    EXPECT_EQ(SolveLog(*adjustment).outcome, LogOutcome::kReferenceFar);

    const Covariance covariance{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
    const Vector3 higher = GeodeticToEcef(kFrame, 70);
    const PositionComparison comparison = ComparePositions(higher, covariance, kTruth, 0.01);
    EXPECT_LT(distance(comparison.enu, {0, 0, 10}), 1e-3);
    EXPECT_NEAR(comparison.enuSigma.z, 1, 1e-6);
    EXPECT_FALSE(comparison.agrees);
    EXPECT_EQ(comparison.differs, (std::array<bool, 3>{false, false, true}));
    EXPECT_TRUE(ComparePositions(plus(kTruth, 1, 1, 1), covariance, kTruth, 0.01).agrees);
    EXPECT_FALSE(ComparePositions(kTruth, {}, kTruth, 0.01).agrees);
}

}  // namespace
