#include "utils/zeltdata/zeltsetup.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "utils/geometry/constants.h"
#include "utils/geometry/navtools.h"
#include "utils/zeltdata/zeltread.h"

using namespace Qon::Nav;

namespace {

// ReceiverSetup, by offset; the texts are NUL-padded.
constexpr size_t kAgency = 116;           // 40 characters
constexpr size_t kFirmwareVersion = 196;  // 20 characters, the last a NUL
constexpr size_t kProductName = 328;      // 40 characters, the last a NUL; revision 3
constexpr size_t kLatitude = 368;         // f64, rad; revision 4
constexpr size_t kLongitude = 376;        // f64, rad
constexpr size_t kHeight = 384;           // f32, m
constexpr int kProductNameRevision = 3;
constexpr int kPositionRevision = 4;

constexpr size_t kDeltaTls = 33;  // UTC blocks: i8, s

// GPS seconds at which each leap second took effect; the first makes GPS - UTC 1 s.
constexpr int64_t kLeapSeconds[] = {
    46828800,  78364801,  109900802, 173059203, 252028804, 315187205, 346723206,  393984007,  425520008,
    457056009, 504489610, 551750411, 599184012, 820108813, 914803214, 1025136015, 1119744016, 1167264017,
};
constexpr int64_t kTableEnd = 1261872000;  // 2020-01-01: nothing is known of leap seconds from there on

std::string textAt(Bytes block, size_t offset, size_t capacity) {
    const Bytes field = block.sub(offset, capacity);
    const uint8_t* end = std::find(field.data, field.data + field.size, uint8_t{0});
    return {field.data, end};
}

int32_t leapSecondsOfBlock(Bytes block) {
    const uint16_t number = zeltNumber(block);
    const bool stamped = zeltHasTimeStamp(block);
    if (stamped && (number == kZeltMeasEpoch || number == kZeltMeas3Ranges)) {
        return zeltLeapSecondsAt(int64_t{zeltWnc(block)} * kSecondsPerWeek + zeltTow(block) / 1000);
    }
    if (!stamped && (number == kZeltGpsUtc || number == kZeltUtc2)) return zeltUtcLeapSeconds(block);
    return kNoLeapSeconds;
}

}  // namespace

ZeltReceiverSetup zeltParseReceiverSetup(Bytes block) {
    ZeltReceiverSetup setup;
    setup.agency = textAt(block, kAgency, 40);
    setup.firmwareVersion = textAt(block, kFirmwareVersion, 19);
    setup.hasProductName = zeltRevision(block) >= kProductNameRevision;
    if (setup.hasProductName) setup.productName = textAt(block, kProductName, 39);
    setup.position = {block.f64(kLatitude), block.f64(kLongitude), block.f32(kHeight)};
    setup.hasPosition = zeltRevision(block) >= kPositionRevision && setup.position.latitude > kAvailableAbove;
    return setup;
}

int32_t zeltLeapSecondsAt(int64_t gpsSecond) {
    const auto* next = std::lower_bound(std::begin(kLeapSeconds), std::end(kLeapSeconds), gpsSecond);
    const auto count = static_cast<int32_t>(next - std::begin(kLeapSeconds));
    return count == 0 || gpsSecond >= kTableEnd ? kNoLeapSeconds : count;
}

int32_t zeltUtcLeapSeconds(Bytes block) { return block.has(kDeltaTls, 1) ? block.i8(kDeltaTls) : kNoLeapSeconds; }

bool zeltReadReceiverSetup(const char* path, ZeltReceiverSetup& setup) {
    ZeltFile file;
    zeltOpenFile(path, file);
    Bytes block;
    const int result = zeltGetNextBlock(file, block, kZeltReceiverSetup, kZeltReceiverSetup, kZeltPeek);
    if (result == kZeltFound) setup = zeltParseReceiverSetup(block);
    zeltCloseFile(file);
    return result == kZeltFound;
}

int32_t zeltLeapSecondsFromFile(const char* path) {
    ZeltFile file;
    zeltOpenFile(path, file);
    int32_t value = kNoLeapSeconds;
    Bytes block;
    while (value == kNoLeapSeconds && zeltGetNextBlock(file, block, kZeltAnyBlock, kZeltAnyBlock, 0) == kZeltFound) {
        value = leapSecondsOfBlock(block);
    }
    zeltCloseFile(file);
    return value;
}
