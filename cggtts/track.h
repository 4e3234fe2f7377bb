// One satellite's track: the code measurements it is given, and the data line they end in.
#pragma once

#include <array>
#include <cstdint>

#include "cggtts/constellations.h"
#include "cggtts/dataline.h"
#include "cggtts/runconfig.h"
#include "cggtts/schedule.h"
#include "utils/geometry/geometry.h"
#include "utils/nav/navdatadecoder/satnavdecoder/ephemeris.h"

constexpr int kMinSamples = 21;  // of 26, for a line

// The two code measurements of one satellite at one instant.
struct CodePair {
    uint8_t glonassChannel = 0;  // frequency number + 8
    Qon::Nav::SignalType signal1 = Qon::Nav::kNoSignal;
    Qon::Nav::SignalType signal2 = Qon::Nav::kNoSignal;
    double code1 = Qon::Nav::kNotAvailable;  // m
    double code2 = Qon::Nav::kNotAvailable;
};

struct TrackSample {
    uint32_t t = 0;  // s since 1980-01-06
    int slot = 0;
    CodePair codes;
};

struct TrackRecord {
    Qon::Nav::Ephemeris ephemeris;  // as it was when the track started
    double delay1Ns = 0;            // total delay of signal 1, ns
    double delay2Ns = 0;
    Qon::Nav::Vector3 antennaPos;
    float zenithDelay = 0;    // m
    int32_t sampleCount = 0;  // samples in use
    std::array<TrackSample, kSlotsPerTrack> samples;
};

// Empties the record and loads what stays the same for the track; the ephemeris is the caller's to set.
void startTrack(TrackRecord& record, const RunConfig& config, const Constellation& constellation);

// Keeps a sample taken at t (s since 1980-01-06) in the given slot. False, with nothing kept, without a slot, when the
// record is full, or when its ephemeris is not usable at t.
bool trackSample(TrackRecord& record, int slot, uint32_t t, const CodePair& codes);

// The line of a track closed at t, its last instant: every sample corrected, lines fitted and evaluated at the middle
// of the track. Group delays, clock and position are those of the satellite of the record's ephemeris, whichever
// satellite the codes are of. `station` is the frame of the run's station. Fills all of `line` but svid.
// False without 21 samples or below the elevation mask; then `line` may be partly written.
bool finishTrack(const TrackRecord& record, uint32_t t, const RunConfig& config, const Qon::Nav::LocalFrame& station,
                 DataLine& line);
