#include "utils/zeltdata/measepoch.h"

#include "utils/geometry/constants.h"
#include "utils/geometry/sigtypes.h"
#include "utils/zeltdata/zeltsignal.h"
#include "utils/zeltdata/zeltsvid.h"

using namespace Qon::Nav;

namespace {

// Block bodies, by offset. The sub-blocks of all three blocks follow their counts and flags at the same place.
constexpr size_t kCount = 14;
constexpr size_t kSubLength = 15;
constexpr size_t kSub2Length = 16;        // MeasEpoch
constexpr size_t kCommonFlags = 17;       // MeasEpoch
constexpr size_t kClockJumps = 18;        // MeasEpoch, i8, from revision 1 on
constexpr size_t kDopplerVarFactor = 16;  // MeasExtra, f32
constexpr size_t kSubBlocks = 20;

constexpr size_t kType1Size = 20;
constexpr size_t kType2Size = 12;

constexpr int kSignalExtension = 31;  // this signal number means: 32 + the number in another field
constexpr int kFirstExtendedSignal = 32;

constexpr double kCodeUnit = 0.001;           // m
constexpr double kCodeMsbUnit = 4294967.296;  // m
constexpr double kCarrierUnit = 0.001;        // cycles
constexpr double kDopplerUnit = 0.0001;       // Hz
constexpr float kCn0Unit = 0.25F;             // dB-Hz
constexpr uint8_t kHalfCycleBit = 0x04;       // of ObsInfo

bool isOldForm(Bytes block) { return zeltNumber(block) == kZeltMeasEpochOld; }

int fieldAbove2(uint8_t byte) { return byte >> 3; }  // bits 3 to 7: FreqNr and signal extension

int extendedSignal(int signal, uint8_t info) {
    return signal == kSignalExtension ? kFirstExtendedSignal + fieldAbove2(info) : signal;
}

uint32_t lockMilliseconds(uint32_t seconds, uint32_t unknown) {
    if (seconds == unknown) return 0;
    return seconds == 0 ? kZeltLockJustGained : seconds * 1000;
}

void setCn0(uint8_t field, ZeltMeasSignal& signal) {
    if (field == 255) return;
    signal.cn0 = static_cast<float>(field) * kCn0Unit + static_cast<float>(zeltCn0Offset(signal.signalType));
    signal.cn0Even = zeltEvenCn0(signal.cn0);
}

void setCarrier(int msb, uint16_t lsb, double wavelength, ZeltMeasSignal& signal) {
    if ((msb == -128 && lsb == 0) || zeltIsMissing(signal.pseudorange)) return;
    signal.carrierPhase = (msb * 65536 + lsb) * kCarrierUnit + signal.pseudorange / wavelength;
}

// What the sub-blocks of one satellite share.
struct SatelliteContext {
    ZeltMeasSat* satellite = nullptr;
    bool stored = false;  // the satellite has a signal
    bool oldForm = false;
    bool isOldSbas = false;  // the earlier form logs SBAS satellites with signal numbers of its own
    int frequencyNumber = 0;
    // Of the type-1 sub-block, to which the type-2 ones refer.
    double masterWavelength = 0;
    double masterPseudorange = 0;
    float masterDoppler = 0;
    ZeltMeasSignal spare{};  // where a signal or antenna without a place is decoded
};

ZeltMeasSignal& startSignal(uint8_t type, uint8_t obsInfo, SatelliteContext& context) {
    const int number = context.isOldSbas ? static_cast<int>(kSbasL1) : extendedSignal(type & 0x1F, obsInfo);
    const size_t antenna = type >> 5;
    ZeltMeasSignal& signal = antenna < context.satellite->signals.size()
                                 ? zeltSlotOf(number, context.satellite->signals[antenna], context.spare)
                                 : context.spare;
    zeltStartSignal(number, signal);
    if (!context.oldForm && (obsInfo & kHalfCycleBit) != 0) signal.flags |= kZeltHalfCycle;
    signal.flags |= kZeltSlotUsed;
    context.stored = context.stored || &signal != &context.spare;
    return signal;
}

// Type-1 sub-block: 0 RxChannel, 1 Type (bits 0-4 signal, 5-7 antenna), 2 SVID, 3 Misc (bits 0-3 code MSB),
// 4 code LSB u32, 8 Doppler i32, 12 carrier LSB u16, 14 carrier MSB i8, 15 C/N0, 16 lock time u16, 18 ObsInfo,
// 19 number of type-2 sub-blocks.
void decodeType1(Bytes sub, SatelliteContext& context) {
    ZeltMeasSignal& signal = startSignal(sub.u8(1), sub.u8(18), context);
    const double wavelength = zeltSignalWavelength(signal.signalType, context.frequencyNumber);
    const int codeMsb = sub.u8(3) & 0x0F;
    const uint32_t codeLsb = sub.u32(4);
    if (codeMsb != 0 || codeLsb != 0) signal.pseudorange = codeMsb * kCodeMsbUnit + codeLsb * kCodeUnit;
    const int32_t doppler = sub.i32(8);
    if (doppler != INT32_MIN) signal.doppler = static_cast<float>(doppler * kDopplerUnit);
    setCarrier(sub.i8(14), sub.u16(12), wavelength, signal);
    setCn0(sub.u8(15), signal);
    signal.lockTime = lockMilliseconds(sub.u16(16), 65535);
    context.masterWavelength = wavelength;
    context.masterPseudorange = signal.pseudorange;
    context.masterDoppler = signal.doppler;
}

// Type-2 sub-block, relative to its type-1: 0 Type, 1 lock time, 2 C/N0, 3 OffsetsMSB (bits 0-2 code, 3-7 Doppler,
// two's complement), 4 carrier MSB i8, 5 ObsInfo, 6 code LSB u16, 8 carrier LSB u16, 10 Doppler LSB u16.
void decodeType2(Bytes sub, SatelliteContext& context) {
    ZeltMeasSignal& signal = startSignal(sub.u8(0), sub.u8(5), context);
    const double wavelength = zeltSignalWavelength(signal.signalType, context.frequencyNumber);
    const uint8_t offsets = sub.u8(3);
    const int codeMsb = (offsets & 0x07) - ((offsets & 0x04) != 0 ? 8 : 0);
    const int dopplerMsb = (offsets >> 3) - ((offsets & 0x80) != 0 ? 32 : 0);
    const uint16_t codeLsb = sub.u16(6);
    const uint16_t dopplerLsb = sub.u16(10);
    if (!(codeMsb == -4 && codeLsb == 0) && !zeltIsMissing(context.masterPseudorange)) {
        signal.pseudorange = context.masterPseudorange + (codeMsb * 65536 + codeLsb) * kCodeUnit;
    }
    setCarrier(sub.i8(4), sub.u16(8), wavelength, signal);
    if (!(dopplerMsb == -16 && dopplerLsb == 0) && !zeltIsMissing(context.masterDoppler)) {
        signal.doppler = static_cast<float>((dopplerMsb * 65536 + dopplerLsb) * kDopplerUnit +
                                            context.masterDoppler * context.masterWavelength / wavelength);
    }
    setCn0(sub.u8(2), signal);
    signal.lockTime = lockMilliseconds(sub.u8(1), 255);
}

// Decodes the type-2 sub-blocks that `bytes` begins with; false when one does not fit.
bool decodeType2s(Bytes bytes, size_t count, size_t length, SatelliteContext& context) {
    for (size_t i = 0; i < count; ++i) {
        if (length < kType2Size || !bytes.has(i * length, length)) return false;
        decodeType2(bytes.sub(i * length, length), context);
    }
    return true;
}

// Prepares the record and the context of a type-1 sub-block's satellite; false when it is to be skipped.
bool startSatellite(Bytes sub, int index, SatelliteContext& context) {
    ZeltMeasSat& satellite = *context.satellite;
    const uint8_t logged = sub.u8(2);
    const uint8_t rxChannel = sub.u8(0);
    const int freqNr = fieldAbove2(sub.u8(18));
    const int channel = rxChannel == 0 || rxChannel == 255 ? index : rxChannel - 1;
    zeltStartSatellite(NormalizeSVID(logged), static_cast<uint8_t>(channel), satellite);
    if (satellite.svid == 0) return false;
    if (SVIDToConstellation(satellite.svid) == kGlonass) {
        if (freqNr < kGlonassFirstChannel || freqNr > kGlonassLastChannel) return false;
        satellite.glonassChannel = static_cast<uint8_t>(freqNr);
    }
    context.stored = false;
    context.isOldSbas = context.oldForm && logged >= 120 && logged <= 140;
    context.frequencyNumber = freqNr - kGlonassChannelOffset;
    return true;
}

// A block's refining sub-blocks: the last `count` times `length` bytes of the block.
struct SubBlocks {
    bool fit = false;
    Bytes bytes;
    size_t count = 0;
    size_t length = 0;

    Bytes at(size_t i) const { return bytes.sub(i * length, length); }
};

// No sub-blocks when they are shorter than the fields read of them, or do not fit the block.
SubBlocks refiningSubBlocks(Bytes block, size_t fieldsSize) {
    const SubBlocks logged{true, block, block.u8(kCount), block.u8(kSubLength)};
    const size_t total = logged.count * logged.length;
    if (logged.length < fieldsSize || !block.has(kSubBlocks, total)) return {};
    return {true, block.sub(block.size - total, total), logged.count, logged.length};
}

ZeltMeasSignal* findSignal(ZeltMeasEpoch& epoch, uint8_t rxChannel, int antenna, int signal) {
    const int slot = zeltSignalSlot(signal);
    if (slot < 0 || antenna >= kZeltAntennas) return nullptr;
    for (int i = 0; i < epoch.satelliteCount; ++i) {
        ZeltMeasSat& satellite = epoch.satellites[static_cast<size_t>(i)];
        if (satellite.channel != static_cast<uint8_t>(rxChannel - 1)) continue;
        ZeltMeasSignal& found = satellite.signals[static_cast<size_t>(antenna)][static_cast<size_t>(slot)];
        return found.flags != 0 && found.signalType == signal ? &found : nullptr;
    }
    return nullptr;
}

}  // namespace

void zeltDecodeMeasEpoch(Bytes block, ZeltMeasEpoch& epoch) {
    zeltStartEpoch(block, block.u8(kCommonFlags), epoch);
    if (zeltRevision(block) >= 1 && block.has(kClockJumps, 1)) epoch.clockJumps = block.i8(kClockJumps);
    SatelliteContext context;
    context.oldForm = isOldForm(block);
    const size_t length1 = block.u8(kSubLength);
    const size_t length2 = block.u8(kSub2Length);
    size_t offset = kSubBlocks;
    for (int n = block.u8(kCount); n > 0 && epoch.satelliteCount < kZeltMaxSatellites; --n) {
        if (length1 < kType1Size || !block.has(offset, length1)) return;
        const Bytes sub1 = block.sub(offset, length1);
        const size_t count2 = sub1.u8(19);
        const size_t offset2 = offset + length1;
        offset = offset2 + count2 * length2;
        context.satellite = &epoch.satellites[static_cast<size_t>(epoch.satelliteCount)];
        if (!startSatellite(sub1, epoch.satelliteCount, context)) continue;
        decodeType1(sub1, context);
        const bool fits = decodeType2s(block.sub(offset2, block.size), count2, length2, context);
        if (context.stored) ++epoch.satelliteCount;
        if (!fits) return;
    }
}

// MeasExtra sub-block: 0 RxChannel, 1 Type, 2 multipath i16, 4 smoothing i16, 6 code variance u16, 8 carrier variance
// u16, 10 lock time u16, 12 loss-of-continuity counter (revision 1), 13 carrier multipath (2), 14 Info (2),
// 15 Misc (3: bits 0-2 C/N0 refinement, 3-7 signal extension).
void zeltApplyMeasExtra(Bytes block, ZeltMeasEpoch& epoch) {
    constexpr double kCodeVarianceUnit = 0.0001;   // m^2
    constexpr double kCarrierVarianceUnit = 1e-6;  // cycles^2
    constexpr float kCn0FineUnit = 0.03125F;       // dB-Hz
    constexpr size_t kFieldsByRevision[] = {12, 13, 15, 16};
    const int revision = zeltRevision(block);
    const SubBlocks subs = refiningSubBlocks(block, kFieldsByRevision[revision < 3 ? revision : 3]);
    if (!subs.fit) return;
    const float factor = block.f32(kDopplerVarFactor);
    if (factor != 0) epoch.dopplerVarianceFactor = factor;
    for (size_t i = 0; i < subs.count; ++i) {
        const Bytes sub = subs.at(i);
        const uint8_t misc = revision >= 3 ? sub.u8(15) : 0;
        const int type = extendedSignal(sub.u8(1) & 0x1F, misc);
        ZeltMeasSignal* signal = findSignal(epoch, sub.u8(0), sub.u8(1) >> 5, type);
        if (signal == nullptr) continue;
        signal->multipath = sub.i16(2);
        signal->smoothing = sub.i16(4);
        if (sub.u16(6) != 65535) signal->codeVariance = static_cast<float>(sub.u16(6) * kCodeVarianceUnit);
        if (sub.u16(8) != 65535) signal->carrierVariance = static_cast<float>(sub.u16(8) * kCarrierVarianceUnit);
        signal->lockTime = lockMilliseconds(sub.u16(10), 65535);
        signal->lossOfContinuity = revision >= 1 ? sub.u8(12) : 0;
        signal->carrierMultipath = revision >= 2 ? sub.u8(13) : 0;
        if (revision >= 2 && (sub.u8(14) & 1) != 0) signal->flags |= kZeltInfoFlag;
        if (!zeltIsMissing(signal->cn0)) signal->cn0 += static_cast<float>(misc & 7) * kCn0FineUnit;
    }
}

// MeasFullRange sub-block: 0 RxChannel, 1 Type (whole byte: signal number), 3 bits 0-4 FreqNr and 5-7 antenna,
// 4 pseudorange f64, 12 carrier minus code f32, 16 C/N0 i16 (not in revision 0).
void zeltApplyMeasFullRange(Bytes block, ZeltMeasEpoch& epoch) {
    constexpr float kFullCn0Unit = 0.01F;  // dB-Hz
    const bool hasCn0 = zeltRevision(block) != 0;
    const SubBlocks subs = refiningSubBlocks(block, hasCn0 ? 18 : 16);
    for (size_t i = 0; i < subs.count; ++i) {
        const Bytes sub = subs.at(i);
        ZeltMeasSignal* signal = findSignal(epoch, sub.u8(0), sub.u8(3) >> 5, sub.u8(1));
        if (signal == nullptr) continue;
        const double wavelength = zeltSignalWavelength(signal->signalType, (sub.u8(3) & 0x1F) - kGlonassChannelOffset);
        signal->pseudorange = sub.f64(4);
        signal->carrierPhase = (signal->pseudorange + static_cast<double>(sub.f32(12))) / wavelength;
        if (!hasCn0) continue;
        signal->cn0 = static_cast<float>(sub.i16(16)) * kFullCn0Unit;
        signal->cn0Even = zeltEvenCn0(signal->cn0);
    }
}
