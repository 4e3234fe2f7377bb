#include <cmath>

#include "utils/geometry/constants.h"
#include "zeltlog/infotext.h"
#include "zeltlog/jsontext.h"
#include "zeltlog/positiontext.h"

using namespace Qon::Nav;

namespace {

constexpr double kPartsOfMetre = 1e4;
constexpr double kPartsOfDegree = 1e9;  // 0.1 mm on the ground
constexpr double kPartsOfNanosecond = 1e3;
constexpr double kPartsOfRatio = 1e4;

Json metresJson(double metres) { return roundedJson(metres, kPartsOfMetre); }
Json degreesJson(double radians) { return roundedJson(radians * kDegreesPerRadian, kPartsOfDegree); }
Json nanosecondsJson(double metres) { return roundedJson(metresToNs(metres), kPartsOfNanosecond); }
Json ratioJson(double ratio) { return roundedJson(ratio, kPartsOfRatio); }
Json vectorJson(const Vector3& v) { return {metresJson(v.x), metresJson(v.y), metresJson(v.z)}; }

Json positionOf(const PositionReport& report) {
    if (!report.hasPosition()) return {};
    const LogPosition& s = report.solution;
    const Geodetic g = EcefToGeodetic(s.position);
    const auto sigma = [&](size_t i) { return metresJson(std::sqrt(s.covariance[i][i])); };
    return {{"ecef_m", vectorJson(s.position)},
            {"ecef_sigma_m", {sigma(0), sigma(1), sigma(2)}},
            {"latitude_deg", degreesJson(g.latitude)},
            {"longitude_deg", degreesJson(g.longitude)},
            {"height_m", metresJson(g.height)},
            {"enu_sigma_m", vectorJson(report.comparison.enuSigma)},
            {"variance_factor", ratioJson(s.varianceFactor)},
            {"correlation_factor", ratioJson(s.correlationFactor)}};
}

Json comparisonJson(const PositionReport& report) {
    if (!report.hasPosition()) return {};
    const PositionComparison& c = report.comparison;
    return {{"position_in_use_m", vectorJson(report.config.referencePoint)},
            {"enu_m", vectorJson(c.enu)},
            {"statistic", ratioJson(c.statistic)},
            {"threshold", ratioJson(c.threshold)},
            {"agrees", c.agrees},
            {"differs", {{"east", c.differs[0]}, {"north", c.differs[1]}, {"up", c.differs[2]}}}};
}

Json epochsJson(const PositionLedger& ledger) {
    Json json = Json::object();
    for (size_t i = 0; i < kEpochOutcomes; ++i) {
        json[EpochOutcomeText(static_cast<EpochOutcome>(i))] = ledger.adjustment().outcomes[i];
    }
    return json;
}

Json constellationsJson(const PositionReport& report) {
    const LogAdjustment& adjustment = report.ledger.adjustment();
    Json json = Json::object();
    for (const Constellation& c : kConstellations) {
        const CodeTally& tally = report.ledger.tally(c);
        const int clock = static_cast<int>(c.index);
        json[clockName(clock)] = {
            {"used", adjustment.clockMeasurements[c.index]},
            {"rms_m", report.hasPosition() ? metresJson(ClockRms(adjustment, report.solution, clock)) : Json()},
            {"offered", tally.offered},
            {"code_missing", tally.codeMissing},
            {"no_ephemeris", tally.noEphemeris},
            {"unhealthy", tally.unhealthy},
            {"too_old_or_new", tally.tooOldOrNew}};
    }
    return json;
}

Json clocksJson(const PositionReport& report) {
    Json json = Json::array();
    if (!report.hasPosition()) return json;
    for (int a = 0; a < static_cast<int>(kTrackedConstellations); ++a) {
        for (int b = a + 1; b < static_cast<int>(kTrackedConstellations); ++b) {
            const ClockDifference d = DifferenceOfClocks(report.ledger.adjustment(), report.solution, a, b);
            if (d.epochs == 0) continue;
            json.push_back({{"clock", clockName(b)},
                            {"less", clockName(a)},
                            {"mean_ns", nanosecondsJson(d.mean)},
                            {"scatter_ns", nanosecondsJson(d.scatter)},
                            {"epochs", d.epochs}});
        }
    }
    return json;
}

Json satellitesJson(const PositionReport& report) {
    const LogAdjustment& adjustment = report.ledger.adjustment();
    Json json = Json::object();
    for (size_t svid = 0; svid < adjustment.satellites.size(); ++svid) {
        const SatelliteSums& satellite = adjustment.satellites[svid];
        if (satellite.used + satellite.atFault == 0) continue;
        const int number = static_cast<int>(svid);
        json[satelliteName(number)] = {
            {"used", satellite.used},
            {"rejected", satellite.atFault},
            {"rms_m", report.hasPosition() ? metresJson(SatelliteRms(adjustment, report.solution, number)) : Json()}};
    }
    return json;
}

Json spellsJson(const PositionLedger& ledger) {
    Json json = Json::array();
    for (const FaultSpell& spell : ledger.spells()) {
        json.push_back({{"satellite", satelliteName(spell.svid)},
                        {"first", formatTime(int64_t{spell.first} * 1000)},
                        {"last", formatTime(int64_t{spell.last} * 1000)},
                        {"epochs", spell.epochs},
                        {"largest_m", metresJson(spell.largest)}});
    }
    return json;
}

}  // namespace

std::string positionJson(const PositionReport& report) {
    const PositionLedger& ledger = report.ledger;
    Json json = {{"log", report.options.inputFile},     {"first", timeJson(ledger.first())},
                 {"last", timeJson(ledger.last())},     {"verdict", verdictText(report)},
                 {"remarks", remarksOn(report)},        {"position", positionOf(report)},
                 {"comparison", comparisonJson(report)}};
    json["epochs"] = epochsJson(ledger);
    json["faults"] = spellsJson(ledger);
    json["faults_not_listed"] = ledger.faultsNotListed();
    json["constellations"] = constellationsJson(report);
    json["clocks"] = clocksJson(report);
    json["satellites"] = satellitesJson(report);
    return jsonLine(json);
}
