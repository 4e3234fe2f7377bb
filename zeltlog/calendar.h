// Times as people read them.
#pragma once

#include <cstdint>
#include <string>

#include "utils/zeltdata/zeltblock.h"

constexpr int64_t kNoTime = INT64_MIN;

// Milliseconds since 1980-01-06 00:00 on the receiver's scale of a block's time stamp; kNoTime when it has none.
int64_t blockTime(Bytes block);

// "2020-06-25 00:00:00", GPS time (no leap seconds), with ".250" behind it where there is a fraction; "-" for kNoTime.
std::string formatTime(int64_t milliseconds);

// "1 d 02:03:04" or "02:03:04", below a minute "30 s"; with ".250" behind the seconds where there is a fraction.
std::string formatDuration(int64_t milliseconds);
