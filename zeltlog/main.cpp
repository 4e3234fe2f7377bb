// zeltlog: what is in a log, and what becomes of it.
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "app/standardstreams.h"
#include "cggtts/version.h"
#include "zeltlog/commands.h"
#include "zeltlog/openlog.h"

namespace {

// All is printed without a look at whether it can be. What a full disk took shows here at the latest.
bool isAllPrinted() {
    errno = 0;
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return true;
    complain(std::string("standard output: ") + (errno != 0 ? std::strerror(errno) : "not all could be written"));
    return false;
}

}  // namespace

// What CLI11 throws but for wrong words is a fault of this program and ends it.
// NOLINTNEXTLINE(bugprone-exception-escape)
int main(int argc, char** argv) {
    openClosedStandardStreams();
    CLI::App app("zeltlog tells what is in the Zelt logs of a GNSS timing receiver.", "zeltlog");
    app.set_version_flag("--version", kProgramVersion);
    app.require_subcommand(1);
    int status = kAllWell;
    addInfoCommand(app, status);
    addJoinCommand(app, status);
    addTracksCommand(app, status);
    addPositionCommand(app, status);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {  // -h and --version come this way too, with status 0
        status = app.exit(error) == 0 ? kAllWell : kWrongArguments;
    }
    return isAllPrinted() || status != kAllWell ? status : kNotAllWell;
}
