// What a run takes from the log before it reads the measurements: the receiver's setup and the leap second.
#pragma once

#include <cstdint>
#include <string>

#include "utils/geometry/geometry.h"
#include "utils/zeltdata/zeltblock.h"

// The first ReceiverSetup block of a log. Texts end at their first NUL.
struct ZeltReceiverSetup {
    std::string agency;           // at most 40 characters
    std::string firmwareVersion;  // at most 19
    bool hasProductName = false;  // from block revision 3 on
    std::string productName;      // at most 39
    bool hasPosition = false;     // from block revision 4 on, when the receiver knew its position
    Qon::Nav::Geodetic position;
};

// Reads a ReceiverSetup block. One shorter than its fields counts as filled up with zeros.
ZeltReceiverSetup zeltParseReceiverSetup(Bytes block);

// False, with `setup` untouched, when the file holds no ReceiverSetup block. Opens and closes the file (a failure is
// fatal).
bool zeltReadReceiverSetup(const char* path, ZeltReceiverSetup& setup);

// Leap seconds (GPS - UTC) at a GPS second by the table of those announced: from 1981-07-01 to 2019-12-31, else
// Qon::Nav::kNoLeapSeconds.
int32_t zeltLeapSecondsAt(int64_t gpsSecond);

// The leap second that a UTC block tells, whatever its time stamp; Qon::Nav::kNoLeapSeconds when it is too short.
int32_t zeltUtcLeapSeconds(Bytes block);

// Leap seconds (GPS - UTC), Qon::Nav::kNoLeapSeconds when the file does not tell. The first block that tells decides: a
// MeasEpoch or Meas3Ranges from 1981-07-01 to 2019-12-31, by a table, or a UTC block whose time stamp is do-not-use.
// One with a valid time stamp is passed over (deliberate: a log of 2020 or later then asks for -ls, which users'
// scripts give). Opens and closes the file (a failure is fatal).
int32_t zeltLeapSecondsFromFile(const char* path);
