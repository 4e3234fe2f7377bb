// What subcommands share that are told of a run of zelt2cggtts by its options.
#pragma once

#include <string>
#include <vector>

#include "app/runoptions.h"
#include "cggtts/runconfig.h"

// A run's configuration, and the antenna reference point that its phase centres were computed from.
struct StationConfig : RunConfig {
    Qon::Nav::Vector3 referencePoint;  // ITRF, m
};

// The log that the words name, empty when they name none.
std::string logOf(const std::vector<std::string>& words);

// Parses options of zelt2cggtts. False when nothing is to be run: after -h and -V; after a message, with the exit
// status set, where the log that they name cannot be read or holds no block, or the options are wrong.
bool parseConversion(const std::vector<std::string>& words, StationConfig& config, RunOptions& options, int& status);
