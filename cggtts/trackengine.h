// The track engine: epochs in, lines of closed tracks out.
//
// Every 30 s there is a sample instant. At the first slot of a track, and after a gap, every satellite's record is
// emptied and takes the ephemeris then in the store, which serves it to its end; at the last slot the records are
// finished into lines.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "cggtts/constellations.h"
#include "cggtts/runconfig.h"
#include "cggtts/track.h"
#include "utils/nav/navdatadecoder/satnavdecoder/ephemerisstore.h"
#include "utils/zeltdata/zeltmeasepoch.h"

// Of a constellation's tracks that are closed at one instant. README and manuals tell the number too.
constexpr size_t kMostLines = 23;

// What the engine tells of its work, to those who set it.
struct TrackEvents {
    // A sample with both codes was offered to the track of its satellite, at t (s since 1980-01-06).
    std::function<void(int svid, uint32_t t, SampleOutcome outcome)> sample;
    // A satellite's track was closed at t, its last instant, with so many samples kept.
    std::function<void(int svid, uint32_t t, int samples, TrackOutcome outcome)> close;
};

// The first antenna's codes of a constellation's two signals; where several slots hold the same signal, the last one's.
CodePair findCodes(const ZeltMeasSat& satellite, const Constellation& constellation);

class CggttsProcessor {
public:
    // Both are read at every epoch and must outlive the processor.
    CggttsProcessor(const RunConfig& config, const Qon::Nav::EphemerisStore& store);

    void setEvents(TrackEvents events) { events_ = std::move(events); }

    // Takes one measurement epoch, of which it uses the first antenna's codes. True when its instant closed the tracks
    // and at least one line is waiting in the line buffers. Epochs whose whole second is no multiple of 30, or is that
    // of the last sample, change nothing.
    bool addEpoch(const ZeltMeasEpoch& epoch);

    // The lines of the last closing, by satellite number, kMostLines at most (deliberate: files are fixed to the byte;
    // of more satellites those of the highest numbers go without).
    const std::string& lineBuffer(const Constellation& constellation) const {
        return lineBuffers_[constellation.index];
    }

    // The last sample instant, s since 1980-01-06; 0 before the first. It names the files.
    uint32_t lastSampleTime() const { return lastSampleTime_; }

private:
    void startTracks(uint32_t t);
    bool closeTracks(uint32_t t);
    void closeConstellation(uint32_t t, const Constellation& constellation);
    TrackOutcome closeTrack(int svid, uint32_t t, const Constellation& constellation);
    TrackRecord& recordOf(int svid, const Constellation& constellation);
    void addSatellite(const ZeltMeasSat& satellite, uint32_t t, int slot);
    int slotAt(uint32_t t) const;

    const RunConfig& config_;
    const Qon::Nav::EphemerisStore& store_;
    std::optional<Qon::Nav::LocalFrame> station_;  // of all directions: where the first sample kept was received
    uint32_t lastSampleTime_ = 0;                  // s; 0: there was none
    uint32_t contiguousAnchor_ = 0;                // the first sample instant
    std::array<TrackRecord, kTrackedSatellites> tracks_;
    std::array<std::string, kTrackedConstellations> lineBuffers_;
    TrackEvents events_;
};
