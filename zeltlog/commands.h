// The subcommands of zeltlog. Each runs once the command line is parsed and sets the exit status: 0 all well, 1 some
// log could not be read or holds no block, 2 wrong arguments.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

constexpr int kAllWell = 0;
constexpr int kUnreadableLog = 1;
constexpr int kWrongArguments = 2;

void addInfoCommand(CLI::App& app, int& status);
void addJoinCommand(CLI::App& app, int& status);
void addTracksCommand(CLI::App& app, int& status);
