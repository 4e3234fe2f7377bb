#include <cstdio>
#include <memory>

#include "zeltlog/commands.h"
#include "zeltlog/infotext.h"
#include "zeltlog/logspan.h"
#include "zeltlog/openlog.h"

namespace {

struct InfoOptions {
    bool asJson = false;
    bool spanOnly = false;
    std::vector<std::string> logs;
};

// Says what is wrong with a log, if anything; false when it holds nothing to tell of.
bool checkLog(const std::string& path, const ZeltFault& fault, bool hasBlock, int& status) {
    if (fault.place != ZeltFaultPlace::kNone) complain(faultText(path, fault), status);
    if (fault.place == ZeltFaultPlace::kNone && !hasBlock) complain(noBlockText(path), status);
    return hasBlock;
}

void printSpans(const InfoOptions& options, int& status) {
    for (const std::string& path : options.logs) {
        const LogSpan span = readLogSpan(path);
        if (!checkLog(path, span.fault, span.hasBlock, status)) continue;
        std::fputs((options.asJson ? spanJson(span) : spanText(span)).c_str(), stdout);
    }
}

void printInfos(const InfoOptions& options, int& status) {
    // JSON is a line for each log anyhow, so that it does not change with their number.
    const bool isTable = options.logs.size() > 1 && !options.asJson;
    if (isTable) std::fputs(infoTableTitles().c_str(), stdout);
    for (const std::string& path : options.logs) {
        const LogInfo info = readLogInfo(path, terminalProgress("Reading:"));
        clearTerminalProgress();
        if (!checkLog(path, info.fault, info.blocks != 0, status)) continue;
        std::fputs((options.asJson ? infoJson(info) : isTable ? infoTableLine(info) : infoText(info)).c_str(), stdout);
    }
}

}  // namespace

void addInfoCommand(CLI::App& app, int& status) {
    CLI::App* command =
        app.add_subcommand("info", "What logs hold: blocks, epochs, gaps, damage, receiver, satellites");
    // The callback runs when this function has long returned, and keeps them alive.
    const auto options = std::make_shared<InfoOptions>();
    command->add_flag("--json", options->asJson, "One JSON object for each log, a line each");
    command->add_flag("--span", options->spanOnly, "First and last time alone, by the head and the tail of a log");
    command->add_option("LOG", options->logs, "Logs; of more than one, a table with a line for each")->required();
    command->callback([options, &status] {
        if (options->spanOnly) return printSpans(*options, status);
        printInfos(*options, status);
    });
}
