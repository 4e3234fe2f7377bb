#include "utils/zeltdata/zeltsignal.h"

#include <iterator>

#include "utils/geometry/sigtypes.h"

using namespace Qon::Nav;

namespace {

constexpr int8_t kSlots[] = {
    0, 1, 2, 3, 4, 5, 0, 1, 0, 1, 2, 3, 4, 3, 4,  0, 0,  // 0 to 16
    1, 2, 3, 4, 5, 6, 0, 0, 1, 2, 3, 0, 1, 2, -1, 4, 5,  // 17 to 33
};
constexpr float kDefaultDopplerVarianceFactor = 163.0F;

struct FlagBit {
    uint8_t logged;
    uint32_t stored;
};
constexpr FlagBit kCommonFlags[] = {{0x01, 0x01}, {0x02, 0x02}, {0x08, 0x08}, {0x20, 0x80}};

}  // namespace

double zeltSignalWavelength(int signal, int k) {
    const double fdma = GetFdmaWavelength(signal, k);
    if (fdma > 0) return fdma;
    const double wavelength = signal == kLBandData ? 0 : GetSignalWavelength(signal, 0);
    return wavelength > 0 ? wavelength : GetSignalWavelength(kGpsL1Ca, 0);
}

int zeltSignalSlot(int signal) {
    return signal >= 0 && signal < static_cast<int>(std::size(kSlots)) ? kSlots[signal] : -1;
}

int zeltCn0Offset(int signal) { return signal == kGpsL1P || signal == kGpsL2P ? 0 : 10; }

uint8_t zeltEvenCn0(float cn0) { return cn0 > 0 && cn0 < 256 ? static_cast<uint8_t>(cn0) & 0xFE : 0; }

void zeltStartSatellite(uint8_t svid, uint8_t channel, ZeltMeasSat& satellite) {
    satellite.channel = channel;
    satellite.svid = svid;
    satellite.glonassChannel = 0;
    for (auto& antenna : satellite.signals) {
        for (ZeltMeasSignal& signal : antenna) signal.flags = 0;  // which empties the slot
    }
}

ZeltMeasSignal& zeltSlotOf(int signal, std::array<ZeltMeasSignal, kZeltSlots>& slots, ZeltMeasSignal& spare) {
    const int slot = zeltSignalSlot(signal);
    if (slot < 0) return spare;
    return slots[static_cast<size_t>(slot)];
}

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
    epoch.satelliteCount = 0;  // records are cleared when they are begun
    epoch.commonFlags = 0;
    epoch.tow = zeltTow(block);
    epoch.wnc = zeltWnc(block);
    epoch.wncValid = epoch.wnc < kZeltNoWnc ? 1 : 0;
    epoch.timeStatus = epoch.wncValid != 0 ? 2 : (epoch.tow != kZeltNoTow ? 1 : 0);
    epoch.clockJumps = kZeltNoClockJumps;
    epoch.dopplerVarianceFactor = kDefaultDopplerVarianceFactor;
    for (const FlagBit& bit : kCommonFlags) {
        if ((commonFlags & bit.logged) != 0) epoch.commonFlags |= bit.stored;
    }
}
