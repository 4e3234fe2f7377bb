#include "utils/geometry/sigtypes.h"

#include "utils/geometry/constants.h"
#include "utils/geometry/signaltable.h"

namespace Qon::Nav {
namespace {

uint32_t channelFrequency(const GlonassBand& band, int channelIndex) {
    if (!IsGlonassChannel(channelIndex)) return 0;
    const auto index = static_cast<uint32_t>(channelIndex);
    return band.centreHz - kGlonassChannelOffset * band.stepHz + index * band.stepHz;
}

}  // namespace

uint32_t GetSignalFrequency(int signal, int channelIndex) {
    const SignalRow& row = SignalOf(signal);
    return row.band != nullptr ? channelFrequency(*row.band, channelIndex) : row.frequencyHz;
}

double GetSignalWavelength(int signal, int channelIndex) {
    const uint32_t frequency = GetSignalFrequency(signal, channelIndex);
    return frequency == 0 ? 0.0 : kSpeedOfLight / frequency;
}

double GetFdmaWavelength(int signal, int frequencyNumber) {
    const GlonassBand* band = SignalOf(signal).band;
    return band == nullptr ? 0 : kSpeedOfLight / (band->centreHz + 1.0 * frequencyNumber * band->stepHz);
}

double GetSignalWavelengthSq(int signal, int channelIndex) {
    const double wavelength = GetSignalWavelength(signal, channelIndex);
    return wavelength * wavelength;
}

float GetSignalRatio(int signal, int channelIndex) {
    const SignalRow& row = SignalOf(signal);
    if (row.constellation == kNoConstellation && row.frequencyHz == 0) return 0.0F;
    if (row.band != nullptr) {  // both bands share their channels, so the ratio is that of the band centres
        const double ratio = static_cast<double>(kGlonassL1.centreHz) / row.band->centreHz;
        return static_cast<float>(ratio * ratio);
    }
    if (row.referenceHz == 0) {  // GLONASS L3: no band of its own, and the reference changes with the channel
        const int index = IsGlonassChannel(channelIndex) ? channelIndex : kGlonassChannelOffset;
        const double ratio = static_cast<double>(channelFrequency(kGlonassL1, index)) / row.frequencyHz;
        return static_cast<float>(ratio * ratio);
    }
    // Single precision throughout: the squares are rounded too.
    const auto numerator = static_cast<float>(row.referenceHz);
    const auto denominator = static_cast<float>(row.frequencyHz);
    return (numerator * numerator) / (denominator * denominator);
}

}  // namespace Qon::Nav
