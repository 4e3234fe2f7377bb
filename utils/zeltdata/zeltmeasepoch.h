// The decoded measurement epoch, the same for every block family that it may come from.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>

constexpr int kZeltMaxSatellites = 80;
constexpr int kZeltAntennas = 2;
constexpr int kZeltSlots = 7;

// ZeltMeasSignal::flags
constexpr uint8_t kZeltSlotUsed = 0x80;
constexpr uint8_t kZeltInfoFlag = 0x20;   // MeasExtra Info bit 0, or Meas3PP
constexpr uint8_t kZeltHalfCycle = 0x04;  // half-cycle ambiguity not resolved

constexpr uint32_t kZeltLockJustGained = 10;  // ms, stored for a lock time of 0 s
constexpr int32_t kZeltNoClockJumps = std::numeric_limits<int32_t>::min();

// One signal of one satellite. A missing value is Qon::Nav::kNotAvailable.
struct ZeltMeasSignal {
    double pseudorange;        // m
    double carrierPhase;       // cycles
    float doppler;             // Hz
    float cn0;                 // dB-Hz
    uint32_t lockTime;         // ms; 0: unknown
    int16_t multipath;         // code multipath correction, mm
    int16_t smoothing;         // smoothing correction, mm
    float codeVariance;        // m^2
    float carrierVariance;     // cycles^2
    uint8_t signalType;        // signal number
    uint8_t flags;             // kZelt... above; 0: the slot is empty, its other fields say nothing
    uint8_t carrierMultipath;  // as logged: two's complement, 1/512 cycle
    uint8_t lossOfContinuity;  // counter
    uint8_t cn0Even;           // dB-Hz, rounded down to an even number; 0 when missing
};

using ZeltMeasSlots = std::array<ZeltMeasSignal, kZeltSlots>;

// The slots of one antenna that hold a signal, in the order of the slots.
class ZeltUsedSignals {
public:
    class Iterator {
    public:
        Iterator(const ZeltMeasSignal* at, const ZeltMeasSignal* end) : at_(at), end_(end) { skipEmpty(); }
        const ZeltMeasSignal& operator*() const { return *at_; }
        Iterator& operator++() {
            ++at_;
            skipEmpty();
            return *this;
        }
        bool operator==(const Iterator& other) const { return at_ == other.at_; }

    private:
        void skipEmpty() {
            while (at_ != end_ && at_->flags == 0) ++at_;
        }
        const ZeltMeasSignal* at_;
        const ZeltMeasSignal* end_;
    };

    explicit ZeltUsedSignals(const ZeltMeasSlots& slots) : slots_(slots) {}
    Iterator begin() const { return {slots_.data(), slots_.data() + slots_.size()}; }
    Iterator end() const { return {slots_.data() + slots_.size(), slots_.data() + slots_.size()}; }

private:
    const ZeltMeasSlots& slots_;
};

class ZeltMeasSat {
public:
    uint8_t channel = 0;         // RxChannel - 1, or the record's index when the block gives no channel
    uint8_t svid = 0;            // internal number
    uint8_t glonassChannel = 0;  // frequency number + 8 (1 to 14); 0 for other constellations

    // The signals of an antenna (0 or 1).
    ZeltUsedSignals used(size_t antenna) const { return ZeltUsedSignals(slots_[antenna]); }

    // The slots of an antenna, empty ones included: for decoders, which fill them.
    ZeltMeasSlots& slots(size_t antenna) { return slots_[antenna]; }

    // Begins the record of a satellite: no signal, no GLONASS channel.
    void start(uint8_t number, uint8_t receiverChannel) {
        svid = number;
        channel = receiverChannel;
        glonassChannel = 0;
        for (ZeltMeasSlots& antenna : slots_) {
            for (ZeltMeasSignal& signal : antenna) signal.flags = 0;  // which empties the slot
        }
    }

private:
    std::array<ZeltMeasSlots, kZeltAntennas> slots_{};
};

class ZeltMeasEpoch {
public:
    uint32_t tow = 0;                 // ms of the GPS week
    uint32_t wnc = 0;                 // GPS week
    int32_t timeStatus = 0;           // 0: no time, 1: TOW only, 2: week known
    int32_t wncValid = 0;             // 1 when the week is known
    int32_t clockJumps = 0;           // ms, cumulative; kZeltNoClockJumps: unknown
    float dopplerVarianceFactor = 0;  // Doppler variance over carrier variance
    uint32_t commonFlags = 0;         // CommonFlags bits 0, 1, 3, 5 as 0x01, 0x02, 0x08, 0x80

    // The satellites of this epoch, each with a signal at least.
    std::span<const ZeltMeasSat> used() const { return {satellites_.data(), count_}; }
    std::span<ZeltMeasSat> used() { return {satellites_.data(), count_}; }

    // For decoders: a record behind those used, to be filled and, with keep(), to become one of them. Kept in a full
    // epoch it takes the place of the last.
    ZeltMeasSat& next() { return satellites_[count_]; }
    void keep() {
        if (isFull()) {
            satellites_[count_ - 1] = satellites_[count_];
        } else {
            ++count_;
        }
    }
    bool isFull() const { return count_ == kZeltMaxSatellites; }
    void clear() { count_ = 0; }

private:
    size_t count_ = 0;
    std::array<ZeltMeasSat, kZeltMaxSatellites + 1> satellites_{};
};
