#include "utils/zeltdata/zeltnav.h"

#include <algorithm>

#include "utils/zeltdata/zeltsvid.h"

namespace {

constexpr int kWeekRollover = 1024;
// The GPS week in which BeiDou week 0 began, on 2006-01-01 (BDS-SIS-ICD B1I, section 3.3). That BeiDou time began 14 s
// behind the week's beginning is made up for where times are put together (makeephemeris.cpp).
constexpr uint16_t kBeiDouWeekZero = 1356;

enum class WeekFix { kNone, kResolve, kBeiDou };

// What is completed in a block. Galileo's weeks are logged in full. GLONASS has one week, listed twice so that a row
// always has two: completing it again changes nothing.
struct NavRow {
    uint16_t number;
    WeekFix fix;
    size_t size;                  // up to the end of the last field read
    std::array<size_t, 2> weeks;  // offsets, u16
};
constexpr NavRow kNavRows[] = {
    {kZeltGpsNav, WeekFix::kResolve, kZeltGpsKepler.wnToe + 2, {kZeltGpsKepler.wnToe, kZeltGpsKepler.wnToc}},
    {kZeltGalNav, WeekFix::kNone, kZeltNavMaxSize, {}},
    {kZeltGloNav, WeekFix::kResolve, ZeltGloNav::kHealthFlag + 1, {ZeltGloNav::kWnToe, ZeltGloNav::kWnToe}},
    {kZeltBdsNav, WeekFix::kBeiDou, kZeltGpsKepler.wnToe + 2, {kZeltGpsKepler.wnToe, kZeltGpsKepler.wnToc}},
};

const NavRow* findNavRow(uint16_t number) {
    for (const NavRow& row : kNavRows) {
        if (row.number == number) return &row;
    }
    return nullptr;
}

uint16_t fullWeek(WeekFix fix, uint16_t currentWeek, uint16_t week) {
    return fix == WeekFix::kResolve ? resolveWeek(currentWeek, week) : static_cast<uint16_t>(week + kBeiDouWeekZero);
}

// The weeks are read from the block and written to the copy, so that no week is completed from one already moved.
void fixWeeks(const NavRow& row, Bytes block, ZeltNavBlock& fixed) {
    for (const size_t offset : row.weeks) {
        const uint16_t week = fullWeek(row.fix, zeltWnc(block), block.u16(offset));
        fixed.storage[offset] = static_cast<uint8_t>(week & 0xFF);
        fixed.storage[offset + 1] = static_cast<uint8_t>(week >> 8);
    }
}

}  // namespace

uint16_t resolveWeek(uint16_t currentWeek, uint16_t partialWeek) {
    // Division cuts towards zero, and that is why a week ahead stays: only from 1536 weeks on would one be lowered.
    const int ahead = currentWeek - partialWeek + kWeekRollover / 2;
    return static_cast<uint16_t>(partialWeek + ahead / kWeekRollover * kWeekRollover);
}

bool zeltFixNavBlock(Bytes block, ZeltNavBlock& fixed) {
    fixed.size = 0;
    const NavRow* row = findNavRow(zeltNumber(block));
    if (row == nullptr || !block.has(0, row->size)) return false;
    std::copy_n(block.data, row->size, fixed.storage.data());
    fixed.size = row->size;
    fixed.storage[kZeltSvidOffset] = Qon::Nav::NormalizeSVID(block.u8(kZeltSvidOffset));
    if (row->fix != WeekFix::kNone) fixWeeks(*row, block, fixed);
    return true;
}
