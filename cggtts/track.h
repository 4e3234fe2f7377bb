// One satellite's track: the code measurements it is given, and the data line they end in.
//
// After P. Defraigne and G. Petit, CGGTTS-Version 2E: an extended standard for GNSS time transfer, Metrologia 52 (2015)
// G1, and for the ionosphere-free combination P3 the same authors, Time transfer to TAI using geodetic receivers,
// Metrologia 40 (2003) 184. For codes of two signals in m, received at t by the receiver's clock (GPS time), c being
// the speed of light and a = f1^2 / (f1^2 - f2^2):
//
//     Pi     = code i - c (internal delay i + cable - reference) - group delay i
//     P3     = a P1 + (1 - a) P2
//     CLK    = clock polynomial of the satellite at t - P3/c, in m; REL the relativistic term with it
//     R      = distance from the antenna to the satellite at t - (P3 + CLK)/c, turned with the Earth
//     T      = modelled troposphere at the satellite's elevation
//     REFSV  = (P3 - T - R + REL) / c       the laboratory's clock minus the satellite's
//     REFSYS = REFSV + CLK / c              the laboratory's clock minus system time
//     MSIO   = (1 - a) (P1 - P2) / c        ionosphere of signal 1; MDIO repeats it, no model is evaluated
//
// Each is sampled at up to 26 instants. The line holds the straight lines through the samples, values and slopes, and
// the RMS about them (DSG of REFSYS, ISG of MSIO). Values are those at mid-track in UTC: 390 s after the printed start,
// a time of UTC, and the leap seconds later by which the samples' GPS time is ahead of it.
#pragma once

#include <array>
#include <cstdint>

#include "cggtts/constellations.h"
#include "cggtts/dataline.h"
#include "cggtts/runconfig.h"
#include "cggtts/schedule.h"
#include "utils/geometry/geometry.h"
#include "utils/nav/navdatadecoder/satnavdecoder/ephemeris.h"
#include "utils/nav/positionfilter/models/orbits/satellitemodel.h"

constexpr int kMinSamples = 21;  // of 26, for a line

// The two code measurements of one satellite at one instant.
struct CodePair {
    uint8_t glonassChannel = 0;  // frequency number + 8
    Qon::Nav::SignalType signal1 = Qon::Nav::kNoSignal;
    Qon::Nav::SignalType signal2 = Qon::Nav::kNoSignal;
    double code1 = Qon::Nav::kNotAvailable;  // m
    double code2 = Qon::Nav::kNotAvailable;
};

inline bool hasBoth(const CodePair& codes) {
    return codes.code1 > Qon::Nav::kAvailableAbove && codes.code2 > Qon::Nav::kAvailableAbove;
}

// What signals 1 and 2 are late by on their way through the station, ns: internal + cable - reference.
struct PairDelays {
    double first = 0;
    double second = 0;
};
PairDelays delaysOf(const RunConfig& config, const Constellation& constellation);

// A pair of codes by the equations above, without a place: all that is known but geometry and troposphere.
struct CorrectedCodes {
    double ionoFree = 0;        // P3, m
    double iono = 0;            // c MSIO, m
    double clock = 0;           // of the satellite, positive when ahead of system time, m; without REL
    double relativity = 0;      // REL, m
    double sentSystemTime = 0;  // when the signal left, GPS time, s since 1980-01-06
};

// `model` is that of the ephemeris, t the time of reception by the receiver's clock.
CorrectedCodes correctCodes(const Qon::Nav::Ephemeris& ephemeris, const Qon::Nav::SatelliteModel& model, uint32_t t,
                            const CodePair& codes, const PairDelays& delays);

struct TrackSample {
    uint32_t t = 0;  // s since 1980-01-06
    int slot = 0;
    CodePair codes;
};

struct TrackRecord {
    Qon::Nav::Ephemeris ephemeris;  // as it was when the track started
    PairDelays delays;
    Qon::Nav::Vector3 antennaPos;  // ECEF, m
    float zenithDelay = 0;         // m
    int32_t sampleCount = 0;       // samples in use
    std::array<TrackSample, kSlotsPerTrack> samples;
};

// Empties the record and loads what stays the same for the track; the ephemeris is the caller's to set.
void startTrack(TrackRecord& record, const RunConfig& config, const Constellation& constellation);

// What became of a sample that a track was offered.
enum class SampleOutcome {
    kKept,
    kBetweenTracks,  // no track is under way
    kFull,           // the record has all of its 26 samples
    kNoEphemeris,    // none was received before the track started
    kUnhealthy,
    kTooOldOrNew,  // the ephemeris' reference time is too far from the sample
};

// Whether an ephemeris allows a sample at t: kKept, or why it does not.
SampleOutcome judgeEphemeris(const Qon::Nav::Ephemeris& ephemeris, uint32_t t);

// Keeps a sample taken at t (s since 1980-01-06) in the given slot, or tells why nothing is kept.
SampleOutcome trackSample(TrackRecord& record, int slot, uint32_t t, const CodePair& codes);

// What became of a track.
enum class TrackOutcome {
    kLine,
    kTooFewSamples,
    kBelowMask,
    kNoRoom,  // it would be a line, but the constellation has kMostLines (trackengine.h) already
};

// The line of a track closed at t, its last instant. Group delays, clock and position are those of the satellite of the
// record's ephemeris, whichever satellite the codes are of; `station` is whose horizon elevations are above (GetAzEl).
// Fills all of `line` but svid. Of a track with fewer than 21 samples, or below the elevation mask at mid-track,
// `line` may be partly written.
TrackOutcome finishTrack(const TrackRecord& record, uint32_t t, const RunConfig& config,
                         const Qon::Nav::LocalFrame& station, DataLine& line);
