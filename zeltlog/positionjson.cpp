#include <cmath>
#include <nlohmann/json.hpp>

#include "zeltlog/calendar.h"
#include "zeltlog/infotext.h"
#include "zeltlog/positiontext.h"

using Json = nlohmann::ordered_json;
using namespace Qon::Nav;

namespace {

constexpr double kDegreesPerRadian = 57.29577951308232;

Json timeJson(int64_t t) { return t == kNoTime ? Json() : Json(formatTime(t)); }

Json vectorJson(const Vector3& v) { return {v.x, v.y, v.z}; }

Json positionOf(const PositionReport& report) {
    if (!report.hasPosition()) return {};
    const LogPosition& s = report.solution;
    const Geodetic g = EcefToGeodetic(s.position);
    const auto sigma = [&](size_t i) { return std::sqrt(s.covariance[i][i]); };
    return {{"ecef_m", vectorJson(s.position)},
            {"ecef_sigma_m", {sigma(0), sigma(1), sigma(2)}},
            {"latitude_deg", g.latitude * kDegreesPerRadian},
            {"longitude_deg", g.longitude * kDegreesPerRadian},
            {"height_m", g.height},
            {"enu_sigma_m", vectorJson(report.comparison.enuSigma)},
            {"variance_factor", s.varianceFactor},
            {"correlation_factor", s.correlationFactor}};
}

Json comparisonJson(const PositionReport& report) {
    if (!report.hasPosition()) return {};
    const PositionComparison& c = report.comparison;
    return {{"position_in_use_m", vectorJson(report.config.referencePoint)},
            {"enu_m", vectorJson(c.enu)},
            {"statistic", c.statistic},
            {"threshold", c.threshold},
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
            {"rms_m", report.hasPosition() ? Json(ClockRms(adjustment, report.solution, clock)) : Json()},
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
                            {"mean_ns", metresToNs(d.mean)},
                            {"scatter_ns", metresToNs(d.scatter)},
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
            {"rms_m", report.hasPosition() ? Json(SatelliteRms(adjustment, report.solution, number)) : Json()}};
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
                        {"largest_m", spell.largest}});
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
    return json.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
}
