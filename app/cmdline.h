// The command line: options found, consumed and converted, and what they leave open completed from the log.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "app/runoptions.h"
#include "cggtts/runconfig.h"

// Fills both records from the arguments and the log, which it reads for what they leave open. True when the run may go
// on, and after -h or -V, which print their text and leave options.inputFile empty. False after one message on standard
// error; the records are then filled in part. Arguments that an option consumes are replaced by empty ones. A system
// call of the reader that must not fail (zeltread.h) ends the program with status 1.
bool parseOptions(int argc, char** argv, RunConfig& config, RunOptions& options);

// Where an option's value goes.
struct TextTarget {
    std::string* value;
    size_t capacity;  // characters kept
};
struct EpochTarget {
    int64_t* milliseconds;
};
using OptionTarget = std::variant<double*, int32_t*, TextTarget, EpochTarget, bool*>;
struct Option {
    const char* text;
    OptionTarget target;
};

// Antenna reference point (ITRF, m) and vertical offsets of the phase centres from it (m, positive upwards): needed
// while options are parsed alone. What remains of them are the phase centres of RunConfig.
struct AntennaSettings {
    Qon::Nav::Vector3 position;
    double offsetL1 = 0;  // GPS L1 and Galileo E1
    double offsetL2 = 0;
    double offsetGloL1 = 0;
    double offsetGloL2 = 0;
    double offsetE5a = 0;
    double offsetB1 = 0;
    double offsetB2 = 0;
};

// The same for a caller who asks for what the phase centres were computed from; `antenna` must be an empty one.
bool parseOptions(int argc, char** argv, RunConfig& config, RunOptions& options, AntennaSettings& antenna);

// Every option has one row; a new one needs its line in help, man page and completion as well.
//
// The options that take part in parsing after -h, -V and -f, in the order in which they are looked for. An argument
// matches an option when it begins with the option's text, so an option stands before every shorter one that it begins
// with.
std::vector<Option> optionTable(RunConfig& config, RunOptions& options, AntennaSettings& antenna);

// True when an argument (from index 1 on, as everywhere here) begins with the option's text. What becomes of the first
// such argument is the caller's choice.
enum class FoundArgument { kKeep, kEmpty };
bool findOption(const char* option, int argc, char** argv, FoundArgument found);

// Each applies every occurrence of the option: its value is the rest of the argument or, when there is no rest, the
// next argument. Without an occurrence the target stays. The numeric ones are converted as the C library scans them,
// trailing characters ignored; a value that does not convert leaves the target as it was, and when that is the last
// occurrence, the syntax error is printed and the result false.
bool getDoubleOption(const char* option, double& value, int argc, char** argv);
bool getIntOption(const char* option, int32_t& value, int argc, char** argv);
void getStringOption(const char* option, const TextTarget& target, int argc, char** argv);

// Time bound from "yyyy-mm-dd_hh:mm:ss" (any separators, fields from the right may be missing and count as 0; years
// below 80 are 20xx, others up to 1900 are counted from 1900): ms since 1980-01-06, no leap seconds, so that it is GPS
// time like the stamps it is compared with. Half a millisecond is added and the fraction cut off, which from 1980-01-06
// on is rounding. Bounds beyond 64 bits become the nearest end, those that are not a number the lowest. False when
// nothing converts.
bool parseEpochBound(const char* text, int64_t& milliseconds);

// Opens the file for reading and closes it again; on failure prints the message and returns false.
bool checkInputFile(const char* path, const char* kindWord);
