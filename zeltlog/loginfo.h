// What a log holds, gathered in one pass over its blocks.
#pragma once

#include <array>
#include <bitset>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "cggtts/constellations.h"
#include "utils/zeltdata/zeltsetup.h"
#include "zeltlog/calendar.h"
#include "zeltlog/openlog.h"

// Instants, ms since 1980-01-06 on the receiver's scale. Of things that do not come in order, the earliest and latest.
struct TimeSpan {
    int64_t first = kNoTime;
    int64_t last = kNoTime;

    void add(int64_t t) {
        if (first == kNoTime || t < first) first = t;
        if (last == kNoTime || t > last) last = t;
    }
};

// The times of measurement epochs: how far apart they are, and where some are missing.
struct EpochTimes {
    struct Gap {
        int64_t from;  // the last epoch before it
        int64_t to;    // the first one behind it
    };
    static constexpr size_t kLongestGaps = 10;
    static constexpr size_t kDistances = 1000;

    TimeSpan span;
    uint64_t count = 0;
    uint64_t onHalfMinute = 0;              // epochs at multiples of 30 s
    uint64_t backwards = 0;                 // epochs that lie before the one logged before them
    int64_t latest = kNoTime;               // logged last
    std::map<int64_t, uint64_t> distances;  // ms between neighbours, how often; at most kDistances different ones
    std::vector<Gap> longest;               // the kLongestGaps greatest distances, longest first

    void add(int64_t t);
    int64_t interval() const;            // ms, the most frequent distance; kNoTime for fewer than two epochs
    bool isGap(int64_t distance) const;  // more than one and a half intervals
    uint64_t gapCount() const;
    int64_t missingTime() const;  // ms, that the gaps exceed the interval by, all together
};

// What one source tells of the leap second (GPS - UTC).
struct LeapSecondSource {
    uint64_t count = 0;  // blocks that tell, or instants
    int32_t lowest = 0;  // s
    int32_t highest = 0;

    void add(int32_t seconds);
};
enum LeapSecondSources : size_t { kLeapTable, kLeapStamped, kLeapUnstamped, kLeapSources };

// The navigation messages that ephemerides come in.
enum NavMessage : size_t { kNavOnly, kFnav, kInav, kOtherMessage, kNavMessages };

struct ConstellationInfo {
    std::bitset<256> seen;  // satellites with a measurement, by number
    // Measurements of a satellite at an epoch, by the codes of the two signals that a track is made of.
    uint64_t bothCodes = 0;
    uint64_t oneCode = 0;
    uint64_t noCode = 0;
    std::array<uint64_t, kNavMessages> ephemerides{};
    uint64_t unhealthy = 0;             // of those that tracks use
    std::bitset<256> withEphemeris;     // satellites
    int64_t latestEphemeris = kNoTime;  // ms
    int64_t longestWithout = 0;         // ms without an ephemeris that tracks use, ends of the log included
};

struct LogInfo {
    std::string path;
    int64_t size = 0;  // bytes
    ZeltFault fault;   // what kept the rest from being read

    std::vector<uint64_t> blockCounts = std::vector<uint64_t>(65536);  // by the ID field: number and revision
    uint64_t blocks = 0;
    uint64_t unstampedBlocks = 0;
    uint64_t crcErrors = 0;    // candidates with a wrong CRC
    int64_t strayBytes = 0;    // that belong to no block
    int64_t cutOffBytes = 0;   // there of a block that the file's end cuts off; 0: none is
    int64_t cutOffLength = 0;  // what that block's header says it has
    uint64_t backwards = 0;    // stamped blocks that lie before the one logged before them
    TimeSpan blockTimes;
    EpochTimes epochs;
    uint64_t decodedEpochs = 0;   // of which satellites and codes are counted
    bool areHalfMinutes = false;  // they are the ones at multiples of 30 s, which tracks use
    std::string format;           // "MeasEpoch", "Meas3" or both

    uint64_t setups = 0;  // ReceiverSetup blocks; the first one counts, as for the converter
    ZeltReceiverSetup setup;
    std::array<LeapSecondSource, kLeapSources> leapSeconds;
    std::array<ConstellationInfo, kTrackedConstellations> constellations;

    bool isReadable() const { return fault.place == ZeltFaultPlace::kNone; }
};

// True for the blocks that begin an epoch of measurements, with a time stamp.
bool isEpochBlock(Bytes block);

// Reads a log. A fault of the system is kept in the result, with what was read before it.
LogInfo readLogInfo(const std::string& path, const OnProgress& onProgress);

// True unless two sources tell different leap seconds.
bool leapSecondsAgree(const LogInfo& info);
