// The parts of the program that a log's bytes pass through, timed one by one over the example log.
#include <benchmark/benchmark.h>

#include <iterator>
#include <memory>
#include <vector>

#include "cggtts/schedule.h"
#include "cggtts/trackengine.h"
#include "utils/geometry/geometry.h"
#include "utils/geometry/navtools.h"
#include "utils/nav/navdatadecoder/satnavdecoder/ephemerisstore.h"
#include "utils/zeltdata/meas3.h"
#include "utils/zeltdata/measepoch.h"
#include "utils/zeltdata/zeltcrc.h"
#include "utils/zeltdata/zeltmeas.h"
#include "utils/zeltdata/zeltnav.h"
#include "utils/zeltdata/zeltread.h"
#include "utils/zeltdata/zeltsetup.h"

namespace {

constexpr const char* kLog = ZELT_EXAMPLES "/esbc-2020-06-25-3h.zelt";
constexpr const char* kMeas3Log = ZELT_EXAMPLES "/esbc-2020-06-25-3h-meas3.zelt";

using BlockBytes = std::vector<uint8_t>;

Bytes viewOf(const BlockBytes& block) { return {block.data(), block.size()}; }

std::vector<BlockBytes> readBlocks(uint16_t number, const char* log = kLog) {
    std::vector<BlockBytes> blocks;
    ZeltFile file;
    zeltOpenFile(log, file);
    Bytes block;
    while (zeltGetNextBlock(file, block, number, number, 0) == kZeltFound) {
        blocks.emplace_back(block.data, block.data + block.size);
    }
    zeltCloseFile(file);
    return blocks;
}

int64_t totalSize(const std::vector<BlockBytes>& blocks) {
    size_t size = 0;
    for (const BlockBytes& block : blocks) size += block.size();
    return static_cast<int64_t>(size);
}

void crc(benchmark::State& state) {
    const BlockBytes data(static_cast<size_t>(state.range(0)), 0x5A);
    for ([[maybe_unused]] auto _ : state) benchmark::DoNotOptimize(zeltCrc(data.data(), data.size()));
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(crc)->Arg(48)->Arg(140)->Arg(1024)->Arg(2048)->Arg(65536);

void readFile(benchmark::State& state) {
    int64_t size = 0;
    for ([[maybe_unused]] auto _ : state) {
        ZeltFile file;
        zeltOpenFile(kLog, file);
        Bytes block;
        while (zeltGetNextBlock(file, block, kZeltAnyBlock, kZeltAnyBlock, 0) == kZeltFound) {
            benchmark::DoNotOptimize(block.data);
        }
        size = zeltGetFileLength(file);
        zeltCloseFile(file);
    }
    state.SetBytesProcessed(state.iterations() * size);
}
BENCHMARK(readFile)->Unit(benchmark::kMillisecond);

void decodeMeasEpoch(benchmark::State& state) {
    const std::vector<BlockBytes> blocks = readBlocks(kZeltMeasEpoch);
    const auto epoch = std::make_unique<ZeltMeasEpoch>();
    size_t next = 0;
    for ([[maybe_unused]] auto _ : state) {
        zeltDecodeMeasEpoch(viewOf(blocks[next++ % blocks.size()]), *epoch);
        benchmark::DoNotOptimize(epoch->satelliteCount);
    }
    state.SetBytesProcessed(state.iterations() * totalSize(blocks) / static_cast<int64_t>(blocks.size()));
}
BENCHMARK(decodeMeasEpoch)->Unit(benchmark::kMicrosecond);

// MeasEpoch and MeasExtra, as an epoch of the log has them.
void decodeRefinedEpoch(benchmark::State& state) {
    const std::vector<BlockBytes> blocks = readBlocks(kZeltMeasEpoch);
    const std::vector<BlockBytes> extras = readBlocks(kZeltMeasExtra);
    const auto epoch = std::make_unique<ZeltMeasEpoch>();
    size_t next = 0;
    for ([[maybe_unused]] auto _ : state) {
        const size_t i = next++ % blocks.size();
        zeltDecodeMeasEpoch(viewOf(blocks[i]), *epoch);
        zeltApplyMeasExtra(viewOf(extras[i]), *epoch);
        benchmark::DoNotOptimize(epoch->satelliteCount);
    }
    const int64_t size = totalSize(blocks) + totalSize(extras);
    state.SetBytesProcessed(state.iterations() * size / static_cast<int64_t>(blocks.size()));
}
BENCHMARK(decodeRefinedEpoch)->Unit(benchmark::kMicrosecond);

// The compact log of the same measurements, reference and delta epochs in turn, with all companions.
void decodeMeas3(benchmark::State& state) {
    std::vector<BlockBytes> blocks[5];
    constexpr uint16_t kNumbers[] = {kZeltMeas3Ranges, kZeltMeas3Doppler, kZeltMeas3Cn0HiRes, kZeltMeas3Pp,
                                     kZeltMeas3Mp};
    int64_t size = 0;
    for (size_t i = 0; i < std::size(kNumbers); ++i) {
        blocks[i] = readBlocks(kNumbers[i], kMeas3Log);
        size += totalSize(blocks[i]);
    }
    const auto epoch = std::make_unique<ZeltMeasEpoch>();
    Meas3References references;
    size_t next = 0;
    for ([[maybe_unused]] auto _ : state) {
        const size_t n = next++ % blocks[0].size();
        const Meas3Blocks antenna{viewOf(blocks[0][n]), viewOf(blocks[1][n]), viewOf(blocks[2][n]),
                                  viewOf(blocks[3][n]), viewOf(blocks[4][n])};
        zeltDecodeMeas3({antenna, {}}, references, *epoch);
        benchmark::DoNotOptimize(epoch->satelliteCount);
    }
    state.SetBytesProcessed(state.iterations() * size / static_cast<int64_t>(blocks[0].size()));
}
BENCHMARK(decodeMeas3)->Unit(benchmark::kMicrosecond);

// The epochs of the first whole track of the log, and the ephemerides known when it begins.
struct Track {
    std::vector<ZeltMeasEpoch> epochs;
    Qon::Nav::EphemerisStore store;
};

Track readTrack() {
    Track track;
    ZeltFile file;
    zeltOpenFile(kLog, file);
    const auto epoch = std::make_unique<ZeltMeasEpoch>();
    Bytes block;
    while (track.epochs.size() < kSlotsPerTrack &&
           zeltGetNextBlock(file, block, kZeltAnyBlock, kZeltAnyBlock, 0) == kZeltFound) {
        ZeltNavBlock nav;
        if (track.epochs.empty() && zeltFixNavBlock(block, nav)) Qon::Nav::StoreNavBlock(track.store, nav.bytes());
        if (!zeltCollectMeasBlock(file, block, *epoch, kZeltAllowMeasEpoch)) continue;
        const uint32_t t = epoch->wnc * Qon::Nav::kSecondsPerWeek + epoch->tow / 1000;
        if (slotIndex(t) == static_cast<int>(track.epochs.size())) track.epochs.push_back(*epoch);
    }
    zeltCloseFile(file);
    return track;
}

RunConfig stationConfig() {
    ZeltReceiverSetup setup;
    zeltReadReceiverSetup(kLog, setup);
    RunConfig config;
    config.leapSeconds = 18;
    const auto frame = Qon::Nav::MakeLocalFrame(setup.position.latitude, setup.position.longitude);
    config.phaseCentre.fill(Qon::Nav::GeodeticToEcef(frame, setup.position.height));
    return config;
}

void wholeTrack(benchmark::State& state) {
    const Track track = readTrack();
    const RunConfig config = stationConfig();
    bool closed = false;
    for ([[maybe_unused]] auto _ : state) {
        const auto processor = std::make_unique<CggttsProcessor>(config, track.store);
        for (const ZeltMeasEpoch& epoch : track.epochs) closed = processor->addEpoch(epoch);
    }
    if (!closed) state.SkipWithError("the track did not end in lines");
}
BENCHMARK(wholeTrack)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
