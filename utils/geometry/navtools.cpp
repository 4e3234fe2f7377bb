#include "utils/geometry/navtools.h"

namespace Qon::Nav {
namespace {

constexpr int64_t kGpsOriginUnixSeconds = 315964800;  // 1980-01-06 00:00:00 UTC

int64_t asSigned(uint32_t field) { return static_cast<int32_t>(field); }

int64_t floorDiv(int64_t a, int64_t b) { return a / b - (a % b < 0 ? 1 : 0); }

// Days from 1970-01-01 to the first of a month of the Gregorian calendar, month 1 to 12. Years are counted from March
// so that the leap day comes last.
int64_t daysToMonth(int64_t year, int64_t month) {
    const int64_t y = month <= 2 ? year - 1 : year;
    const int64_t monthFromMarch = (month + 9) % 12;
    const int64_t dayOfYear = (153 * monthFromMarch + 2) / 5;
    constexpr int64_t kDaysTo1970 = 719468;
    return 365 * y + floorDiv(y, 4) - floorDiv(y, 100) + floorDiv(y, 400) + dayOfYear - kDaysTo1970;
}

}  // namespace

double GpsTime(uint32_t week, uint32_t secondOfWeek) { return week * kSecondsPerWeek + secondOfWeek; }

double DateToGpsSeconds(uint32_t year, uint32_t month, uint32_t day, uint32_t hour, uint32_t minute, double second) {
    if (year <= 1900) year += year < 80 ? 2000 : 1900;
    const int64_t monthFromZero = asSigned(month - 1);
    const int64_t wholeYear = asSigned(year - 1900) + 1900 + floorDiv(monthFromZero, 12);
    const int64_t wholeMonth = monthFromZero - 12 * floorDiv(monthFromZero, 12) + 1;
    const int64_t days = daysToMonth(wholeYear, wholeMonth) + asSigned(day) - 1;
    const int64_t seconds = days * kSecondsPerDay + asSigned(hour) * 3600 + asSigned(minute) * 60;
    return static_cast<double>(seconds - kGpsOriginUnixSeconds) + second;
}

}  // namespace Qon::Nav
