#include "cggtts/schedule.h"

#include "utils/geometry/navtools.h"

namespace {

constexpr uint32_t kSchedulePeriod = 86160;  // s, 23 h 56 min: about a sidereal day
constexpr uint32_t kLastPhase = 85440;       // s; a 90th track would begin behind it
constexpr uint32_t kFirstSlotOffset = 5;     // in samples: the first track's slot 0 is at phase 150 s
constexpr uint32_t kTrackSpacing = 32;       // in samples: 960 s

}  // namespace

uint32_t modifiedJulianDate(uint32_t t) {
    return (t - kScheduleOrigin) / Qon::Nav::kSecondsPerDay + kScheduleOriginMjd;
}

int slotIndex(uint32_t t) {
    const uint32_t phase = (t - kScheduleOrigin) % kSchedulePeriod;
    if (phase > kLastPhase) return kNoSlot;
    const uint32_t slot = (phase / kSampleSpacing - kFirstSlotOffset) % kTrackSpacing;
    return slot < kSlotsPerTrack ? static_cast<int>(slot) : kNoSlot;
}

int contiguousSlotIndex(uint32_t t, uint32_t anchor) {
    return static_cast<int>(((t - anchor) / kSampleSpacing + kLastSlot) % kSlotsPerTrack);
}
