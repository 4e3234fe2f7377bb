#include <cstdio>
#include <memory>

#include "zeltlog/commands.h"
#include "zeltlog/conversionrun.h"
#include "zeltlog/openlog.h"
#include "zeltlog/tracktext.h"

namespace {

struct TracksOptions {
    bool asJson = false;
    bool summaryOnly = false;
};

void reportTracks(const RunConfig& config, const RunOptions& runOptions, const TracksOptions& options, int& status) {
    TrackReport report(runOptions);
    const auto onRow = [&](const TrackRow& row) {
        report.add(row, options.asJson && !options.summaryOnly);
        if (!options.asJson && !options.summaryOnly) std::fputs(rowText(row).c_str(), stdout);
    };
    const FollowedLog log = followTracks(config, runOptions, onRow, terminalProgress("Reading:"));
    clearTerminalProgress();
    if (log.fault.place != ZeltFaultPlace::kNone) complain(faultText(runOptions.inputFile, log.fault), status);
    report.setEpochTimes(log.epochTimes);
    if (!options.asJson && !options.summaryOnly) std::fputs("\n", stdout);
    std::fputs((options.asJson ? reportJson(report) : reportText(report)).c_str(), stdout);
}

// The log is looked at before parseOptions reads it, whose faults end the program with the converter's message.
void runTracks(const std::vector<std::string>& words, const TracksOptions& options, int& status) {
    StationConfig config;
    RunOptions runOptions;
    if (parseConversion(words, config, runOptions, status)) reportTracks(config, runOptions, options, status);
}

}  // namespace

void addTracksCommand(CLI::App& app, int& status) {
    CLI::App* command = app.add_subcommand(
        "tracks", "What became of each track: why zelt2cggtts, with the same options, gives a line or none");
    command->footer("All other words are options of zelt2cggtts (zelt2cggtts -h), of which -f LOG is needed.");
    command->set_help_flag("--help", "Print this help and exit");  // -h is an option of zelt2cggtts
    command->prefix_command();  // from the first word that is none of its own on, all are the converter's
    const auto options = std::make_shared<TracksOptions>();
    command->add_flag("--json", options->asJson, "Everything as one JSON object");
    command->add_flag("--summary", options->summaryOnly, "No line for each track, only the summary");
    command->callback([command, options, &status] {
        // Flags may stand anywhere: no option of zelt2cggtts begins with two dashes.
        std::vector<std::string> words;
        for (const std::string& word : command->remaining()) {
            if (word == "--json") {
                options->asJson = true;
            } else if (word == "--summary") {
                options->summaryOnly = true;
            } else {
                words.push_back(word);
            }
        }
        runTracks(words, *options, status);
    });
}
