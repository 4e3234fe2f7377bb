// seeds DIRECTORY: makes the seed corpora in DIRECTORY/TARGET: slices of the example logs, and simulated satellites.
#include <cstdio>
#include <random>

#include "cggtts/schedule.h"
#include "tests/support/logs.h"
#include "tests/support/satellite.h"
#include "utils/zeltdata/zeltnav.h"

namespace {

std::filesystem::path directory;

void writeSeed(const std::string& target, const std::string& name, const ByteVector& bytes) {
    std::filesystem::create_directories(directory / target);
    writeFile(directory / target / name, bytes);
}

// The first epochs of an example with all their blocks.
void writeEpochSeed(const std::string& name, const std::vector<Bytes>& blocks, uint8_t mode) {
    ByteVector seed{mode};
    for (const Bytes block : blocks) {
        if (zeltIsMeasBlock(block) && zeltTow(block) < zeltTow(blocks[0]) + 90000) seed += copyOf(block);
    }
    writeSeed("epochs", name, seed);
}

// A track of the compact example, from the reference epoch before it on, with every other ephemeris.
void writeTrackSeed(const std::vector<Bytes>& blocks) {
    const auto slotAt = [](int64_t second) { return slotIndex(static_cast<uint32_t>(second)); };
    ByteVector seed = copyOf(blocks[0]);
    bool isTrack = false;
    for (const Bytes block : blocks) {
        isTrack = isTrack || slotAt(secondOf(block) + kSampleSpacing) == 0;
        const bool isNav = !zeltIsMeasBlock(block) && !isTrack && block.u8(kZeltSvidOffset) % 2 == 0;
        if (isNav || (isTrack && zeltNumber(block) == kZeltMeas3Ranges)) seed += copyOf(block);
        if (isTrack && slotAt(secondOf(block)) == kLastSlot) break;
    }
    seed.push_back(0);  // the byte that sets the options
    writeSeed("conversion", "track", seed);
}

// The first epochs of the example with the ephemerides before them, enough for a position.
void writePositionSeed(const std::vector<Bytes>& blocks) {
    constexpr int kEpochs = 4;
    ByteVector seed;
    int epochs = 0;
    for (const Bytes block : blocks) {
        const bool isEpoch = zeltNumber(block) == kZeltMeasEpoch;
        const bool isNav = !zeltIsMeasBlock(block) && block.size < 200 && epochs == 0;
        if (isEpoch || isNav) seed += copyOf(block);
        if (isEpoch && ++epochs == kEpochs) break;
    }
    writeSeed("position", "epochs", seed);
}

// Of each kind a block in force at the simulated track, behind the settings of the navigation target.
void writeNavigationSeeds(const std::vector<Bytes>& blocks) {
    for (const Bytes block : blocks) {
        const uint16_t number = zeltNumber(block);
        const bool isFnav = block.u8(ZeltGalNav::kSource) == ZeltGalNav::kSourceFnav;
        const bool isNav = number == kZeltGpsNav || number == kZeltBdsNav || (number == kZeltGalNav && isFnav) ||
                           (number == kZeltGloNav && block.u32(ZeltGloNav::kToe) > kTrackStart);
        if (!isNav || zeltTow(block) > kTrackStart * 1000) continue;
        BlockBuilder settings(ByteVector{});
        writeSeed("navigation", std::to_string(number), joined({settings.f64(0, kStation.x).bytes, copyOf(block)}));
    }
}

void writeCommandLineSeeds() {
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
        writeSeed("commandline", "line" + std::to_string(++n), {text.begin(), text.end()});
    }
}

// Scripts of which no byte is special: noise does.
void writeReaderSeeds() {
    std::minstd_rand random;
    for (size_t n = 1; n <= 4; ++n) {
        ByteVector seed(400 * n);
        for (uint8_t& byte : seed) byte = static_cast<uint8_t>(random() >> 8);
        writeSeed("reader", "script" + std::to_string(n), seed);
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) return std::fprintf(stderr, "seeds: usage: seeds DIRECTORY\n");
    directory = argv[1];
    const ByteVector verbose = readLog(kExampleLog);
    const ByteVector compact = readLog(kCompactLog);
    const std::vector<Bytes> blocks = blocksOf(viewOf(compact));
    writeEpochSeed("verbose", blocksOf(viewOf(verbose)), kZeltAllowMeasEpoch);
    writeEpochSeed("compact", blocks, kZeltAllowMeas3);
    writeTrackSeed(blocks);
    writePositionSeed(blocksOf(viewOf(verbose)));
    writeNavigationSeeds(blocks);
    for (const Satellite& satellite : {kGpsSatellite, kGalSatellite, kBdsSatellite}) {
        writeSeed("conversion", {satellite.letter}, joined({simulate(satellite), {0}}));
    }
    writeCommandLineSeeds();
    writeReaderSeeds();
    return 0;
}
