// Time: counts on the GPS scale, from its origin 1980-01-06 00:00. Leap seconds never enter a count; where UTC matters,
// their number is a setting of the run.
#pragma once

#include <cstdint>
#include <limits>

namespace Qon::Nav {

constexpr uint32_t kSecondsPerWeek = 604800;
constexpr uint32_t kSecondsPerDay = 86400;
constexpr int64_t kMillisecondsPerWeek = 604800000;

constexpr int32_t kNoLeapSeconds = std::numeric_limits<int32_t>::min();  // GPS - UTC is not known

// Seconds since the GPS origin of a week and a second of that week, in unsigned 32-bit arithmetic (it wraps in
// week 7101) and widened: the time of a reference epoch as every comparison uses it.
double GpsTime(uint32_t week, uint32_t secondOfWeek);

// Seconds from 1980-01-06 00:00:00 to a calendar date, leap seconds not counted; the fraction of `second` is kept.
// A year below 80 means 2000 + year, one from 80 to 1900 means 1900 + year. Fields outside their usual range carry
// over (month 0 is December of the year before, day 0 the last day of the month before), and fields near 2^32
// count as negative, as in the C library's calendar record (which holds year - 1900 and month - 1, signed). Its
// functions fail where the year leaves the range of that record; this count goes on.
double DateToGpsSeconds(uint32_t year, uint32_t month, uint32_t day, uint32_t hour, uint32_t minute, double second);

}  // namespace Qon::Nav
