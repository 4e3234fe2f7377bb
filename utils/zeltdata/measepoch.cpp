#include "utils/zeltdata/measepoch.h"

#include "utils/geometry/constants.h"
#include "utils/geometry/sigtypes.h"
#include "utils/zeltdata/zeltsignal.h"
#include "utils/zeltdata/zeltsvid.h"

using namespace Qon::Nav;

namespace {

// Block bodies, by offset. The sub-blocks of all three blocks follow their counts and flags at the same place.
constexpr size_t kCountOffset = 14;
constexpr size_t kSubLengthOffset = 15;
constexpr size_t kSub2LengthOffset = 16;        // MeasEpoch
constexpr size_t kCommonFlagsOffset = 17;       // MeasEpoch
constexpr size_t kClockJumpsOffset = 18;        // MeasEpoch, i8, from revision 1 on
constexpr size_t kDopplerVarFactorOffset = 16;  // MeasExtra, f32
constexpr size_t kSubBlocksOffset = 20;

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

// ObsInfo and Misc have in bits 3 to 7 the frequency number + 8, or what extends the signal number.
int upperFiveBits(uint8_t byte) { return byte >> 3; }

int extendedSignal(int signal, uint8_t info) {
    return signal == kSignalExtension ? kFirstExtendedSignal + upperFiveBits(info) : signal;
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

// What is known of a satellite before its signals are decoded.
struct SatelliteContext {
    bool isOldForm = false;
    bool isOldSbas = false;  // the earlier form logs SBAS satellites with signal numbers of its own
    int frequencyNumber = 0;
};

// The type-1 sub-block's signal, to which the type-2 ones refer.
struct Master {
    double wavelength;
    double pseudorange;
    float doppler;
};

void startSignal(uint8_t type, uint8_t obsInfo, const SatelliteContext& context, ZeltMeasSignal& signal) {
    zeltStartSignal(context.isOldSbas ? static_cast<int>(kSbasL1) : extendedSignal(type & 0x1F, obsInfo), signal);
    signal.flags = kZeltSlotUsed;
    if (!context.isOldForm && (obsInfo & kHalfCycleBit) != 0) signal.flags |= kZeltHalfCycle;
}

// Puts a signal into the slot of its number and of the antenna that its Type byte names. False when there is no such
// slot: the signal is dropped.
bool storeSignal(const ZeltMeasSignal& signal, uint8_t type, ZeltMeasSat& satellite) {
    const size_t antenna = type >> 5;
    const int slot = zeltSignalSlot(signal.signalType);
    if (slot < 0 || antenna >= kZeltAntennas) return false;
    satellite.slots(antenna)[static_cast<size_t>(slot)] = signal;
    return true;
}

// Type-1 sub-block: 0 RxChannel, 1 Type (bits 0-4 signal, 5-7 antenna), 2 SVID, 3 Misc (bits 0-3 code MSB),
// 4 code LSB u32, 8 Doppler i32, 12 carrier LSB u16, 14 carrier MSB i8, 15 C/N0, 16 lock time u16, 18 ObsInfo,
// 19 number of type-2 sub-blocks.
Master decodeType1(Bytes sub, const SatelliteContext& context, ZeltMeasSignal& signal) {
    startSignal(sub.u8(1), sub.u8(18), context, signal);
    const double wavelength = zeltSignalWavelength(signal.signalType, context.frequencyNumber);
    const int codeMsb = sub.u8(3) & 0x0F;
    const uint32_t codeLsb = sub.u32(4);
    if (codeMsb != 0 || codeLsb != 0) signal.pseudorange = codeMsb * kCodeMsbUnit + codeLsb * kCodeUnit;
    const int32_t doppler = sub.i32(8);
    if (doppler != INT32_MIN) signal.doppler = static_cast<float>(doppler * kDopplerUnit);
    setCarrier(sub.i8(14), sub.u16(12), wavelength, signal);
    setCn0(sub.u8(15), signal);
    signal.lockTime = lockMilliseconds(sub.u16(16), 65535);
    return {wavelength, signal.pseudorange, signal.doppler};
}

// Type-2 sub-block, relative to its type-1: 0 Type, 1 lock time, 2 C/N0, 3 OffsetsMSB (bits 0-2 code, 3-7 Doppler,
// two's complement), 4 carrier MSB i8, 5 ObsInfo, 6 code LSB u16, 8 carrier LSB u16, 10 Doppler LSB u16.
void decodeType2(Bytes sub, const SatelliteContext& context, const Master& master, ZeltMeasSignal& signal) {
    startSignal(sub.u8(0), sub.u8(5), context, signal);
    const double wavelength = zeltSignalWavelength(signal.signalType, context.frequencyNumber);
    const uint8_t offsets = sub.u8(3);
    const int codeMsb = (offsets & 0x07) - ((offsets & 0x04) != 0 ? 8 : 0);
    const int dopplerMsb = (offsets >> 3) - ((offsets & 0x80) != 0 ? 32 : 0);
    const uint16_t codeLsb = sub.u16(6);
    const uint16_t dopplerLsb = sub.u16(10);
    if (!(codeMsb == -4 && codeLsb == 0) && !zeltIsMissing(master.pseudorange)) {
        signal.pseudorange = master.pseudorange + (codeMsb * 65536 + codeLsb) * kCodeUnit;
    }
    setCarrier(sub.i8(4), sub.u16(8), wavelength, signal);
    if (!(dopplerMsb == -16 && dopplerLsb == 0) && !zeltIsMissing(master.doppler)) {
        signal.doppler = static_cast<float>((dopplerMsb * 65536 + dopplerLsb) * kDopplerUnit +
                                            master.doppler * master.wavelength / wavelength);
    }
    setCn0(sub.u8(2), signal);
    signal.lockTime = lockMilliseconds(sub.u8(1), 255);
}

// A satellite's sub-blocks: one of type 1, then `count2` of type 2, of `length2` bytes each, at the front of `bytes2`.
struct SubBlocksOfSatellite {
    Bytes sub1;
    Bytes bytes2;
    size_t count2;
    size_t length2;
};

// Decodes a satellite's signals. False when a type-2 sub-block does not fit; those before it are kept. `isStored` tells
// whether any signal was.
bool decodeSatellite(const SubBlocksOfSatellite& subs, const SatelliteContext& context, ZeltMeasSat& satellite,
                     bool& isStored) {
    ZeltMeasSignal signal;
    const Master master = decodeType1(subs.sub1, context, signal);
    isStored = storeSignal(signal, subs.sub1.u8(1), satellite);
    for (size_t i = 0; i < subs.count2; ++i) {
        if (subs.length2 < kType2Size || !subs.bytes2.has(i * subs.length2, subs.length2)) return false;
        const Bytes sub2 = subs.bytes2.sub(i * subs.length2, subs.length2);
        decodeType2(sub2, context, master, signal);
        if (storeSignal(signal, sub2.u8(0), satellite)) isStored = true;
    }
    return true;
}

// Begins the record of a type-1 sub-block's satellite, the `index`-th of the epoch; false when it is to be skipped.
bool startSatellite(Bytes sub, size_t index, SatelliteContext& context, ZeltMeasSat& satellite) {
    const uint8_t logged = sub.u8(2);
    const uint8_t rxChannel = sub.u8(0);
    const int freqNr = upperFiveBits(sub.u8(18));
    const size_t channel = rxChannel == 0 || rxChannel == 255 ? index : rxChannel - size_t{1};
    satellite.start(NormalizeSVID(logged), static_cast<uint8_t>(channel));
    if (satellite.svid == 0) return false;
    if (SVIDToConstellation(satellite.svid) == kGlonass) {
        if (!IsGlonassChannel(freqNr)) return false;
        satellite.glonassChannel = static_cast<uint8_t>(freqNr);
    }
    context.isOldSbas = context.isOldForm && logged >= 120 && logged <= 140;
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
    const SubBlocks logged{true, block, block.u8(kCountOffset), block.u8(kSubLengthOffset)};
    const size_t total = logged.count * logged.length;
    if (logged.length < fieldsSize || !block.has(kSubBlocksOffset, total)) return {};
    return {true, block.sub(block.size - total, total), logged.count, logged.length};
}

// The signal that a refining sub-block is of, null when the epoch does not hold it.
ZeltMeasSignal* findSignal(ZeltMeasEpoch& epoch, uint8_t rxChannel, size_t antenna, int signal) {
    const int slot = zeltSignalSlot(signal);
    if (slot < 0 || antenna >= kZeltAntennas) return nullptr;
    for (ZeltMeasSat& satellite : epoch.used()) {
        if (satellite.channel != static_cast<uint8_t>(rxChannel - 1)) continue;
        ZeltMeasSignal& found = satellite.slots(antenna)[static_cast<size_t>(slot)];
        return found.flags != 0 && found.signalType == signal ? &found : nullptr;
    }
    return nullptr;
}

float varianceOf(uint16_t field, double unit) {
    return field == 65535 ? kNotAvailableF : static_cast<float>(field * unit);
}

}  // namespace

void zeltDecodeMeasEpoch(Bytes block, ZeltMeasEpoch& epoch) {
    zeltStartEpoch(block, block.u8(kCommonFlagsOffset), epoch);
    if (zeltRevision(block) >= 1 && block.has(kClockJumpsOffset, 1)) epoch.clockJumps = block.i8(kClockJumpsOffset);
    SatelliteContext context;
    context.isOldForm = isOldForm(block);
    const size_t length1 = block.u8(kSubLengthOffset);
    const size_t length2 = block.u8(kSub2LengthOffset);
    size_t offset = kSubBlocksOffset;
    for (int n = block.u8(kCountOffset); n > 0 && !epoch.isFull(); --n) {
        if (length1 < kType1Size || !block.has(offset, length1)) return;
        const Bytes sub1 = block.sub(offset, length1);
        const SubBlocksOfSatellite subs{sub1, block.sub(offset + length1, block.size), sub1.u8(19), length2};
        offset += length1 + subs.count2 * length2;
        ZeltMeasSat& satellite = epoch.next();
        if (!startSatellite(sub1, epoch.used().size(), context, satellite)) continue;
        bool isStored = false;
        const bool fits = decodeSatellite(subs, context, satellite, isStored);
        if (isStored) epoch.keep();
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
    const bool hasMisc = revision >= 3;
    const SubBlocks subs = refiningSubBlocks(block, kFieldsByRevision[revision < 3 ? revision : 3]);
    if (!subs.fit) return;
    const float factor = block.f32(kDopplerVarFactorOffset);
    if (factor != 0) epoch.dopplerVarianceFactor = factor;
    for (size_t i = 0; i < subs.count; ++i) {
        const Bytes sub = subs.at(i);
        const uint8_t misc = hasMisc ? sub.u8(15) : 0;
        const int logged = sub.u8(1) & 0x1F;
        const int type = hasMisc ? extendedSignal(logged, misc) : logged;
        ZeltMeasSignal* signal = findSignal(epoch, sub.u8(0), sub.u8(1) >> 5, type);
        if (signal == nullptr) continue;
        signal->multipath = sub.i16(2);
        signal->smoothing = sub.i16(4);
        signal->codeVariance = varianceOf(sub.u16(6), kCodeVarianceUnit);
        signal->carrierVariance = varianceOf(sub.u16(8), kCarrierVarianceUnit);
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
    constexpr double kFullCn0Unit = 0.01;  // dB-Hz
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
        signal->cn0 = static_cast<float>(sub.i16(16) * kFullCn0Unit);
        signal->cn0Even = zeltEvenCn0(signal->cn0);
    }
}
