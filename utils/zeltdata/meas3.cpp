#include "utils/zeltdata/meas3.h"

#include <algorithm>

#include "utils/geometry/constants.h"
#include "utils/geometry/satnames.h"
#include "utils/geometry/sigtypes.h"
#include "utils/zeltdata/bitcursor.h"
#include "utils/zeltdata/zeltsignal.h"

using namespace Qon::Nav;

namespace {

// Meas3Ranges, by offset.
constexpr size_t kCommonFlags = 14;     // u8
constexpr size_t kClockJumps = 15;      // i8, ms
constexpr size_t kConstellations = 16;  // u16, a bit per constellation
constexpr size_t kMisc = 18;            // u8: bits 0-2 antenna, 3 rate flag, 4-7 reference interval code
constexpr size_t kFormat = 19;          // u8
constexpr size_t kRangesData = 20;
constexpr uint8_t kHighestFormat = 31;
constexpr uint8_t kRateFlag = 0x08;

constexpr size_t kCompanionData = 16;

constexpr uint32_t kIntervals[16] = {1,     500,    1000, 2000, 5000, 10000, 15000, 30000,
                                     60000, 120000, 1,    1,    1,    1,     1,     1};  // ms, by code

constexpr uint32_t kLockTimes[16] = {0,   60000, 30000, 15000, 10000, 5000, 2000, 1000,
                                     500, 200,   100,   50,    40,    20,   10,   0};  // ms, by index
constexpr uint32_t kHalfCycleLockIndex = 0;

constexpr double kUnit = 0.001;  // m and cycles
constexpr int kMillimetresPerSecondPerRate = 64;

enum ConstellationIndex : size_t { kGlonassIndex = 1, kBeiDouIndex = 3 };

struct ConstellationRow {
    int firstSvid;
    int lastSvid;
    double codeBase;                 // m
    std::array<uint8_t, 6> signals;  // signal numbers by index; further indices have none
};
constexpr uint8_t kNone = kNoSignal;
constexpr ConstellationRow kRows[kMeas3Constellations] = {
    {1, 37, 19e6, {0, 3, 4, 1, 2, 5}},                          // GPS
    {38, 68, 19e6, {8, 11, 9, 10, 12, kNone}},                  // GLONASS
    {71, 106, 22e6, {17, 20, 21, 19, 22, kNone}},               // Galileo
    {161, 197, 20e6, {28, 29, 30, 13, 14, kNone}},              // BeiDou
    {120, 158, 34e6, {24, 25, kNone, kNone, kNone, kNone}},     // SBAS
    {201, 207, 34e6, {6, 7, 26, 27, 32, 33}},                   // QZSS
    {211, 224, 34e6, {15, kNone, kNone, kNone, kNone, kNone}},  // NavIC
};
constexpr double kHighBeiDouCodeBase = 34e6;  // m, geostationary and inclined orbits
constexpr size_t kBeiDouFlags = 16;

// A record form: the size in bytes of its little-endian word and where, in it, the fields are. A code field in two
// pieces has its high bits in codeHigh. More bytes follow the word of a long master (see below), and of both absolute
// masters the rate where it is logged.
struct Field {
    unsigned first;
    unsigned width;
};
struct RecordForm {
    size_t size;
    Field code;
    Field codeHigh;
    Field carrier;
    Field lock;
    Field cn0;
    double codeOffset;     // m, subtracted (added, where the short slave's code counts downwards)
    double carrierOffset;  // cycles, subtracted
    float cn0Offset;       // dB-Hz, added
};
constexpr Field kNoField{0, 0};
constexpr RecordForm kMasterShort = {8, {32, 32}, {19, 1}, {1, 18}, {20, 3}, {23, 5}, 0, 131.072, 24};
constexpr RecordForm kMasterLong = {8, {32, 32}, {2, 4}, {6, 22}, {28, 4}, kNoField, 0, 2097.152, 0};
constexpr RecordForm kMasterDelta = {5, {4, 17}, kNoField, {24, 16}, kNoField, {21, 3}, 65.536, 32.768, -4};
constexpr RecordForm kMasterSmallDelta = {4, {4, 14}, kNoField, {18, 14}, kNoField, {2, 2}, 8.192, 8.192, -1};
constexpr RecordForm kSlaveShort = {5, {17, 15}, kNoField, {1, 16}, {32, 3}, {35, 5}, 10, 32.768, 24};
constexpr RecordForm kSlaveLong = {7, {32, 16}, {28, 3}, {2, 22}, {24, 4}, {48, 6}, 262.144, 2097.152, 0};
constexpr RecordForm kSlaveDelta = {3, {2, 12}, kNoField, {16, 8}, kNoField, {14, 2}, 2.048, 0.128, -2};
constexpr Field kShortSlaveMask{28, 4};  // of kMasterShort; relative to the signal after the master
// The 16-bit word behind kMasterLong's.
constexpr Field kLongCn0{0, 6};
constexpr Field kLongSignalMask{6, 9};
constexpr Field kLongMaskExtension{15, 1};  // then a byte follows with signals 9 to 15
constexpr Field kExtendedMask{0, 7};

// The forms by the low bits of their first byte; the rest are differences to the reference epoch.
bool isShortRecord(uint8_t head) { return (head & 1) != 0; }
bool isLongRecord(uint8_t head) { return (head & 3) == 0; }
bool isWideDelta(uint8_t head) { return (head & 12) == 12; }  // of masters: C/N0 values that the small form leaves out

uint32_t fieldOf(uint64_t word, const Field& field) { return bitField(word, field.first, field.width); }

double codeField(uint64_t word, const RecordForm& form) {
    const uint64_t high = fieldOf(word, form.codeHigh);
    return static_cast<double>(high << form.code.width | fieldOf(word, form.code)) * kUnit;
}

double carrierField(uint64_t word, const RecordForm& form) { return fieldOf(word, form.carrier) * kUnit; }

// The four companions of one antenna's ranges, each read along with the signals.
struct Companions {
    explicit Companions(const Meas3Blocks& blocks)
        : doppler{data(blocks.doppler)}, cn0{data(blocks.cn0HiRes)}, pp{data(blocks.pp)}, mp{data(blocks.mp)} {}

    static Bytes data(Bytes block) { return block.sub(kCompanionData, block.size); }

    ByteCursor doppler;
    BitCursor cn0;
    BitCursor pp;
    BitCursor mp;
};

// What is known of the satellite while its records are read.
struct Satellite {
    Meas3RefSatellite* reference = nullptr;
    bool isKnown = false;  // the reference epoch held it
    bool stored = false;   // the antenna's slots below hold a signal
    std::array<ZeltMeasSignal, kZeltSlots> slots;
    ZeltMeasSignal spareMaster{};  // where a signal without a slot is decoded
    ZeltMeasSignal spareSlave{};
    std::array<uint8_t, kMeas3Signals> signalNumbers{};
    int frequencyNumber = 0;
    double codeBase = 0;
    uint8_t trackingBits = 0;  // of Meas3PP
    // From the master record.
    size_t masterIndex = 0;
    uint16_t slaveMask = 0;
    int16_t rate = 0;
    double masterWavelength = 0;
    bool hasMaster = false;
    ZeltMeasSignal* master = nullptr;
    float masterCn0 = 0;  // as the ranges give it

    double wavelength(size_t index) const { return zeltSignalWavelength(signalNumbers[index], frequencyNumber); }
    ZeltMeasSignal& startSignal(size_t index, ZeltMeasSignal& spare) {
        ZeltMeasSignal& signal = zeltSlotOf(signalNumbers[index], slots, spare);
        zeltStartSignal(signalNumbers[index], signal);
        return signal;
    }
};

// One antenna's ranges at one epoch.
struct AntennaDecoder {
    int antenna;
    ByteCursor ranges;
    Companions companions;
    Meas3Reference& reference;
    ZeltMeasEpoch& epoch;
    bool isReference;
    bool hasRate;
    uint32_t sinceReference;  // ms
    bool isLost = false;      // what follows needs what a corrupt reference epoch did not tell
};

void setLock(uint32_t index, ZeltMeasSignal& signal) {
    signal.lockTime = kLockTimes[index];
    if (index == kHalfCycleLockIndex) signal.flags |= kZeltHalfCycle;
}

void setLongCn0(uint32_t value, ZeltMeasSignal& signal) {
    signal.cn0 = static_cast<float>(value) + static_cast<float>(zeltCn0Offset(signal.signalType));
}

// Carrier phase from a prediction; a field of 0 says that it is missing.
void setCarrier(double predicted, uint64_t word, const RecordForm& form, ZeltMeasSignal& signal) {
    if (fieldOf(word, form.carrier) == 0) return;
    signal.carrierPhase = predicted - form.carrierOffset + carrierField(word, form);
}

void copyReference(const Meas3RefSignal& reference, ZeltMeasSignal& signal) {
    signal.flags = reference.flags;
    signal.lockTime = reference.lockTime;
    signal.cn0 = reference.cn0;
}

// The reference epoch's signal of an index, null when it has none.
const Meas3RefSignal* referenceSignal(const Satellite& satellite, size_t index) {
    const Meas3RefSatellite& reference = *satellite.reference;
    return (reference.present >> index & 1) != 0 ? &reference.signals[index] : nullptr;
}

void startMaster(size_t index, Satellite& satellite) {
    satellite.masterIndex = index;
    satellite.masterWavelength = satellite.wavelength(index);
    satellite.master = &satellite.startSignal(index, satellite.spareMaster);
    satellite.rate = satellite.reference->rate;
}

// The rate of the reference epoch stays; that of a satellite which it did not hold is its own.
bool takeRate(AntennaDecoder& decoder, Satellite& satellite) {
    const Bytes logged = decoder.ranges.take(decoder.hasRate ? 2 : 0);
    if (logged.size != 0 && (decoder.isReference || !satellite.isKnown)) satellite.rate = logged.i16(0);
    return !decoder.ranges.failed;
}

bool readMasterShort(uint64_t word, unsigned headerIndex, AntennaDecoder& decoder, Satellite& satellite) {
    startMaster(headerIndex, satellite);
    satellite.slaveMask = static_cast<uint16_t>(fieldOf(word, kShortSlaveMask) << (headerIndex + 1));
    ZeltMeasSignal& master = *satellite.master;
    master.pseudorange = satellite.codeBase + codeField(word, kMasterShort);
    setCarrier(master.pseudorange / satellite.masterWavelength, word, kMasterShort, master);
    master.cn0 = static_cast<float>(fieldOf(word, kMasterShort.cn0)) + kMasterShort.cn0Offset;
    setLock(fieldOf(word, kMasterShort.lock), master);
    satellite.hasMaster = true;
    return takeRate(decoder, satellite);
}

bool readMasterLong(uint64_t word, AntennaDecoder& decoder, Satellite& satellite) {
    const uint64_t second = decoder.ranges.take(2).u16(0);
    uint32_t mask = fieldOf(second, kLongSignalMask);
    if (fieldOf(second, kLongMaskExtension) != 0) {
        mask |= fieldOf(decoder.ranges.take(1).u8(0), kExtendedMask) << kLongSignalMask.width;
    }
    if (mask == 0) return false;
    startMaster(lowestBit(mask), satellite);
    satellite.slaveMask = static_cast<uint16_t>(withoutLowestBit(mask));
    ZeltMeasSignal& master = *satellite.master;
    master.pseudorange = codeField(word, kMasterLong);
    setCarrier(master.pseudorange / satellite.masterWavelength, word, kMasterLong, master);
    setLongCn0(fieldOf(second, kLongCn0), master);
    setLock(fieldOf(word, kMasterLong.lock), master);
    satellite.hasMaster = true;
    return takeRate(decoder, satellite);
}

void readMasterDelta(uint64_t word, const RecordForm& form, const AntennaDecoder& decoder, Satellite& satellite) {
    startMaster(satellite.reference->masterIndex, satellite);
    satellite.slaveMask = satellite.reference->slaveMask;
    const Meas3RefSignal* reference = referenceSignal(satellite, satellite.masterIndex);
    if (reference == nullptr) return;
    const int64_t predicted =
        int64_t{satellite.rate} * decoder.sinceReference * kMillimetresPerSecondPerRate / 1000;  // mm
    ZeltMeasSignal& master = *satellite.master;
    copyReference(*reference, master);
    master.pseudorange =
        reference->pseudorange + static_cast<double>(predicted) * kUnit + codeField(word, form) - form.codeOffset;
    if (!zeltIsMissing(reference->carrierPhase)) {
        const double change = (master.pseudorange - reference->pseudorange) / satellite.masterWavelength;
        setCarrier(change + reference->carrierPhase, word, form, master);
    }
    master.cn0 += form.cn0Offset + static_cast<float>(fieldOf(word, form.cn0));
    satellite.hasMaster = true;
}

// Takes a record of the form's word; false when the ranges end in it.
bool takeRecord(const RecordForm& form, AntennaDecoder& decoder, uint64_t& word) {
    word = decoder.ranges.take(form.size).word();
    return !decoder.ranges.failed;
}

// Reads the record that the low bits of the next byte choose; false when it is corrupt.
bool readMaster(unsigned headerIndex, AntennaDecoder& decoder, Satellite& satellite) {
    const uint8_t head = decoder.ranges.rest.u8(0);
    uint64_t word = 0;
    if (isShortRecord(head)) {
        return takeRecord(kMasterShort, decoder, word) && readMasterShort(word, headerIndex, decoder, satellite);
    }
    if (isLongRecord(head)) return takeRecord(kMasterLong, decoder, word) && readMasterLong(word, decoder, satellite);
    const RecordForm& form = isWideDelta(head) ? kMasterDelta : kMasterSmallDelta;
    decoder.isLost = decoder.reference.isPartial && !satellite.isKnown;
    if (decoder.isLost || !takeRecord(form, decoder, word)) return false;
    readMasterDelta(word, form, decoder, satellite);
    return true;
}

// A slave while its record is read.
struct Slave {
    size_t index;
    double wavelength;
    ZeltMeasSignal& signal;
    bool present;  // the record yields a signal
};

void readSlaveShort(uint64_t word, const Satellite& satellite, Slave& slave) {
    const ZeltMeasSignal& master = *satellite.master;
    ZeltMeasSignal& signal = slave.signal;
    const double code = codeField(word, kSlaveShort);
    signal.pseudorange = slave.wavelength > satellite.masterWavelength
                             ? master.pseudorange + code - kSlaveShort.codeOffset
                             : master.pseudorange - code + kSlaveShort.codeOffset;
    if (!zeltIsMissing(master.carrierPhase)) {
        const double ionosphere = master.carrierPhase - master.pseudorange / satellite.masterWavelength;
        setCarrier(ionosphere * slave.wavelength / satellite.masterWavelength + signal.pseudorange / slave.wavelength,
                   word, kSlaveShort, signal);
    }
    const auto value = static_cast<float>(fieldOf(word, kSlaveShort.cn0));
    signal.cn0 =
        zeltCn0Offset(signal.signalType) == 0 ? satellite.masterCn0 - 3 - value : value + kSlaveShort.cn0Offset;
    setLock(fieldOf(word, kSlaveShort.lock), signal);
}

void readSlaveLong(uint64_t word, const Satellite& satellite, Slave& slave) {
    ZeltMeasSignal& signal = slave.signal;
    signal.pseudorange = satellite.master->pseudorange + codeField(word, kSlaveLong) - kSlaveLong.codeOffset;
    setCarrier(signal.pseudorange / slave.wavelength, word, kSlaveLong, signal);
    setLongCn0(fieldOf(word, kSlaveLong.cn0), signal);
    setLock(fieldOf(word, kSlaveLong.lock), signal);
}

// Not present when something that the difference refers to is missing.
void readSlaveDelta(uint64_t word, const Satellite& satellite, Slave& slave) {
    const Meas3RefSignal* reference = referenceSignal(satellite, slave.index);
    const Meas3RefSignal* referenceMaster = referenceSignal(satellite, satellite.masterIndex);
    const double carrier = satellite.master->carrierPhase;
    slave.present = reference != nullptr && referenceMaster != nullptr && !zeltIsMissing(carrier) &&
                    !zeltIsMissing(reference->carrierPhase) && !zeltIsMissing(referenceMaster->carrierPhase);
    if (!slave.present) return;
    ZeltMeasSignal& signal = slave.signal;
    copyReference(*reference, signal);
    signal.carrierPhase = (carrier - referenceMaster->carrierPhase) * satellite.masterWavelength / slave.wavelength +
                          reference->carrierPhase - kSlaveDelta.carrierOffset + carrierField(word, kSlaveDelta);
    signal.pseudorange = (signal.carrierPhase - reference->carrierPhase) * slave.wavelength + reference->pseudorange -
                         kSlaveDelta.codeOffset + codeField(word, kSlaveDelta);
    signal.cn0 += kSlaveDelta.cn0Offset + static_cast<float>(fieldOf(word, kSlaveDelta.cn0));
}

// Takes a slave's record, relative to the master's; false when the ranges end in it.
bool readSlave(AntennaDecoder& decoder, const Satellite& satellite, Slave& slave) {
    const uint8_t head = decoder.ranges.rest.u8(0);
    const bool isShort = isShortRecord(head);
    const bool isLong = isLongRecord(head);
    uint64_t word = 0;
    if (!takeRecord(isShort ? kSlaveShort : isLong ? kSlaveLong : kSlaveDelta, decoder, word)) return false;
    if (!slave.present) return true;
    if (isShort) {
        readSlaveShort(word, satellite, slave);
    } else if (isLong) {
        readSlaveLong(word, satellite, slave);
    } else {
        readSlaveDelta(word, satellite, slave);
    }
    return true;
}

// Meas3MP: kind 0 none; 1 and 2 a small correction, positive or negative; 3 a large one of either sign.
void takeMultipath(BitCursor& bits, ZeltMeasSignal& signal) {
    const uint32_t kind = bits.take(2);
    if (kind == 0) return;
    const bool large = kind == 3;
    const uint32_t code = bits.take(large ? 11 : 7);
    const uint32_t carrier = bits.take(large ? 8 : 5);
    if (bits.failed) return;
    const int32_t centimetres = large ? signExtend(code, 11) : static_cast<int32_t>(code) * (kind == 1 ? 1 : -1);
    signal.multipath = static_cast<int16_t>(centimetres * 10);
    signal.carrierMultipath = static_cast<uint8_t>(signExtend(carrier, large ? 8 : 5));
}

// Takes the signal's share of every companion, whether the signal is there or not; returns its Doppler code.
int32_t takeCompanions(Companions& companions, ZeltMeasSignal& signal) {
    constexpr float kCn0Step = 0.0625F;  // dB-Hz
    constexpr float kCn0Centre = 0.5F;
    const uint32_t cn0 = companions.cn0.take(4);
    if (!companions.cn0.failed) signal.cn0 += static_cast<float>(cn0) * kCn0Step - kCn0Centre;
    signal.cn0Even = zeltEvenCn0(signal.cn0);
    if (companions.pp.take(1) != 0) {
        const uint32_t half = companions.pp.take(5);
        if (!companions.pp.failed) {
            signal.cn0Even = static_cast<uint8_t>(static_cast<int>(half) * 2 + zeltCn0Offset(signal.signalType));
        }
    }
    takeMultipath(companions.mp, signal);
    return zeltReadDopplerCode(companions.doppler);
}

void keepReference(size_t index, const ZeltMeasSignal& signal, Meas3RefSatellite& reference) {
    reference.present = static_cast<uint16_t>(reference.present | 1U << index);
    reference.signals[index] = {signal.pseudorange, signal.carrierPhase, signal.cn0, signal.lockTime, signal.flags};
}

// Marks the signal's slot as used, or leaves it empty when there was no signal.
void finishSignal(bool isPresent, Satellite& satellite, ZeltMeasSignal& signal) {
    if (!isPresent) {
        signal.flags = 0;
        return;
    }
    signal.flags |= kZeltSlotUsed;
    if ((satellite.trackingBits & 1) != 0) signal.flags |= kZeltInfoFlag;
    signal.lossOfContinuity = satellite.trackingBits >> 1;
    satellite.stored = satellite.stored || zeltSignalSlot(signal.signalType) >= 0;
}

// False when the ranges are corrupt, as the two functions that follow.
bool decodeMaster(unsigned headerIndex, AntennaDecoder& decoder, Satellite& satellite) {
    if (!readMaster(headerIndex, decoder, satellite)) return false;
    satellite.trackingBits = static_cast<uint8_t>(decoder.companions.pp.take(5));
    if (decoder.isReference && satellite.hasMaster) {
        Meas3RefSatellite& reference = *satellite.reference;
        reference.masterIndex = static_cast<uint8_t>(satellite.masterIndex);
        reference.slaveMask = satellite.slaveMask;
        reference.rate = satellite.rate;
        keepReference(satellite.masterIndex, *satellite.master, reference);
    }
    ZeltMeasSignal& master = *satellite.master;
    satellite.masterCn0 = master.cn0;
    const int32_t code = takeCompanions(decoder.companions, master);
    if (code != kMeas3NoDoppler) {
        const int64_t change = -int64_t{satellite.rate} * kMillimetresPerSecondPerRate - code;  // mm/s
        master.doppler = static_cast<float>(static_cast<double>(change) * kUnit / satellite.masterWavelength);
    }
    finishSignal(satellite.hasMaster, satellite, master);
    return true;
}

bool decodeSlave(size_t index, AntennaDecoder& decoder, Satellite& satellite) {
    Slave slave{index, satellite.wavelength(index), satellite.startSignal(index, satellite.spareSlave),
                satellite.hasMaster};
    if (!readSlave(decoder, satellite, slave)) return false;
    if (decoder.isReference && slave.present) keepReference(index, slave.signal, *satellite.reference);
    const int32_t code = takeCompanions(decoder.companions, slave.signal);
    if (code != kMeas3NoDoppler && !zeltIsMissing(satellite.master->doppler)) {
        const double fromMaster = satellite.master->doppler * satellite.masterWavelength * 1000;  // mm/s
        slave.signal.doppler = static_cast<float>((fromMaster - code) * kUnit / slave.wavelength);
    }
    finishSignal(slave.present, satellite, slave.signal);
    return true;
}

bool decodeSignals(unsigned headerIndex, AntennaDecoder& decoder, Satellite& satellite) {
    if (!decodeMaster(headerIndex, decoder, satellite)) return false;
    for (uint16_t mask = satellite.slaveMask; mask != 0; mask = withoutLowestBit(mask)) {
        if (!decodeSlave(lowestBit(mask), decoder, satellite)) return false;
    }
    return true;
}

// A constellation's header, read.
struct Header {
    std::array<uint8_t, kMeas3Satellites> satellites{};  // mask bits
    size_t count = 0;
    unsigned masterIndex = 0;  // of short records
    std::array<uint8_t, kMeas3Signals> signalNumbers{};
    Bytes glonassNibbles;
    uint16_t beiDouFlags = 0;
    size_t size = 0;
};

// Reads the header that `bytes` begins with; false when it does not fit. First byte: bits 0-2 bytes of the satellite
// mask (7: 8 bytes), 3-6 signal index of short masters, 7 a mask of excluded signals is there. Then the satellite mask;
// of GLONASS a nibble per satellite, its frequency number + 8; of BeiDou 16 flags; the mask of excluded signals.
bool parseHeader(Bytes bytes, size_t constellation, Header& header) {
    ByteCursor cursor{bytes};
    const uint8_t head = cursor.take(1).u8(0);
    const size_t maskSize = (head & 7) == 7 ? 8 : head & 7;
    header.masterIndex = head >> 3 & 0x0F;
    const Bytes mask = cursor.take(maskSize);
    for (uint64_t left = mask.word(); left != 0; left = withoutLowestBit(left)) {
        header.satellites[header.count++] = static_cast<uint8_t>(lowestBit(left));
    }
    if (constellation == kGlonassIndex) header.glonassNibbles = cursor.take((header.count + 1) / 2);
    if (constellation == kBeiDouIndex) header.beiDouFlags = cursor.take(2).u16(0);
    const uint8_t excluded = (head & 0x80) != 0 ? cursor.take(1).u8(0) : 0;
    header.signalNumbers.fill(kNone);
    size_t named = 0;
    for (size_t i = 0; i < kRows[constellation].signals.size(); ++i) {
        if ((unsigned{excluded} >> i & 1) == 0) header.signalNumbers[named++] = kRows[constellation].signals[i];
    }
    header.size = bytes.size - cursor.rest.size;
    return !cursor.failed;
}

// The header of this epoch, or the reference epoch's where it is not repeated; taken off the ranges.
bool takeHeader(size_t constellation, AntennaDecoder& decoder, Header& header) {
    Meas3RefConstellation& reference = decoder.reference.constellations[constellation];
    if (!decoder.ranges.rest.has(0, 1)) return false;
    if (decoder.ranges.rest.u8(0) == 0) {
        decoder.ranges.take(1);
        decoder.isLost = decoder.reference.isPartial && reference.headerSize == 0;
        if (reference.headerSize == 0) return !decoder.isLost;
        return parseHeader({reference.header.data(), reference.headerSize}, constellation, header);
    }
    if (!parseHeader(decoder.ranges.rest, constellation, header)) return false;
    const Bytes logged = decoder.ranges.take(header.size);
    if (decoder.isReference) {
        std::copy_n(logged.data, logged.size, reference.header.data());
        reference.headerSize = logged.size;
    }
    return true;
}

// Empties a satellite's reference: what its signals hold does not count while they are not present.
void clearReference(Meas3RefSatellite& reference) {
    reference.present = 0;
    reference.slaveMask = 0;
    reference.masterIndex = 0;
    reference.rate = 0;
}

// Puts an antenna's slots into the record that already holds the satellite, else into a new one; when there is none
// left, into the last.
void storeSatellite(uint8_t svid, uint8_t glonassChannel, const Satellite& satellite, AntennaDecoder& decoder) {
    ZeltMeasEpoch& epoch = decoder.epoch;
    int32_t index = decoder.antenna == 0 ? epoch.satelliteCount : 0;  // antenna 0 comes first and logs each once
    while (index < epoch.satelliteCount && epoch.satellites[static_cast<size_t>(index)].svid != svid) ++index;
    const bool isNew = index == epoch.satelliteCount;
    index = std::min(index, kZeltMaxSatellites - 1);
    ZeltMeasSat& record = epoch.satellites[static_cast<size_t>(index)];
    if (isNew) {
        zeltStartSatellite(svid, static_cast<uint8_t>(index), record);
        record.glonassChannel = glonassChannel;
        epoch.satelliteCount = index + 1;
    }
    auto& slots = record.signals[static_cast<size_t>(decoder.antenna)];
    for (size_t slot = 0; slot < slots.size(); ++slot) {
        slots[slot].flags = 0;
        if (satellite.slots[slot].flags != 0) slots[slot] = satellite.slots[slot];
    }
}

bool decodeSatellite(size_t constellation, const Header& header, size_t n, AntennaDecoder& decoder) {
    const ConstellationRow& row = kRows[constellation];
    const size_t j = header.satellites[n];
    const int svid = row.firstSvid + static_cast<int>(j);
    const bool isGlonass = constellation == kGlonassIndex;
    const int channel = isGlonass ? header.glonassNibbles.u8(n / 2) >> (n % 2 * 4) & 0x0F : 0;
    const bool isHigh = n < kBeiDouFlags && (unsigned{header.beiDouFlags} >> n & 1) != 0;

    Satellite satellite;
    Meas3RefConstellation& reference = decoder.reference.constellations[constellation];
    satellite.reference = &reference.satellites[j];
    satellite.isKnown = (reference.known >> j & 1) != 0;
    if (!satellite.isKnown) clearReference(*satellite.reference);
    satellite.signalNumbers = header.signalNumbers;
    satellite.frequencyNumber = channel - kGlonassChannelOffset;
    satellite.codeBase = isHigh ? kHighBeiDouCodeBase : row.codeBase;
    for (ZeltMeasSignal& slot : satellite.slots) slot.flags = 0;
    if (!decodeSignals(header.masterIndex, decoder, satellite)) return false;
    if (decoder.isReference) reference.known |= uint64_t{1} << j;

    const bool hasChannel = !isGlonass || (channel >= kGlonassFirstChannel && channel <= kGlonassLastChannel);
    if (satellite.stored && hasChannel && svid <= row.lastSvid) {
        storeSatellite(static_cast<uint8_t>(svid), static_cast<uint8_t>(channel), satellite, decoder);
    }
    return true;
}

bool decodeConstellation(size_t constellation, AntennaDecoder& decoder) {
    Header header;
    if (!takeHeader(constellation, decoder, header)) return false;
    for (size_t n = 0; n < header.count; ++n) {
        if (!decodeSatellite(constellation, header, n, decoder)) return false;
    }
    return true;
}

void startReference(uint32_t tow, Meas3Reference& reference) {
    reference.tow = tow;
    reference.isPartial = false;
    for (Meas3RefConstellation& constellation : reference.constellations) {
        constellation.headerSize = 0;
        constellation.known = 0;
    }
}

bool decodeAntenna(int antenna, const Meas3Blocks& blocks, Meas3Reference& reference, ZeltMeasEpoch& epoch) {
    const Bytes ranges = blocks.ranges;
    if (ranges.size < kRangesData || ranges.u8(kFormat) > kHighestFormat) return false;
    const uint8_t misc = ranges.u8(kMisc);
    const uint32_t tow = zeltTow(ranges);
    const uint32_t sinceReference = tow % kIntervals[misc >> 4];
    if (sinceReference == 0) startReference(tow, reference);
    if (reference.tow != tow - sinceReference) return true;
    AntennaDecoder decoder{antenna,
                           {ranges.sub(kRangesData, ranges.size)},
                           Companions(blocks),
                           reference,
                           epoch,
                           sinceReference == 0,
                           (misc & kRateFlag) != 0,
                           sinceReference};
    for (size_t c = 0; c < kMeas3Constellations; ++c) {
        if ((ranges.u16(kConstellations) >> c & 1) != 0 && !decodeConstellation(c, decoder)) {
            if (decoder.isReference) reference.isPartial = true;
            return decoder.isLost;
        }
    }
    return true;
}

}  // namespace

bool zeltDecodeMeas3(const std::array<Meas3Blocks, kZeltAntennas>& blocks, Meas3References& references,
                     ZeltMeasEpoch& epoch) {
    references.resize(kZeltAntennas);
    zeltStartEpoch(blocks[0].ranges, blocks[0].ranges.u8(kCommonFlags), epoch);
    epoch.clockJumps = blocks[0].ranges.i8(kClockJumps);
    for (size_t antenna = 0; antenna < blocks.size(); ++antenna) {
        if (blocks[antenna].ranges.size == 0) continue;
        if (decodeAntenna(static_cast<int>(antenna), blocks[antenna], references[antenna], epoch)) continue;
        epoch.satelliteCount = 0;
        return false;
    }
    return true;
}

// The size is told by the bits from 1 on: 0; 1 0; 1 1 0; 1 1 1. Bit 0 is the sign, the magnitude fills the rest.
int32_t zeltReadDopplerCode(ByteCursor& cursor) {
    constexpr int32_t kDoNotUse = -1048575;
    const auto word = static_cast<uint32_t>(cursor.rest.sub(0, 8).word());
    size_t size = 1;
    while (size < 4 && (word >> size & 1) != 0) ++size;
    cursor.take(size);
    if (cursor.failed) return kMeas3NoDoppler;
    const auto prefix = static_cast<unsigned>(size < 4 ? size + 1 : 4);
    const auto magnitude = static_cast<int32_t>(bitField(word, prefix, static_cast<unsigned>(8 * size) - prefix));
    const int32_t code = (word & 1) != 0 ? -magnitude : magnitude;
    return code == kDoNotUse ? kMeas3NoDoppler : code;
}
