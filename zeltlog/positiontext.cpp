#include "zeltlog/positiontext.h"

#include <algorithm>
#include <cmath>

#include "utils/geometry/constants.h"
#include "zeltlog/calendar.h"
#include "zeltlog/infotext.h"
#include "zeltlog/textformat.h"

using namespace Qon::Nav;

namespace {

unsigned long long printable(uint64_t count) { return count; }

std::string faultyNames(const PositionEpoch& epoch) {
    std::string names;
    for (size_t i = 0; i < std::min(epoch.measurements.size(), kMaxMeasurements); ++i) {
        if (epoch.solution.measurements[i].status != MeasurementStatus::kAtFault) continue;
        if (!names.empty()) names += ',';
        names += satelliteName(epoch.measurements[i].satellite);
    }
    return names;
}

std::string coordinatesText(const PositionReport& report) {
    const LogPosition& s = report.solution;
    const Vector3& sigma = report.comparison.enuSigma;
    const Geodetic g = EcefToGeodetic(s.position);
    const double values[] = {s.position.x, s.position.y, s.position.z};
    std::string text;
    for (size_t i = 0; i < 3; ++i) {
        text +=
            formatText("  %c         %14.3f m      +- %.3f m\n", "XYZ"[i], values[i], std::sqrt(s.covariance[i][i]));
    }
    text += formatText("  latitude  %14.8f deg    +- %.3f m\n", g.latitude * kDegreesPerRadian, sigma.y);
    text += formatText("  longitude %14.8f deg    +- %.3f m\n", g.longitude * kDegreesPerRadian, sigma.x);
    text += formatText("  height    %14.3f m      +- %.3f m\n", g.height, sigma.z);
    return text;
}

std::string differenceText(const PositionComparison& c) {
    return formatText("less the position in use:  east %+.3f +- %.3f m, north %+.3f +- %.3f m, up %+.3f +- %.3f m\n",
                      c.enu.x, c.enuSigma.x, c.enu.y, c.enuSigma.y, c.enu.z, c.enuSigma.z);
}

std::string positionSection(const PositionReport& report) {
    const PositionLedger& ledger = report.ledger;
    std::string text;
    if (ledger.first() != kNoTime) {
        text =
            formatText("%s to %s (GPS time)\n", formatTime(ledger.first()).c_str(), formatTime(ledger.last()).c_str());
    }
    if (report.hasPosition()) {
        text += "Antenna reference point by the code measurements, one standard deviation:\n" + coordinatesText(report);
        text += differenceText(report.comparison);
    }
    return text + verdictText(report) + '\n';
}

std::string epochSection(const LogAdjustment& adjustment) {
    std::string text;
    for (size_t i = 0; i < kEpochOutcomes; ++i) {
        if (adjustment.outcomes[i] == 0) continue;
        text += formatText("%s%s %d", text.empty() ? "" : ", ", EpochOutcomeText(static_cast<EpochOutcome>(i)),
                           adjustment.outcomes[i]);
    }
    return text.empty() ? "Epochs: none\n" : "Epochs: " + text + '\n';
}

std::string constellationRow(const PositionReport& report, const char* title, uint64_t CodeTally::*count) {
    std::string text = formatText("%-32s", title);
    for (const Constellation& c : kConstellations)
        text += formatText("%9llu", printable(report.ledger.tally(c).*count));
    return text + '\n';
}

std::string constellationSection(const PositionReport& report) {
    const LogAdjustment& adjustment = report.ledger.adjustment();
    std::string text = formatText("%-32s", "");
    for (const char* name : kConstellationNames) text += formatText("%9s", name);
    std::string used = formatText("\n%-32s", "used in the position");
    std::string rms = formatText("%-32s", "RMS of residuals, m");
    for (const Constellation& c : kConstellations) {
        used += formatText("%9lld", static_cast<long long>(adjustment.clockMeasurements[c.index]));
        rms += formatText("%9.2f", ClockRms(adjustment, report.solution, static_cast<int>(c.index)));
    }
    text += used + '\n';
    if (report.hasPosition()) text += rms + '\n';
    text += constellationRow(report, "given to the filter", &CodeTally::offered);
    text += constellationRow(report, "one code missing", &CodeTally::codeMissing);
    text += constellationRow(report, "no ephemeris", &CodeTally::noEphemeris);
    text += constellationRow(report, "ephemeris unhealthy", &CodeTally::unhealthy);
    return text + constellationRow(report, "ephemeris too old or too new", &CodeTally::tooOldOrNew);
}

std::string clockSection(const PositionReport& report) {
    std::string text;
    for (int a = 0; a < static_cast<int>(kTrackedConstellations); ++a) {
        for (int b = a + 1; b < static_cast<int>(kTrackedConstellations); ++b) {
            const ClockDifference d = DifferenceOfClocks(report.ledger.adjustment(), report.solution, a, b);
            if (d.epochs == 0) continue;
            text += formatText("clock by %s less by %s: %.1f ns, scatter %.1f ns, %s\n", clockName(b), clockName(a),
                               metresToNs(d.mean), metresToNs(d.scatter),
                               countText(static_cast<uint64_t>(d.epochs), "epoch").c_str());
        }
    }
    return text;
}

std::string satelliteSection(const PositionReport& report) {
    const LogAdjustment& adjustment = report.ledger.adjustment();
    std::string text = "satellite  used  rejected  RMS/m\n";
    for (size_t svid = 0; svid < adjustment.satellites.size(); ++svid) {
        const SatelliteSums& satellite = adjustment.satellites[svid];
        if (satellite.used + satellite.atFault == 0) continue;
        const int number = static_cast<int>(svid);
        text += formatText("%-9s %5d %9d %6.2f\n", satelliteName(number).c_str(), satellite.used, satellite.atFault,
                           SatelliteRms(adjustment, report.solution, number));
    }
    return text;
}

std::string spellSection(const PositionLedger& ledger) {
    std::string text;
    for (const FaultSpell& spell : ledger.spells()) {
        text +=
            formatText("%s at fault from %s to %s, %s, by up to %+.1f m\n", satelliteName(spell.svid).c_str(),
                       formatTime(int64_t{spell.first} * 1000).c_str(), formatTime(int64_t{spell.last} * 1000).c_str(),
                       countText(static_cast<uint64_t>(spell.epochs), "epoch").c_str(), spell.largest);
    }
    if (ledger.faultsNotListed() != 0) {
        text += formatText("%llu more measurements at fault, not listed\n", printable(ledger.faultsNotListed()));
    }
    return text.empty() ? "No satellite was found at fault.\n" : text;
}

}  // namespace

std::string epochTitles() {
    return "#time\toutcome\tused\tdegrees\tstatistic\tthreshold\tX/m\tY/m\tZ/m\teast/m\tnorth/m\tup/m\tat_fault\n";
}

std::string epochText(const PositionEpoch& epoch, const Vector3& inUse) {
    const EpochSolution& s = epoch.solution;
    std::string text =
        formatText("%s\t%s\t%d\t", formatTime(int64_t{epoch.t} * 1000).c_str(), EpochOutcomeText(s.outcome), s.used);
    if (s.outcome >= EpochOutcome::kTooFewSatellites) return text + "-\t-\t-\t-\t-\t-\t-\t-\t-\t-\n";
    const Vector3 enu = EcefToEnu(Difference(s.position, inUse), LocalFrameAt(inUse));
    text += formatText("%d\t%.2f\t%.2f\t%.3f\t%.3f\t%.3f\t%.3f\t%.3f\t%.3f\t", s.degreesOfFreedom, s.statistic,
                       s.threshold, s.position.x, s.position.y, s.position.z, enu.x, enu.y, enu.z);
    const std::string names = faultyNames(epoch);
    return formatText("%s%s\n", text.c_str(), names.empty() ? "-" : names.c_str());
}

std::string positionText(const PositionReport& report) {
    std::string text = positionSection(report);
    for (const std::string& remark : remarksOn(report)) text += remark + '\n';
    text += '\n' + epochSection(report.ledger.adjustment()) + spellSection(report.ledger);
    text += '\n' + constellationSection(report);
    if (report.hasPosition()) text += '\n' + clockSection(report) + '\n' + satelliteSection(report);
    return text;
}
