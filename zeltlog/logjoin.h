// One log made of many: their blocks in time order, each once.
//
// The logs are read side by side, each front to back, those whose time has come; what they give passes a window of some
// minutes (mergewindow.h) in which it is sorted and doubles meet. So a log that is out of order within itself by no
// more than the window comes out sorted; a block further off, later or earlier than those around it, goes behind the
// one that it followed, and is counted, as does a block without a time stamp. That a block is ahead of its time the 128
// behind it tell: of some dozens together the log is taken to go on there. Memory is that of the window and of the logs
// that overlap at a time.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "utils/zeltdata/zeltwindow.h"
#include "zeltlog/calendar.h"
#include "zeltlog/openlog.h"

struct JoinRequest {
    std::vector<std::string> logs;
    // First and last time of the blocks to keep, ms since 1980-01-06. What the receiver told before the first and what
    // then was current still (its setup, UTC, the navigation message of each satellite) comes in front.
    int64_t from = INT64_MIN;
    int64_t to = INT64_MAX;
    // Of measurements, the epochs whose whole second of the week is a multiple of it.
    uint32_t everySeconds = 1;
};

// What became of one log.
struct JoinedLog {
    std::string path;
    ZeltFault fault;           // what kept it, or the rest of it, from being read
    bool hasBlock = false;     // when it was read at all
    bool isReadWhole = false;  // to its end, without a fault
    uint64_t setups = 0;       // ReceiverSetup blocks in what was read
    int64_t strayBytes = 0;    // that belong to no block, of what was read
    uint64_t crcErrors = 0;    // candidates with a wrong CRC
    uint64_t outOfOrder = 0;   // blocks further out of order than the window
};

struct JoinSummary {
    std::vector<JoinedLog> logs;  // in the order of the request
    uint64_t blocks = 0;          // written
    uint64_t setups = 0;          // ReceiverSetup blocks among them
    int64_t bytes = 0;
    uint64_t doubles = 0;     // left out
    uint64_t conflicts = 0;   // measurement blocks that another log has otherwise at the same time
    int64_t first = kNoTime;  // of the blocks written, those in front not counted
    int64_t last = kNoTime;
};

// Hands the blocks of the joined log to `write` one by one, which returns false to end it. A log is read until its
// stamps lie behind the last time wanted for twice the window.
using WriteBlock = std::function<bool(Bytes block)>;
JoinSummary joinLogs(const JoinRequest& request, const WriteBlock& write, const OnProgress& onProgress);
