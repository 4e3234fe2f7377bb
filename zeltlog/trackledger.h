// What became of every track in which a satellite was measured.
#pragma once

#include <array>
#include <cstdint>
#include <functional>

#include "app/pass.h"
#include "zeltlog/loginfo.h"

// In the order in which summaries list them.
enum class TrackFate : size_t {
    kLine,
    kNoEphemeris,
    kUnhealthy,
    kTooOldOrNew,
    kTooFewSamples,
    kBelowMask,
    kCodeMissing,
    kNoRoom,
    kNotFinished,
    kOutsideWindow,
    kExcluded,
    kFates,
};
constexpr size_t kTrackFates = static_cast<size_t>(TrackFate::kFates);

// "line", "no ephemeris at the start of the track", ...
const char* fateText(TrackFate fate);

struct TrackRow {
    uint32_t start = 0;  // s since 1980-01-06
    int svid = 0;
    int bothCodes = 0;  // instants with both codes
    int kept = 0;       // samples that the track had when it was closed
    TrackFate fate = TrackFate::kNotFinished;
};

// Listens to a pass and its engine, and hands out the rows of a track once the next one has begun, or the log ended.
class TrackLedger {
public:
    using OnRow = std::function<void(const TrackRow&)>;

    // Sets the events of both. The pass must live as long as the ledger listens.
    TrackLedger(FilePass& pass, PassEvents& events, OnRow onRow);

    // Hands out what is still to come, behind the pass.
    void finish() { closeLedger(); }

    const EpochTimes& epochTimes() const { return epochTimes_; }

private:
    struct Tally {
        int measured = 0;
        int bothCodes = 0;
        int outside = 0;  // of bothCodes, outside the time window
        int noEphemeris = 0;
        int unhealthy = 0;
        int tooOldOrNew = 0;
        int kept = 0;
        bool isClosed = false;
        TrackOutcome outcome = TrackOutcome::kTooFewSamples;
    };

    void noteBlock(Bytes block);
    void noteEpoch(bool isInWindow);
    void noteSample(int svid, SampleOutcome outcome);
    void noteClose(int svid, int samples, TrackOutcome outcome);
    void closeLedger();
    int slotAt(uint32_t t, bool isInWindow);
    TrackFate fateOf(int svid, const Tally& tally) const;
    static TrackFate whyTooFew(const Tally& tally);

    FilePass& pass_;
    OnRow onRow_;
    EpochTimes epochTimes_;
    bool hasAnchor_ = false;
    uint32_t anchor_ = 0;  // of contiguous tracks
    uint32_t latest_ = 0;
    bool isOpen_ = false;
    uint32_t start_ = 0;  // of the track under way
    std::array<Tally, 256> tallies_{};
};
