#include "cggtts/trackengine.h"

#include "cggtts/writer.h"
#include "utils/geometry/constants.h"
#include "utils/geometry/navtools.h"

using namespace Qon::Nav;

namespace {

constexpr size_t kFullLineBuffer = kMostLines * kDataLineSize;

}  // namespace

CodePair findCodes(const ZeltMeasSat& satellite, const Constellation& constellation) {
    CodePair codes{satellite.glonassChannel, constellation.signal1, constellation.signal2};
    for (const ZeltMeasSignal& signal : satellite.used(0)) {
        if (signal.signalType == constellation.signal1) codes.code1 = signal.pseudorange;
        if (signal.signalType == constellation.signal2) codes.code2 = signal.pseudorange;
    }
    return codes;
}

CggttsProcessor::CggttsProcessor(const RunConfig& config, const EphemerisStore& store)
    : config_(config), store_(store), tracks_{} {
    for (std::string& buffer : lineBuffers_) buffer.reserve(kFullLineBuffer);
}

int CggttsProcessor::slotAt(uint32_t t) const {
    return config_.isContiguous ? contiguousSlotIndex(t, contiguousAnchor_) : slotIndex(t);
}

bool CggttsProcessor::addEpoch(const ZeltMeasEpoch& epoch) {
    const uint32_t t = epoch.wnc * kSecondsPerWeek + epoch.tow / 1000;
    // In a log faster than 1 Hz the first epoch of a whole second is its sample.
    if (t % kSampleSpacing != 0 || t == lastSampleTime_) return false;
    if (lastSampleTime_ == 0) contiguousAnchor_ = t;
    startTracks(t);
    const int slot = slotAt(t);
    for (const ZeltMeasSat& satellite : epoch.used()) addSatellite(satellite, t, slot);
    return closeTracks(t);
}

// Records of satellites of which nothing was received stay as they are, empty.
void CggttsProcessor::startTracks(uint32_t t) {
    const bool goesOn = slotAt(t) != 0 && t == lastSampleTime_ + kSampleSpacing;
    lastSampleTime_ = t;
    if (goesOn) return;
    for (const Constellation& constellation : kConstellations) {
        for (int svid = constellation.firstSvid; svid <= constellation.lastSvid; ++svid) {
            const Ephemeris& ephemeris = store_.slots[static_cast<size_t>(svid)];
            if (IsEmpty(ephemeris)) continue;
            TrackRecord& record = recordOf(svid, constellation);
            record.ephemeris = ephemeris;
            startTrack(record, config_, constellation);
        }
    }
}

// GLONASS has one number more than records: satellites of unknown slot (68) land in the record that follows, Galileo's
// first (deliberate: files are fixed to the byte, and E01's line counts these samples among its own).
TrackRecord& CggttsProcessor::recordOf(int svid, const Constellation& constellation) {
    return tracks_[constellation.firstRecord + static_cast<size_t>(svid - constellation.firstSvid)];
}

void CggttsProcessor::addSatellite(const ZeltMeasSat& satellite, uint32_t t, int slot) {
    const Constellation* constellation = constellationOf(satellite.svid);
    if (constellation == nullptr) return;
    const CodePair codes = findCodes(satellite, *constellation);
    if (!hasBoth(codes)) return;
    TrackRecord& record = recordOf(satellite.svid, *constellation);
    // A station has one horizon, whatever the phase centres of its constellations: that of the first sample kept.
    const SampleOutcome outcome = trackSample(record, slot, t, codes);
    if (outcome == SampleOutcome::kKept && !station_) station_ = LocalFrameAt(record.antennaPos);
    if (events_.sample) events_.sample(satellite.svid, t, outcome);
}

bool CggttsProcessor::closeTracks(uint32_t t) {
    if (slotAt(t) != kLastSlot) return false;
    bool isWaiting = false;
    for (const Constellation& constellation : kConstellations) {
        closeConstellation(t, constellation);
        isWaiting = isWaiting || !lineBuffer(constellation).empty();
    }
    return isWaiting;
}

void CggttsProcessor::closeConstellation(uint32_t t, const Constellation& constellation) {
    lineBuffers_[constellation.index].clear();
    for (int svid = constellation.firstSvid; svid <= constellation.lastSvid; ++svid) {
        const TrackOutcome outcome = closeTrack(svid, t, constellation);
        if (events_.close) events_.close(svid, t, recordOf(svid, constellation).sampleCount, outcome);
    }
}

TrackOutcome CggttsProcessor::closeTrack(int svid, uint32_t t, const Constellation& constellation) {
    const LocalFrame station = station_.value_or(LocalFrame{});  // without a sample there is no line to need it
    std::string& lines = lineBuffers_[constellation.index];
    DataLine line;
    const TrackOutcome outcome = finishTrack(recordOf(svid, constellation), t, config_, station, line);
    if (outcome != TrackOutcome::kLine) return outcome;
    if (lines.size() >= kFullLineBuffer) return TrackOutcome::kNoRoom;
    line.svid = static_cast<uint8_t>(svid);
    formatDataLine(line, lines);
    return TrackOutcome::kLine;
}
