#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "bench/encoders.h"
#include "utils/geometry/constants.h"
#include "utils/geometry/sigtypes.h"
#include "utils/zeltdata/zeltsignal.h"

using namespace Qon::Nav;

namespace {

using Record = Meas3Encoder::Record;
using Satellite = Meas3Encoder::Satellite;
using Reference = Meas3Encoder::Reference;

constexpr size_t kIndices = Meas3Encoder::kIndices;
constexpr uint8_t kMisc = 8 << 4 | 1 << 3;  // reference interval of a minute; records carry rates

struct ConstellationRow {
    uint8_t firstSvid;
    uint8_t lastSvid;
    int64_t codeBase;  // mm, of short records
    std::array<int, 6> signals;
};
constexpr std::array<ConstellationRow, Meas3Encoder::kConstellations> kRows = {{
    {1, 37, 19000000000, {0, 3, 4, 1, 2, 5}},
    {38, 68, 19000000000, {8, 11, 9, 10, 12, kNoSignal}},
    {71, 106, 22000000000, {17, 20, 21, 19, 22, kNoSignal}},
    {161, 197, 20000000000, {28, 29, 30, 13, 14, kNoSignal}},
    {120, 158, 34000000000, {24, 25, kNoSignal, kNoSignal, kNoSignal, kNoSignal}},
    {201, 207, 34000000000, {6, 7, 26, 27, 32, 33}},
    {211, 224, 34000000000, {15, kNoSignal, kNoSignal, kNoSignal, kNoSignal, kNoSignal}},
}};
constexpr size_t kGlonassRow = 1;
constexpr size_t kBeiDouRow = 3;
constexpr int64_t kFarCodeBase = 34000000000;       // mm, of BeiDou satellites beyond the medium orbit
constexpr int64_t kFarBeiDou = 28500000000;         // mm
constexpr size_t kFarFlags = 16;                    // satellites that have such a flag
constexpr int64_t kMasterReach = int64_t{1} << 33;  // mm, of a short record's code field
constexpr int64_t kSlaveReach = 262144;             // mm, of a long slave record

// Lock time by index, ms.
constexpr std::array<uint32_t, 16> kLockTimes = {0,   60000, 30000, 15000, 10000, 5000, 2000, 1000,
                                                 500, 200,   100,   50,    40,    20,   10,   0};
constexpr unsigned kLastShortLock = 7;

bool has(double value) { return value > kAvailableAbove; }

bool fits(int64_t value, int64_t low, int bits) { return value >= low && value < int64_t{1} << bits; }

double metres(const Record& record) { return static_cast<double>(record.code) * 0.001; }

// One satellite on its way into the block.
struct Source {
    const ZeltMeasSat* satellite = nullptr;
    const ConstellationRow* row = nullptr;
    int64_t codeBase = 0;
    std::array<const ZeltMeasSignal*, kIndices> signals{};

    const ZeltMeasSignal& at(size_t index) const { return *signals[index]; }
    double wavelength(size_t index) const {
        return zeltSignalWavelength(row->signals[index], satellite->glonassChannel - kGlonassChannelOffset);
    }
    bool isLow(size_t index) const { return zeltCn0Offset(row->signals[index]) == 0; }
};

// A record with its values still to be reconciled with what the bits can say.
Record wanted(const ZeltMeasSignal& signal) {
    Record record;
    record.used = true;
    record.code = std::llround(signal.pseudorange * 1000);
    record.carrier = signal.carrierPhase;
    record.cn0 = has(signal.cn0) ? static_cast<int>(std::lround(signal.cn0)) : 10;
    record.halfCycle = (signal.flags & kZeltHalfCycle) != 0;
    record.lock = signal.lockTime;
    return record;
}

unsigned lockIndex(const Record& record) {
    if (record.halfCycle) return 0;
    for (unsigned i = 1; i + 1 < kLockTimes.size(); ++i) {
        if (record.lock >= kLockTimes[i]) return i;
    }
    return kLockTimes.size() - 1;
}

// A field's carrier, and the carrier that it stands for, counted from `base` in thousandths of a cycle; 0: missing.
struct CarrierField {
    int64_t value = 0;
    double carrier = kNotAvailable;
    bool good = true;
};

CarrierField carrierField(double carrier, double base, int bits) {
    if (!has(carrier)) return {};
    const int64_t value = std::llround((carrier - base) * 1000);
    if (!fits(value, 1, bits)) return {0, kNotAvailable, false};
    return {value, base + static_cast<double>(value) * 0.001, true};
}

void keep(Record& record, const CarrierField& field) {
    record.carrier = field.carrier;
    record.lock = kLockTimes[lockIndex(record)];
}

bool isSameArc(const Record& now, const Record& reference) {
    return reference.used && now.halfCycle == reference.halfCycle && now.lock >= reference.lock;
}

// Whether the short and delta forms may be tried, and against what.
struct Context {
    const Satellite* reference = nullptr;  // null at a reference epoch, and for a satellite that it lacked
    int64_t age = 0;                       // s since the reference
};

bool putMasterDelta(const Source& source, const Context& context, Satellite& now, ByteVector& out) {
    if (context.reference == nullptr) return false;
    const Satellite& reference = *context.reference;
    if (reference.master != now.master || reference.slaves != now.slaves) return false;
    const auto index = static_cast<size_t>(now.master);
    Record& record = now.records[index];
    const Record& old = reference.records[index];
    if (!isSameArc(record, old) || has(record.carrier) != has(old.carrier)) return false;
    const int64_t code = record.code - old.code - reference.rate * context.age * 64;
    const int cn0 = record.cn0 - old.cn0;
    const double moved = has(old.carrier) ? (metres(record) - metres(old)) / source.wavelength(index) + old.carrier : 0;
    const CarrierField small = carrierField(record.carrier, moved - 8.192, 14);
    const CarrierField large = carrierField(record.carrier, moved - 32.768, 16);
    if (small.good && fits(code + 8192, 0, 14) && cn0 >= -1 && cn0 <= 1) {
        putBytes(out, static_cast<uint64_t>(2 | (cn0 + 1) << 2 | (code + 8192) << 4 | small.value << 18), 4);
        keep(record, small);
    } else if (large.good && fits(code + 65536, 0, 17) && fits(cn0 + 4, 0, 3)) {
        const int64_t cn0Bits = cn0 + 4;
        putBytes(out, static_cast<uint64_t>(2 | 3 << 2 | (code + 65536) << 4 | cn0Bits << 21 | large.value << 24), 5);
        keep(record, large);
    } else {
        return false;
    }
    record.lock = old.lock;
    return true;
}

bool putMasterShort(const Source& source, Satellite& now, ByteVector& out) {
    if (now.master != 0 || now.slaves >= 32) return false;
    Record& record = now.records[0];
    const int64_t code = record.code - source.codeBase;
    const CarrierField carrier = carrierField(record.carrier, metres(record) / source.wavelength(0) - 131.072, 18);
    const unsigned lock = lockIndex(record);
    if (code < 0 || code >= kMasterReach || !carrier.good || lock > kLastShortLock || !fits(record.cn0 - 24, 0, 5)) {
        return false;
    }
    const int64_t cn0Bits = record.cn0 - 24;
    putBytes(out,
             static_cast<uint64_t>(1 | carrier.value << 1 | (code >> 32) << 19 | int64_t{lock} << 20 | cn0Bits << 23 |
                                   int64_t{now.slaves >> 1} << 28),
             4);
    putBytes(out, static_cast<uint64_t>(code), 4);
    putBytes(out, static_cast<uint64_t>(now.rate), 2);
    keep(record, carrier);
    return true;
}

void putMasterLong(const Source& source, Satellite& now, ByteVector& out) {
    const auto index = static_cast<size_t>(now.master);
    Record& record = now.records[index];
    const CarrierField carrier = carrierField(record.carrier, metres(record) / source.wavelength(index) - 2097.152, 22);
    const int floor = source.isLow(index) ? 0 : 10;
    record.cn0 = std::clamp(record.cn0, floor, floor + 63);
    const uint64_t mask = now.slaves | 1U << index;  // no table names more than six signals: no mask extension
    putBytes(out,
             static_cast<uint64_t>((record.code >> 32) << 2 | carrier.value << 6 | int64_t{lockIndex(record)} << 28),
             4);
    putBytes(out, static_cast<uint64_t>(record.code), 4);
    putBytes(out, static_cast<uint64_t>(record.cn0 - floor) | mask << 6, 2);
    putBytes(out, static_cast<uint64_t>(now.rate), 2);
    keep(record, carrier);
}

bool putSlaveDelta(const Source& source, size_t index, const Context& context, Satellite& now, ByteVector& out) {
    if (context.reference == nullptr || context.reference->master != now.master) return false;
    const auto m = static_cast<size_t>(now.master);
    const Record& master = now.records[m];
    const Record& oldMaster = context.reference->records[m];
    const Record& old = context.reference->records[index];
    Record& record = now.records[index];
    if (!isSameArc(record, old) || !fits(record.cn0 - old.cn0 + 2, 0, 2)) return false;
    if (!has(master.carrier) || !has(oldMaster.carrier) || !has(old.carrier) || !has(record.carrier)) return false;
    const double wavelength = source.wavelength(index);
    const double moved = (master.carrier - oldMaster.carrier) * source.wavelength(m) / wavelength + old.carrier;
    const auto carrier = std::llround((record.carrier - moved + 0.128) * 1000);
    const double decoded = moved - 0.128 + static_cast<double>(carrier) * 0.001;
    const double base = (decoded - old.carrier) * wavelength + metres(old) - 2.048;
    const auto code = std::llround((metres(record) - base) * 1000);
    if (!fits(carrier, 0, 8) || !fits(code, 0, 12)) return false;
    const int64_t cn0Bits = record.cn0 - old.cn0 + 2;
    putBytes(out, static_cast<uint64_t>(2 | code << 2 | cn0Bits << 14 | carrier << 16), 3);
    return true;
}

bool putSlaveShort(const Source& source, size_t index, const Satellite& now, Record& record, ByteVector& out) {
    const auto m = static_cast<size_t>(now.master);
    const Record& master = now.records[m];
    const double wavelength = source.wavelength(index);
    const double masterWavelength = source.wavelength(m);
    const int64_t apart = record.code - master.code;
    const int64_t code = wavelength > masterWavelength ? apart + 10000 : 10000 - apart;
    const int64_t cn0 = source.isLow(index) ? master.cn0 - 3 - record.cn0 : record.cn0 - 24;
    const unsigned lock = lockIndex(record);
    CarrierField carrier;
    if (has(record.carrier)) {
        if (!has(master.carrier)) return false;
        const double base = (master.carrier - metres(master) / masterWavelength) * wavelength / masterWavelength +
                            metres(record) / wavelength - 32.768;
        carrier = carrierField(record.carrier, base, 16);
    }
    if (!fits(code, 0, 15) || !fits(cn0, 0, 5) || !carrier.good || lock > kLastShortLock) return false;
    putBytes(out, static_cast<uint64_t>(1 | carrier.value << 1 | code << 17), 4);
    putBytes(out, static_cast<uint64_t>(lock | cn0 << 3), 1);
    keep(record, carrier);
    return true;
}

void putSlaveLong(const Source& source, size_t index, const Satellite& now, Record& record, ByteVector& out) {
    const int64_t code = record.code - now.records[static_cast<size_t>(now.master)].code + kSlaveReach;
    const CarrierField carrier = carrierField(record.carrier, metres(record) / source.wavelength(index) - 2097.152, 22);
    const int floor = source.isLow(index) ? 0 : 10;
    record.cn0 = std::clamp(record.cn0, floor, floor + 63);
    putBytes(out, static_cast<uint64_t>(carrier.value << 2 | int64_t{lockIndex(record)} << 24 | (code >> 16) << 28), 4);
    putBytes(out, static_cast<uint64_t>(code), 2);
    putBytes(out, static_cast<uint64_t>(record.cn0 - floor), 1);
    keep(record, carrier);
}

// The companions of one epoch.
struct Companions {
    ByteVector doppler;
    BitWriter cn0;
    BitWriter quality;
    BitWriter multipath;
};

constexpr int64_t kNoDopplerCode = -1048575;

void putDopplerCode(int64_t code, ByteVector& out) {
    const auto sign = static_cast<uint64_t>(code < 0 ? 1 : 0);
    const auto magnitude = static_cast<uint64_t>(std::llabs(code));
    if (magnitude < 1U << 6) {
        putBytes(out, sign | magnitude << 2, 1);
    } else if (magnitude < 1U << 13) {
        putBytes(out, sign | 1U << 1 | magnitude << 3, 2);
    } else if (magnitude < 1U << 20) {
        putBytes(out, sign | 3U << 1 | magnitude << 4, 3);
    } else {
        putBytes(out, sign | 7U << 1 | magnitude << 4, 4);
    }
}

void putMultipath(const ZeltMeasSignal& signal, BitWriter& out) {
    const int code = signal.multipath / 10;
    const int carrier = static_cast<int8_t>(signal.carrierMultipath);
    if (code == 0 && carrier == 0) {
        out.put(0, 2);
    } else if (std::abs(code) < 128 && carrier >= -16 && carrier < 16) {
        out.put(code < 0 ? 2 : 1, 2);
        out.put(static_cast<uint64_t>(std::abs(code)), 7);
        out.put(static_cast<uint64_t>(carrier), 5);
    } else {
        out.put(3, 2);
        out.put(static_cast<uint64_t>(std::clamp(code, -1024, 1023)), 11);
        out.put(signal.carrierMultipath, 8);
    }
}

// `expected`: the negative range rate that the Doppler is coded against, mm/s. Returns the one that is decoded.
double putCompanions(const Source& source, size_t index, int cn0, double expected, Companions& out) {
    const ZeltMeasSignal& signal = source.at(index);
    const bool known = has(signal.doppler) && has(expected);
    const int64_t code =
        known ? std::llround(expected - signal.doppler * source.wavelength(index) * 1000) : kNoDopplerCode;
    putDopplerCode(code, out.doppler);
    const long refinement = has(signal.cn0) ? std::lround((signal.cn0 - static_cast<float>(cn0) + 0.5F) * 16) : 8;
    out.cn0.put(static_cast<uint64_t>(std::clamp(refinement, 0L, 15L)), 4);
    out.quality.put(1, 1);
    const int even = signal.cn0Even - (source.isLow(index) ? 0 : 10);
    out.quality.put(static_cast<uint64_t>(std::clamp(even / 2, 0, 31)), 5);
    putMultipath(signal, out.multipath);
    return known ? expected - static_cast<double>(code) : kNotAvailable;
}

// The satellites of one constellation that have a signal to encode, by number.
std::vector<Source> sourcesOf(const ConstellationRow& row, const ZeltMeasEpoch& epoch) {
    std::vector<Source> sources;
    for (int i = 0; i < epoch.satelliteCount; ++i) {
        const ZeltMeasSat& satellite = epoch.satellites[static_cast<size_t>(i)];
        if (satellite.svid < row.firstSvid || satellite.svid > row.lastSvid) continue;
        Source source{&satellite, &row, row.codeBase, {}};
        const ZeltMeasSignal* master = nullptr;
        for (size_t index = 0; index < row.signals.size(); ++index) {
            for (const ZeltMeasSignal& signal : satellite.signals[0]) {
                if (signal.flags == 0 || signal.signalType != row.signals[index] || !has(signal.pseudorange)) continue;
                if (master == nullptr) master = &signal;
                if (std::abs(signal.pseudorange - master->pseudorange) > 262) continue;
                source.signals[index] = &signal;
            }
        }
        if (master != nullptr) sources.push_back(source);
    }
    std::sort(sources.begin(), sources.end(),
              [](const Source& a, const Source& b) { return a.satellite->svid < b.satellite->svid; });
    return sources;
}

bool isFarBeiDou(const Source& source) {
    const double base = static_cast<double>(kFarBeiDou) * 0.001;
    return std::any_of(source.signals.begin(), source.signals.end(), [base](const ZeltMeasSignal* signal) {
        return signal != nullptr && signal->pseudorange > base;
    });
}

// The header of a constellation: signal index 0 the master of short records, no signal excluded. Also settles the code
// base of the short records.
ByteVector makeHeader(size_t constellation, std::vector<Source>& sources) {
    uint64_t mask = 0;
    for (const Source& source : sources) mask |= uint64_t{1} << (source.satellite->svid - source.row->firstSvid);
    size_t maskBytes = 1;
    while (maskBytes < 8 && mask >> (8 * maskBytes) != 0) ++maskBytes;
    if (maskBytes == 7) maskBytes = 8;
    ByteVector header{static_cast<uint8_t>(std::min<size_t>(maskBytes, 7))};
    putBytes(header, mask, maskBytes);
    if (constellation == kGlonassRow) {
        BitWriter channels;
        for (const Source& source : sources) channels.put(source.satellite->glonassChannel, 4);
        header.insert(header.end(), channels.bytes.begin(), channels.bytes.end());
    } else if (constellation == kBeiDouRow) {
        uint64_t flags = 0;
        for (size_t i = 0; i < std::min(sources.size(), kFarFlags); ++i) {
            if (!isFarBeiDou(sources[i])) continue;
            flags |= uint64_t{1} << i;
            sources[i].codeBase = kFarCodeBase;
        }
        putBytes(header, flags, 2);
    }
    return header;
}

// The rate by which the satellite's codes are predicted: its range rate at `ahead`, or of now when it is not there.
int rateOf(const Source& source, size_t master, const ZeltMeasEpoch& ahead) {
    const auto* end = ahead.satellites.begin() + ahead.satelliteCount;
    const auto* later = std::find_if(ahead.satellites.begin(), end, [&source](const ZeltMeasSat& satellite) {
        return satellite.svid == source.satellite->svid;
    });
    const ZeltMeasSat& satellite = later == end ? *source.satellite : *later;
    const int type = source.row->signals[master];
    const ZeltMeasSignal& signal = satellite.signals[0][static_cast<size_t>(zeltSignalSlot(type))];
    if (signal.flags == 0 || !has(signal.doppler)) return 0;
    return static_cast<int>(std::lround(-signal.doppler * source.wavelength(master) * 1000 / 64));
}

Satellite startSatellite(const Source& source, const Context& context, const ZeltMeasEpoch* ahead) {
    Satellite now;
    now.used = true;
    now.master = -1;
    for (size_t index = 0; index < kIndices; ++index) {
        if (source.signals[index] == nullptr) continue;
        now.records[index] = wanted(source.at(index));
        if (now.master < 0) {
            now.master = static_cast<int>(index);
        } else {
            now.slaves |= 1U << index;
        }
    }
    if (ahead != nullptr) {
        now.rate = rateOf(source, static_cast<size_t>(now.master), *ahead);
    } else if (context.reference != nullptr) {
        now.rate = context.reference->rate;
    }
    return now;
}

void putRecords(const Source& source, const Context& context, Satellite& now, ByteVector& out) {
    if (!putMasterDelta(source, context, now, out) && !putMasterShort(source, now, out)) {
        putMasterLong(source, now, out);
    }
    for (size_t index = 0; index < kIndices; ++index) {
        if ((now.slaves >> index & 1) == 0) continue;
        Record& record = now.records[index];
        if (putSlaveDelta(source, index, context, now, out)) continue;
        if (!putSlaveShort(source, index, now, record, out)) putSlaveLong(source, index, now, record, out);
    }
}

void putSatelliteCompanions(const Source& source, const Satellite& now, Companions& out) {
    const auto master = static_cast<size_t>(now.master);
    const ZeltMeasSignal& signal = source.at(master);
    out.quality.put((signal.flags & kZeltInfoFlag) != 0 ? 1 : 0, 1);
    out.quality.put(signal.lossOfContinuity, 4);
    const double masterRate = putCompanions(source, master, now.records[master].cn0, -64.0 * now.rate, out);
    for (size_t index = 0; index < kIndices; ++index) {
        if ((now.slaves >> index & 1) != 0) putCompanions(source, index, now.records[index].cn0, masterRate, out);
    }
}

ByteVector companionBlock(uint16_t number, const ZeltMeasEpoch& epoch, const ByteVector& data) {
    ByteVector block = startBlock(number, 0, epoch.tow, epoch.wnc);
    putBytes(block, 0, 2);
    block.insert(block.end(), data.begin(), data.end());
    finishBlock(block);
    return block;
}

}  // namespace

std::vector<ByteVector> Meas3Encoder::encode(const ZeltMeasEpoch& epoch, const ZeltMeasEpoch& ahead) {
    const bool isNewReference = isReference(epoch);
    if (isNewReference) reference_ = {};
    ByteVector ranges = startBlock(kZeltMeas3Ranges, 0, epoch.tow, epoch.wnc);
    putBytes(ranges, 0, 4);  // common flags, clock jumps, constellations
    putBytes(ranges, kMisc, 2);
    unsigned constellations = 0;
    Companions companions;
    for (size_t c = 0; c < kConstellations; ++c) {
        std::vector<Source> sources = sourcesOf(kRows[c], epoch);
        if (sources.empty()) continue;
        constellations |= 1U << c;
        ByteVector header = makeHeader(c, sources);
        if (isNewReference) reference_.headers[c] = header;
        const bool isKnown = !isNewReference && header == reference_.headers[c];
        if (isKnown) header.assign(1, 0);
        ranges.insert(ranges.end(), header.begin(), header.end());
        for (const Source& source : sources) {
            Satellite& reference = reference_.satellites[source.satellite->svid];
            const bool isDelta = !isNewReference && reference.used;
            const Context context{isDelta ? &reference : nullptr, epoch.tow % kInterval / 1000};
            Satellite now = startSatellite(source, context, isNewReference ? &ahead : nullptr);
            putRecords(source, context, now, ranges);
            putSatelliteCompanions(source, now, companions);
            if (isNewReference) reference = now;
        }
    }
    setBytes(ranges, 16, constellations, 2);
    finishBlock(ranges);
    return {std::move(ranges), companionBlock(kZeltMeas3Doppler, epoch, companions.doppler),
            companionBlock(kZeltMeas3Cn0HiRes, epoch, companions.cn0.bytes),
            companionBlock(kZeltMeas3Pp, epoch, companions.quality.bytes),
            companionBlock(kZeltMeas3Mp, epoch, companions.multipath.bytes)};
}
