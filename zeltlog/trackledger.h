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

// What followed a log leaves beside its rows.
struct FollowedLog {
    EpochTimes epochTimes;
    ZeltFault fault;  // what kept the rest from being read
};

// Passes over the log named in the options as a conversion does, writes nothing, and hands out a row for each satellite
// and track in which the satellite was measured, track by track.
FollowedLog followTracks(const RunConfig& config, const RunOptions& options,
                         const std::function<void(const TrackRow&)>& onRow, const OnProgress& onProgress = nullptr);
