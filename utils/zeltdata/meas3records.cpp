#include "utils/zeltdata/meas3records.h"

#include "utils/geometry/constants.h"
#include "utils/zeltdata/zeltmeasepoch.h"
#include "utils/zeltdata/zeltsignal.h"

using namespace Qon::Nav;

namespace {

constexpr uint32_t kLockTimes[16] = {0,   60000, 30000, 15000, 10000, 5000, 2000, 1000,
                                     500, 200,   100,   50,    40,    20,   10,   0};  // ms, by index
constexpr uint32_t kHalfCycleLockIndex = 0;

constexpr double kUnit = 0.001;  // m and cycles

// A record form: the size in bytes of its word and where, in it, the fields are. A code field in two pieces has its
// high bits in codeHigh. Behind the word of a long master more bytes follow (below); behind that of a short or long
// master the rate, i16, where the block logs it.
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
constexpr Field kShortSlaveMask{28, 4};  // of kMasterShort: the signals behind the master's
// The 16-bit word behind kMasterLong's.
constexpr Field kLongCn0{0, 6};
constexpr Field kLongSignalMask{6, 9};
constexpr Field kLongMaskExtension{15, 1};  // then a byte follows with signals 9 to 15
constexpr Field kExtendedMask{0, 7};

bool isShortRecord(uint8_t head) { return (head & 1) != 0; }
bool isLongRecord(uint8_t head) { return (head & 3) == 0; }
// Of the masters that are neither: a wide delta where these bits are set, which no C/N0 of a small delta is.
bool isWideDelta(uint8_t head) { return (head & 12) == 12; }

uint32_t fieldOf(uint64_t word, const Field& field) { return bitField(word, field.first, field.width); }

double codeField(uint64_t word, const RecordForm& form) {
    const uint64_t high = fieldOf(word, form.codeHigh);
    return static_cast<double>(high << form.code.width | fieldOf(word, form.code)) * kUnit;
}

// Carrier phase in cycles from a prediction; a field of 0 says that it is missing.
double carrierOf(double predicted, uint64_t word, const RecordForm& form) {
    const uint32_t field = fieldOf(word, form.carrier);
    return field == 0 ? kNotAvailable : predicted - form.carrierOffset + field * kUnit;
}

float cn0Field(uint64_t word, const RecordForm& form) {
    return static_cast<float>(fieldOf(word, form.cn0)) + form.cn0Offset;
}

float longCn0(uint32_t value, int number) {
    return static_cast<float>(value) + static_cast<float>(zeltCn0Offset(number));
}

void setLock(uint32_t index, Meas3Signal& signal) {
    signal.lockTime = kLockTimes[index];
    signal.flags = index == kHalfCycleLockIndex ? kZeltHalfCycle : 0;
}

// Takes a record's word; false when the ranges end in it. The word may hold bytes of the next record too, which no
// field reaches: eight bytes are loaded at once where fewer are one by one.
bool takeWord(ByteCursor& ranges, const RecordForm& form, uint64_t& word) {
    word = ranges.rest.sub(0, sizeof word).word();
    ranges.take(form.size);
    return !ranges.failed;
}

// The reference epoch's signal of an index, null when it had none.
const Meas3Signal* referenceSignal(const Meas3Context& context, size_t index) {
    const Meas3RefSatellite* reference = context.reference;
    const bool has = reference != nullptr && (reference->signalMask >> index & 1) != 0;
    return has ? &reference->signals[index] : nullptr;
}

// The forms. Each writes the whole signal where it stays: a copy of what was just written is slow.

// The part of a master that both whole forms share.
void readWholeMaster(double pseudorange, uint64_t word, const RecordForm& form, double wavelength,
                     Meas3Signal& signal) {
    signal.pseudorange = pseudorange;
    signal.carrierPhase = carrierOf(pseudorange / wavelength, word, form);
    setLock(fieldOf(word, form.lock), signal);
}

// A difference to a master of the reference epoch, whose range has changed by `predicted` mm since, by its rate.
void readDeltaMaster(uint64_t word, const RecordForm& form, const Meas3Signal& reference, int64_t predicted,
                     double wavelength, Meas3Signal& signal) {
    signal = reference;
    signal.pseudorange =
        reference.pseudorange + static_cast<double>(predicted) * kUnit + codeField(word, form) - form.codeOffset;
    if (!zeltIsMissing(reference.carrierPhase)) {
        const double change = (signal.pseudorange - reference.pseudorange) / wavelength;
        signal.carrierPhase = carrierOf(change + reference.carrierPhase, word, form);
    }
    signal.cn0 += form.cn0Offset + static_cast<float>(fieldOf(word, form.cn0));
}

// The code of the longer waves is the longer one, as the ionosphere delays it more.
void readShortSlave(uint64_t word, const Meas3Master& master, int number, double wavelength, Meas3Signal& signal) {
    const Meas3Signal& ofMaster = *master.signal;
    const double code = codeField(word, kSlaveShort);
    signal.pseudorange = wavelength > master.wavelength ? ofMaster.pseudorange + code - kSlaveShort.codeOffset
                                                        : ofMaster.pseudorange - code + kSlaveShort.codeOffset;
    signal.carrierPhase = kNotAvailable;
    if (!zeltIsMissing(ofMaster.carrierPhase)) {
        const double ionosphere = ofMaster.carrierPhase - ofMaster.pseudorange / master.wavelength;
        signal.carrierPhase =
            carrierOf(ionosphere * wavelength / master.wavelength + signal.pseudorange / wavelength, word, kSlaveShort);
    }
    // P(Y) counts down from the master's C/N0, which it is weaker than.
    signal.cn0 = zeltCn0Offset(number) == 0 ? ofMaster.cn0 - 3 - static_cast<float>(fieldOf(word, kSlaveShort.cn0))
                                            : cn0Field(word, kSlaveShort);
    setLock(fieldOf(word, kSlaveShort.lock), signal);
}

void readLongSlave(uint64_t word, const Meas3Master& master, int number, double wavelength, Meas3Signal& signal) {
    signal.pseudorange = master.signal->pseudorange + codeField(word, kSlaveLong) - kSlaveLong.codeOffset;
    signal.carrierPhase = carrierOf(signal.pseudorange / wavelength, word, kSlaveLong);
    signal.cn0 = longCn0(fieldOf(word, kSlaveLong.cn0), number);
    setLock(fieldOf(word, kSlaveLong.lock), signal);
}

// A difference to a slave of the reference epoch: its carrier follows the master's, its code its own carrier. Without
// one of the three carriers that it needs, there is no signal.
void readDeltaSlave(uint64_t word, const Meas3Context& context, const Meas3Master& master, size_t index,
                    double wavelength, std::optional<Meas3Signal>& slave) {
    const Meas3Signal* reference = referenceSignal(context, index);
    const Meas3Signal* referenceMaster = referenceSignal(context, master.index);
    if (reference == nullptr || referenceMaster == nullptr || zeltIsMissing(master.signal->carrierPhase) ||
        zeltIsMissing(reference->carrierPhase) || zeltIsMissing(referenceMaster->carrierPhase)) {
        return;
    }
    Meas3Signal& signal = slave.emplace(*reference);
    signal.carrierPhase =
        (master.signal->carrierPhase - referenceMaster->carrierPhase) * master.wavelength / wavelength +
        reference->carrierPhase - kSlaveDelta.carrierOffset + fieldOf(word, kSlaveDelta.carrier) * kUnit;
    signal.pseudorange = (signal.carrierPhase - reference->carrierPhase) * wavelength + reference->pseudorange -
                         kSlaveDelta.codeOffset + codeField(word, kSlaveDelta);
    signal.cn0 += kSlaveDelta.cn0Offset + static_cast<float>(fieldOf(word, kSlaveDelta.cn0));
}

// The rate behind a whole record counts where the reference epoch does not tell another.
Meas3Outcome takeRate(ByteCursor& ranges, const Meas3Context& context, Meas3Master& master) {
    if (!context.hasRate) return ranges.failed ? Meas3Outcome::kCorrupt : Meas3Outcome::kRead;
    const Bytes logged = ranges.take(2);
    if (context.reference == nullptr) master.rate = logged.i16(0);
    return ranges.failed ? Meas3Outcome::kCorrupt : Meas3Outcome::kRead;
}

void nameMaster(size_t index, const Meas3Context& context, Meas3Master& master) {
    master.index = index;
    master.wavelength = zeltMeas3Wavelength(context, index);
    if (context.reference != nullptr) master.rate = context.reference->rate;
}

Meas3Outcome takeShortMaster(ByteCursor& ranges, const Meas3Context& context, Meas3Master& master) {
    uint64_t word = 0;
    if (!takeWord(ranges, kMasterShort, word)) return Meas3Outcome::kCorrupt;
    nameMaster(context.shortMasterIndex, context, master);
    master.slaveMask = static_cast<uint16_t>(fieldOf(word, kShortSlaveMask) << (master.index + 1));
    const double pseudorange = context.codeBase + codeField(word, kMasterShort);
    Meas3Signal& signal = master.signal.emplace();
    readWholeMaster(pseudorange, word, kMasterShort, master.wavelength, signal);
    signal.cn0 = cn0Field(word, kMasterShort);
    return takeRate(ranges, context, master);
}

Meas3Outcome takeLongMaster(ByteCursor& ranges, const Meas3Context& context, Meas3Master& master) {
    uint64_t word = 0;
    if (!takeWord(ranges, kMasterLong, word)) return Meas3Outcome::kCorrupt;
    const uint64_t second = ranges.take(2).u16(0);
    uint32_t mask = fieldOf(second, kLongSignalMask);
    if (fieldOf(second, kLongMaskExtension) != 0) {
        mask |= fieldOf(ranges.take(1).u8(0), kExtendedMask) << kLongSignalMask.width;
    }
    if (mask == 0) return Meas3Outcome::kCorrupt;
    nameMaster(lowestBit(mask), context, master);
    master.slaveMask = static_cast<uint16_t>(withoutLowestBit(mask));
    Meas3Signal& signal = master.signal.emplace();
    readWholeMaster(codeField(word, kMasterLong), word, kMasterLong, master.wavelength, signal);
    signal.cn0 = longCn0(fieldOf(second, kLongCn0), context.signalNumbers[master.index]);
    return takeRate(ranges, context, master);
}

// Which signals the satellite had, and so how long its records are, only the reference epoch tells.
Meas3Outcome takeDeltaMaster(const RecordForm& form, ByteCursor& ranges, const Meas3Context& context,
                             Meas3Master& master) {
    if (context.mayBeLost && context.reference == nullptr) return Meas3Outcome::kLost;
    uint64_t word = 0;
    if (!takeWord(ranges, form, word)) return Meas3Outcome::kCorrupt;
    nameMaster(context.reference == nullptr ? 0 : context.reference->masterIndex, context, master);
    const Meas3Signal* reference = referenceSignal(context, master.index);
    if (reference == nullptr) return Meas3Outcome::kRead;
    master.slaveMask = context.reference->slaveMask;
    const int64_t predicted = int64_t{master.rate} * context.sinceReference * kMeas3RateUnit / 1000;
    readDeltaMaster(word, form, *reference, predicted, master.wavelength, master.signal.emplace());
    return Meas3Outcome::kRead;
}

}  // namespace

double zeltMeas3Wavelength(const Meas3Context& context, size_t index) {
    return zeltSignalWavelength(context.signalNumbers[index], context.frequencyNumber);
}

Meas3Outcome zeltTakeMeas3Master(ByteCursor& ranges, const Meas3Context& context, Meas3Master& master) {
    const uint8_t head = ranges.rest.u8(0);
    if (isShortRecord(head)) return takeShortMaster(ranges, context, master);
    if (isLongRecord(head)) return takeLongMaster(ranges, context, master);
    return takeDeltaMaster(isWideDelta(head) ? kMasterDelta : kMasterSmallDelta, ranges, context, master);
}

Meas3Outcome zeltTakeMeas3Slave(ByteCursor& ranges, const Meas3Context& context, const Meas3Master& master,
                                size_t index, std::optional<Meas3Signal>& slave) {
    const uint8_t head = ranges.rest.u8(0);
    const bool isShort = isShortRecord(head);
    const bool isLong = isLongRecord(head);
    uint64_t word = 0;
    if (!takeWord(ranges, isShort ? kSlaveShort : isLong ? kSlaveLong : kSlaveDelta, word)) {
        return Meas3Outcome::kCorrupt;
    }
    const int number = context.signalNumbers[index];
    const double wavelength = zeltMeas3Wavelength(context, index);
    if (isShort) {
        readShortSlave(word, master, number, wavelength, slave.emplace());
    } else if (isLong) {
        readLongSlave(word, master, number, wavelength, slave.emplace());
    } else {
        readDeltaSlave(word, context, master, index, wavelength, slave);
    }
    return Meas3Outcome::kRead;
}
