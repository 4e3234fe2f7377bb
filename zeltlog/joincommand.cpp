#include <cstdio>
#include <filesystem>
#include <memory>

#include "app/cmdline.h"
#include "zeltlog/asidefile.h"
#include "zeltlog/commands.h"
#include "zeltlog/jsontext.h"
#include "zeltlog/logjoin.h"
#include "zeltlog/mergewindow.h"
#include "zeltlog/openlog.h"
#include "zeltlog/textformat.h"

namespace fs = std::filesystem;

namespace {

struct JoinOptions {
    std::string output;
    std::string from;
    std::string to;
    bool asJson = false;
    JoinRequest request;
};

bool readBound(const char* option, const std::string& text, int64_t& bound) {
    if (text.empty() || parseEpochBound(text.c_str(), bound)) return true;
    complain(formatText("%s %s is no time: yyyy-mm-dd_hh:mm:ss", option, text.c_str()));
    return false;
}

// The log would be gone once the joined one has its name.
bool sparesLogs(const JoinOptions& options) {
    std::error_code ignored;
    for (const std::string& log : options.request.logs) {
        if (!fs::equivalent(log, options.output, ignored) && !fs::equivalent(log, options.output + ".part", ignored)) {
            continue;
        }
        complain(options.output + " is one of the logs: give another name behind -o");
        return false;
    }
    return true;
}

bool checkRequest(JoinOptions& options) {
    JoinRequest& request = options.request;
    if (!readBound("--from", options.from, request.from) || !readBound("--to", options.to, request.to)) return false;
    if (request.from > request.to) {
        complain("--from lies behind --to");
        return false;
    }
    return sparesLogs(options);
}

// Says what is to be said of a log; false when it, or a part of it, could not be read.
bool reportLog(const JoinedLog& log) {
    const bool isFaulty = log.fault.place != ZeltFaultPlace::kNone;
    if (isFaulty)
        complain(faultText(log.path, log.fault));
    else if (!log.hasBlock)
        complain(noBlockText(log.path));
    if (log.hasBlock && log.strayBytes != 0) {
        complain(formatText("%s: left out %lld bytes that belong to no block (%s with a wrong CRC)", log.path.c_str(),
                            static_cast<long long>(log.strayBytes), countText(log.crcErrors, "block").c_str()));
    }
    if (log.outOfOrder != 0) {
        complain(formatText("%s: %s out of order by more than %lld minutes, left in place", log.path.c_str(),
                            countText(log.outOfOrder, "block").c_str(), static_cast<long long>(kMergeWindow / 60000)));
    }
    return !isFaulty && log.hasBlock;
}

void printSummary(const JoinOptions& options, const JoinSummary& summary) {
    if (options.asJson) {
        Json json = {{"log", options.output},
                     {"blocks", summary.blocks},
                     {"bytes", summary.bytes},
                     {"receiver_setups", summary.setups},
                     {"doubles", summary.doubles},
                     {"conflicts", summary.conflicts},
                     {"first", timeJson(summary.first)},
                     {"last", timeJson(summary.last)}};
        for (const JoinedLog& log : summary.logs) {
            json["from"].push_back(
                {{"log", log.path}, {"read_whole", log.isReadWhole}, {"receiver_setups", log.setups}});
        }
        std::fputs(jsonLine(json).c_str(), stdout);
        return;
    }
    std::printf("%s: %s, %lld bytes, %s to %s; doubles left out: %llu\n", options.output.c_str(),
                countText(summary.blocks, "block").c_str(), static_cast<long long>(summary.bytes),
                formatTime(summary.first).c_str(), formatTime(summary.last).c_str(),
                static_cast<unsigned long long>(summary.doubles));
}

int runJoin(JoinOptions& options) {
    if (!checkRequest(options)) return kWrongArguments;
    AsideFile file(options.output);
    if (!file.problem().empty()) {
        complain(file.problem());
        return kNotAllWell;
    }
    const WriteBlock write = [&file](Bytes block) {
        file.write(block);
        return file.problem().empty();
    };
    const JoinSummary summary = joinLogs(options.request, write, terminalProgress("Joining:"));
    clearTerminalProgress();
    int status = kAllWell;
    for (const JoinedLog& log : summary.logs) {
        if (!reportLog(log)) status = kNotAllWell;
    }
    if (summary.blocks == 0 && file.problem().empty()) {
        complain("no block of the logs lies in the window: " + options.output + " is not written");
        return kNotAllWell;
    }
    if (summary.conflicts != 0) {
        complain(countText(summary.conflicts, "measurement block") +
                 " differ from another log's of the same time: are all logs of one receiver?");
    }
    if (!file.finish()) {
        complain(file.problem());
        return kNotAllWell;
    }
    printSummary(options, summary);
    return status;
}

}  // namespace

void addJoinCommand(CLI::App& app, int& status) {
    CLI::App* command = app.add_subcommand("join", "One log from many: blocks in time order, each once");
    const auto options = std::make_shared<JoinOptions>();
    command->add_option("-o", options->output, "The log to write")->required();
    command->add_option("--from", options->from,
                        "First time, yyyy-mm-dd_hh:mm:ss (GPS time); what is current then is kept");
    command->add_option("--to", options->to, "Last time");
    command
        ->add_option("--every", options->request.everySeconds,
                     "Of measurements keep one every so many seconds; 30 are enough for zelt2cggtts")
        ->check(CLI::PositiveNumber);
    command->add_flag("--json", options->asJson, "What was written as one JSON object");
    command->add_option("LOG", options->request.logs, "Logs")->required();
    command->callback([options, &status] { status = runJoin(*options); });
}
