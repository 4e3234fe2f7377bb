// The subcommands of zeltlog. Each runs once the command line is parsed and sets the exit status (exitstatus.h).
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "zeltlog/exitstatus.h"

void addInfoCommand(CLI::App& app, int& status);
void addJoinCommand(CLI::App& app, int& status);
void addTracksCommand(CLI::App& app, int& status);
void addPositionCommand(CLI::App& app, int& status);
