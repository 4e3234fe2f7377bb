// The antenna's position, epoch by epoch and by the whole log.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "utils/nav/positionfilter/epochsolution.h"
#include "utils/nav/positionfilter/logadjustment.h"
#include "zeltlog/codesource.h"
#include "zeltlog/logspan.h"

// Share of clean epochs in which the integrity test is wrong to fail.
constexpr double kEpochFalseAlarmRate = 0.001;
// Share of right positions that are said to disagree.
constexpr double kVerdictFalseAlarmRate = 0.01;

// One epoch, as it is handed out.
struct PositionEpoch {
    uint32_t t = 0;  // s since 1980-01-06
    std::span<const Qon::Nav::CodeMeasurement> measurements;
    const Qon::Nav::EpochSolution& solution;
};

// A time in which the integrity test found a satellite at fault again and again.
struct FaultSpell {
    int svid = 0;
    uint32_t first = 0;  // s since 1980-01-06
    uint32_t last = 0;
    int epochs = 0;
    double largest = 0;  // residual by the others' position, m, with its sign
};

constexpr uint32_t kSpellGap = 600;  // s without a fault that end a spell
constexpr size_t kMaxSpells = 200;   // kept; the memory of a run has an end

// Listens to a pass. Epochs are those that the tracks take: at multiples of 30 s, within the time window.
class PositionLedger {
public:
    using OnEpoch = std::function<void(const PositionEpoch&)>;

    // Sets the pass's epoch event. Pass and configuration must outlive the ledger. onEpoch may be null.
    PositionLedger(FilePass& pass, const StationConfig& config, PassEvents& events, OnEpoch onEpoch);

    // Beginning and end of the epochs, ms since 1980-01-06; kNoTime without one.
    int64_t first() const { return first_; }
    int64_t last() const { return last_; }

    const Qon::Nav::LogAdjustment& adjustment() const { return adjustment_; }
    const CodeTally& tally(const Constellation& constellation) const { return source_.tally(constellation); }
    const std::vector<FaultSpell>& spells() const { return spells_; }
    uint64_t faultsNotListed() const { return faultsNotListed_; }

private:
    void noteEpoch(bool isInWindow);
    void solve(std::span<const Qon::Nav::CodeMeasurement> measurements);
    void noteFaults(uint32_t t, std::span<const Qon::Nav::CodeMeasurement> measurements);

    FilePass& pass_;
    const StationConfig& config_;
    OnEpoch onEpoch_;
    CodeSource source_;
    Qon::Nav::EpochSettings settings_;
    Qon::Nav::EpochSolution solution_;
    bool hasStart_ = false;
    Qon::Nav::Vector3 start_;  // the newest position; the Earth's centre before there is one
    Qon::Nav::LogAdjustment adjustment_;
    int64_t first_;
    int64_t last_;
    uint32_t latest_ = 0;
    std::vector<FaultSpell> spells_;
    std::array<int, 256> spellOf_{};  // by SVID: its newest spell, counted from 1
    uint64_t faultsNotListed_ = 0;
};
