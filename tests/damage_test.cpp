// Damaged logs: the run ends, its files are sound, and what the damage cannot have touched is there unchanged.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>

#include "cggtts/schedule.h"
#include "tests/support/logs.h"

namespace {

constexpr size_t kTracks = 5;
constexpr size_t kDamagesTried = 280;

using Lines = std::set<std::string>;
using Random = std::minstd_rand;
using Place = std::ptrdiff_t;

Lines convertParts(const std::vector<ByteVector>& parts) {
    const auto lines = linesOf(convert(joined(parts)));
    return {lines.begin(), lines.end()};
}

// The example as far as its first epoch, and the epochs of its first tracks, each track's for itself.
std::vector<ByteVector> partsOfExample() {
    const ByteVector log = readLog(kExampleLog);
    std::vector<ByteVector> parts(1);
    for (const Bytes block : blocksOf(viewOf(log))) {
        const bool isEpoch = zeltNumber(block) == kZeltMeasEpoch;
        const int slot = slotIndex(static_cast<uint32_t>(secondOf(block)));
        if (isEpoch && slot == 0) parts.emplace_back();
        if (parts.size() > kTracks + 1) break;
        const bool isOfTrack = isEpoch && slot != kNoSlot;
        if (isOfTrack == (parts.size() > 1)) parts.back() += copyOf(block);
    }
    parts.resize(kTracks + 1);
    return parts;
}

// Each damages `size` bytes from `at` on, or about as much elsewhere.
using Damage = void (*)(Random& random, ByteVector& log, Place at, Place size);
constexpr Damage kDamages[] = {
    [](Random& random, ByteVector& log, Place, Place size) {
        for (Place n = size % 8; n >= 0; --n) log[random() % log.size()] ^= static_cast<uint8_t>(1 << n);
    },
    [](Random&, ByteVector& log, Place at, Place size) { log.erase(log.begin() + at, log.begin() + at + size); },
    [](Random&, ByteVector& log, Place at, Place size) { std::fill_n(log.begin() + at, size, uint8_t{0}); },
    [](Random&, ByteVector& log, Place at, Place size) {
        const ByteVector again(log.begin() + at, log.begin() + at + size);
        log.insert(log.begin() + at, again.begin(), again.end());
    },
    [](Random& random, ByteVector& log, Place at, Place size) {
        for (Place i = at; i < at + size; ++i) log[static_cast<size_t>(i)] = "$@xyz"[random() % 5] & 0x7F;
    },
    [](Random&, ByteVector& log, Place at, Place size) {
        std::rotate(log.begin() + at, log.begin() + at + size / 2, log.begin() + at + size);
    },
};

TEST(Damage, CostsNoLineOfOtherTracks) {
    const std::vector<ByteVector> parts = partsOfExample();
    Lines linesOfTrack[kTracks + 1];
    Lines all;
    for (size_t track = 1; track <= kTracks; ++track) {
        linesOfTrack[track] = convertParts({parts[0], parts[track]});
        EXPECT_GT(linesOfTrack[track].size(), 15U) << track;
        all.insert(linesOfTrack[track].begin(), linesOfTrack[track].end());
    }
    EXPECT_EQ(convertParts(parts), all);
    Random random(5);
    for (size_t damage = 0; damage < kDamagesTried; ++damage) {
        std::vector<ByteVector> damaged = parts;
        const size_t track = 1 + random() % kTracks;
        const size_t size = random() % (parts[track].size() / 4);
        const size_t at = random() % (parts[track].size() - size);
        kDamages[damage % std::size(kDamages)](random, damaged[track], static_cast<Place>(at),
                                               static_cast<Place>(size));
        const Lines left = convertParts(damaged);
        for (const std::string& line : all) {
            EXPECT_TRUE(linesOfTrack[track].count(line) > 0 || left.count(line) > 0) << damage << ": " << line;
        }
    }
}

}  // namespace
