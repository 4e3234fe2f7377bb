// Damaged logs: the run ends, its files are sound, and what the damage cannot have touched is there unchanged.
#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <random>
#include <set>
#include <string_view>
#include <tuple>

#include "app/driver.h"
#include "cggtts/schedule.h"
#include "cggtts/writer.h"
#include "tests/logbuilder.h"
#include "utils/geometry/navtools.h"
#include "utils/zeltdata/zeltnav.h"

namespace {

constexpr size_t kLogSize = 780000;  // of the example's front: five tracks
constexpr size_t kDamagesTried = 280;
constexpr double kLimit = 20;  // s for a conversion, which takes milliseconds: only a hang exceeds it

constexpr size_t kLineSize = 128;  // with its line feed
constexpr std::string_view kTitlesEnd = ".1ns.1ps/s.1ns\n";

using Random = std::minstd_rand;
using View = std::string_view;

// The valid blocks of a log, found byte by byte.
std::vector<View> blocksOf(const std::string& log) {
    std::vector<View> blocks;
    const Bytes bytes{reinterpret_cast<const uint8_t*>(log.data()), log.size()};
    for (size_t at = log.find("$@"); at != std::string::npos; at = log.find("$@", at)) {
        const size_t length = bytes.u16(at + kZeltLengthOffset);
        const bool isBlock = length >= kZeltMinLength && bytes.has(at, length) && zeltCrcIsValid(bytes.sub(at, length));
        if (isBlock) blocks.push_back(View(log).substr(at, length));
        at += isBlock ? length : 1;
    }
    return blocks;
}

// Satellites by block and satellite number.
using Satellite = std::pair<int, int>;

// What a line comes from: the second of its track's first epoch, its satellite, and a hash of its 26 epochs and of the
// ephemeris that the first of them found.
using Source = std::tuple<uint32_t, Satellite, size_t>;

// The sources of all lines that a log can yield without fail: 26 epochs follow each other, no other one between them.
std::set<Source> sourcesOf(const std::string& log) {
    std::set<Source> sources;
    std::map<Satellite, View> received;
    std::map<Satellite, View> inForce;
    std::string epochs;
    uint32_t last = 0;
    int next = 0;  // slot
    for (const View bytes : blocksOf(log)) {
        const Bytes block{reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()};
        const uint32_t t = zeltWnc(block) * Qon::Nav::kSecondsPerWeek + zeltTow(block) / 1000;
        const int number = zeltNumber(block);
        // Of Galileo's messages F/NAV counts.
        const bool counts = number != kZeltGalNav || block.u8(ZeltGalNav::kSource) == ZeltGalNav::kSourceFnav;
        if (counts) received[{number, block.u8(kZeltSvidOffset)}] = bytes;
        if (number != kZeltMeasEpoch || t == last) continue;
        const int slot = slotIndex(t);
        const bool goesOn = slot == 0 || (slot == next && t == last + kSampleSpacing);
        next = goesOn ? slot + 1 : kNoSlot;
        if (slot == 0) epochs.clear();
        if (slot == 0) inForce = received;
        last = t;
        epochs += bytes;
        if (next != kSlotsPerTrack) continue;
        for (const auto& [satellite, ephemeris] : inForce) {
            const size_t hash = std::hash<std::string>()(epochs + std::string(ephemeris));
            sources.emplace(t - kLastSlot * kSampleSpacing, satellite, hash);
        }
    }
    return sources;
}

// The source of a data line, among those of its log.
Source sourceOf(const std::string& line, const std::set<Source>& sources) {
    static const std::map<char, Satellite> kBlocks = {
        {'G', {kZeltGpsNav, 0}}, {'R', {kZeltGloNav, 37}}, {'E', {kZeltGalNav, 70}}, {'C', {kZeltBdsNav, 140}}};
    const auto at = [&line](size_t first, size_t size) { return std::stoul(line.substr(first, size)); };
    const size_t start = (at(7, 5) - kScheduleOriginMjd) * 86400 + at(13, 2) * 3600 + at(15, 2) * 60 + at(17, 2);
    Satellite satellite = kBlocks.at(line[0]);
    satellite.second += static_cast<int>(at(1, 2));
    return *sources.lower_bound({static_cast<uint32_t>(kScheduleOrigin + start + kSampleSpacing), satellite, 0});
}

// Converts the log into the directory; its data lines. Checks the checksums.
std::set<std::string> convert(const TestDirectory& directory, const std::string& log) {
    RunConfig config;
    config.leapSeconds = 18;
    config.phaseCentre.fill({3582105.291, 532589.7313, 5232754.8054});
    RunOptions options;
    options.inputFile = directory.write("log", {log.begin(), log.end()});
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(directory.path);
    OutputRegistry outputs;
    const auto start = std::chrono::steady_clock::now();
    processFile(config, options, outputs);
    EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), kLimit);
    closeOutputs(outputs);
    std::filesystem::current_path(before);
    std::set<std::string> lines;
    for (const auto& entry : std::filesystem::directory_iterator(directory.path)) {
        const std::string text = readFile(entry.path());
        std::filesystem::remove(entry.path());
        if (entry.path().filename() == "log") continue;
        const size_t summed = text.find("CKSUM =") + 7;
        EXPECT_EQ(std::stoul(text.substr(summed), nullptr, 16), cggttsChecksum(text.substr(0, summed)));
        for (size_t at = text.find(kTitlesEnd) + kTitlesEnd.size(); at < text.size(); at += kLineSize) {
            const std::string line = text.substr(at, kLineSize);
            EXPECT_EQ(line.find('\n'), kLineSize - 1);
            EXPECT_EQ(std::stoul(line.substr(125), nullptr, 16), cggttsChecksum(line.substr(0, 125)));
            lines.insert(line);
        }
    }
    return lines;
}

size_t below(Random& random, size_t count) { return random() % count; }

void insertGarbage(Random& random, std::string& log, size_t at, size_t size) {
    std::string garbage;
    while (garbage.size() < size / 8) {
        garbage += below(random, 9) == 0 ? "$@" : std::string(1, static_cast<char>(random()));
    }
    log.insert(at, garbage);
}

void swapBlocks(Random& random, std::string& log, size_t /*at*/, size_t size) {
    const auto blocks = blocksOf(log);
    const size_t i = below(random, blocks.size() - 1);
    const View a = blocks[i];
    const View b = blocks[std::min(i + 1 + size % 40, blocks.size() - 1)];
    const View between(a.data() + a.size(), static_cast<size_t>(b.data() - a.data()) - a.size());
    const std::string swapped = std::string(b).append(between).append(a);
    log.replace(static_cast<size_t>(a.data() - log.data()), swapped.size(), swapped);
}

// Each damages `size` bytes from `at` on, or about as much elsewhere.
using Damage = void (*)(Random& random, std::string& log, size_t at, size_t size);
constexpr Damage kDamages[] = {
    [](Random& random, std::string& log, size_t, size_t size) {
        for (size_t n = 0; n <= size % 8; ++n) log[below(random, log.size())] ^= static_cast<char>(1 << n);
    },
    [](Random&, std::string& log, size_t at, size_t size) { log.erase(at, size); },
    [](Random&, std::string& log, size_t at, size_t size) { log.insert(at, log.substr(at, size)); },
    [](Random&, std::string& log, size_t at, size_t size) { log.replace(at, size, size, '\0'); },
    [](Random&, std::string& log, size_t at, size_t) { log.resize(log.size() - at / 2); },
    insertGarbage,
    swapBlocks,
};

TEST(Damage, CostsNoLineThatItDidNotTouch) {
    const std::string log = readFile(kExampleLog, std::ios::binary).substr(0, kLogSize);
    const auto sources = sourcesOf(log);
    const TestDirectory directory;
    const auto lines = convert(directory, log);
    ASSERT_GT(lines.size(), 100U);
    Random random(5);
    size_t damages = 0;
    size_t claimed = 0;
    for (; damages < kDamagesTried; ++damages) {
        std::string damaged = log;
        const size_t size = below(random, log.size() / 16);
        kDamages[damages % std::size(kDamages)](random, damaged, below(random, log.size() - size), size);
        const auto left = sourcesOf(damaged);
        const auto kept = convert(directory, damaged);
        for (const std::string& line : lines) {
            if (left.count(sourceOf(line, sources)) == 0) continue;
            ++claimed;
            EXPECT_TRUE(kept.count(line) > 0) << "damage " << damages << ": " << line;
        }
    }
    EXPECT_GT(claimed, damages * lines.size() / 2);
    std::printf("%zu damages, %zu of %zu lines untouched\n", damages, claimed, damages * lines.size());
}

}  // namespace
