// The signal table: carrier frequencies and what follows from them, by signal number (0 to 33).
// GLONASS FDMA signals (8 to 11) have a frequency per channel: channelIndex is the frequency number plus 8, valid from
// 1 to 14; other signals ignore it. Outside the table or the channels the frequency is 0.
#pragma once

#include <cstdint>

#include "utils/geometry/satnames.h"

namespace Qon::Nav {

constexpr int kGlonassChannelOffset = 8;  // channel index = frequency number + 8
constexpr int kGlonassFirstChannel = 1;   // frequency number -7
constexpr int kGlonassLastChannel = 14;   // frequency number +6

// True for the channels that satellites may have.
constexpr bool IsGlonassChannel(int channelIndex) {
    return channelIndex >= kGlonassFirstChannel && channelIndex <= kGlonassLastChannel;
}

// Signal numbers that the program refers to by name.
enum SignalType : int {
    kGpsL1Ca = 0,
    kGpsL1P = 1,
    kGpsL2P = 2,
    kGpsL2C = 3,
    kGloL1Ca = 8,
    kGloL1P = 9,
    kGloL2P = 10,
    kGloL2Ca = 11,
    kGloL3 = 12,
    kGalE1A = 16,
    kGalE1 = 17,
    kGalE6A = 18,
    kGalE5a = 20,
    kGalE5b = 21,
    kGalE5 = 22,
    kLBandData = 23,
    kSbasL1 = 24,
    kBdsB1I = 28,
    kBdsB2I = 29,
    kNoSignal = 34,
};

// Carrier frequency in Hz.
uint32_t GetSignalFrequency(int signal, int channelIndex);

// Wavelength in m (0 without a frequency) and its square in m^2.
double GetSignalWavelength(int signal, int channelIndex);
double GetSignalWavelengthSq(int signal, int channelIndex);

// Wavelength in m of a GLONASS FDMA signal for any frequency number (above -1000), its channels' or not; 0 for others.
double GetFdmaWavelength(int signal, int frequencyNumber);

// Squared ratio of the constellation's reference carrier to the signal's: (f_ref / f)^2. The reference is L1 or E1,
// for BeiDou B1I; NavIC L5 is its own. GLONASS L3 refers to L1 of the given channel, frequency number 0 without one.
float GetSignalRatio(int signal, int channelIndex);

}  // namespace Qon::Nav
