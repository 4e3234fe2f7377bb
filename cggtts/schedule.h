// The track schedule: which of a track's 26 instants, 30 s apart, a time is.
#pragma once

#include <cstdint>

constexpr uint32_t kSampleSpacing = 30;  // s
constexpr int kSlotsPerTrack = 26;
constexpr int kLastSlot = kSlotsPerTrack - 1;
constexpr uint32_t kTrackLength = kSlotsPerTrack * kSampleSpacing;  // s
constexpr int kNoSlot = -1;

// 1997-10-01 00:00, MJD 50722, in seconds since 1980-01-06: the origin of the BIPM schedule.
constexpr uint32_t kScheduleOrigin = 559699200;
constexpr uint32_t kScheduleOriginMjd = 50722;

// From this GPS week on, seconds since 1980 may cease to fit 32 bits (the time of week goes up to 4294967 s), and what
// is a multiple of 30 s in the week need not be one in all.
constexpr uint32_t kFirstWrappedWeek = 7095;

// Modified Julian date of a time, in unsigned arithmetic: it needs t from the origin on.
uint32_t modifiedJulianDate(uint32_t t);

// Slot (0 to 25) of time t (s since 1980-01-06, a multiple of 30) in the tracks of the BIPM schedule, kNoSlot between
// them: 89 tracks in 86160 s, 960 s apart, the first starting at 00:02 of MJD 50722 and 4 minutes earlier each day. A
// track's slots lie 30 s, 60 s, ... 780 s after its start.
int slotIndex(uint32_t t);

// Slot in tracks that follow each other every 780 s. `anchor` is the start of the first, and itself a last slot.
int contiguousSlotIndex(uint32_t t, uint32_t anchor);
