#include "utils/zeltdata/zeltsignal.h"

#include "utils/geometry/signaltable.h"
#include "utils/geometry/sigtypes.h"

using namespace Qon::Nav;

namespace {

// Of epochs to which no MeasExtra gives the receiver's own.
constexpr float kDefaultDopplerVarianceFactor = 163.0F;

// The common flags that an epoch has, at the places where its users look for them; the others are dropped.
struct FlagBit {
    uint8_t logged;
    uint32_t stored;
};
constexpr FlagBit kCommonFlagBits[] = {{0x01, 0x01}, {0x02, 0x02}, {0x08, 0x08}, {0x20, 0x80}};

// Wavelengths of the signals that have a carrier of their own, and behind them L1, which all others count as. L-band
// data has a carrier, but is none to measure. A table, because it is asked for every signal of every epoch.
constexpr size_t kOtherSignals = kSignalTable.size();
constexpr auto kFixedWavelengths = [] {
    std::array<double, kOtherSignals + 1> wavelengths{};
    for (size_t i = 0; i < wavelengths.size(); ++i) {
        const uint32_t own = i == kLBandData || i == kOtherSignals ? 0 : kSignalTable[i].frequencyHz;
        wavelengths[i] = kSpeedOfLight / (own == 0 ? kL1Hz : own);
    }
    return wavelengths;
}();

size_t fixedWavelengthIndex(int signal) {
    return signal >= 0 && static_cast<size_t>(signal) < kOtherSignals ? static_cast<size_t>(signal) : kOtherSignals;
}

}  // namespace

double zeltSignalWavelength(int signal, int k) {
    const SignalRow& row = SignalOf(signal);
    return row.band != nullptr ? GetFdmaWavelength(signal, k) : kFixedWavelengths[fixedWavelengthIndex(signal)];
}

int zeltSignalSlot(int signal) { return SignalOf(signal).slot; }

int zeltCn0Offset(int signal) { return signal == kGpsL1P || signal == kGpsL2P ? 0 : 10; }

// What is missing lies far below 0, where the conversion would be undefined.
uint8_t zeltEvenCn0(float cn0) { return cn0 > 0 && cn0 < 256 ? static_cast<uint8_t>(cn0) & 0xFE : 0; }

void zeltStartSignal(int signal, ZeltMeasSignal& started) {
    started = {};
    started.pseudorange = kNotAvailable;
    started.carrierPhase = kNotAvailable;
    started.doppler = kNotAvailableF;
    started.cn0 = kNotAvailableF;
    started.codeVariance = kNotAvailableF;
    started.carrierVariance = kNotAvailableF;
    started.signalType = static_cast<uint8_t>(signal);
}

void zeltStartEpoch(Bytes block, uint8_t commonFlags, ZeltMeasEpoch& epoch) {
    epoch.clear();  // records are emptied when they are begun
    epoch.commonFlags = 0;
    epoch.tow = zeltTow(block);
    epoch.wnc = zeltWnc(block);
    epoch.wncValid = epoch.wnc < kZeltNoWnc ? 1 : 0;
    epoch.timeStatus = epoch.wncValid != 0 ? 2 : (epoch.tow != kZeltNoTow ? 1 : 0);
    epoch.clockJumps = kZeltNoClockJumps;
    epoch.dopplerVarianceFactor = kDefaultDopplerVarianceFactor;
    for (const FlagBit& bit : kCommonFlagBits) {
        if ((commonFlags & bit.logged) != 0) epoch.commonFlags |= bit.stored;
    }
}
