// What ends a program that reads logs: a system call that should never fail, failing.
#pragma once

// Which call failed. The numbers are printed, and tell the support desk; they stay what they are.
enum class ZeltFaultPlace : int {
    kNone = 0,
    kShrunk = 1,  // no call: a program that had asked for the file's length found it shorter at the end
    kLengthSeekEnd = 183,
    kLengthSeekBack = 188,
    kRead = 275,
    kRewindSeek = 383,
    kStepBackSeek = 421,
    kOpen = 460,
    kClose = 477,
};

// Prints "Abnormal program termination (...)" with the number and the text of errno on standard error and ends the
// program with status 1.
[[noreturn]] void zeltFatal(ZeltFaultPlace place);
