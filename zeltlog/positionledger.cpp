#include "zeltlog/positionledger.h"

#include <algorithm>
#include <cmath>

#include "utils/geometry/navtools.h"
#include "zeltlog/calendar.h"

using namespace Qon::Nav;

PositionLedger::PositionLedger(FilePass& pass, const StationConfig& config, PassEvents& events, OnEpoch onEpoch)
    : pass_(pass), config_(config), onEpoch_(std::move(onEpoch)), source_(pass), first_(kNoTime), last_(kNoTime) {
    settings_.model = makeCodeModel(config);
    settings_.limits = MakeIntegrityLimits(kEpochFalseAlarmRate);
    events.epoch = [this](bool isInWindow) { noteEpoch(isInWindow); };
}

// The position in use is asked neither where to begin nor which way is up, so that it cannot touch the result.
void PositionLedger::solve(std::span<const CodeMeasurement> measurements) {
    solution_ = SolveEpoch(measurements, settings_, start_);
    if (!IsUsable(solution_.outcome)) return;
    start_ = solution_.position;
    if (hasStart_) return;
    hasStart_ = true;
    setPhaseCentres(config_, start_, settings_.model);
    solution_ = SolveEpoch(measurements, settings_, start_);
}

void PositionLedger::noteEpoch(bool isInWindow) {
    const ZeltMeasEpoch& epoch = pass_.epoch;
    const uint32_t t = epoch.wnc * kSecondsPerWeek + epoch.tow / 1000;
    if (!isInWindow || t % kSampleSpacing != 0 || t == latest_) return;
    latest_ = t;
    last_ = int64_t{t} * 1000;
    if (first_ == kNoTime) first_ = last_;
    const std::vector<CodeMeasurement>& measurements = source_.measurementsAt(t);
    solve(measurements);
    AddEpoch(adjustment_, measurements, settings_.model, solution_);
    noteFaults(t, measurements);
    if (onEpoch_) onEpoch_({t, measurements, solution_});
}

void PositionLedger::noteFaults(uint32_t t, std::span<const CodeMeasurement> measurements) {
    for (size_t i = 0; i < std::min(measurements.size(), kMaxMeasurements); ++i) {
        const MeasurementResult& result = solution_.measurements[i];
        if (result.status != MeasurementStatus::kAtFault) continue;
        int& number = spellOf_[static_cast<size_t>(measurements[i].satellite)];
        const bool goesOn = number != 0 && t - spells_[static_cast<size_t>(number - 1)].last < kSpellGap;
        if (!goesOn && spells_.size() == kMaxSpells) {
            ++faultsNotListed_;
            continue;
        }
        if (!goesOn) {
            spells_.push_back({.svid = measurements[i].satellite, .first = t});
            number = static_cast<int>(spells_.size());
        }
        FaultSpell& spell = spells_[static_cast<size_t>(number - 1)];
        spell.last = t;
        ++spell.epochs;
        if (std::fabs(result.residual) > std::fabs(spell.largest)) spell.largest = result.residual;
    }
}
