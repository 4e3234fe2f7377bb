#include "utils/geometry/sigtypes.h"

#include <array>
#include <iterator>

#include "utils/geometry/constants.h"

namespace Qon::Nav {
namespace {

struct GlonassBand {
    uint32_t centreHz;
    uint32_t stepHz;
};
constexpr GlonassBand kGlonassL1{1602000000, 562500};
constexpr GlonassBand kGlonassL2{1246000000, 437500};

struct SignalRow {
    uint32_t frequencyHz;     // 0: by channel, or no signal
    uint32_t referenceHz;     // carrier that the ratio refers to; 0: by channel, or no signal
    const GlonassBand* band;  // GLONASS FDMA signals only
    ConstellationCode code;
};

constexpr uint32_t kL1 = 1575420000;
constexpr uint32_t kL2 = 1227600000;
constexpr uint32_t kL5 = 1176450000;
constexpr uint32_t kE5b = 1207140000;
constexpr uint32_t kE5 = 1191795000;
constexpr uint32_t kE6 = 1278750000;
constexpr uint32_t kB1I = 1561098000;
constexpr uint32_t kB3I = 1268520000;
constexpr uint32_t kGlonassL3 = 1202025000;
constexpr uint32_t kLBandHz = 1540000000;

constexpr SignalRow kSignals[] = {
    {kL1, kL1, nullptr, kGps},                   // 0 GPS L1 C/A
    {kL1, kL1, nullptr, kGps},                   // 1 GPS L1 P(Y)
    {kL2, kL1, nullptr, kGps},                   // 2 GPS L2 P(Y)
    {kL2, kL1, nullptr, kGps},                   // 3 GPS L2C
    {kL5, kL1, nullptr, kGps},                   // 4 GPS L5
    {kL1, kL1, nullptr, kGps},                   // 5 GPS L1C
    {kL1, kL1, nullptr, kQzss},                  // 6 QZSS L1 C/A
    {kL2, kL1, nullptr, kQzss},                  // 7 QZSS L2C
    {0, 0, &kGlonassL1, kGlonass},               // 8 GLONASS L1 C/A
    {0, 0, &kGlonassL1, kGlonass},               // 9 GLONASS L1 P
    {0, 0, &kGlonassL2, kGlonass},               // 10 GLONASS L2 P
    {0, 0, &kGlonassL2, kGlonass},               // 11 GLONASS L2 C/A
    {kGlonassL3, 0, nullptr, kGlonass},          // 12 GLONASS L3
    {kL1, kB1I, nullptr, kBeiDou},               // 13 BeiDou B1C
    {kL5, kB1I, nullptr, kBeiDou},               // 14 BeiDou B2a
    {kL5, kL5, nullptr, kNavic},                 // 15 NavIC L5
    {kL1, kL1, nullptr, kGalileo},               // 16 Galileo E1 A
    {kL1, kL1, nullptr, kGalileo},               // 17 Galileo E1 BC
    {kE6, kL1, nullptr, kGalileo},               // 18 Galileo E6 A
    {kE6, kL1, nullptr, kGalileo},               // 19 Galileo E6 BC
    {kL5, kL1, nullptr, kGalileo},               // 20 Galileo E5a
    {kE5b, kL1, nullptr, kGalileo},              // 21 Galileo E5b
    {kE5, kL1, nullptr, kGalileo},               // 22 Galileo E5 AltBOC
    {kLBandHz, kL1, nullptr, kNoConstellation},  // 23 L-band
    {kL1, kL1, nullptr, kSbas},                  // 24 SBAS L1
    {kL5, kL1, nullptr, kSbas},                  // 25 SBAS L5
    {kL5, kL1, nullptr, kQzss},                  // 26 QZSS L5
    {kE6, kL1, nullptr, kQzss},                  // 27 QZSS L6
    {kB1I, kB1I, nullptr, kBeiDou},              // 28 BeiDou B1I
    {kE5b, kB1I, nullptr, kBeiDou},              // 29 BeiDou B2I
    {kB3I, kB1I, nullptr, kBeiDou},              // 30 BeiDou B3I
    {0, 0, nullptr, kNoConstellation},           // 31 no signal
    {kL1, kL1, nullptr, kQzss},                  // 32 QZSS L1C
    {kL1, kL1, nullptr, kQzss},                  // 33 QZSS L1S
};
constexpr SignalRow kNoRow{0, 0, nullptr, kNoConstellation};

constexpr double wavelengthOf(uint32_t frequency) { return frequency == 0 ? 0.0 : kSpeedOfLight / frequency; }

// Of the signals with a frequency of their own: looked up for every signal of every epoch.
constexpr auto kWavelengths = [] {
    std::array<double, std::size(kSignals)> wavelengths{};
    for (size_t i = 0; i < wavelengths.size(); ++i) wavelengths[i] = wavelengthOf(kSignals[i].frequencyHz);
    return wavelengths;
}();

const SignalRow& signalRow(int signal) {
    return signal >= 0 && signal < static_cast<int>(std::size(kSignals)) ? kSignals[signal] : kNoRow;
}

bool isGlonassChannel(int channelIndex) {
    return channelIndex >= kGlonassFirstChannel && channelIndex <= kGlonassLastChannel;
}

uint32_t channelFrequency(const GlonassBand& band, int channelIndex) {
    if (!isGlonassChannel(channelIndex)) return 0;
    const auto index = static_cast<uint32_t>(channelIndex);
    return band.centreHz - kGlonassChannelOffset * band.stepHz + index * band.stepHz;
}

}  // namespace

uint32_t GetSignalFrequency(int signal, int channelIndex) {
    const SignalRow& row = signalRow(signal);
    return row.band != nullptr ? channelFrequency(*row.band, channelIndex) : row.frequencyHz;
}

double GetSignalWavelength(int signal, int channelIndex) {
    const SignalRow& row = signalRow(signal);
    if (row.frequencyHz != 0) return kWavelengths[static_cast<size_t>(&row - kSignals)];
    return wavelengthOf(GetSignalFrequency(signal, channelIndex));
}

double GetFdmaWavelength(int signal, int frequencyNumber) {
    const GlonassBand* band = signalRow(signal).band;
    return band == nullptr ? 0 : kSpeedOfLight / (band->centreHz + 1.0 * frequencyNumber * band->stepHz);
}

double GetSignalWavelengthSq(int signal, int channelIndex) {
    const double wavelength = GetSignalWavelength(signal, channelIndex);
    return wavelength * wavelength;
}

float GetSignalRatio(int signal, int channelIndex) {
    const SignalRow& row = signalRow(signal);
    if (row.code == kNoConstellation && row.frequencyHz == 0) return 0.0F;
    if (row.band != nullptr) {  // both bands share their channels, so the ratio is that of the band centres
        const double ratio = static_cast<double>(kGlonassL1.centreHz) / row.band->centreHz;
        return static_cast<float>(ratio * ratio);
    }
    if (row.referenceHz == 0) {  // GLONASS L3: no band of its own, and the reference changes with the channel
        const int index = isGlonassChannel(channelIndex) ? channelIndex : kGlonassChannelOffset;
        const double ratio = static_cast<double>(channelFrequency(kGlonassL1, index)) / row.frequencyHz;
        return static_cast<float>(ratio * ratio);
    }
    // Single precision throughout: the squares are rounded too.
    const auto numerator = static_cast<float>(row.referenceHz);
    const auto denominator = static_cast<float>(row.frequencyHz);
    return (numerator * numerator) / (denominator * denominator);
}

ConstellationCode GetSignalConstellation(int signal) { return signalRow(signal).code; }

}  // namespace Qon::Nav
