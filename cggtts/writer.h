// The text of CGGTTS version 2E files: names, headers, data lines, checksums. The format is that of P. Defraigne and
// G. Petit, CGGTTS-Version 2E: an extended standard for GNSS time transfer, Metrologia 52 (2015) G1; where files differ
// from its letter, README says so under "Compatibility".
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "cggtts/constellations.h"
#include "cggtts/dataline.h"
#include "cggtts/runconfig.h"

// What the header says beyond the run configuration, in the words of its lines.
struct HeaderTexts {
    std::string receiverName;     // RCVR and IMS
    std::string firmwareVersion;  // RCVR
    int channels = 0;             // CH
    std::string laboratory;       // LAB
    std::string revisionDate;     // REV DATE
    std::string calibrationId;    // CAL_ID
    std::string comment;          // COMMENTS
    std::string timeReference;    // REF
};

// Sum of the bytes of a text, line ends left out, modulo 256.
uint8_t cggttsChecksum(const std::string& text);

// File name from two-character codes of laboratory and receiver, for tracks closed at lastSampleTime (s since
// 1980-01-06; from the origin of schedule.h on, and a track later): "GZLL0060.123" for laboratory LL, receiver 00, a
// first track starting on MJD 60123. A blank in a code
// becomes "_", a missing second character too; a code without a first character becomes "__".
std::string makeFileName(const Constellation& constellation, const std::string& labId, const std::string& rxId,
                         uint32_t lastSampleTime);

// The header, with its checksum and the two title lines of the columns. `constellation` is the index into
// kConstellations; the text is empty for an index beyond it. A line too long for the room it has is cut and loses its
// line end (deliberate: headers are fixed to the byte). Texts within the capacities of their options never are too
// long, numbers of very many digits are.
std::string formatHeader(size_t constellation, const HeaderTexts& texts, const RunConfig& config);

constexpr size_t kDataLineSize = 128;  // characters, the line feed among them

// Appends one data line of kDataLineSize characters. A value that rounds to more characters than its column has is
// printed as asterisks; before that, one that is no number, or beyond 32 bits in its column's unit, becomes
// -2147483648.
void formatDataLine(const DataLine& line, std::string& text);
