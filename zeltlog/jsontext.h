// JSON as all commands print it: an object on a line of its own, its members in the order of the text.
#pragma once

#include <cmath>
#include <nlohmann/json.hpp>
#include <string>

#include "zeltlog/calendar.h"

using Json = nlohmann::ordered_json;  // members come out as they were put in

// With its line end. Text that is no UTF-8 gets replacement characters instead of ending the program.
inline std::string jsonLine(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
}

// What is not known is null, not a number or a text that might be taken for one.
inline Json timeJson(int64_t t) { return t == kNoTime ? Json() : Json(formatTime(t)); }

// To so many parts of a unit: fewer digits than a double has, as the last ones differ between processors and
// compilers. No zero has a sign.
inline Json roundedJson(double value, double partsOfUnit) {
    return std::round(value * partsOfUnit) / partsOfUnit + 0.0;
}
