// What the fuzz targets share.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// Stops the fuzzer with a report when something that must hold does not.
void require(bool holds, const char* what);

// A directory of the process's own, removed when it ends: the working directory as long as one of these lives. Only
// then, because the fuzzer's own paths may be relative to the directory that it was started in.
class InScratchDirectory {
public:
    InScratchDirectory();
    InScratchDirectory(const InScratchDirectory&) = delete;
    InScratchDirectory& operator=(const InScratchDirectory&) = delete;
    ~InScratchDirectory();
};

// Sends what the program prints on either stream to nowhere; the fuzzer and the sanitizers go on printing.
void silencePrinting();

// Writes a file of the working directory.
void writeFile(const char* name, const uint8_t* data, size_t size);

// Checks every CGGTTS file in the working directory, which holds nothing else but the log named, and removes it: below
// the column titles every line has 127 characters, the last two of which are its checksum unless letters are zeroed.
void checkAndRemoveOutputs(const std::string& logName, bool numericOnly);

// One data line with its line feed.
void checkDataLine(const std::string& line, bool numericOnly);
