#include <algorithm>
#include <cmath>

#include "utils/geometry/constants.h"
#include "zeltlog/infotext.h"
#include "zeltlog/positiontext.h"
#include "zeltlog/textformat.h"

using namespace Qon::Nav;

namespace {

constexpr double kNsPerSecond = 1e9;
constexpr double kFar = 1000;         // m: a position in use is farther off than any survey is wrong
constexpr double kPlateMotion = 1.5;  // m: more than coordinates of the last decades differ by between frames
constexpr double kLargeVariance = 4;  // residuals twice what the model of noise lets expect
constexpr double kWeakHeight = 1;     // m: a standard deviation that lets errors of 10 ns go by
constexpr double kNoticeable = 3;     // standard deviations
constexpr double kMetresPerKm = 1000;

unsigned long long printable(uint64_t count) { return count; }

double lengthOf(const Vector3& v) { return std::hypot(v.x, v.y, v.z); }

// Of the components that differ: "east by 0.50 m, north by 0.59 m".
std::string horizontalText(const PositionComparison& c) {
    std::string text;
    if (c.differs[0]) text = formatText("east differs by %.2f m", std::fabs(c.enu.x));
    if (c.differs[1]) text += formatText("%snorth differs by %.2f m", text.empty() ? "" : ", ", std::fabs(c.enu.y));
    return text;
}

std::string disagreement(const PositionComparison& c) {
    const double distance = lengthOf(c.enu);
    const char* const check = "check -px -py -pz and the antenna offsets";
    if (!std::isfinite(distance)) return "the position in use is no place: check -px -py -pz";
    if (distance > kFar) return formatText("it is %.1f km away: check -px -py -pz", distance / kMetresPerKm);
    std::string text = horizontalText(c);
    if (c.differs[2]) {
        text += formatText("%sup differs by %.1f m, which is %.0f ns in REFSYS near the zenith",
                           text.empty() ? "" : ", ", std::fabs(c.enu.z), metresToNs(std::fabs(c.enu.z)));
    } else if (!text.empty() && std::hypot(c.enu.x, c.enu.y) < kPlateMotion) {
        return text + formatText(": check the frame and the epoch of the coordinates, then %s", check + 6);
    }
    if (text.empty()) text = formatText("it differs by %.2f m in all", distance);
    return text + ": " + check;
}

std::string mostFrequentOutcome(const LogAdjustment& adjustment) {
    const auto most = std::max_element(adjustment.outcomes.begin(), adjustment.outcomes.end());
    const auto outcome = static_cast<EpochOutcome>(most - adjustment.outcomes.begin());
    return formatText("%d of them: %s", *most, EpochOutcomeText(outcome));
}

std::string whyNone(const PositionReport& report) {
    const LogAdjustment& adjustment = report.ledger.adjustment();
    int epochs = 0;
    for (const int count : adjustment.outcomes) epochs += count;
    if (epochs == 0) return "the log holds no epoch at a multiple of 30 s within the window";
    switch (report.solution.outcome) {
        case LogOutcome::kTooFewSatellites:
            return "too few satellites in all to tell how good it would be, or one that nothing can replace";
        case LogOutcome::kSingularGeometry: return "the directions of the satellites do not determine it";
        case LogOutcome::kReferenceFar:
            return formatText("the epochs do not belong to one place, their mean lies %.0f m from the first",
                              lengthOf(report.solution.shift));
        default: break;
    }
    return formatText("none of %d epochs has one that is checked; %s", epochs, mostFrequentOutcome(adjustment).c_str());
}

struct Reason {
    uint64_t count;
    const char* text;
};

// Why nothing of a constellation was used, the reason of most measurements; empty when something was, or when it is
// left out by -x.
std::string absence(const PositionReport& report, const Constellation& constellation) {
    const CodeTally& tally = report.ledger.tally(constellation);
    if (tally.offered != 0 || !isConstellationEnabled(report.options, constellation.letter)) return {};
    const Reason reasons[] = {
        {tally.codeMissing, "one code missing"},
        {tally.noEphemeris, "no ephemeris"},
        {tally.unhealthy, "ephemeris unhealthy"},
        {tally.tooOldOrNew, "ephemeris too old or too new"},
    };
    const Reason* most = std::max_element(std::begin(reasons), std::end(reasons),
                                          [](const Reason& a, const Reason& b) { return a.count < b.count; });
    const char* name = clockName(static_cast<int>(constellation.index));
    if (most->count == 0) return formatText("%s took no part: not measured.", name);
    return formatText("%s took no part: %s (%llu measurements).", name, most->text, printable(most->count));
}

}  // namespace

double metresToNs(double metres) { return metres / kSpeedOfLight * kNsPerSecond; }

const char* clockName(int clock) { return kConstellationNames[static_cast<size_t>(clock)]; }

std::string satelliteName(int svid) { return SVIDToName(svid).data(); }

PositionReport::PositionReport(const PositionLedger& from, const StationConfig& runConfig, const RunOptions& runOptions)
    : ledger(from), config(runConfig), options(runOptions), solution(SolveLog(from.adjustment())) {
    if (!hasPosition()) return;
    comparison =
        ComparePositions(solution.position, solution.covariance, config.referencePoint, kVerdictFalseAlarmRate);
}

std::string verdictText(const PositionReport& report) {
    if (!report.hasPosition()) return "No position: " + whyNone(report) + ".";
    if (report.comparison.agrees) return "The position in use agrees.";
    return "The position in use does not agree: " + disagreement(report.comparison) + ".";
}

std::vector<std::string> remarksOn(const PositionReport& report) {
    std::vector<std::string> remarks;
    for (const Constellation& constellation : kConstellations) {
        const std::string text = absence(report, constellation);
        if (!text.empty()) remarks.push_back(text);
    }
    const double noticeable = kNoticeable * report.comparison.enuSigma.z;
    if (report.hasPosition() && report.comparison.agrees && report.comparison.enuSigma.z > kWeakHeight) {
        remarks.push_back(
            formatText("A height in use that is wrong by less than about %.0f m (%.0f ns) is not noticed.", noticeable,
                       metresToNs(noticeable)));
    }
    if (report.hasPosition() && report.solution.varianceFactor > kLargeVariance) {
        remarks.push_back(
            formatText("The residuals are %.1f times what is usual: the antenna may have moved, or the "
                       "signals be disturbed.",
                       std::sqrt(report.solution.varianceFactor)));
    }
    return remarks;
}
