#include "cggtts/trackengine.h"

#include "utils/geometry/constants.h"
#include "utils/geometry/navtools.h"

using namespace Qon::Nav;

namespace {

constexpr size_t kLineBufferCapacity = 3000;
constexpr size_t kLineBufferFull = 2850;  // no line is begun from here on

size_t firstRecordOf(size_t constellation) {
    size_t first = 0;
    for (size_t i = 0; i < constellation; ++i) first += constellationSatellites(kConstellations[i]);
    return first;
}

// The codes of a constellation's two signals; where several slots hold the same signal, the last one's.
CodePair findCodes(const ZeltMeasSat& satellite, const Constellation& constellation) {
    CodePair codes{satellite.glonassChannel, constellation.signal1, constellation.signal2};
    for (const ZeltMeasSignal& signal : satellite.signals[0]) {
        if (signal.flags == 0) continue;
        if (signal.signalType == constellation.signal1) codes.code1 = signal.pseudorange;
        if (signal.signalType == constellation.signal2) codes.code2 = signal.pseudorange;
    }
    return codes;
}

}  // namespace

CggttsProcessor::CggttsProcessor(const RunConfig& config, const EphemerisStore& store)
    : config_(config), store_(store), tracks_{} {
    for (std::string& buffer : lineBuffers_) buffer.reserve(kLineBufferCapacity);
}

int CggttsProcessor::slotAt(uint32_t t) const { return slotIndex(t, config_.contiguous, contiguousAnchor_); }

bool CggttsProcessor::addEpoch(const ZeltMeasEpoch& epoch) {
    const uint32_t t = epoch.wnc * kSecondsPerWeek + epoch.tow / 1000;
    if (t % kSampleSpacing != 0 || t == lastSampleTime_) return false;
    if (!lastSampleTime_) contiguousAnchor_ = t;
    startTracks(t);
    const int slot = slotAt(t);
    for (int32_t i = 0; i < epoch.satelliteCount; ++i) {
        addSatellite(epoch.satellites[static_cast<size_t>(i)], t, slot);
    }
    return closeTracks(t);
}

void CggttsProcessor::startTracks(uint32_t t) {
    const bool goesOn = lastSampleTime_ && slotAt(t) != 0 && t == *lastSampleTime_ + kSampleSpacing;
    lastSampleTime_ = t;
    if (goesOn) return;
    auto record = tracks_.begin();
    for (size_t c = 0; c < kConstellations.size(); ++c) {
        for (int svid = kConstellations[c].firstSvid; svid <= kConstellations[c].lastSvid; ++svid, ++record) {
            const Ephemeris& ephemeris = store_.slots[static_cast<size_t>(svid)];
            if (IsEmpty(ephemeris)) continue;
            record->ephemeris = ephemeris;
            startTrack(*record, config_, c);
        }
    }
}

void CggttsProcessor::addSatellite(const ZeltMeasSat& satellite, uint32_t t, int slot) {
    const size_t c = constellationOf(satellite.svid);
    if (c == kConstellations.size()) return;
    const CodePair codes = findCodes(satellite, kConstellations[c]);
    if (!(codes.code1 > kAvailableAbove && codes.code2 > kAvailableAbove)) return;
    // GLONASS has one number more than records (deliberate): satellites of unknown slot land in the record that
    // follows, Galileo's first.
    TrackRecord& record = tracks_[firstRecordOf(c) + satellite.svid - kConstellations[c].firstSvid];
    if (trackSample(record, slot, t, codes) && !station_) station_ = LocalFrameAt(record.antennaPos);
}

bool CggttsProcessor::closeTracks(uint32_t t) {
    if (slotAt(t) != kLastSlot) return false;
    const LocalFrame station = station_.value_or(LocalFrame{});  // without a sample there is no line to need it
    bool waiting = false;
    auto record = tracks_.begin();
    for (size_t c = 0; c < kConstellations.size(); ++c) {
        std::string& buffer = lineBuffers_[c];
        buffer.clear();
        for (int svid = kConstellations[c].firstSvid; svid <= kConstellations[c].lastSvid; ++svid, ++record) {
            DataLine line;
            const bool hasRoom = buffer.size() < kLineBufferFull;
            if (!hasRoom || !finishTrack(*record, t, config_, station, line)) continue;
            line.svid = static_cast<uint8_t>(svid);
            formatDataLine(line, buffer);
        }
        waiting = waiting || !buffer.empty();
    }
    return waiting;
}
