#include "zeltlog/trackledger.h"

#include <algorithm>
#include <array>
#include <memory>

#include "cggtts/schedule.h"
#include "utils/geometry/navtools.h"
#include "zeltlog/openlog.h"

using namespace Qon::Nav;

namespace {

constexpr const char* kFateTexts[kTrackFates] = {
    "line",
    "no ephemeris at the start of the track",
    "ephemeris unhealthy",
    "ephemeris too old or too new",
    "too few samples",
    "below the mask",
    "one code missing",
    "no room in the file's 23 lines",
    "track not finished by the log",
    "outside the window",
    "constellation excluded",
};
static_assert(kMostLines == 23);  // as the text of kNoRoom says

// Listens to a pass and its engine, and hands out the rows of a track once the next one has begun, or the log ended.
class TrackLedger {
public:
    using OnRow = std::function<void(const TrackRow&)>;

    // Sets the events of both, which must live as long as the ledger.
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
    bool isClosed_ = false;   // by the engine, the track under way
    bool isRevisit_ = false;  // it had been closed before
    uint32_t start_ = 0;      // of it
    std::array<Tally, 256> tallies_{};
};

// The engine tells of samples with both codes in the window. What it never sees (codes missing, epochs outside the
// window) is counted from the pass, on the engine's schedule.
TrackLedger::TrackLedger(FilePass& pass, PassEvents& events, OnRow onRow) : pass_(pass), onRow_(std::move(onRow)) {
    events.block = [this](Bytes block) { noteBlock(block); };
    events.epoch = [this](bool isInWindow) { noteEpoch(isInWindow); };
    pass.processor.setEvents({
        .sample = [this](int svid, uint32_t, SampleOutcome outcome) { noteSample(svid, outcome); },
        .close = [this](int svid, uint32_t, int samples, TrackOutcome outcome) { noteClose(svid, samples, outcome); },
    });
}

void TrackLedger::noteBlock(Bytes block) {
    if (isEpochBlock(block)) epochTimes_.add(blockTime(block));
}

int TrackLedger::slotAt(uint32_t t, bool isInWindow) {
    if (!pass_.config.isContiguous) return slotIndex(t);
    if (!hasAnchor_ && isInWindow) {  // as the engine, which sees no epoch outside the window
        hasAnchor_ = true;
        anchor_ = t;
    }
    return hasAnchor_ ? contiguousSlotIndex(t, anchor_) : kNoSlot;
}

void TrackLedger::noteEpoch(bool isInWindow) {
    const ZeltMeasEpoch& epoch = pass_.epoch;
    const uint32_t t = epoch.wnc * kSecondsPerWeek + epoch.tow / 1000;
    // The same epochs that the engine takes: of several in a second, the first.
    if (t % kSampleSpacing != 0 || t == latest_) return;
    latest_ = t;
    const int slot = slotAt(t, isInWindow);
    if (slot == kNoSlot) return;
    const uint32_t start = t - static_cast<uint32_t>(slot + 1) * kSampleSpacing;
    // A log may step back behind the last instant of a track, and come to it once more.
    const bool isAgain = isOpen_ && start == start_ && (isClosed_ || isRevisit_);
    if (isOpen_ && (start != start_ || isClosed_)) closeLedger();
    isRevisit_ = isAgain;
    isOpen_ = true;
    start_ = start;
    for (const ZeltMeasSat& satellite : epoch.used()) {
        const Constellation* constellation = constellationOf(satellite.svid);
        if (constellation == nullptr) continue;
        Tally& tally = tallies_[satellite.svid];
        ++tally.measured;
        if (!hasBoth(findCodes(satellite, *constellation))) continue;
        ++tally.bothCodes;
        if (!isInWindow) ++tally.outside;
    }
}

void TrackLedger::noteSample(int svid, SampleOutcome outcome) {
    Tally& tally = tallies_[static_cast<size_t>(svid)];
    if (outcome == SampleOutcome::kNoEphemeris) ++tally.noEphemeris;
    if (outcome == SampleOutcome::kUnhealthy) ++tally.unhealthy;
    if (outcome == SampleOutcome::kTooOldOrNew) ++tally.tooOldOrNew;
}

void TrackLedger::noteClose(int svid, int samples, TrackOutcome outcome) {
    Tally& tally = tallies_[static_cast<size_t>(svid)];
    isClosed_ = tally.isClosed = true;
    tally.kept = samples;
    tally.outcome = outcome;
}

// Why a closed track has fewer samples than a line needs.
TrackFate TrackLedger::whyTooFew(const Tally& tally) {
    if (tally.bothCodes < kMinSamples) {
        return tally.measured < kMinSamples ? TrackFate::kTooFewSamples : TrackFate::kCodeMissing;
    }
    if (tally.bothCodes - tally.outside < kMinSamples) return TrackFate::kOutsideWindow;
    // An ephemeris stays the same for a track, so nearly all refusals have one cause; only its age may pass the limit
    // amid the track.
    const int refused = std::max({tally.noEphemeris, tally.unhealthy, tally.tooOldOrNew});
    if (refused == 0) return TrackFate::kTooFewSamples;  // a break in the log began the track anew
    if (refused == tally.noEphemeris) return TrackFate::kNoEphemeris;
    return refused == tally.unhealthy ? TrackFate::kUnhealthy : TrackFate::kTooOldOrNew;
}

// What the user chose comes first, then what the log lacks, then what the engine says.
TrackFate TrackLedger::fateOf(int svid, const Tally& tally) const {
    const Constellation* constellation = constellationOf(svid);
    if (constellation == nullptr || !isConstellationEnabled(pass_.options, constellation->letter)) {
        return TrackFate::kExcluded;
    }
    if (svid > constellation->lastSvid)
        return TrackFate::kTooFewSamples;  // of unknown slot: it has no track of its own
    if (!tally.isClosed) {
        return tally.outside > 0 ? TrackFate::kOutsideWindow : TrackFate::kNotFinished;
    }
    switch (tally.outcome) {
        case TrackOutcome::kLine: return TrackFate::kLine;
        case TrackOutcome::kBelowMask: return TrackFate::kBelowMask;
        case TrackOutcome::kNoRoom: return TrackFate::kNoRoom;
        case TrackOutcome::kTooFewSamples: break;
    }
    return whyTooFew(tally);
}

void TrackLedger::closeLedger() {
    for (size_t svid = 0; isOpen_ && svid < tallies_.size(); ++svid) {
        const Tally& tally = tallies_[svid];
        // A line without a measurement: E01's, of samples of a GLONASS satellite of unknown slot (trackengine.cpp).
        const bool isLine = tally.isClosed && tally.outcome == TrackOutcome::kLine;
        if (tally.measured == 0 && !isLine) continue;
        // An epoch that came late: of its track all is told.
        if (isRevisit_ && !tally.isClosed) continue;
        const int number = static_cast<int>(svid);
        onRow_({start_, number, tally.bothCodes, tally.kept, fateOf(number, tally)});
    }
    tallies_ = {};
    isOpen_ = isClosed_ = false;
}

}  // namespace

FollowedLog followTracks(const RunConfig& config, const RunOptions& options,
                         const std::function<void(const TrackRow&)>& onRow, const OnProgress& onProgress) {
    const auto pass = std::make_unique<FilePass>(config, options);
    PassEvents events;
    TrackLedger ledger(*pass, events, onRow);
    const ZeltFault fault = followLog(*pass, events, onProgress);
    ledger.finish();
    return {ledger.epochTimes(), fault};
}

const char* fateText(TrackFate fate) { return kFateTexts[static_cast<size_t>(fate)]; }
