// The navigation path: a hostile navigation block, and a track of the satellite that it speaks of. An input is the
// first coordinate of the station for GPS, which is the cable's delay in ns too (f64), and the block.
#include <memory>
#include <sstream>

#include "cggtts/trackengine.h"
#include "fuzz/logmutator.h"
#include "fuzz/support.h"
#include "tests/support/satellite.h"
#include "utils/zeltdata/zeltnav.h"

namespace {

constexpr size_t kSettingsSize = 8;

// The satellite's signals by the block's number; where it is seen does not matter.
ByteVector epochOf(Bytes nav) {
    constexpr int kSignals[][3] = {
        {kZeltGpsNav, 1, 2}, {kZeltGalNav, 17, 20}, {kZeltGloNav, 8, 11}, {kZeltBdsNav, 28, 29}};
    Satellite satellite = kGpsSatellite;
    satellite.svid = nav.u8(kZeltSvidOffset);
    for (const auto& [number, signal1, signal2] : kSignals) {
        if (number != zeltNumber(nav)) continue;
        satellite.signal1 = signal1;
        satellite.signal2 = signal2;
    }
    return BlockBuilder(epochBlock(satellite, kTrackStart)).u8(38, 8 << 3).done();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const Bytes nav = Bytes{data, size}.sub(kSettingsSize, kZeltMaxLength);
    Qon::Nav::EphemerisStore store;
    ZeltNavBlock fixed;
    if (!zeltFixNavBlock(nav, fixed)) return 0;
    StoreNavBlock(store, fixed.bytes());
    RunConfig config = stationConfig(kStation);
    config.elevationMaskDeg = -91;
    config.phaseCentre[0].x = config.delayCableNs = Bytes{data, size}.f64(0);
    EpochReader reader;
    ZeltMeasEpoch epoch = *reader.decode({epochOf(nav)});
    const auto processor = std::make_unique<CggttsProcessor>(config, store);
    for (uint32_t slot = 0; slot < kSlotsPerTrack; ++slot) {
        epoch.tow = (kTrackStart + kSampleSpacing * (slot + 1)) * 1000;
        processor->addEpoch(epoch);
    }
    for (const Constellation& constellation : kConstellations) {
        std::istringstream lines(processor->lineBuffer(constellation));
        for (std::string line; std::getline(lines, line);) checkDataLine(line);
    }
    return 0;
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t maxSize, unsigned seed) {
    if (size < kSettingsSize || seed % 8 == 0) return LLVMFuzzerMutate(data, size, maxSize);
    return kSettingsSize + mutateLog(data + kSettingsSize, size - kSettingsSize, maxSize - kSettingsSize, seed / 8);
}
