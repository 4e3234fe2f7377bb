// What a log holds, for people and for programs.
#pragma once

#include <array>
#include <string>

#include "zeltlog/loginfo.h"
#include "zeltlog/logspan.h"

// All facts of one log, several lines.
std::string infoText(const LogInfo& info);

// The table of many logs: its titles, and a line for each.
std::string infoTableTitles();
std::string infoTableLine(const LogInfo& info);

// First and last time, in a line.
std::string spanText(const LogSpan& span);

// The facts as one JSON object on a line of its own; zeltlog(1) lists the members. Times are texts as formatTime gives
// them, durations seconds; what is not known is null.
std::string infoJson(const LogInfo& info);
std::string spanJson(const LogSpan& span);

// Names of the constellations, in the order of kConstellations.
constexpr std::array<const char*, kTrackedConstellations> kConstellationNames = {"GPS", "GLONASS", "Galileo", "BeiDou"};
