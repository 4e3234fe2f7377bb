#include <cstdio>
#include <memory>
#include <optional>

#include "zeltlog/commands.h"
#include "zeltlog/conversionrun.h"
#include "zeltlog/openlog.h"
#include "zeltlog/plotpipe.h"
#include "zeltlog/positiontext.h"

namespace {

struct PositionOptions {
    bool asJson = false;
    bool listsEpochs = false;
    std::string picture;
};

// Where the lines of epochs go.
void printEpoch(const std::string& line, const PositionOptions& options, std::optional<PlotPipe>& plot) {
    if (options.listsEpochs) std::fputs(line.c_str(), stdout);
    if (plot) plot->write(line);
}

void reportPosition(const StationConfig& config, const RunOptions& runOptions, const PositionOptions& options,
                    int& status) {
    std::optional<PlotPipe> plot;
    if (!options.picture.empty()) plot.emplace(options.picture);
    PositionLedger::OnEpoch onEpoch;
    if (options.listsEpochs || plot) {
        printEpoch(epochTitles(), options, plot);
        onEpoch = [&](const PositionEpoch& epoch) {
            printEpoch(epochText(epoch, config.referencePoint), options, plot);
        };
    }
    const auto pass = std::make_unique<FilePass>(config, runOptions);
    PassEvents events;
    const auto ledger = std::make_unique<PositionLedger>(*pass, config, events, onEpoch);
    const ZeltFault fault = followLog(*pass, events, terminalProgress("Reading:"));
    clearTerminalProgress();
    if (fault.place != ZeltFaultPlace::kNone) complain(faultText(runOptions.inputFile, fault), status);
    const PositionReport report(*ledger, config, runOptions);
    if (!report.hasPosition()) status = kNotAllWell;
    if (options.listsEpochs) std::fputs("\n", stdout);
    std::fputs((options.asJson ? positionJson(report) : positionText(report)).c_str(), stdout);
    if (plot && !plot->finish()) {
        complain("plot-position drew no " + options.picture);
        status = kWrongArguments;
    }
}

void runPosition(const std::vector<std::string>& words, const PositionOptions& options, int& status) {
    if (options.asJson && options.listsEpochs) {
        complain("--epochs are lines, not part of --json");
        status = kWrongArguments;
        return;
    }
    StationConfig config;
    RunOptions runOptions;
    if (parseConversion(words, config, runOptions, status)) reportPosition(config, runOptions, options, status);
}

// The words that are not this command's own, which may stand anywhere: no option of zelt2cggtts begins with two dashes.
std::vector<std::string> takeOwnOptions(const std::vector<std::string>& given, PositionOptions& options) {
    std::vector<std::string> others;
    for (size_t i = 0; i < given.size(); ++i) {
        const std::string& word = given[i];
        if (word == "--json") {
            options.asJson = true;
        } else if (word == "--epochs") {
            options.listsEpochs = true;
        } else if (word == "--plot" && i + 1 < given.size()) {
            options.picture = given[++i];
        } else {
            others.push_back(word);
        }
    }
    return others;
}

}  // namespace

void addPositionCommand(CLI::App& app, int& status) {
    CLI::App* command = app.add_subcommand(
        "position", "Where the antenna is by the code measurements, and whether the position in use agrees");
    command->footer("All other words are options of zelt2cggtts (zelt2cggtts -h), of which -f LOG is needed.");
    command->set_help_flag("--help", "Print this help and exit");  // -h is an option of zelt2cggtts
    command->prefix_command();
    const auto options = std::make_shared<PositionOptions>();
    command->add_flag("--json", options->asJson, "Everything as one JSON object");
    command->add_flag("--epochs", options->listsEpochs, "A tab-separated line for each epoch first");
    command->add_option("--plot", options->picture, "A picture of the epochs (.png, .pdf, .svg), by plot-position");
    command->callback([command, options, &status] {
        const std::vector<std::string> words = takeOwnOptions(command->remaining(), *options);
        runPosition(words, *options, status);
    });
}
