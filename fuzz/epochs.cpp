// The decoders of the measurement blocks, by way of the collector without a file. An input is two bytes that set the
// mode, and a log.
#include <memory>

#include "fuzz/logmutator.h"
#include "fuzz/support.h"
#include "utils/geometry/satnames.h"
#include "utils/geometry/sigtypes.h"
#include "utils/zeltdata/zeltread.h"
#include "utils/zeltdata/zeltsignal.h"

using namespace Qon::Nav;

namespace {

constexpr size_t kModeSize = 2;

// The internal numbers in use, those without a name among them.
bool isSvid(int svid) {
    constexpr int kUnnamed[][2] = {{33, 37}, {69, 69}};
    for (const auto& [first, last] : kUnnamed) {
        if (svid >= first && svid <= last) return true;
    }
    return SVIDToName(svid)[0] != '?';
}

void checkSatellite(const ZeltMeasSat& satellite) {
    require(isSvid(satellite.svid), "a satellite number");
    const int channel = satellite.glonassChannel;
    if (SVIDToConstellation(satellite.svid) == kGlonass) {
        require(channel >= kGlonassFirstChannel && channel <= kGlonassLastChannel, "a GLONASS channel");
    } else {
        require(channel == 0, "no channel but for GLONASS");
    }
    bool hasSignal = false;
    for (const auto& antenna : satellite.signals) {
        for (size_t slot = 0; slot < antenna.size(); ++slot) {
            const ZeltMeasSignal& signal = antenna[slot];
            if (signal.flags == 0) continue;
            hasSignal = true;
            require((signal.flags & ~(kZeltSlotUsed | kZeltInfoFlag | kZeltHalfCycle)) == 0, "flags");
            require((signal.flags & kZeltSlotUsed) != 0, "the mark of a used slot");
            require(zeltSignalSlot(signal.signalType) == static_cast<int>(slot), "a signal in its slot");
            require((signal.cn0Even & 1) == 0, "an even C/N0");
        }
    }
    require(hasSignal, "a satellite with a signal");
}

void checkEpoch(const ZeltMeasEpoch& epoch, bool isMeas3) {
    require(epoch.satelliteCount >= 0 && epoch.satelliteCount <= kZeltMaxSatellites, "the number of satellites");
    std::array<bool, 256> seen{};
    for (int i = 0; i < epoch.satelliteCount; ++i) {
        const ZeltMeasSat& satellite = epoch.satellites[static_cast<size_t>(i)];
        checkSatellite(satellite);
        require(!isMeas3 || !seen[satellite.svid], "one record for a satellite");
        seen[satellite.svid] = true;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < kModeSize) return 0;
    static ZeltMeasEpoch epoch;
    epoch = {};
    const auto file = std::make_unique<ZeltFile>();
    zeltOpenFile(nullptr, *file);
    const Bytes log{data + kModeSize, size - kModeSize};
    constexpr unsigned kFamilies = kZeltAllowMeas3 | kZeltAllowMeasEpoch;
    const unsigned mode = (data[0] & kFamilies) == 0 ? kFamilies : data[0] & (kFamilies | kZeltCodesOnly);
    const bool isMeas3 = (mode & kZeltAllowMeasEpoch) == 0;
    unsigned count = 0;
    for (size_t at = 0; at < log.size; ++count) {
        const size_t length = log.u16(at + kZeltLengthOffset);
        if (length < kZeltMinLength || !log.has(at, length)) {
            ++at;
            continue;
        }
        // A copy, so that a load behind a block's end is one behind an allocation's.
        const std::vector<uint8_t> copy(log.data + at, log.data + at + length);
        at += length;
        const Bytes block{copy.data(), copy.size()};
        if (!zeltHasTimeStamp(block)) continue;
        const unsigned interest = (data[1] >> count % 8 & 1) != 0 ? kZeltNoteOnly : 0;
        if (zeltCollectMeasBlock(*file, block, epoch, mode | interest)) checkEpoch(epoch, isMeas3);
    }
    if (zeltDecodePendingEpoch(*file, epoch, mode)) checkEpoch(epoch, isMeas3);
    zeltCloseFile(*file);
    return 0;
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t maxSize, unsigned seed) {
    if (size < kModeSize || maxSize < 2 * kModeSize) return size;
    if (seed % 64 == 0) data[seed / 64 % kModeSize] = static_cast<uint8_t>(seed / 128);
    return kModeSize + mutateLog(data + kModeSize, size - kModeSize, maxSize - kModeSize, seed);
}
