#include "zeltlog/codesource.h"

#include <algorithm>
#include <cmath>

#include "cggtts/troposphere.h"
#include "utils/geometry/constants.h"

using namespace Qon::Nav;

namespace {

// Standard deviation of an ionosphere-free code (m), in the order of kConstellations: receiver noise and multipath,
// three times those of one code and larger towards the horizon, with the errors of broadcast orbits and clocks. GLONASS
// is far off the others: its channels are delayed differently in the receiver, by metres from satellite to satellite,
// whatever the elevation. BeiDou's broadcast clocks and group delays are the coarser ones.
//
// The residuals of a geodetic receiver's day are smaller: by elevation and constellation the values here are 1.3 to 2.9
// times their RMS, and the variance factor of the day is 0.34. That is room on purpose. The integrity test takes errors
// for independent and normal, which multipath and orbits are not, nor is every antenna in a place as good; its rate of
// false alarms is to hold for them, too. It costs small errors that could be found. The standard deviations of the
// result do not hang on it: they follow the residuals.
constexpr std::array<CodeNoise, kTrackedConstellations> kCodeNoise = {{
    {.zenith = 0.9, .slope = 0.5},  // GPS
    {.zenith = 3.0, .slope = 0.8},  // GLONASS
    {.zenith = 0.7, .slope = 0.4},  // Galileo
    {.zenith = 1.5, .slope = 1.0},  // BeiDou
}};
static_assert(kTrackedConstellations <= kMaxClocks);

Vector3 upAt(const Vector3& position) {
    const LocalFrame frame = LocalFrameAt(position);
    return {frame.cosLat * frame.cosLon, frame.cosLat * frame.sinLon, frame.sinLat};
}

}  // namespace

CodeModel makeCodeModel(const StationConfig& config) {
    CodeModel model;
    std::copy(kCodeNoise.begin(), kCodeNoise.end(), model.noise.begin());
    model.troposphere = {zenithTropoDelay, tropoMapping};
    model.elevationMask = config.elevationMaskDeg / kDegreesPerRadian;
    return model;
}

void setPhaseCentres(const StationConfig& config, const Vector3& position, CodeModel& model) {
    const Vector3& from = config.referencePoint;
    if (!std::isfinite(from.x + from.y + from.z)) return;  // then no height is known
    const LocalFrame stated = LocalFrameAt(from);
    const Vector3 up = upAt(position);
    for (size_t i = 0; i < kTrackedConstellations; ++i) {
        const double height = EcefToEnu(Difference(config.phaseCentre[i], from), stated).z;
        model.phaseCentre[i] = {height * up.x, height * up.y, height * up.z};
    }
}

const std::vector<CodeMeasurement>& CodeSource::measurementsAt(uint32_t t) {
    measurements_.clear();
    for (const ZeltMeasSat& satellite : pass_.epoch.used()) {
        const Constellation* constellation = constellationOf(satellite.svid);
        if (constellation == nullptr || satellite.svid > constellation->lastSvid) continue;
        if (isConstellationEnabled(pass_.options, constellation->letter)) add(satellite, *constellation, t);
    }
    return measurements_;
}

CodeSource::Modelled& CodeSource::modelled(int svid) {
    const auto slot = static_cast<size_t>(svid);
    Modelled& satellite = models_[slot];
    const Ephemeris& newest = pass_.store.slots[slot];
    if (satellite.model && satellite.ephemeris == newest) return satellite;
    satellite.ephemeris = newest;
    satellite.model.emplace(satellite.ephemeris);
    return satellite;
}

void CodeSource::add(const ZeltMeasSat& satellite, const Constellation& constellation, uint32_t t) {
    CodeTally& counts = tallies_[constellation.index];
    const CodePair codes = findCodes(satellite, constellation);
    if (!hasBoth(codes)) {
        ++counts.codeMissing;
        return;
    }
    Modelled& source = modelled(satellite.svid);
    switch (judgeEphemeris(source.ephemeris, t)) {
        case SampleOutcome::kNoEphemeris: ++counts.noEphemeris; return;
        case SampleOutcome::kUnhealthy: ++counts.unhealthy; return;
        case SampleOutcome::kTooOldOrNew: ++counts.tooOldOrNew; return;
        default: break;
    }
    ++counts.offered;
    const PairDelays delays = delaysOf(pass_.config, constellation);
    const CorrectedCodes code = correctCodes(source.ephemeris, *source.model, t, codes, delays);
    measurements_.push_back({.satellite = satellite.svid,
                             .clock = static_cast<int>(constellation.index),
                             .sentFrom = source.model->GetSentPosition(code.sentSystemTime),
                             .range = code.ionoFree + code.clock + code.relativity});
}
