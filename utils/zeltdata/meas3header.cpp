#include "utils/zeltdata/meas3header.h"

#include "utils/geometry/signaltable.h"
#include "utils/geometry/sigtypes.h"

using namespace Qon::Nav;

namespace {

// The header: first byte bits 0-2 bytes of the satellite mask (7: 8 bytes), 3-6 signal index of short masters, 7 a mask
// of excluded signals is there. Then the satellite mask; of GLONASS a nibble per satellite; of BeiDou 16 flags; the
// mask of excluded signals.
constexpr unsigned kMaskSizeBits = 0x07;
constexpr unsigned kLargestMaskSize = 8;
constexpr uint8_t kHasExcludedSignals = 0x80;

enum class Extra { kNone, kGlonassChannels, kHighOrbitFlags };

struct Meas3ConstellationRow {
    ConstellationCode code;
    int firstSvid;
    int lastSvid;
    double codeBase;  // m
    Extra extra;
};
constexpr std::array<Meas3ConstellationRow, kMeas3Constellations> kMeas3ConstellationRows = {{
    {kGps, 1, 37, 19e6, Extra::kNone},
    {kGlonass, 38, 68, 19e6, Extra::kGlonassChannels},
    {kGalileo, 71, 106, 22e6, Extra::kNone},
    {kBeiDou, 161, 197, 20e6, Extra::kHighOrbitFlags},
    {kSbas, 120, 158, 34e6, Extra::kNone},
    {kQzss, 201, 207, 34e6, Extra::kNone},
    {kNavic, 211, 224, 34e6, Extra::kNone},
}};
constexpr double kHighOrbitCodeBase = 34e6;  // m, geostationary and inclined orbits
constexpr size_t kHighOrbitFlags = 16;

constexpr size_t kExcludableSignals = 8;
using SignalNumbers = std::array<uint8_t, kExcludableSignals>;

// A number behind the table, so that no signal is stored for an index without one.
static_assert(kNoSignal >= kSignalTable.size() && kNoSignal <= UINT8_MAX);

// The signal numbers of each constellation by signal index.
constexpr auto kSignalNumbers = [] {
    std::array<SignalNumbers, kMeas3Constellations> numbers{};
    for (size_t c = 0; c < numbers.size(); ++c) {
        numbers[c].fill(kNoSignal);
        for (size_t i = 0; i < kSignalTable.size(); ++i) {
            const SignalRow& row = kSignalTable[i];
            if (row.constellation != kMeas3ConstellationRows[c].code || row.meas3Index < 0) continue;
            numbers[c][static_cast<size_t>(row.meas3Index)] = static_cast<uint8_t>(i);
        }
    }
    return numbers;
}();

// Indices count the signals that are left, so that short records reach the ones in use.
void nameSignals(const SignalNumbers& numbers, unsigned excluded, Meas3Header& header) {
    header.signalNumbers.fill(kNoSignal);
    size_t named = 0;
    for (size_t i = 0; i < numbers.size(); ++i) {
        if ((excluded >> i & 1) == 0) header.signalNumbers[named++] = numbers[i];
    }
}

}  // namespace

bool zeltParseMeas3Header(Bytes bytes, size_t constellation, Meas3Header& header) {
    const Extra extra = kMeas3ConstellationRows[constellation].extra;
    ByteCursor cursor{bytes};
    header.constellation = constellation;
    const uint8_t head = cursor.take(1).u8(0);
    const unsigned maskSize = head & kMaskSizeBits;
    header.shortMasterIndex = head >> 3 & 0x0F;
    const Bytes mask = cursor.take(maskSize == kMaskSizeBits ? kLargestMaskSize : maskSize);
    for (uint64_t left = mask.word(); left != 0; left = withoutLowestBit(left)) {
        header.satellites[header.satelliteCount++] = static_cast<uint8_t>(lowestBit(left));
    }
    if (extra == Extra::kGlonassChannels) header.glonassChannels = cursor.take((header.satelliteCount + 1) / 2);
    if (extra == Extra::kHighOrbitFlags) header.highOrbitFlags = cursor.take(2).u16(0);
    nameSignals(kSignalNumbers[constellation], (head & kHasExcludedSignals) != 0 ? cursor.take(1).u8(0) : 0U, header);
    header.size = bytes.size - cursor.rest.size;
    return !cursor.failed;
}

Meas3Satellite zeltMeas3Satellite(const Meas3Header& header, size_t n) {
    const Meas3ConstellationRow& row = kMeas3ConstellationRows[header.constellation];
    Meas3Satellite satellite;
    const int svid = row.firstSvid + header.satellites[n];
    if (svid <= row.lastSvid) satellite.svid = static_cast<uint8_t>(svid);
    const bool hasChannel = row.extra == Extra::kGlonassChannels;
    if (hasChannel) satellite.glonassChannel = header.glonassChannels.u8(n / 2) >> (n % 2 * 4) & 0x0F;
    const bool isHigh = n < kHighOrbitFlags && (unsigned{header.highOrbitFlags} >> n & 1) != 0;
    satellite.codeBase = isHigh ? kHighOrbitCodeBase : row.codeBase;
    satellite.isValid = satellite.svid != 0 && (!hasChannel || IsGlonassChannel(satellite.glonassChannel));
    return satellite;
}
