// What the fuzz targets share.
#pragma once

#include <cstdio>

#include "tests/support/logs.h"

// Makes a folder of the process's own the working directory: at the first run, not before, as the fuzzer may have been
// given relative paths.
inline void enterScratchFolder() {
    static const ScratchFolder folder;
    std::filesystem::current_path(folder.path);
}

// Sends what the program prints on either stream to nowhere. glibc lets a program replace its standard streams; the
// fuzzer keeps the ones that it took at its start.
inline void silencePrinting() {
    std::FILE* nowhere = std::fopen("/dev/null", "w");
    require(nowhere != nullptr, "/dev/null");
    stdout = nowhere;
    stderr = nowhere;
}
