// The parts of the program that a log's bytes pass through, timed one by one over the example logs.
#include <benchmark/benchmark.h>

#include <memory>

#include "cggtts/schedule.h"
#include "cggtts/trackengine.h"
#include "tests/support/logs.h"
#include "utils/nav/navdatadecoder/satnavdecoder/ephemerisstore.h"
#include "utils/zeltdata/zeltcrc.h"
#include "utils/zeltdata/zeltnav.h"

namespace {

void crc(benchmark::State& state) {
    const ByteVector data(static_cast<size_t>(state.range(0)), 0x5A);
    for ([[maybe_unused]] auto _ : state) benchmark::DoNotOptimize(zeltCrc(data.data(), data.size()));
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(crc)->Arg(48)->Arg(140)->Arg(1024)->Arg(2048)->Arg(65536);

void readBlocks(benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state) {
        ZeltFile file;
        zeltOpenFile(kExampleLog.c_str(), file);
        Bytes block;
        while (zeltGetNextBlock(file, block, kZeltAnyBlock, kZeltAnyBlock, 0) == kZeltFound) {
            benchmark::DoNotOptimize(block.data);
        }
        zeltCloseFile(file);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(std::filesystem::file_size(kExampleLog)));
}
BENCHMARK(readBlocks)->Unit(benchmark::kMicrosecond);

// Epoch after epoch through the collector: all its blocks, or those with codes alone, as the program does it.
void decodeEpochs(benchmark::State& state, const std::string& path, bool codesOnly) {
    const ByteVector log = readLog(path);
    std::vector<std::vector<ByteVector>> epochs;
    int64_t size = 0;
    for (const Bytes block : blocksOf(viewOf(log))) {
        if (!zeltIsMeasBlock(block)) continue;
        if (epochs.empty() || secondOf(block) != secondOf(viewOf(epochs.back()[0]))) epochs.emplace_back();
        epochs.back().push_back(copyOf(block));
        size += static_cast<int64_t>(block.size);
    }
    EpochReader reader(kZeltAllowMeas3 | kZeltAllowMeasEpoch, {.codesOnly = codesOnly});
    size_t next = 0;
    for ([[maybe_unused]] auto _ : state) benchmark::DoNotOptimize(reader.decode(epochs[next++ % epochs.size()]));
    state.SetBytesProcessed(state.iterations() * size / static_cast<int64_t>(epochs.size()));
}
BENCHMARK_CAPTURE(decodeEpochs, measepoch, kExampleLog, false)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(decodeEpochs, measepoch_codes, kExampleLog, true)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(decodeEpochs, meas3, kCompactLog, false)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(decodeEpochs, meas3_codes, kCompactLog, true)->Unit(benchmark::kMicrosecond);

// The epochs of the first whole track of the log, with the ephemerides known when it begins.
void wholeTrack(benchmark::State& state) {
    std::vector<ZeltMeasEpoch> track;
    EpochReader().read(kExampleLog, [&track](const ZeltMeasEpoch& epoch) {
        const uint32_t t = epoch.wnc * Qon::Nav::kSecondsPerWeek + epoch.tow / 1000;
        if (slotIndex(t) == static_cast<int>(track.size())) track.push_back(epoch);
    });
    Qon::Nav::EphemerisStore store;
    const ByteVector log = readLog(kExampleLog);
    for (const Bytes block : blocksOf(viewOf(log))) {
        ZeltNavBlock nav;
        if (zeltTow(block) <= track[0].tow && zeltFixNavBlock(block, nav)) Qon::Nav::StoreNavBlock(store, nav.bytes());
    }
    const RunConfig config = stationConfig();
    bool closed = false;
    for ([[maybe_unused]] auto _ : state) {
        const auto processor = std::make_unique<CggttsProcessor>(config, store);
        for (const ZeltMeasEpoch& epoch : track) closed = processor->addEpoch(epoch);
    }
    if (!closed) state.SkipWithError("the track did not end in lines");
}
BENCHMARK(wholeTrack)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
