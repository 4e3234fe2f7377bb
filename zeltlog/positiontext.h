// The antenna's position, for people and for programs.
#pragma once

#include <string>
#include <vector>

#include "zeltlog/positionledger.h"

// What a log comes to; made once, behind the pass. All must outlive the report.
struct PositionReport {
    PositionReport(const PositionLedger& from, const StationConfig& runConfig, const RunOptions& runOptions);

    bool hasPosition() const { return solution.outcome == Qon::Nav::LogOutcome::kSolved; }

    const PositionLedger& ledger;
    const StationConfig& config;
    const RunOptions& options;
    Qon::Nav::LogPosition solution;
    Qon::Nav::PositionComparison comparison;  // with the antenna reference point in use; only with a position
};

// Whether the position in use agrees with the log's, or why there is none, in one sentence.
std::string verdictText(const PositionReport& report);

// What else there is to know, a sentence each: constellations that took no part, a height of
// which the log tells little, an antenna that may have moved.
std::vector<std::string> remarksOn(const PositionReport& report);

// One line per epoch, tab-separated, below a line of titles that begins with "#"; zeltlog(1) lists the columns.
std::string epochTitles();
std::string epochText(const PositionEpoch& epoch, const Qon::Nav::Vector3& inUse);

// Everything but the epochs. The JSON object is on a line of its own; zeltlog(1) lists its members.
std::string positionText(const PositionReport& report);
std::string positionJson(const PositionReport& report);

// What stands for a clock's constellation, and for a satellite.
const char* clockName(int clock);
std::string satelliteName(int svid);

// Receiver clock differences are lengths in the filter.
double metresToNs(double metres);
