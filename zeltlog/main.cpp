// zeltlog: what is in a log, and what becomes of it.
#include "app/standardstreams.h"
#include "cggtts/version.h"
#include "zeltlog/commands.h"

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
        return app.exit(error) == 0 ? kAllWell : kWrongArguments;
    }
    return status;
}
