#include "zeltlog/blocknames.h"

#include "utils/zeltdata/zeltblock.h"

namespace {

// As the format calls them. The converter needs no names, so they are not beside the numbers.
struct BlockName {
    uint16_t number;
    const char* name;
};
constexpr BlockName kBlockNames[] = {
    {kZeltMeasExtra, "MeasExtra"},
    {kZeltGalNav, "GALNav"},
    {kZeltGloNav, "GLONav"},
    {kZeltMeasEpoch, "MeasEpoch"},
    {kZeltUtc2, "GALUtc"},
    {kZeltBdsNav, "BDSNav"},
    {kZeltMeasFullRange, "MeasFullRange"},
    {kZeltMeas3Ranges, "Meas3Ranges"},
    {kZeltMeas3Cn0HiRes, "Meas3CN0HiRes"},
    {kZeltMeas3Doppler, "Meas3Doppler"},
    {kZeltMeas3Pp, "Meas3PP"},
    {kZeltMeas3Mp, "Meas3MP"},
    {kZeltGpsNav, "GPSNav"},
    {kZeltGpsUtc, "GPSUtc"},
    {kZeltReceiverSetup, "ReceiverSetup"},
    {kZeltMeasEpochOld, "MeasEpoch (old)"},
};

}  // namespace

const char* blockName(uint16_t number) {
    for (const BlockName& row : kBlockNames) {
        if (row.number == number) return row.name;
    }
    return "?";
}
