#include "cggtts/track.h"

#include "cggtts/linefit.h"
#include "cggtts/troposphere.h"
#include "utils/geometry/constants.h"
#include "utils/geometry/sigtypes.h"
#include "utils/nav/positionfilter/models/orbits/groupdelay.h"

using namespace Qon::Nav;

namespace {

constexpr double kSecondsPerNanosecond = 1e-9;
constexpr double kHalfTrack = kTrackLength / 2.0;  // s

// The corrected samples of a track: lengths in m, offsets in s since the track's printed start.
struct CorrectedSamples {
    std::array<double, kSlotsPerTrack> refsv;
    std::array<double, kSlotsPerTrack> refsys;
    std::array<double, kSlotsPerTrack> tropo;
    std::array<double, kSlotsPerTrack> iono;  // on signal 1
    std::array<double, kSlotsPerTrack> offsets;
};

// Sample i of a record by the equations of the header, all in m: the columns' units are the writer's.
void correctSample(const TrackRecord& record, size_t i, const LocalFrame& station, SatelliteModel& model,
                   CorrectedSamples& corrected) {
    const auto& [t, slot, codes] = record.samples[i];
    const CorrectedCodes code = correctCodes(record.ephemeris, model, t, codes, record.delays);
    const Vector3 satellite = model.GetSatPosition(code.sentSystemTime, record.antennaPos);
    const double range = GetLineOfSight(record.antennaPos, satellite).range;
    const double elevation = GetElevation(satellite, record.antennaPos, station);
    const float tropo = tropoMapping(record.zenithDelay, static_cast<float>(elevation));

    corrected.refsv[i] = code.ionoFree - tropo + code.relativity - range;
    corrected.refsys[i] = corrected.refsv[i] + code.clock;
    corrected.tropo[i] = tropo;
    corrected.iono[i] = code.iono;
    corrected.offsets[i] = (slot + 1) * static_cast<double>(kSampleSpacing);
}

// Lines through n corrected samples; `middle` is where they are evaluated, s since the track's printed start.
void fitTrack(const CorrectedSamples& corrected, size_t n, double middle, DataLine& line) {
    const double* x = corrected.offsets.data();
    const Line refsv = fitLine(x, corrected.refsv.data(), n);
    line.refsv = refsv.at(middle);
    line.srsv = refsv.slope;
    const Line refsys = fitLine(x, corrected.refsys.data(), n, &line.dsg);
    line.refsys = refsys.at(middle);
    line.srsys = refsys.slope;
    // Ionosphere and troposphere come in single precision; in about one line of 50 000 a last digit hangs on it.
    double ionoRms = 0;
    const Line iono = fitLine(x, corrected.iono.data(), n, &ionoRms);
    line.mdio = static_cast<float>(iono.at(middle));
    line.smdi = static_cast<float>(iono.slope);
    line.isg = static_cast<float>(ionoRms);
    const Line tropo = fitLine(x, corrected.tropo.data(), n);
    line.mdtr = static_cast<float>(tropo.at(middle));
    line.smdt = static_cast<float>(tropo.slope);
}

}  // namespace

PairDelays delaysOf(const RunConfig& config, const Constellation& constellation) {
    return {config.delayCableNs - config.delayReferenceNs + config.*constellation.delay1Ns,
            config.delayCableNs - config.delayReferenceNs + config.*constellation.delay2Ns};
}

CorrectedCodes correctCodes(const Ephemeris& ephemeris, const SatelliteModel& model, uint32_t t, const CodePair& codes,
                            const PairDelays& delays) {
    const double f1 = GetSignalFrequency(codes.signal1, codes.glonassChannel);
    const double f2 = GetSignalFrequency(codes.signal2, codes.glonassChannel);
    const double alpha = f1 * f1 / (f1 * f1 - f2 * f2);
    const GroupDelays group = TrackGroupDelays(ephemeris, f1, f2);
    const double p1 = codes.code1 - delays.first * kSecondsPerNanosecond * kSpeedOfLight - group.first;
    const double p2 = codes.code2 - delays.second * kSecondsPerNanosecond * kSpeedOfLight - group.second;
    CorrectedCodes corrected;
    corrected.ionoFree = alpha * p1 + (1 - alpha) * p2;
    corrected.iono = (p1 - p2) * (1 - alpha);

    // When the signal left: by the satellite's clock, which the code tells, and in system time. The latter is without
    // the relativistic term, 2 sqrt(mu a) e sin E / c^2: at most 69 ns for GPS, whose e is at most 0.03 (IS-GPS-200,
    // table 20-III), and 400 ns for the two Galileo satellites on eccentric orbits. The satellite moves 0.3 mm (1.5 mm)
    // in it, 1 ps (5 ps) at most.
    const double sentSatelliteTime = t - corrected.ionoFree / kSpeedOfLight;
    corrected.clock = model.GetSatClockBias(sentSatelliteTime);
    corrected.relativity = model.GetRelativisticCorr(sentSatelliteTime);
    corrected.sentSystemTime = t - (corrected.clock + corrected.ionoFree) / kSpeedOfLight;
    return corrected;
}

void startTrack(TrackRecord& record, const RunConfig& config, const Constellation& constellation) {
    record.delays = delaysOf(config, constellation);
    record.antennaPos = config.phaseCentre[constellation.index];
    record.zenithDelay = zenithTropoDelay(record.antennaPos);
    record.sampleCount = 0;
}

SampleOutcome judgeEphemeris(const Ephemeris& ephemeris, uint32_t t) {
    if (IsEphemerisUsable(ephemeris, t)) return SampleOutcome::kKept;
    if (IsEmpty(ephemeris)) return SampleOutcome::kNoEphemeris;
    return HeadOf(ephemeris).isHealthy ? SampleOutcome::kTooOldOrNew : SampleOutcome::kUnhealthy;
}

// Samples are kept as measured and corrected when the track is finished, so that those without a line cost nothing.
SampleOutcome trackSample(TrackRecord& record, int slot, uint32_t t, const CodePair& codes) {
    if (slot < 0 || slot >= kSlotsPerTrack) return SampleOutcome::kBetweenTracks;
    if (record.sampleCount >= kSlotsPerTrack) return SampleOutcome::kFull;
    const SampleOutcome outcome = judgeEphemeris(record.ephemeris, t);
    if (outcome != SampleOutcome::kKept) return outcome;
    record.samples[static_cast<size_t>(record.sampleCount)] = {t, slot, codes};
    ++record.sampleCount;
    return SampleOutcome::kKept;
}

TrackOutcome finishTrack(const TrackRecord& record, uint32_t t, const RunConfig& config, const LocalFrame& station,
                         DataLine& line) {
    if (record.sampleCount < kMinSamples) return TrackOutcome::kTooFewSamples;

    // Direction at mid-track, where the lines are evaluated too. A direction that is no number is below every mask.
    const double middle = kHalfTrack + config.leapSeconds;
    line.trackStart = t - kTrackLength;
    SatelliteModel model(record.ephemeris);
    const Vector3 satellite = model.GetSatPosition(line.trackStart + middle, record.antennaPos);
    const AzEl direction = GetAzEl(satellite, record.antennaPos, station);
    if (!(direction.elevation * kDegreesPerRadian >= config.elevationMaskDeg)) return TrackOutcome::kBelowMask;
    line.elevation = direction.elevation;
    line.azimuth = direction.azimuth;
    line.ioe = HeadOf(record.ephemeris).issue;
    line.frequencyNumber = HeadOf(record.ephemeris).frequencyNumber;

    const auto n = static_cast<size_t>(record.sampleCount);
    CorrectedSamples corrected;
    for (size_t i = 0; i < n; ++i) correctSample(record, i, station, model, corrected);
    fitTrack(corrected, n, middle, line);
    return TrackOutcome::kLine;
}
