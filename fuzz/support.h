// What the fuzz targets share.
#pragma once

#include <cstdio>

#include "tests/support/logs.h"

// The process's own folder. Targets are inside it only while they run: the fuzzer's own paths may be relative.
inline const ScratchFolder& scratch() {
    static const ScratchFolder theFolder;
    return theFolder;
}

// Sends what the program prints on either stream to nowhere. glibc lets a program replace its standard streams; the
// fuzzer keeps the ones that it took at its start.
inline void silencePrinting() {
    std::FILE* nowhere = std::fopen("/dev/null", "w");
    require(nowhere != nullptr, "/dev/null");
    stdout = nowhere;
    stderr = nowhere;
}
