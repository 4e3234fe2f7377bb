// makelog: grows a log of one epoch every 30 s, of either block family, into one of an epoch a second, of hours or
// days.
//
// Only whole half minutes reach a track, so the seconds between are copies of the epoch half a minute into theirs, with
// their own time: of the compact family that is a differential one. When the seed comes to its end the log goes on with
// an earlier part of it, all times shifted, the node of every orbit turned along: satellites and ephemerides fit each
// other, so that tracks come out as sensible as from the seed. The jump back lies in the gap between two tracks.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <tuple>

#include "cggtts/schedule.h"
#include "tests/support/logs.h"
#include "utils/geometry/constants.h"
#include "utils/geometry/navtools.h"
#include "utils/zeltdata/zeltnav.h"

namespace {

constexpr int64_t kSpacing = 30;        // s between the seed's epochs
constexpr int64_t kTrackPeriod = 960;   // s: tracks begin so far apart
constexpr int64_t kJumpReserve = 1080;  // s in which a gap between two tracks is sure to come

struct Arguments {
    const char* seed = nullptr;
    const char* output = nullptr;
    double hours = 0;
    bool falseStarts = false;
};

bool parseArguments(int argc, char** argv, Arguments& arguments) {
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        if (word == "--false-starts") {
            arguments.falseStarts = true;
        } else if (word == "--hours" && i + 1 < argc) {
            arguments.hours = std::atof(argv[++i]);
        } else if (arguments.output == nullptr) {
            (arguments.seed == nullptr ? arguments.seed : arguments.output) = argv[i];
        } else {
            return false;
        }
    }
    return arguments.output != nullptr && arguments.hours > 0;
}

struct Seed {
    int64_t start = 0;  // of the first epoch, s since 1980-01-06
    std::vector<std::vector<Bytes>> epochs;
    std::vector<Bytes> blocks;   // receiver setup, UTC and navigation blocks, in file order
    std::vector<Bytes> unknown;  // to the program

    // Seconds from the first epoch to the last.
    int64_t span() const { return (static_cast<int64_t>(epochs.size()) - 1) * kSpacing; }
};

// False when there are no epochs every 30 s.
bool readSeed(Bytes log, Seed& seed) {
    for (const Bytes block : blocksOf(log)) {
        const bool isUnknown = zeltNumber(block) == 4007 || zeltNumber(block) == 4090;
        if (!zeltHasTimeStamp(block)) continue;
        if (!zeltIsMeasBlock(block)) {
            (isUnknown ? seed.unknown : seed.blocks).push_back(block);
            continue;
        }
        if (seed.epochs.empty()) seed.start = secondOf(block);
        if (seed.epochs.empty() || secondOf(block) != secondOf(seed.epochs.back()[0])) seed.epochs.emplace_back();
        seed.epochs.back().push_back(block);
        if (secondOf(block) != seed.start + seed.span()) return false;
    }
    return !seed.epochs.empty();
}

// A stretch that a hunt for blocks can make nothing of: sync bytes and headers that promise long blocks, and garbage.
// One candidate in 65536 has the right CRC by chance and swallows what it spans.
ByteVector makeFalseStarts(size_t size, std::mt19937& random) {
    BlockBuilder builder(ByteVector{});
    while (builder.bytes.size() < size) {
        const size_t at = builder.bytes.size();
        builder.u8(at, {kZeltSync1, kZeltSync2}).put(at + 2, 4, random()).put(at + 6, 2, 0x8000 | random());
        for (auto garbage = 24 + random() % 128; garbage > 0; --garbage) builder.bytes.push_back(random() & 0xFF);
    }
    builder.bytes.resize(size);
    return builder.bytes;
}

struct KeplerKind {
    uint16_t number;
    const ZeltKeplerLayout& at;
    double earthRate;  // rad/s
};
const KeplerKind kKeplerKinds[] = {{kZeltGpsNav, kZeltGpsKepler, 7.2921151467e-5},
                                   {kZeltGalNav, kZeltGalKepler, 7.2921151467e-5},
                                   {kZeltBdsNav, kZeltGpsKepler, 7.292115e-5}};

// Adds `shift` to a week and a second of week, both stored in the block; returns the new second.
uint32_t shiftTime(BlockBuilder& block, size_t weekOffset, size_t secondOffset, int64_t shift) {
    const Bytes view = viewOf(block.bytes);
    const int64_t week = Qon::Nav::kSecondsPerWeek;
    const int64_t time = view.u16(weekOffset) * week + view.u32(secondOffset) + shift;
    block.u16(weekOffset, time / week).u32(secondOffset, time % week);
    return viewOf(block.bytes).u32(secondOffset);
}

// Moves the reference times of a navigation block by `shift` seconds, the orbit's node turned so that the satellite
// moves over the ground as before; other blocks stay as they are.
void shiftBlock(BlockBuilder& block, int64_t shift) {
    const uint16_t number = zeltNumber(viewOf(block.bytes));
    for (const KeplerKind& kind : kKeplerKinds) {
        if (number != kind.number) continue;
        const double toe = viewOf(block.bytes).u32(kind.at.toe);
        const double node = viewOf(block.bytes).f64(kind.at.omega0);
        shiftTime(block, kind.at.wnToc, kind.at.toc, shift);
        const double moved = shiftTime(block, kind.at.wnToe, kind.at.toe, shift) - toe;
        block.f64(kind.at.omega0, std::remainder(node + kind.earthRate * moved / Qon::Nav::kIcdPi, 2));
    }
    if (number != kZeltGloNav) return;
    constexpr int64_t kMinutesPerDay = 1440;
    shiftTime(block, ZeltGloNav::kWnToe, ZeltGloNav::kToe, shift);
    block.u16(ZeltGloNav::kTb, (viewOf(block.bytes).u16(ZeltGloNav::kTb) + shift / 60) % kMinutesPerDay);
}

class LogWriter {
public:
    LogWriter(const Arguments& arguments, const Seed& seed, std::FILE* stream)
        : arguments_(arguments), seed_(seed), stream_(stream) {}

    bool writeLog() {
        const auto seconds = static_cast<int64_t>(arguments_.hours * 3600);
        for (int64_t t = 0; t < seconds && good_; ++t) {
            jumpBackWhenDue(t);
            writeSecond(t);
        }
        return good_;
    }

private:
    void write(const ByteVector& bytes) {
        good_ = good_ && std::fwrite(bytes.data(), 1, bytes.size(), stream_) == bytes.size();
    }

    // A block of the seed as the log has it at t.
    ByteVector at(int64_t t, Bytes block) const {
        BlockBuilder builder(copyOf(block));
        shiftBlock(builder, shift_);
        return builder.stamp(seed_.start + t).done();
    }

    void writeSecond(int64_t t) {
        const int64_t second = t - shift_;
        for (; next_ < seed_.blocks.size() && secondOf(seed_.blocks[next_]) <= seed_.start + second; ++next_) {
            write(at(t, seed_.blocks[next_]));
        }
        const bool isSample = second % kSpacing == 0;
        const bool isFirstHalf = (seed_.start + second) % 60 < kSpacing;
        for (const Bytes block : seed_.epochs[static_cast<size_t>(second / kSpacing + (!isSample && isFirstHalf))]) {
            const bool isHidden = arguments_.falseStarts && !isSample;
            write(isHidden ? makeFalseStarts(block.size, random_) : at(t, block));
        }
        if (!seed_.unknown.empty()) write(at(t, seed_.unknown[static_cast<size_t>(t) % seed_.unknown.size()]));
    }

    void jumpBackWhenDue(int64_t t) {
        const int64_t latest = seed_.span() - kJumpReserve;
        const auto time = static_cast<uint32_t>(seed_.start + t);
        if (t - shift_ < latest || time % 60 != 0 || slotIndex(time) != kNoSlot) return;
        shift_ += latest / kTrackPeriod * kTrackPeriod;
        resendEphemerides(t);
    }

    // Sends what is in force where the log goes on: of every satellite the newest navigation blocks that the seed has
    // before that time, or its first ones, so that none is left with an orbit of before the jump.
    void resendEphemerides(int64_t t) {
        std::map<std::tuple<int, int, int>, Bytes> inForce;
        next_ = 0;
        for (const Bytes block : seed_.blocks) {
            const bool isPast = secondOf(block) < seed_.start + t - shift_;
            if (isPast) ++next_;
            ZeltNavBlock nav;
            if (!zeltFixNavBlock(block, nav)) continue;
            const int number = zeltNumber(block);
            const int source = number == kZeltGalNav ? block.u8(ZeltGalNav::kSource) : 0;
            const std::tuple key(number, block.u8(kZeltSvidOffset), source);
            if (isPast || inForce.count(key) == 0) inForce[key] = block;
        }
        for (const auto& [key, block] : inForce) write(at(t, block));
    }

    const Arguments& arguments_;
    const Seed& seed_;
    std::FILE* stream_;
    bool good_ = true;
    int64_t shift_ = 0;    // s by which the log is later than the part of the seed that it is made of
    size_t next_ = 0;      // of the seed's blocks
    std::mt19937 random_;  // its default seed: the same log every time
};

int fail(const char* text, const char* argument) {
    std::fprintf(stderr, "makelog: %s%s\n", text, argument);
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    Arguments arguments;
    if (!parseArguments(argc, argv, arguments)) {
        return fail("usage: makelog SEED-LOG OUTPUT --hours N [--false-starts]", "");
    }
    const ByteVector log = readLog(arguments.seed);
    Seed seed;
    if (!readSeed(viewOf(log), seed)) return fail("no epochs every 30 s in ", arguments.seed);
    if (seed.span() < 3 * kJumpReserve) return fail("too short a log: ", arguments.seed);
    std::FILE* stream = std::fopen(arguments.output, "wb");
    if (stream == nullptr) return fail("cannot write ", arguments.output);
    const bool written = LogWriter(arguments, seed, stream).writeLog();
    return std::fclose(stream) == 0 && written ? 0 : fail("cannot write ", arguments.output);
}
