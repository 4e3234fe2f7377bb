// When a log begins and ends, by its head and its tail alone where these are in order.
#pragma once

#include <string>

#include "utils/zeltdata/zeltwindow.h"
#include "zeltlog/calendar.h"

struct LogSpan {
    std::string path;
    ZeltFault fault;
    bool hasBlock = false;
    int64_t first = kNoTime;  // ms: the earliest and latest stamped block of what was looked at
    int64_t last = kNoTime;
    bool isWhole = false;    // all of the file was looked at
    bool isOrdered = false;  // no block of it lies before the one logged before it
    // A block lies further behind those before it than late ones do (kMergeWindow), or the last part behind the first.
    bool isInPieces = false;
};

// Looks at the first stamped blocks of a file and at those of its last part, and at more of it where that holds none;
// at all of it when what was looked at is in pieces.
LogSpan readLogSpan(const std::string& path);
