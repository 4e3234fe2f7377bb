#include <algorithm>
#include <cmath>

#include "bench/encoders.h"
#include "utils/geometry/constants.h"
#include "utils/geometry/sigtypes.h"
#include "utils/zeltdata/zeltsignal.h"
#include "utils/zeltdata/zeltsvid.h"

using namespace Qon::Nav;

namespace {

constexpr int kFirstExtendedSignal = 32;
constexpr int kSignalExtension = 31;
constexpr size_t kType1Size = 20;
constexpr size_t kType2Size = 12;
constexpr size_t kExtraSize = 16;
constexpr double kDopplerUnit = 0.0001;  // Hz

bool has(double value) { return value > kAvailableAbove; }

int64_t millimetres(double metres) { return std::llround(metres * 1000); }

// The value, or `missing` when it does not fit into a field of `bits` bits in two's complement.
int64_t fitSigned(double value, int bits, int64_t missing) {
    const double limit = std::ldexp(1, bits - 1);
    return value > -limit && value < limit - 1 ? std::llround(value) : missing;
}

int64_t carrierField(const ZeltMeasSignal& signal, double wavelength) {
    constexpr int64_t kMissing = -128 * 65536;
    if (!has(signal.carrierPhase) || !has(signal.pseudorange)) return kMissing;
    return fitSigned((signal.carrierPhase - signal.pseudorange / wavelength) * 1000, 24, kMissing);
}

uint8_t cn0Field(const ZeltMeasSignal& signal) {
    return has(signal.cn0) ? static_cast<uint8_t>(std::clamp(cn0Steps(signal, 0.03125) / 8, 0, 254)) : 255;
}

uint64_t lockField(const ZeltMeasSignal& signal, uint32_t unknown) {
    return signal.lockTime == 0 ? unknown : std::min(signal.lockTime / 1000, unknown - 1);
}

int typeField(const ZeltMeasSignal& signal) {
    return signal.signalType < kFirstExtendedSignal ? signal.signalType : kSignalExtension;
}

int extensionField(const ZeltMeasSignal& signal, int otherwise) {
    return signal.signalType < kFirstExtendedSignal ? otherwise : signal.signalType - kFirstExtendedSignal;
}

uint8_t obsInfo(const ZeltMeasSignal& signal, const ZeltMeasSat& satellite) {
    return static_cast<uint8_t>(extensionField(signal, satellite.glonassChannel) << 3 |
                                (signal.flags & kZeltHalfCycle));
}

double wavelengthOf(const ZeltMeasSignal& signal, const ZeltMeasSat& satellite) {
    return zeltSignalWavelength(signal.signalType, satellite.glonassChannel - kGlonassChannelOffset);
}

void putType1(ByteVector& block, const ZeltMeasSat& satellite, const ZeltMeasSignal& signal, size_t count2) {
    const auto code = static_cast<uint64_t>(has(signal.pseudorange) ? millimetres(signal.pseudorange) : 0);
    const auto carrier = static_cast<uint64_t>(carrierField(signal, wavelengthOf(signal, satellite)));
    const int64_t doppler = has(signal.doppler) ? std::llround(signal.doppler / kDopplerUnit) : INT32_MIN;
    putBytes(block, satellite.channel + 1U, 1);
    putBytes(block, static_cast<uint64_t>(typeField(signal)), 1);
    putBytes(block, loggedSvid(satellite.svid), 1);
    putBytes(block, code >> 32, 1);
    putBytes(block, code, 4);
    putBytes(block, static_cast<uint64_t>(doppler), 4);
    putBytes(block, carrier, 2);
    putBytes(block, carrier >> 16, 1);
    putBytes(block, cn0Field(signal), 1);
    putBytes(block, lockField(signal, 65535), 2);
    putBytes(block, obsInfo(signal, satellite), 1);
    putBytes(block, count2, 1);
}

void putType2(ByteVector& block, const ZeltMeasSat& satellite, const ZeltMeasSignal& signal,
              const ZeltMeasSignal& master) {
    constexpr int64_t kNoCode = -4 * 65536;
    constexpr int64_t kNoDoppler = -16 * 65536;
    const double wavelength = wavelengthOf(signal, satellite);
    const double codeOffset = (signal.pseudorange - master.pseudorange) * 1000;
    const double masterDoppler = std::round(master.doppler / kDopplerUnit) * kDopplerUnit;
    const double dopplerOffset = signal.doppler - masterDoppler * wavelengthOf(master, satellite) / wavelength;
    const int64_t code = has(signal.pseudorange) ? fitSigned(codeOffset, 19, kNoCode) : kNoCode;
    const int64_t doppler = has(signal.doppler) ? fitSigned(dopplerOffset / kDopplerUnit, 21, kNoDoppler) : kNoDoppler;
    const int64_t carrier = carrierField(signal, wavelength);
    putBytes(block, static_cast<uint64_t>(typeField(signal)), 1);
    putBytes(block, lockField(signal, 255), 1);
    putBytes(block, cn0Field(signal), 1);
    putBytes(block, static_cast<uint64_t>((code >> 16 & 0x07) | (doppler >> 16) * 8), 1);
    putBytes(block, static_cast<uint64_t>(carrier >> 16), 1);
    putBytes(block, obsInfo(signal, satellite), 1);
    putBytes(block, static_cast<uint64_t>(code), 2);
    putBytes(block, static_cast<uint64_t>(carrier), 2);
    putBytes(block, static_cast<uint64_t>(doppler), 2);
}

uint64_t varianceField(float variance, double unit) {
    return has(variance) ? static_cast<uint64_t>(std::clamp(std::round(variance / unit), 0.0, 65534.0)) : 65535;
}

void putExtra(ByteVector& block, const ZeltMeasSat& satellite, const ZeltMeasSignal& signal) {
    const int fineCn0 = has(signal.cn0) ? std::max(cn0Steps(signal, 0.03125), 0) % 8 : 0;
    putBytes(block, satellite.channel + 1U, 1);
    putBytes(block, static_cast<uint64_t>(typeField(signal)), 1);
    putBytes(block, static_cast<uint64_t>(signal.multipath), 2);
    putBytes(block, static_cast<uint64_t>(signal.smoothing), 2);
    putBytes(block, varianceField(signal.codeVariance, 0.0001), 2);
    putBytes(block, varianceField(signal.carrierVariance, 1e-6), 2);
    putBytes(block, lockField(signal, 65535), 2);
    putBytes(block, signal.lossOfContinuity, 1);
    putBytes(block, signal.carrierMultipath, 1);
    putBytes(block, (signal.flags & kZeltInfoFlag) != 0 ? 1 : 0, 1);
    putBytes(block, static_cast<uint64_t>(extensionField(signal, 0) << 3 | fineCn0), 1);
}

// The signals of a satellite's first antenna, the first of them its master.
std::vector<const ZeltMeasSignal*> usedSignals(const ZeltMeasSat& satellite) {
    std::vector<const ZeltMeasSignal*> used;
    for (const ZeltMeasSignal& signal : satellite.signals[0]) {
        if (signal.flags != 0) used.push_back(&signal);
    }
    return used;
}

}  // namespace

uint8_t loggedSvid(uint8_t svid) {
    uint8_t logged = 1;
    while (logged != 0 && NormalizeSVID(logged) != svid) ++logged;
    return logged;
}

int cn0Steps(const ZeltMeasSignal& signal, double unit) {
    const double offset = zeltCn0Offset(signal.signalType);
    return static_cast<int>(std::lround((signal.cn0 - offset) / unit));
}

std::vector<ByteVector> encodeMeasEpoch(const ZeltMeasEpoch& epoch) {
    ByteVector main = startBlock(kZeltMeasEpoch, 1, epoch.tow, epoch.wnc);
    putBytes(main, static_cast<uint64_t>(epoch.satelliteCount), 1);
    putBytes(main, kType1Size | kType2Size << 8, 2);
    putBytes(main, 0, 3);  // common flags, clock jumps, reserved
    ByteVector extra = startBlock(kZeltMeasExtra, 3, epoch.tow, epoch.wnc);
    putBytes(extra, kExtraSize << 8, 2);
    putBytes(extra, floatBits(epoch.dopplerVarianceFactor), 4);
    size_t extraCount = 0;
    for (int i = 0; i < epoch.satelliteCount; ++i) {
        const ZeltMeasSat& satellite = epoch.satellites[static_cast<size_t>(i)];
        const std::vector<const ZeltMeasSignal*> signals = usedSignals(satellite);
        putType1(main, satellite, *signals[0], signals.size() - 1);
        for (size_t j = 1; j < signals.size(); ++j) putType2(main, satellite, *signals[j], *signals[0]);
        for (const ZeltMeasSignal* signal : signals) putExtra(extra, satellite, *signal);
        extraCount += signals.size();
    }
    setBytes(extra, 14, extraCount, 1);
    finishBlock(main);
    finishBlock(extra);
    return {std::move(main), std::move(extra)};
}
