// seeds LOG DIRECTORY: makes the seed corpora in DIRECTORY/TARGET from the example log. Of every constellation one
// satellite over one track, once in either measurement format: small, and enough for a line.
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "bench/encoders.h"
#include "bench/seedlog.h"
#include "cggtts/constellations.h"
#include "cggtts/schedule.h"
#include "utils/geometry/navtools.h"
#include "utils/zeltdata/zeltnav.h"

using namespace Qon::Nav;

namespace {

namespace fs = std::filesystem;

void writeSeed(const fs::path& directory, const std::string& name, const ByteVector& bytes) {
    fs::create_directories(directory);
    std::ofstream out(directory / name, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

void append(ByteVector& log, const std::vector<ByteVector>& blocks) {
    for (const ByteVector& block : blocks) log.insert(log.end(), block.begin(), block.end());
}

uint32_t secondsOf(const ZeltMeasEpoch& epoch) { return epoch.wnc * kSecondsPerWeek + epoch.tow / 1000; }

bool hasBothCodes(const ZeltMeasSat& satellite, const Constellation& c) {
    int found = 0;
    for (const ZeltMeasSignal& signal : satellite.signals[0]) {
        if (signal.flags != 0 && (signal.signalType == c.signal1 || signal.signalType == c.signal2)) ++found;
    }
    return found == 2;
}

// The epoch with that satellite alone; false when the satellite is not there with its two codes.
bool pick(const ZeltMeasEpoch& epoch, int svid, ZeltMeasEpoch& picked) {
    picked = epoch;
    picked.satelliteCount = 0;
    for (int i = 0; i < epoch.satelliteCount; ++i) {
        const ZeltMeasSat& satellite = epoch.satellites[static_cast<size_t>(i)];
        if (satellite.svid != svid || !hasBothCodes(satellite, *constellationOf(svid))) continue;
        picked.satellites[0] = satellite;
        picked.satelliteCount = 1;
    }
    return picked.satelliteCount == 1;
}

// The 26 epochs of the first track that the satellite is there throughout; empty when there is none.
std::vector<ZeltMeasEpoch> trackOf(const SeedLog& log, int svid) {
    std::vector<ZeltMeasEpoch> track;
    for (const ZeltMeasEpoch& epoch : log.epochs) {
        const int slot = slotIndex(secondsOf(epoch));
        ZeltMeasEpoch picked;
        if (slot == 0) track.clear();
        if (slot != kNoSlot && pick(epoch, svid, picked)) track.push_back(picked);
        if (slot == kLastSlot && track.size() == kSlotsPerTrack) return track;
    }
    return {};
}

bool isEphemerisOf(Bytes block, int svid) {
    const uint16_t number = zeltNumber(block);
    const bool isNav = number == kZeltGpsNav || number == kZeltGloNav || number == kZeltBdsNav ||
                       (number == kZeltGalNav && block.u8(ZeltGalNav::kSource) == ZeltGalNav::kSourceFnav);
    return isNav && block.u8(kZeltSvidOffset) == loggedSvid(static_cast<uint8_t>(svid));
}

// The blocks other than measurements that a track needs: the setup, and the ephemeris in force when it begins. Empty
// when there is no ephemeris yet.
ByteVector preludeOf(const SeedLog& log, int svid, uint32_t time) {
    ByteVector setup;
    ByteVector ephemeris;
    for (const SeedBlock& block : log.blocks) {
        const Bytes view{block.bytes.data(), block.bytes.size()};
        if (zeltNumber(view) == kZeltReceiverSetup) setup = block.bytes;
        if (isEphemerisOf(view, svid) && log.start + block.second <= int64_t{time}) ephemeris = block.bytes;
    }
    if (ephemeris.empty()) return {};
    append(setup, {ephemeris});
    return setup;
}

void writeTrackSeeds(const ByteVector& prelude, int svid, const std::vector<ZeltMeasEpoch>& track,
                     const fs::path& directory) {
    ByteVector verbose = prelude;
    ByteVector compact = prelude;
    ByteVector verboseEpochs{0, 0};
    ByteVector compactEpochs{1, 0};
    Meas3Encoder encoder;
    for (size_t i = 0; i < track.size(); ++i) {
        const auto blocks = encodeMeasEpoch(track[i]);
        const auto compactBlocks = encoder.encode(track[i], track[i + 1 < track.size() ? i + 1 : i]);
        append(verbose, {blocks[0]});
        append(compact, {compactBlocks[0]});
        if (i >= 4) continue;
        append(verboseEpochs, blocks);
        append(compactEpochs, compactBlocks);
    }
    verbose.push_back(0);  // the byte that sets the options
    compact.push_back(0);
    const std::string name = "satellite" + std::to_string(svid);
    writeSeed(directory / "conversion", name + "-verbose", verbose);
    writeSeed(directory / "conversion", name + "-compact", compact);
    writeSeed(directory / "epochs", name + "-verbose", verboseEpochs);
    writeSeed(directory / "epochs", name + "-compact", compactEpochs);
}

// Whole epochs: four of them, all satellites.
void writeEpochSeeds(const SeedLog& log, const fs::path& directory) {
    ByteVector verbose{0, 0};
    ByteVector compact{1, 0};
    Meas3Encoder encoder;
    for (size_t i = 0; i < 3; ++i) {
        append(verbose, encodeMeasEpoch(log.epochs[i]));
        append(compact, encoder.encode(log.epochs[i], log.epochs[i + 1]));
    }
    writeSeed(directory / "epochs", "whole-verbose", verbose);
    writeSeed(directory / "epochs", "whole-compact", compact);
}

// Plausible settings of the navigation target in front of each kind's first block.
void writeNavigationSeeds(const SeedLog& log, const fs::path& directory) {
    for (const uint16_t number : {kZeltGpsNav, kZeltGalNav, kZeltGloNav, kZeltBdsNav}) {
        for (const SeedBlock& block : log.blocks) {
            if (zeltNumber({block.bytes.data(), block.bytes.size()}) != number) continue;
            ByteVector seed{100, 0, 0, 8, 18, 0, 0, 0};
            for (const double value : {22e6, 22e6 + 3, 30.0}) {
                uint64_t bits = 0;
                std::memcpy(&bits, &value, sizeof bits);
                putBytes(seed, bits, sizeof bits);
            }
            append(seed, {block.bytes});
            writeSeed(directory / "navigation", "block" + std::to_string(number), seed);
            break;
        }
    }
}

void writeCommandLineSeeds(const fs::path& directory) {
    const std::string lines[] = {
        "\n-f\nlog",
        "\n-flog\n-px1\n-py2\n-pz3\n-ls18\n-elm-90",
        "\n-h",
        "\n-V",
        "\n-flog\n-b20-06-25_00:00:00\n-e2020\n-C\n-v",
        "\n-flog\n-al1.1\n-al2.2\n-ag1.1\n-ag2.2\n-ae5a.3\n-ab1.1\n-ab2.2\n-elm\n-90",
        "\n-flog\n-dl11\n-dl22\n-dg13\n-dg24\n-de5a5\n-de16\n-db17\n-db28\n-dref9\n-dcab10\n-elm-90\n-matlab",
        "\n-flog\n-labX\n-labidXY\n-rxid01\n-calidC\n-revdateR\n-commentC\n-trefT\n-suffix.s\n-xGR\n-elm-90",
    };
    int n = 0;
    for (const std::string& text : lines) {
        writeSeed(directory / "commandline", "line" + std::to_string(++n), {text.begin(), text.end()});
    }
}

// Scripts of which no byte is special: noise does.
void writeReaderSeeds(const fs::path& directory) {
    uint32_t state = 1;
    for (int n = 0; n < 4; ++n) {
        ByteVector seed;
        for (int i = 0; i < 400 * (n + 1); ++i) {
            state = state * 1664525 + 1013904223;
            seed.push_back(static_cast<uint8_t>(state >> 24));
        }
        writeSeed(directory / "reader", "script" + std::to_string(n), seed);
    }
}

}  // namespace

int main(int argc, char** argv) {
    SeedLog log;
    if (argc != 3 || !readSeed(argv[1], log)) {
        std::fprintf(stderr, "seeds: usage: seeds LOG DIRECTORY\n");
        return 1;
    }
    const fs::path directory = argv[2];
    for (const Constellation& c : kConstellations) {
        for (int svid = c.firstSvid; svid <= c.lastSvid; ++svid) {
            const auto track = trackOf(log, svid);
            if (track.empty()) continue;
            const ByteVector prelude = preludeOf(log, svid, secondsOf(track[0]));
            if (prelude.empty()) continue;
            writeTrackSeeds(prelude, svid, track, directory);
            break;
        }
    }
    writeEpochSeeds(log, directory);
    writeNavigationSeeds(log, directory);
    writeCommandLineSeeds(directory);
    writeReaderSeeds(directory);
    return 0;
}
