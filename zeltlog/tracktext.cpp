#include "zeltlog/tracktext.h"

#include <algorithm>

#include "cggtts/schedule.h"
#include "utils/geometry/navtools.h"
#include "utils/geometry/satnames.h"
#include "zeltlog/infotext.h"
#include "zeltlog/jsontext.h"
#include "zeltlog/textformat.h"

namespace {

constexpr int64_t kSampleMilliseconds = int64_t{kSampleSpacing} * 1000;

std::string startTime(const TrackRow& row) {
    const unsigned second = row.start % Qon::Nav::kSecondsPerDay;
    return formatText("%02u%02u%02u", second / 3600, second / 60 % 60, second % 60);
}

// What to do about a fate that takes a whole constellation.
const char* remedyOf(TrackFate fate) {
    switch (fate) {
        case TrackFate::kNoEphemeris: return "log its navigation blocks, and begin the log before the tracks";
        case TrackFate::kUnhealthy: return "its satellites say of themselves that they are not to be used";
        case TrackFate::kTooOldOrNew: return "log its navigation blocks whenever they change";
        case TrackFate::kTooFewSamples: return "a line needs 21 of the 26 instants of a track, without a break";
        case TrackFate::kBelowMask: return "lower -elm";
        case TrackFate::kCodeMissing: return "let the receiver track and log both signals of the pair";
        case TrackFate::kNotFinished: return "the log must reach a track's last instant";
        case TrackFate::kOutsideWindow: return "widen -b and -e";
        case TrackFate::kExcluded: return "as -x asks";
        default: return "";
    }
}

// The most frequent fate stands for all, the earlier one in the list of several.
std::string modeSentence(const TrackReport& report, const Constellation& constellation) {
    const char* name = kConstellationNames[constellation.index];
    if (report.total(constellation) == 0) return formatText("%s: no satellite was measured during a track.", name);
    size_t most = 0;
    for (size_t fate = 0; fate < kTrackFates; ++fate) {
        const auto countOf = [&](size_t f) { return report.count(constellation, static_cast<TrackFate>(f)); };
        if (countOf(fate) > countOf(most)) most = fate;
    }
    const auto fate = static_cast<TrackFate>(most);
    return formatText("%s: no line; %llu of its %s: %s (%s).", name,
                      static_cast<unsigned long long>(report.count(constellation, fate)),
                      countText(report.total(constellation), "track").c_str(), fateText(fate), remedyOf(fate));
}

Json countsJson(const TrackReport& report, const Constellation& constellation) {
    Json counts;
    for (size_t fate = 0; fate < kTrackFates; ++fate) {
        counts[fateText(static_cast<TrackFate>(fate))] = report.count(constellation, static_cast<TrackFate>(fate));
    }
    return counts;
}

}  // namespace

void TrackReport::add(const TrackRow& row, bool isKept) {
    const Constellation* constellation = constellationOf(row.svid);
    if (constellation == nullptr) return;
    ++counts_[constellation->index][static_cast<size_t>(row.fate)];
    if (isKept) rows_.push_back(row);
}

uint64_t TrackReport::count(const Constellation& constellation, TrackFate fate) const {
    return counts_[constellation.index][static_cast<size_t>(fate)];
}

uint64_t TrackReport::total(const Constellation& constellation) const {
    uint64_t sum = 0;
    for (const uint64_t n : counts_[constellation.index]) sum += n;
    return sum;
}

// Faults of the log as a whole, which keep tracks of every constellation from coming out.
std::vector<std::string> TrackReport::logSentences() const {
    if (epochTimes_.count == 0) return {"The log holds no measurement epoch."};
    std::vector<std::string> all;
    const int64_t interval = epochTimes_.interval();
    if (epochTimes_.onHalfMinute == 0) {
        all.push_back(formatText("No epoch lies at a multiple of 30 s: the first is at %s.",
                                 formatTime(epochTimes_.span.first).c_str()));
    } else if (interval > kSampleMilliseconds) {
        all.push_back("Epochs are " + formatDuration(interval) + " apart; tracks need one every 30 s.");
    }
    if (epochTimes_.gapCount() != 0) {
        const EpochTimes::Gap& gap = epochTimes_.longest[0];
        all.push_back(formatText("The log has %s, %s in all, the longest from %s to %s.",
                                 countText(epochTimes_.gapCount(), "gap").c_str(),
                                 formatDuration(epochTimes_.missingTime()).c_str(), formatTime(gap.from).c_str(),
                                 formatTime(gap.to).c_str()));
    }
    return all;
}

// A constellation that gives lines needs no sentence: its counts say what the others missed.
std::vector<std::string> TrackReport::sentences() const {
    std::vector<std::string> all = logSentences();
    for (const Constellation& constellation : kConstellations) {
        if (count(constellation, TrackFate::kLine) == 0) all.push_back(modeSentence(*this, constellation));
    }
    return all;
}

std::string rowText(const TrackRow& row) {
    return formatText("%u\t%s\t%.3s\t%d\t%d\t%s\n", static_cast<unsigned>(modifiedJulianDate(row.start)),
                      startTime(row).c_str(), Qon::Nav::SVIDToName(row.svid).data(), row.bothCodes, row.kept,
                      fateText(row.fate));
}

std::string reportText(const TrackReport& report) {
    std::string text = formatText("%-40s", "");
    for (const char* name : kConstellationNames) text += formatText("%9s", name);
    text += '\n';
    for (size_t fate = 0; fate < kTrackFates; ++fate) {
        text += formatText("%-40s", fateText(static_cast<TrackFate>(fate)));
        for (const Constellation& constellation : kConstellations) {
            text += formatText(
                "%9llu", static_cast<unsigned long long>(report.count(constellation, static_cast<TrackFate>(fate))));
        }
        text += '\n';
    }
    for (const std::string& sentence : report.sentences()) text += sentence + '\n';
    return text;
}

std::string reportJson(const TrackReport& report) {
    Json json = {{"log", report.options().inputFile}};
    for (const Constellation& constellation : kConstellations) {
        json["summary"][kConstellationNames[constellation.index]] = countsJson(report, constellation);
    }
    json["sentences"] = report.sentences();
    json["tracks"] = Json::array();
    // Rows were kept for this alone: the text prints them as they come.
    for (const TrackRow& row : report.rows()) {
        json["tracks"].push_back({{"mjd", modifiedJulianDate(row.start)},
                                  {"sttime", startTime(row)},
                                  {"satellite", Qon::Nav::SVIDToName(row.svid).data()},
                                  {"both_codes", row.bothCodes},
                                  {"kept", row.kept},
                                  {"outcome", fateText(row.fate)}});
    }
    return jsonLine(json);
}
