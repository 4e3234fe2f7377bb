// The track schedule: which of a track's 26 instants, 30 s apart, a time is.
//
// Times are s since 1980-01-06 00:00 as the receiver stamps its epochs, that is GPS time. The schedule is followed on
// this count as it stands, though it is one of UTC; where lines are evaluated makes up for it (track.h).
#pragma once

#include <cstdint>

constexpr uint32_t kSampleSpacing = 30;  // s
constexpr int kSlotsPerTrack = 26;
constexpr int kLastSlot = kSlotsPerTrack - 1;
constexpr uint32_t kTrackLength = kSlotsPerTrack * kSampleSpacing;  // s
constexpr int kNoSlot = -1;

// The reference date of the BIPM's schedule, 1997-10-01 00:00, MJD 50722. No function here is of use for times before
// it: their differences wrap, and what comes out is neither a slot of the schedule nor a date.
constexpr uint32_t kScheduleOrigin = 559699200;
constexpr uint32_t kScheduleOriginMjd = 50722;

// From this GPS week on, seconds since 1980 may cease to fit 32 bits (the time of week goes up to 4294967 s), and what
// is a multiple of 30 s in the week need not be one in all.
constexpr uint32_t kFirstWrappedWeek = 7095;

// Modified Julian date of a time from kScheduleOrigin on.
uint32_t modifiedJulianDate(uint32_t t);

// Slot (0 to 25) of a time from kScheduleOrigin on, a multiple of 30, in the BIPM's schedule; kNoSlot between tracks.
//
// D. W. Allan and C. Thomas, Technical directives for standardization of GPS time receiver software, Metrologia 31
// (1994) 69-79: tracks of 13 minutes, every day 4 minutes earlier, as the GPS satellites come by. Counted from the
// reference date there are 89 tracks in 86160 s, 960 s apart, the first starting at 00:02. A track's slots lie 30 s,
// 60 s, ... 780 s after its start.
int slotIndex(uint32_t t);

// Slot in tracks that follow each other every 780 s, for a time from `anchor` on and a multiple of 30 s behind it.
// `anchor` is the start of the first track, and as the end of one before it a last slot itself.
int contiguousSlotIndex(uint32_t t, uint32_t anchor);
