#include "cggtts/writer.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <limits>

#include "cggtts/schedule.h"
#include "cggtts/version.h"
#include "utils/geometry/constants.h"
#include "utils/geometry/navtools.h"
#include "utils/geometry/satnames.h"

using namespace Qon::Nav;

namespace {

// The units of the columns. Those of lengths are 1e10 and 1e13 over the speed of light, as fixed digits: products with
// them decide how a tenth is rounded.
constexpr double kTenthDegreesPerPi = 1800.0;
constexpr double kTenthNsPerMetre = 33.3564095198152;
constexpr double kTenthPsPerMetre = 33356.409519815206;

// Rounded with halves away from zero. A value outside the range of the integer, or not a number, becomes the lowest.
int32_t rounded(double value) {
    const double integer = std::round(value);
    if (!(integer >= std::numeric_limits<int32_t>::min() && integer <= std::numeric_limits<int32_t>::max())) {
        return std::numeric_limits<int32_t>::min();
    }
    return static_cast<int32_t>(integer);
}

int32_t tenthDegrees(double angle) { return rounded(angle * kTenthDegreesPerPi / kIcdPi); }
int32_t tenthNs(double length) { return rounded(length * kTenthNsPerMetre); }
int32_t tenthPs(double rate) { return rounded(rate * kTenthPsPerMetre); }

// The numeric columns from ELV to HC, each behind a blank.
struct Column {
    size_t width;
    int32_t (*value)(const DataLine&);
};
constexpr Column kColumns[] = {
    {3, [](const DataLine& line) { return tenthDegrees(line.elevation); }},
    {4, [](const DataLine& line) { return tenthDegrees(line.azimuth); }},
    {11, [](const DataLine& line) { return tenthNs(line.refsv); }},
    {6, [](const DataLine& line) { return tenthPs(line.srsv); }},
    {11, [](const DataLine& line) { return tenthNs(line.refsys); }},
    {6, [](const DataLine& line) { return tenthPs(line.srsys); }},
    {4, [](const DataLine& line) { return tenthNs(line.dsg); }},
    {3, [](const DataLine& line) { return int32_t{line.ioe}; }},
    {4, [](const DataLine& line) { return tenthNs(line.mdtr); }},
    {4, [](const DataLine& line) { return tenthPs(line.smdt); }},
    {4, [](const DataLine& line) { return tenthNs(line.mdio); }},
    {4, [](const DataLine& line) { return tenthPs(line.smdi); }},
    {4, [](const DataLine& line) { return tenthNs(line.mdio); }},  // MSIO
    {4, [](const DataLine& line) { return tenthPs(line.smdi); }},  // SMSI
    {3, [](const DataLine& line) { return tenthNs(line.isg); }},
    {2, [](const DataLine& line) { return int32_t{line.frequencyNumber}; }},
    {2, [](const DataLine&) { return int32_t{0}; }},  // HC, the receiver's hardware channel: 0 when it is not told
};

// Both header lines above the columns.
constexpr const char* kColumnTitles =
    "SAT CL  MJD  STTIME TRKL ELV AZTH   REFSV      SRSV     REFSYS    SRSYS  DSG IOE "
    "MDTR SMDT MDIO SMDI MSIO SMSI ISG FR HC FRC CK\n"
    "             hhmmss  s  .1dg .1dg    .1ns     .1ps/s     .1ns    .1ps/s .1ns     "
    ".1ns.1ps/s.1ns.1ps/s.1ns.1ps/s.1ns\n";

void appendColumn(int32_t value, size_t width, std::string& text) {
    std::string digits = std::to_string(value);
    if (digits.size() > width) digits.assign(width, '*');
    text.append(1 + width - digits.size(), ' ').append(digits);
}

const char* frcOf(int svid) {
    const Constellation* constellation = constellationOf(svid);
    return constellation == nullptr ? kConstellations[0].frc : constellation->frc;
}

std::string twoCharacterCode(const std::string& code) {
    if (code.empty()) return "__";
    std::string two = (code + "_").substr(0, 2);
    for (char& c : two) {
        if (c == ' ') c = '_';
    }
    return two;
}

// A C variadic function, because compilers check the formats of these alone.
#if defined(__GNUC__)
__attribute__((format(printf, 3, 4)))
#endif
void  // NOLINTNEXTLINE(cert-dcl50-cpp)
appendLine(std::string& text, size_t capacity, const char* format, ...) {
    constexpr size_t kLargestCapacity = 160;
    char line[kLargestCapacity];
    va_list values;
    va_start(values, format);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): started on the line above
    std::vsnprintf(line, std::min(capacity, sizeof line), format, values);
    va_end(values);
    text += line;
}

}  // namespace

uint8_t cggttsChecksum(const std::string& text) {
    unsigned sum = 0;
    for (const char c : text) {
        if (c != '\n' && c != '\r') sum += static_cast<unsigned char>(c);
    }
    return static_cast<uint8_t>(sum & 0xFF);
}

std::string makeFileName(const Constellation& constellation, const std::string& labId, const std::string& rxId,
                         uint32_t lastSampleTime) {
    const unsigned mjd = modifiedJulianDate(lastSampleTime - kTrackLength);
    char name[20];
    std::snprintf(name, sizeof name, "%s%2s%2s%02u.%03u", constellation.filePrefix, twoCharacterCode(labId).c_str(),
                  twoCharacterCode(rxId).c_str(), mjd / 1000, mjd % 1000);
    return name;
}

std::string formatHeader(size_t constellation, const HeaderTexts& texts, const RunConfig& config) {
    if (constellation >= kConstellations.size()) return {};
    const Constellation& row = kConstellations[constellation];
    const Vector3& position = config.phaseCentre[constellation];
    const char* receiver = texts.receiverName.c_str();
    std::string header;
    appendLine(header, 50, "CGGTTS   GENERIC DATA FORMAT VERSION = 2E\n");
    appendLine(header, 50, "REV DATE = %s\n", texts.revisionDate.c_str());
    appendLine(header, 160, "RCVR = %s (%s)     %s\n", receiver, texts.firmwareVersion.c_str(), kProgramVersion);
    appendLine(header, 40, "CH = %d\n", texts.channels);
    appendLine(header, 80, "IMS = %s\n", receiver);
    appendLine(header, 80, "LAB = %s\n", texts.laboratory.c_str());
    appendLine(header, 50, "X = %.3f m\n", position.x);
    appendLine(header, 50, "Y = %.3f m\n", position.y);
    appendLine(header, 50, "Z = %.3f m\n", position.z);
    appendLine(header, 40, "FRAME = ITRF\n");
    appendLine(header, 160, "COMMENTS = LS=%d; ElMask=%.0fdeg; %s\n", config.leapSeconds, config.elevationMaskDeg,
               texts.comment.c_str());
    appendLine(header, 160, "INT DLY = %.1f ns (%s)   %.1f ns (%s)     CAL_ID = %s\n", config.*row.delay1Ns,
               row.delayLabel1, config.*row.delay2Ns, row.delayLabel2, texts.calibrationId.c_str());
    appendLine(header, 40, "CAB DLY = %.1f ns\n", config.delayCableNs);
    appendLine(header, 40, "REF DLY = %.1f ns\n", config.delayReferenceNs);
    appendLine(header, 80, "REF = %s\n", texts.timeReference.c_str());
    appendLine(header, 20, "CKSUM =");
    // The blank before the checksum is not summed (deliberate, as headers are fixed to the byte): readers that follow
    // the letter of the format and sum it find 0x20 less.
    appendLine(header, 10, " %02x\n", static_cast<unsigned>(cggttsChecksum(header)));
    appendLine(header, 10, "\n");
    header += kColumnTitles;
    return header;
}

void formatDataLine(const DataLine& line, std::string& text) {
    const size_t start = text.size();
    const unsigned second = line.trackStart % kSecondsPerDay;
    char front[40];
    std::snprintf(front, sizeof front, "%.3s FF%6u %02u%02u%02u%5u", SVIDToName(line.svid).data(),
                  static_cast<unsigned>(modifiedJulianDate(line.trackStart)), second / 3600, second / 60 % 60,
                  second % 60, static_cast<unsigned>(kTrackLength));
    text += front;
    for (const Column& column : kColumns) appendColumn(column.value(line), column.width, text);
    text.append(" ").append(frcOf(line.svid)).append(" ");
    char checksum[4];
    std::snprintf(checksum, sizeof checksum, "%02X\n", static_cast<unsigned>(cggttsChecksum(text.substr(start))));
    text += checksum;
}
