// The code measurements of an epoch as the position filter takes them: corrected as the tracks correct them, with the
// newest ephemerides of the log.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "app/pass.h"
#include "cggtts/constellations.h"
#include "utils/nav/positionfilter/codemodel.h"
#include "zeltlog/conversionrun.h"

// What became of the measurements of a constellation.
struct CodeTally {
    uint64_t offered = 0;  // to the filter
    uint64_t codeMissing = 0;
    uint64_t noEphemeris = 0;
    uint64_t unhealthy = 0;
    uint64_t tooOldOrNew = 0;
};

class CodeSource {
public:
    // The pass must outlive the source.
    explicit CodeSource(const FilePass& pass) : pass_(pass) {}

    // The measurements of the pass's epoch, whose time is t (s since 1980-01-06). Satellites are their SVIDs, clocks
    // the indices of kConstellations. Left out are constellations that -x excludes, satellites without a track of their
    // own, and what a track would not take, with a tally kept of these. Valid until the next call.
    const std::vector<Qon::Nav::CodeMeasurement>& measurementsAt(uint32_t t);

    const CodeTally& tally(const Constellation& constellation) const { return tallies_[constellation.index]; }

private:
    // A satellite with the ephemeris that its model was made of: what the model of a GLONASS satellite has integrated
    // is of use until a new one comes.
    struct Modelled {
        Qon::Nav::Ephemeris ephemeris;
        std::optional<Qon::Nav::SatelliteModel> model;
    };

    Modelled& modelled(int svid);
    void add(const ZeltMeasSat& satellite, const Constellation& constellation, uint32_t t);

    const FilePass& pass_;
    std::array<Modelled, 256> models_;  // by SVID
    std::array<CodeTally, kTrackedConstellations> tallies_{};
    std::vector<Qon::Nav::CodeMeasurement> measurements_;
};

// How measurements are weighted, delayed and masked. The phase centres are left at the reference point: which way is up
// is the filter's to find (setPhaseCentres).
Qon::Nav::CodeModel makeCodeModel(const StationConfig& config);

// Places the phase centres of the run above a position.
void setPhaseCentres(const StationConfig& config, const Qon::Nav::Vector3& position, Qon::Nav::CodeModel& model);
