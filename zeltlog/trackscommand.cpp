#include <cstdio>
#include <cstring>
#include <memory>

#include "app/cmdline.h"
#include "zeltlog/commands.h"
#include "zeltlog/openlog.h"
#include "zeltlog/tracktext.h"

namespace {

struct TracksOptions {
    bool asJson = false;
    bool summaryOnly = false;
};

// Words as main() gets them. They are writable: an option empties those that it takes.
struct Arguments {
    explicit Arguments(std::vector<std::string> given) : words(std::move(given)) {
        words.insert(words.begin(), "zeltlog tracks");
        for (std::string& word : words) pointers.push_back(word.data());
    }
    int count() const { return static_cast<int>(pointers.size()); }

    std::vector<std::string> words;
    std::vector<char*> pointers;
};

// Says why the log cannot be read, if so.
bool isReadable(const std::string& path, int& status) {
    ZeltFault fault;
    std::string text = unsuitableText(path);
    if (text.empty() && !holdsBlock(path, fault)) {
        text = fault.place != ZeltFaultPlace::kNone ? faultText(path, fault) : noBlockText(path);
    }
    if (text.empty()) return true;
    std::fprintf(stderr, "zeltlog: %s\n", text.c_str());
    status = kUnreadableLog;
    return false;
}

// The log that the words name, empty when they name none.
std::string logOf(const std::vector<std::string>& words) {
    Arguments copy(words);
    std::string path;
    getStringOption("-f", {&path, 1023}, copy.count(), copy.pointers.data());
    return path;
}

void reportTracks(const RunConfig& config, const RunOptions& runOptions, const TracksOptions& options, int& status) {
    TrackReport report(runOptions);
    const auto onRow = [&](const TrackRow& row) {
        report.add(row, options.asJson && !options.summaryOnly);
        if (!options.asJson && !options.summaryOnly) std::fputs(rowText(row).c_str(), stdout);
    };
    const FollowedLog log = followTracks(config, runOptions, onRow, terminalProgress("Reading:"));
    clearTerminalProgress();
    if (log.fault.place != ZeltFaultPlace::kNone) {
        std::fprintf(stderr, "zeltlog: %s\n", faultText(runOptions.inputFile, log.fault).c_str());
        status = kUnreadableLog;
    }
    report.setEpochTimes(log.epochTimes);
    if (!options.asJson && !options.summaryOnly) std::fputs("\n", stdout);
    std::fputs((options.asJson ? reportJson(report) : reportText(report)).c_str(), stdout);
}

// The log is looked at before parseOptions reads it, whose faults end the program with the converter's message.
void runTracks(const std::vector<std::string>& words, const TracksOptions& options, int& status) {
    const std::string path = logOf(words);
    if (!path.empty() && !isReadable(path, status)) return;
    Arguments arguments(words);
    RunConfig config;
    RunOptions runOptions;
    if (!parseOptions(arguments.count(), arguments.pointers.data(), config, runOptions)) {
        status = kWrongArguments;
    } else if (!runOptions.inputFile.empty()) {
        reportTracks(config, runOptions, options, status);
    }
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
