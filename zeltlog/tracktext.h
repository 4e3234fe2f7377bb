// What became of the tracks, for people and for programs.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "zeltlog/trackledger.h"

class TrackReport {
public:
    // The options must outlive the report.
    explicit TrackReport(const RunOptions& options) : options_(options) {}

    // Counts a row and, where the rows are to be told too, keeps it.
    void add(const TrackRow& row, bool isKept);
    void setEpochTimes(const EpochTimes& times) { epochTimes_ = times; }

    // Rows of a constellation with a fate, and all of it.
    uint64_t count(const Constellation& constellation, TrackFate fate) const;
    uint64_t total(const Constellation& constellation) const;

    // What kept whole constellations or tracks from coming out, a sentence each.
    std::vector<std::string> sentences() const;

    const std::vector<TrackRow>& rows() const { return rows_; }
    const RunOptions& options() const { return options_; }

private:
    std::vector<std::string> logSentences() const;

    const RunOptions& options_;
    EpochTimes epochTimes_;
    std::array<std::array<uint64_t, kTrackFates>, kTrackedConstellations> counts_{};
    std::vector<TrackRow> rows_;
};

// "59025\t001000\tG05\t26\t26\tline\n".
std::string rowText(const TrackRow& row);

// A table of constellations and fates, then the sentences.
std::string reportText(const TrackReport& report);

// Everything in one JSON object on a line of its own; zeltlog(1) lists the members.
std::string reportJson(const TrackReport& report);
