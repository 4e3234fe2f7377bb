// The decoders of the measurement blocks, by way of the collector without a file. An input is a byte that sets the
// mode, and a log.
#include "fuzz/logmutator.h"
#include "fuzz/support.h"
#include "utils/geometry/satnames.h"
#include "utils/geometry/sigtypes.h"
#include "utils/zeltdata/zeltsignal.h"

using namespace Qon::Nav;

namespace {

constexpr size_t kModeSize = 1;

// The internal numbers in use, those without a name among them.
bool isSvid(int svid) { return (svid >= 33 && svid <= 37) || svid == 69 || SVIDToName(svid)[0] != '?'; }

void checkSatellite(const ZeltMeasSat& satellite) {
    require(isSvid(satellite.svid), "a satellite number");
    const int channel = satellite.glonassChannel;
    if (SVIDToConstellation(satellite.svid) == kGlonass) {
        require(IsGlonassChannel(channel), "a GLONASS channel");
    } else {
        require(channel == 0, "no channel but for GLONASS");
    }
}

void checkEpoch(const ZeltMeasEpoch& epoch, bool isMeas3) {
    require(epoch.used().size() <= kZeltMaxSatellites, "the number of satellites");
    std::array<int, 256> records{};  // by satellite
    for (const int svid : svidsOf(epoch)) ++records[static_cast<size_t>(svid)];
    std::array<bool, 256> hasSignal{};
    forEachSignal(epoch, [&](const ZeltMeasSat& satellite, size_t, const ZeltMeasSignal& signal) {
        checkSatellite(satellite);
        hasSignal[satellite.svid] = true;
        require((signal.flags & ~(kZeltSlotUsed | kZeltInfoFlag | kZeltHalfCycle)) == 0, "flags");
        require((signal.flags & kZeltSlotUsed) != 0, "the mark of a used slot");
        require(zeltSignalSlot(signal.signalType) >= 0, "a signal with a slot");
        require((signal.cn0Even & 1) == 0, "an even C/N0");
    });
    for (size_t svid = 0; svid < records.size(); ++svid) {
        require(!isMeas3 || records[svid] <= 1, "one record for a satellite");
        require(records[svid] == 0 || hasSignal[svid], "a satellite with a signal");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < kModeSize) return 0;
    constexpr unsigned kFamilies = kZeltAllowMeas3 | kZeltAllowMeasEpoch;
    constexpr unsigned kCodesOnly = 8;
    const unsigned mode = (data[0] & kFamilies) == 0 ? kFamilies : data[0] & kFamilies;
    const auto check = [mode](const ZeltMeasEpoch& epoch) { checkEpoch(epoch, (mode & kZeltAllowMeasEpoch) == 0); };
    EpochReader reader(mode, {.codesOnly = (data[0] & kCodesOnly) != 0});
    for (const Bytes block : blocksOf({data + kModeSize, size - kModeSize}, Crc::kAny)) {
        // A copy, so that a load behind a block's end is one behind an allocation's.
        reader.take(viewOf(copyOf(block)), check);
    }
    reader.finish(check);
    return 0;
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t maxSize, unsigned seed) {
    if (size < kModeSize || maxSize < 2 * kModeSize) return size;
    if (seed % 64 == 0) data[0] = static_cast<uint8_t>(seed / 64);
    return kModeSize + mutateLog(data + kModeSize, size - kModeSize, maxSize - kModeSize, seed);
}
