#include "zeltlog/calendar.h"

#include <cstdio>

#include "utils/geometry/navtools.h"

namespace {

constexpr int64_t kMillisecondsPerDay = 86400000;
constexpr int64_t kOriginDay = 3657;  // 1980-01-06, in days from 1970-01-01

struct Date {
    int64_t year;
    unsigned month;
    unsigned day;
};

// The Gregorian date of a day counted from 1970-01-01. Years are counted from March, so that the leap day comes last.
Date dateOf(int64_t day) {
    constexpr int64_t kDaysPerEra = 146097;  // 400 years
    const int64_t shifted = day + 719468;
    const int64_t era = (shifted >= 0 ? shifted : shifted - (kDaysPerEra - 1)) / kDaysPerEra;
    const int64_t dayOfEra = shifted - era * kDaysPerEra;
    const int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const auto fromMarch = static_cast<unsigned>((5 * dayOfYear + 2) / 153);
    const unsigned month = fromMarch < 10 ? fromMarch + 3 : fromMarch - 9;
    return {yearOfEra + era * 400 + (month <= 2 ? 1 : 0), month,
            static_cast<unsigned>(dayOfYear) - (153 * fromMarch + 2) / 5 + 1};
}

// Fractions are printed where there are any: logs of 1 Hz and slower, the usual ones, stay easy to read.
std::string clockTime(int64_t milliseconds) {
    const auto seconds = static_cast<unsigned>(milliseconds / 1000);
    char text[40];
    const int length =
        std::snprintf(text, sizeof text, "%02u:%02u:%02u", seconds / 3600, seconds / 60 % 60, seconds % 60);
    const auto fraction = static_cast<unsigned>(milliseconds % 1000);
    if (fraction != 0) {
        std::snprintf(text + length, sizeof text - static_cast<size_t>(length), ".%03u", fraction);
    }
    return text;
}

}  // namespace

int64_t blockTime(Bytes block) {
    if (!zeltHasTimeStamp(block)) return kNoTime;
    return zeltWnc(block) * Qon::Nav::kMillisecondsPerWeek + zeltTow(block);
}

std::string formatTime(int64_t milliseconds) {
    if (milliseconds == kNoTime) return "-";
    const Date date = dateOf(milliseconds / kMillisecondsPerDay + kOriginDay);
    char text[40];
    std::snprintf(text, sizeof text, "%04lld-%02u-%02u ", static_cast<long long>(date.year), date.month, date.day);
    return text + clockTime(milliseconds % kMillisecondsPerDay);
}

std::string formatDuration(int64_t milliseconds) {
    if (milliseconds < 60000) {
        const std::string clock = clockTime(milliseconds);  // "00:00:30" or "00:00:00.250"
        return clock.substr(clock[6] == '0' ? 7 : 6) + " s";
    }
    const int64_t days = milliseconds / kMillisecondsPerDay;
    const std::string rest = clockTime(milliseconds % kMillisecondsPerDay);
    return days == 0 ? rest : std::to_string(days) + " d " + rest;
}
