// Damaged logs: the run ends, its files are sound, and what the damage cannot have touched is there unchanged.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>

#include "cggtts/schedule.h"
#include "tests/support/logs.h"

namespace {

constexpr size_t kTracks = 5;
constexpr int kDamagesTried = 280;

using Random = std::minstd_rand;
using Lines = std::set<std::string>;

size_t below(Random& random, size_t count) { return random() % count; }

// The example as far as its first epoch, and the epochs of its first tracks, each track's for itself.
struct Example {
    ByteVector beginning;
    std::vector<ByteVector> tracks;

    Example() {
        const ByteVector log = readLog(kExampleLog);
        for (const Bytes block : blocksOf(viewOf(log))) {
            const bool isEpoch = zeltNumber(block) == kZeltMeasEpoch;
            const int slot = slotIndex(static_cast<uint32_t>(secondOf(block)));
            if (isEpoch && slot == 0) tracks.emplace_back();
            if (tracks.size() > kTracks) break;
            if (isEpoch && slot != kNoSlot && !tracks.empty()) tracks.back() += copyOf(block);
            if (!isEpoch && tracks.empty()) beginning += copyOf(block);
        }
        tracks.resize(kTracks);
    }
    Lines convert() const {
        const auto lines = dataLines(::convert(joined({beginning, joined(tracks)})));
        return {lines.begin(), lines.end()};
    }
};

// Each damages `size` bytes from `at` on, or about as much elsewhere.
using Damage = void (*)(Random& random, ByteVector& log, std::ptrdiff_t at, std::ptrdiff_t size);
constexpr Damage kDamages[] = {
    [](Random& random, ByteVector& log, auto, auto size) {
        for (auto n = size % 8; n >= 0; --n) log[below(random, log.size())] ^= static_cast<uint8_t>(1 << n);
    },
    [](Random&, ByteVector& log, auto at, auto size) { log.erase(log.begin() + at, log.begin() + at + size); },
    [](Random&, ByteVector& log, auto at, auto size) {
        const ByteVector again(log.begin() + at, log.begin() + at + size);
        log.insert(log.begin() + at, again.begin(), again.end());
    },
    [](Random&, ByteVector& log, auto at, auto size) { std::fill_n(log.begin() + at, size, uint8_t{0}); },
    [](Random& random, ByteVector& log, auto at, auto size) {
        ByteVector garbage(static_cast<size_t>(size));
        for (uint8_t& byte : garbage) byte = ByteVector{'$', '@', 0, 4, 'x'}[below(random, 5)];
        log.insert(log.begin() + at, garbage.begin(), garbage.end());
    },
    [](Random&, ByteVector& log, auto at, auto size) {
        std::rotate(log.begin() + at, log.begin() + at + size / 2, log.begin() + at + size);
    },
};

TEST(Damage, CostsNoLineOfOtherTracks) {
    const Example whole;
    const Lines lines = whole.convert();
    Lines linesOfTrack[kTracks];
    Lines together;
    for (size_t track = 0; track < kTracks; ++track) {
        Example alone = whole;
        alone.tracks = {whole.tracks[track]};
        linesOfTrack[track] = alone.convert();
        EXPECT_GT(linesOfTrack[track].size(), 15U) << track;
        together.insert(linesOfTrack[track].begin(), linesOfTrack[track].end());
    }
    EXPECT_EQ(together, lines);
    Random random(5);
    for (int damage = 0; damage < kDamagesTried; ++damage) {
        Example damaged = whole;
        const size_t track = below(random, kTracks);
        ByteVector& log = damaged.tracks[track];
        const size_t size = below(random, log.size() / 4);
        const size_t at = below(random, log.size() - size);
        kDamages[static_cast<size_t>(damage) % std::size(kDamages)](random, log, static_cast<std::ptrdiff_t>(at),
                                                                    static_cast<std::ptrdiff_t>(size));
        const Lines left = damaged.convert();
        for (const std::string& line : lines) {
            EXPECT_TRUE(linesOfTrack[track].count(line) > 0 || left.count(line) > 0) << damage << ": " << line;
        }
    }
}

}  // namespace
