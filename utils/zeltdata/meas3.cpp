#include "utils/zeltdata/meas3.h"

#include <algorithm>

#include "utils/geometry/constants.h"
#include "utils/geometry/sigtypes.h"
#include "utils/zeltdata/meas3header.h"
#include "utils/zeltdata/meas3records.h"
#include "utils/zeltdata/zeltsignal.h"

using namespace Qon::Nav;

namespace {

// Meas3Ranges, by offset.
constexpr size_t kCommonFlagsOffset = 14;        // u8
constexpr size_t kClockJumpsOffset = 15;         // i8, ms
constexpr size_t kConstellationMaskOffset = 16;  // u16, a bit per constellation
constexpr size_t kMiscOffset = 18;               // u8: bits 0-2 antenna, 3 rate flag, 4-7 reference interval code
constexpr size_t kFormatOffset = 19;             // u8
constexpr size_t kRangesDataOffset = 20;
constexpr uint8_t kHighestFormat = 31;
constexpr uint8_t kRateFlag = 0x08;

constexpr std::array<uint32_t, 16> kIntervals = {1,     500,    1000, 2000, 5000, 10000, 15000, 30000,
                                                 60000, 120000, 1,    1,    1,    1,     1,     1};  // ms, by code

// Whoever wants one epoch in 30 s (ZeltWanted) gets every reference that these need: an epoch at a multiple of 30 s is
// its own reference where the interval divides 30 s; where 30 s divides the interval, its reference lies at a multiple
// of 30 s too.
static_assert(std::all_of(kIntervals.begin(), kIntervals.end(),
                          [](uint32_t interval) { return 30000 % interval == 0 || interval % 30000 == 0; }));

constexpr double kMetresPerMillimetre = 0.001;

// One antenna's ranges at one epoch.
struct AntennaDecoder {
    size_t antenna;
    ByteCursor ranges;
    Meas3Companions companions;
    Meas3Reference& reference;
    ZeltMeasEpoch& epoch;
    bool isReference;
    bool hasRate;
    uint32_t sinceReference;  // ms
};

// Where a satellite's signals go.
struct SatelliteSignals {
    ZeltMeasSlots& slots;
    uint8_t tracking = 0;    // of Meas3PP
    bool hasSignal = false;  // a slot is used
};

// A signal that the format numbers but no slot stores, or none, leaves nothing.
void storeSignal(int number, const Meas3Signal& values, const Meas3Extras& extras, float doppler,
                 SatelliteSignals& signals) {
    const int slot = zeltSignalSlot(number);
    if (slot < 0) return;
    const float cn0 = values.cn0 + extras.cn0Change;
    const int evenCn0 = extras.evenCn0 == kMeas3NoEvenCn0 ? zeltEvenCn0(cn0) : extras.evenCn0 + zeltCn0Offset(number);
    const uint8_t info = (signals.tracking & 1) != 0 ? kZeltInfoFlag : 0;
    signals.slots[static_cast<size_t>(slot)] = {
        .pseudorange = values.pseudorange,
        .carrierPhase = values.carrierPhase,
        .doppler = doppler,
        .cn0 = cn0,
        .lockTime = values.lockTime,
        .multipath = extras.multipath,
        .smoothing = 0,
        .codeVariance = kNotAvailableF,
        .carrierVariance = kNotAvailableF,
        .signalType = static_cast<uint8_t>(number),
        .flags = static_cast<uint8_t>(values.flags | kZeltSlotUsed | info),
        .carrierMultipath = extras.carrierMultipath,
        .lossOfContinuity = static_cast<uint8_t>(signals.tracking >> 1),
        .cn0Even = static_cast<uint8_t>(evenCn0),
    };
    signals.hasSignal = true;
}

void keepReference(size_t index, const Meas3Signal& signal, Meas3RefSatellite& reference) {
    reference.signalMask = static_cast<uint16_t>(reference.signalMask | 1U << index);
    reference.signals[index] = signal;
}

void keepReferenceMaster(const Meas3Master& master, Meas3RefSatellite& reference) {
    reference.signalMask = 0;
    reference.slaveMask = master.slaveMask;
    reference.masterIndex = static_cast<uint8_t>(master.index);
    reference.rate = master.rate;
    if (master.signal) keepReference(master.index, *master.signal, reference);
}

float masterDoppler(const Meas3Master& master, const Meas3Extras& extras) {
    if (extras.dopplerCode == kMeas3NoDoppler) return kNotAvailableF;
    const int64_t change = -int64_t{master.rate} * kMeas3RateUnit - extras.dopplerCode;  // mm/s
    return static_cast<float>(static_cast<double>(change) * kMetresPerMillimetre / master.wavelength);
}

float slaveDoppler(const Meas3Context& context, size_t index, const Meas3Master& master, float masterHz,
                   const Meas3Extras& extras) {
    if (extras.dopplerCode == kMeas3NoDoppler || zeltIsMissing(masterHz)) return kNotAvailableF;
    const double ofMaster = masterHz * master.wavelength * 1000;  // mm/s
    return static_cast<float>((ofMaster - extras.dopplerCode) * kMetresPerMillimetre /
                              zeltMeas3Wavelength(context, index));
}

// Decodes the records of one satellite and, of a reference epoch, keeps them in `kept`.
Meas3Outcome decodeSignals(const Meas3Context& context, AntennaDecoder& decoder, Meas3RefSatellite* kept,
                           SatelliteSignals& signals) {
    Meas3Master master;
    Meas3Outcome outcome = zeltTakeMeas3Master(decoder.ranges, context, master);
    if (outcome != Meas3Outcome::kRead) return outcome;
    signals.tracking = zeltTakeMeas3Tracking(decoder.companions);
    const Meas3Extras extras = zeltTakeMeas3Extras(decoder.companions);
    const float doppler = masterDoppler(master, extras);
    if (master.signal) storeSignal(context.signalNumbers[master.index], *master.signal, extras, doppler, signals);
    if (kept != nullptr) keepReferenceMaster(master, *kept);
    for (uint16_t mask = master.slaveMask; mask != 0; mask = withoutLowestBit(mask)) {
        const size_t index = lowestBit(mask);
        std::optional<Meas3Signal> slave;
        outcome = zeltTakeMeas3Slave(decoder.ranges, context, master, index, slave);
        if (outcome != Meas3Outcome::kRead) return outcome;
        const Meas3Extras slaveExtras = zeltTakeMeas3Extras(decoder.companions);
        if (!slave) continue;
        const float slaveHz = slaveDoppler(context, index, master, doppler, slaveExtras);
        storeSignal(context.signalNumbers[index], *slave, slaveExtras, slaveHz, signals);
        if (kept != nullptr) keepReference(index, *slave, *kept);
    }
    return Meas3Outcome::kRead;
}

// Keeps the record that epoch.next() is. A further antenna's signals go to the record that the satellite has already.
void keepSatellite(AntennaDecoder& decoder) {
    ZeltMeasEpoch& epoch = decoder.epoch;
    if (decoder.antenna != 0) {
        for (ZeltMeasSat& record : epoch.used()) {
            if (record.svid != epoch.next().svid) continue;
            record.slots(decoder.antenna) = epoch.next().slots(decoder.antenna);
            return;
        }
    }
    epoch.keep();
}

Meas3Outcome decodeSatellite(const Meas3Header& header, size_t n, AntennaDecoder& decoder) {
    const Meas3Satellite satellite = zeltMeas3Satellite(header, n);
    Meas3RefConstellation& constellation = decoder.reference.constellations[header.constellation];
    const size_t position = header.satellites[n];
    Meas3RefSatellite& reference = constellation.satellites[position];
    const bool isKnown = (constellation.satelliteMask >> position & 1) != 0;
    const Meas3Context context{.reference = isKnown ? &reference : nullptr,
                               .mayBeLost = decoder.reference.isPartial,
                               .hasRate = decoder.hasRate,
                               .sinceReference = decoder.sinceReference,
                               .signalNumbers = header.signalNumbers,
                               .shortMasterIndex = header.shortMasterIndex,
                               .frequencyNumber = satellite.glonassChannel - kGlonassChannelOffset,
                               .codeBase = satellite.codeBase};
    ZeltMeasSat& record = decoder.epoch.next();
    const size_t index = std::min(decoder.epoch.used().size(), size_t{kZeltMaxSatellites - 1});
    record.start(satellite.svid, static_cast<uint8_t>(index));
    record.glonassChannel = static_cast<uint8_t>(satellite.glonassChannel);
    SatelliteSignals signals{record.slots(decoder.antenna)};
    const Meas3Outcome outcome = decodeSignals(context, decoder, decoder.isReference ? &reference : nullptr, signals);
    if (outcome != Meas3Outcome::kRead) return outcome;
    if (decoder.isReference) constellation.satelliteMask |= uint64_t{1} << position;
    if (signals.hasSignal && satellite.isValid) keepSatellite(decoder);
    return Meas3Outcome::kRead;
}

void keepHeader(Bytes logged, Meas3RefConstellation& reference) {
    std::copy_n(logged.data, logged.size, reference.header.data());
    reference.headerSize = logged.size;
}

// Takes the constellation's header off the ranges, or the reference epoch's where it is not repeated. Where neither
// has one, there are no satellites.
Meas3Outcome takeHeader(size_t constellation, AntennaDecoder& decoder, Meas3Header& header) {
    Meas3RefConstellation& reference = decoder.reference.constellations[constellation];
    if (!decoder.ranges.rest.has(0, 1)) return Meas3Outcome::kCorrupt;
    const bool isRepeated = decoder.ranges.rest.u8(0) != 0;
    if (!isRepeated) {
        decoder.ranges.take(1);
        if (reference.headerSize == 0) {
            return decoder.reference.isPartial ? Meas3Outcome::kLost : Meas3Outcome::kRead;
        }
    }
    const Bytes source = isRepeated ? decoder.ranges.rest : Bytes{reference.header.data(), reference.headerSize};
    if (!zeltParseMeas3Header(source, constellation, header)) return Meas3Outcome::kCorrupt;
    if (!isRepeated) return Meas3Outcome::kRead;
    const Bytes logged = decoder.ranges.take(header.size);
    if (decoder.isReference) keepHeader(logged, reference);
    return Meas3Outcome::kRead;
}

Meas3Outcome decodeConstellation(size_t constellation, AntennaDecoder& decoder) {
    Meas3Header header;
    Meas3Outcome outcome = takeHeader(constellation, decoder, header);
    for (size_t n = 0; n < header.satelliteCount && outcome == Meas3Outcome::kRead; ++n) {
        outcome = decodeSatellite(header, n, decoder);
    }
    return outcome;
}

void startReference(uint32_t tow, Meas3Reference& reference) {
    reference.tow = tow;
    reference.isPartial = false;
    for (Meas3RefConstellation& constellation : reference.constellations) {
        constellation.headerSize = 0;
        constellation.satelliteMask = 0;
    }
}

Meas3Outcome decodeAntenna(size_t antenna, const Meas3Blocks& blocks, Meas3Reference& reference, ZeltMeasEpoch& epoch) {
    const Bytes ranges = blocks.ranges;
    if (ranges.size < kRangesDataOffset || ranges.u8(kFormatOffset) > kHighestFormat) return Meas3Outcome::kCorrupt;
    const uint8_t misc = ranges.u8(kMiscOffset);
    const uint32_t tow = zeltTow(ranges);
    const uint32_t sinceReference = tow % kIntervals[misc >> 4];
    if (sinceReference == 0) startReference(tow, reference);
    if (reference.tow != tow - sinceReference) return Meas3Outcome::kRead;
    AntennaDecoder decoder{.antenna = antenna,
                           .ranges = {ranges.sub(kRangesDataOffset, ranges.size)},
                           .companions = Meas3Companions(blocks),
                           .reference = reference,
                           .epoch = epoch,
                           .isReference = sinceReference == 0,
                           .hasRate = (misc & kRateFlag) != 0,
                           .sinceReference = sinceReference};
    for (unsigned mask = ranges.u16(kConstellationMaskOffset) & ((1U << kMeas3Constellations) - 1); mask != 0;
         mask = withoutLowestBit(mask)) {
        const Meas3Outcome outcome = decodeConstellation(lowestBit(mask), decoder);
        if (outcome == Meas3Outcome::kRead) continue;
        reference.isPartial = reference.isPartial || decoder.isReference;
        return outcome;
    }
    return Meas3Outcome::kRead;
}

}  // namespace

bool zeltDecodeMeas3(const std::array<Meas3Blocks, kZeltAntennas>& blocks, Meas3References& references,
                     ZeltMeasEpoch& epoch) {
    references.resize(kZeltAntennas);
    zeltStartEpoch(blocks[0].ranges, blocks[0].ranges.u8(kCommonFlagsOffset), epoch);
    epoch.clockJumps = blocks[0].ranges.i8(kClockJumpsOffset);
    for (size_t antenna = 0; antenna < blocks.size(); ++antenna) {
        if (blocks[antenna].ranges.size == 0) continue;
        if (decodeAntenna(antenna, blocks[antenna], references[antenna], epoch) != Meas3Outcome::kCorrupt) continue;
        epoch.clear();
        return false;
    }
    return true;
}
