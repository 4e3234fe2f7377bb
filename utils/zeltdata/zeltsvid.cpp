#include "utils/zeltdata/zeltsvid.h"

namespace Qon::Nav {
namespace {

// The logged numbers grew with the constellations: a byte was given out range by range, so that SBAS and NavIC have two
// each. The internal ones keep each constellation together (satnames.h).
struct SvidShift {
    int first;
    int last;
    int shift;
};
constexpr SvidShift kShifts[] = {
    {1, 61, 0},     {62, 62, 6},    {63, 70, -1},    {71, 140, 0},  {141, 177, 20},
    {181, 187, 20}, {191, 197, 20}, {198, 215, -57}, {216, 222, 2},
};

}  // namespace

uint8_t NormalizeSVID(uint8_t svid) {
    for (const SvidShift& row : kShifts) {
        if (svid >= row.first && svid <= row.last) return static_cast<uint8_t>(svid + row.shift);
    }
    return 0;
}

}  // namespace Qon::Nav
