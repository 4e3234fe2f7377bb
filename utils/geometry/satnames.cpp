#include "utils/geometry/satnames.h"

namespace Qon::Nav {
namespace {

struct SvidRange {
    int first;
    int last;
    ConstellationCode code;
    char letter;
    int firstNumber;     // printed number of `first`
    const char* suffix;  // printed instead of the number where there is one
};

// Numbers in no range belong to no satellite; 62 of the log's GLONASS numbers, of unknown slot, is 68 here.
constexpr SvidRange kRanges[] = {
    {1, 32, kGps, 'G', 1, nullptr},       {38, 67, kGlonass, 'R', 1, nullptr}, {68, 68, kGlonass, 'R', 0, nullptr},
    {71, 106, kGalileo, 'E', 1, nullptr}, {107, 117, kLBand, 'L', 1, nullptr}, {118, 118, kLBand, 'L', 0, "x2"},
    {119, 119, kLBand, 'L', 0, "x1"},     {120, 158, kSbas, 'S', 20, nullptr}, {161, 197, kBeiDou, 'C', 1, nullptr},
    {201, 207, kQzss, 'J', 1, nullptr},   {211, 224, kNavic, 'I', 1, nullptr},
};

const SvidRange* findRange(int svid) {
    for (const SvidRange& range : kRanges) {
        if (svid >= range.first && svid <= range.last) return &range;
    }
    return nullptr;
}

}  // namespace

SatName SVIDToName(int svid) {
    const SvidRange* range = findRange(svid);
    if (range == nullptr) return {'?', '?', '?', '\0'};
    if (range->suffix != nullptr) return {range->letter, range->suffix[0], range->suffix[1], '\0'};
    const int number = range->firstNumber + svid - range->first;
    return {range->letter, static_cast<char>('0' + number / 10), static_cast<char>('0' + number % 10), '\0'};
}

ConstellationCode SVIDToConstellation(int svid) {
    const SvidRange* range = findRange(svid);
    return range == nullptr ? kNoConstellation : range->code;
}

}  // namespace Qon::Nav
