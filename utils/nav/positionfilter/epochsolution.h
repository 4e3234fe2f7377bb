// Position and receiver clocks of one epoch by weighted least squares, and the test of its integrity.
//
// The test is that of the residuals in a snapshot (B. W. Parkinson and P. Axelrad, Autonomous GPS integrity monitoring
// using the pseudorange residual, Navigation 35, 1988; R. G. Brown, A baseline GPS RAIM scheme, Navigation 39, 1992):
// the sum of the squared residuals over their standard deviations is chi-square distributed with as many degrees of
// freedom as there are measurements more than unknowns. Unknown are three coordinates and a clock for each
// constellation that has a measurement, so a constellation with one satellite adds nothing: its clock takes the whole
// residual, and the degrees of freedom do not grow.
//
// When the test fails, the faulty measurements are sought among all single ones, then among all pairs: those without
// which the test passes. The statistic without some measurements follows from their residuals and the residuals'
// cofactors (W. Baarda, A testing procedure for use in geodetic networks, 1968), at the position that is got without
// them. They count as found when
// - without them, and without no other set of that size, the test passes, and
// - kMinRemainingDegrees are left then. Each wrong measurement takes up one of them to be explained away: with one left
//   a further wrong measurement could pass for a right one. With three left two further ones are noticed, unless they
//   happen to be of a size that agrees with a wrong position; then no test of residuals can tell.
//
// The test sees nothing of an error that the geometry lets pass into the position. How far one could move it is told
// (unseenShift, from the slope of Brown's test), and an epoch in which that is too far counts as untested.
//
// The smallest sets, with K constellations of two satellites and more each (a further one in a constellation of its own
// changes nothing): 3 + K satellites give a position that nothing checks, 4 + K one that is checked, 7 + K allow one
// wrong satellite to be found and 8 + K two; and they do so if the geometry permits. Of two satellites in a
// constellation none can be told to be the wrong one.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "utils/geometry/geometry.h"
#include "utils/nav/positionfilter/codemodel.h"

namespace Qon::Nav {

constexpr size_t kMaxUnknowns = 3 + kMaxClocks;
constexpr int kMinRemainingDegrees = 3;
constexpr int kMaxFaults = 2;

// Thresholds of the test by degrees of freedom (those without a meaning are 0).
struct IntegrityLimits {
    // Chi-square that clean data exceed at the false-alarm rate.
    std::array<double, kMaxMeasurements + 1> threshold{};
    // Noncentrality with which the threshold is exceeded at the power asked for.
    std::array<double, kMaxMeasurements + 1> noncentrality{};
};

// falseAlarmRate: share of clean epochs that fail the test. power: share of epochs in which an error of the size that
// FindSmallestIdentifiable and unseenShift speak of exceeds the threshold. Both within 0..1, exclusive. Made once, some
// milliseconds.
IntegrityLimits MakeIntegrityLimits(double falseAlarmRate, double power = 0.95);

struct EpochSettings {
    CodeModel model;
    IntegrityLimits limits;
    double maxUnseenShift = 100;  // m, see EpochSolution
    int maxFaults = kMaxFaults;   // measurements that may be excluded, 0 to kMaxFaults
};

enum class EpochOutcome : uint8_t {
    kConsistent,        // the test passes
    kFaultExcluded,     // it passes without the measurements that are marked kAtFault
    kUntested,          // as one of these, but an error of a further measurement could move the position too far unseen
    kFaultAmbiguous,    // it fails, and more than one set of measurements could be at fault
    kFaultNotFound,     // it fails, and no set of the size permitted (or the redundancy left) explains it
    kTooFewSatellites,  // fewer valid measurements above the mask than unknowns
    kSingularGeometry,  // the satellites' directions do not determine a position
    kNoConvergence,     // the iteration found no end
};
constexpr size_t kEpochOutcomes = 8;

enum class MeasurementStatus : uint8_t {
    kUsed,
    kBelowMask,
    kAtFault,  // excluded by the integrity test
    kInvalid,  // see CodeMeasurement; also the measurements that no solution was found with
};

struct MeasurementResult {
    MeasurementStatus status = MeasurementStatus::kInvalid;
    double elevation = 0;   // rad
    double sigma = 0;       // m, a priori
    double residual = 0;    // m: measured less computed. Of one at fault: by the position and clocks of the others
    double normalised = 0;  // residual over its own standard deviation; 0 where no other measurement checks this one
};

// What is meant by the fields beyond `outcome` and `measurements` is defined when the epoch is solved, that is for the
// outcomes before kTooFewSatellites. Of an epoch that fails the test they are those of all measurements.
struct EpochSolution {
    EpochOutcome outcome = EpochOutcome::kTooFewSatellites;
    Vector3 position;                         // m, ECEF
    std::array<double, kMaxClocks> clocks{};  // m: receiver's clock ahead of the constellation's
    std::array<bool, kMaxClocks> hasClock{};  // false: no measurement used, clock 0
    // m^2: coordinates x, y, z, then the clocks; from the a-priori standard deviations. 0 for a clock that is not
    // there.
    std::array<std::array<double, kMaxUnknowns>, kMaxUnknowns> covariance{};
    int used = 0;              // measurements
    int degreesOfFreedom = 0;  // measurements less unknowns
    double statistic = 0;      // sum of the squared residuals over their sigma
    double threshold = 0;      // that it is compared with; 0 without a degree of freedom
    int faults = 0;            // measurements excluded
    // The largest shift of the position (m) by an error in one measurement that is noticed only at the power of the
    // limits; infinite when nothing checks a measurement that the position rests on.
    double unseenShift = 0;
    std::array<MeasurementResult, kMaxMeasurements> measurements;  // in the order given
};

// True for an epoch that a result may rest on: kConsistent and kFaultExcluded.
bool IsUsable(EpochOutcome outcome);

// A few words on the outcome, for lists and messages: "consistent", "fault excluded", "untested", ...
const char* EpochOutcomeText(EpochOutcome outcome);

// epoch: its measurements, in any order. start: any position, the Earth's centre included; it changes the result by
// less than 0.1 mm (where the satellites are no more than the unknowns, a start far off may end at kTooFewSatellites).
// Allocates nothing.
EpochSolution SolveEpoch(std::span<const CodeMeasurement> epoch, const EpochSettings& settings, const Vector3& start);

// How large an error of a measurement alone has to be (m) so that it is both detected and told from every other
// measurement's, each at the power of the limits: by the measurement's share in the redundancy and its residual's
// correlation with the others'. Infinite for measurements not used and where the test cannot do that. For an epoch that
// is solved; the measurements used by it are taken for clean.
std::array<double, kMaxMeasurements> FindSmallestIdentifiable(std::span<const CodeMeasurement> epoch,
                                                              const EpochSettings& settings,
                                                              const EpochSolution& solution);

}  // namespace Qon::Nav
