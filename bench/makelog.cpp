// makelog: grows a small log, one epoch every 30 s, into a large one of one epoch a second.
//
// Codes and carriers are interpolated. When the seed comes to its end the log goes on with an earlier part of it, all
// times shifted, the node of every orbit turned along: satellites and ephemerides fit each other, so that tracks come
// out as sensible as from the seed. The jump back lies in the gap between two tracks.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <string>

#include "bench/encoders.h"
#include "bench/seedlog.h"
#include "cggtts/schedule.h"
#include "utils/zeltdata/zeltnav.h"

namespace {

constexpr int64_t kTrackPeriod = 960;   // s: tracks begin so far apart
constexpr int64_t kJumpReserve = 1080;  // s in which a gap between two tracks is sure to come

struct Arguments {
    const char* seed = nullptr;
    const char* output = nullptr;
    double hours = 0;
    bool meas3 = false;
    bool falseStarts = false;
};

bool parseArguments(int argc, char** argv, Arguments& arguments) {
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        const std::string value = i + 1 < argc ? argv[i + 1] : "";
        if (word == "--false-starts") {
            arguments.falseStarts = true;
        } else if (word == "--hours") {
            arguments.hours = std::atof(value.c_str());
            ++i;
        } else if (word == "--format" && (value == "meas3" || value == "measepoch")) {
            arguments.meas3 = value == "meas3";
            ++i;
        } else if (arguments.seed == nullptr) {
            arguments.seed = argv[i];
        } else if (arguments.output == nullptr) {
            arguments.output = argv[i];
        } else {
            return false;
        }
    }
    return arguments.output != nullptr && arguments.hours > 0;
}

// A stretch that a hunt for blocks can make nothing of: sync bytes and headers that promise long blocks, and garbage.
// One candidate in 65536 has the right CRC by chance and swallows what it spans.
ByteVector makeFalseStarts(size_t size, std::mt19937& random) {
    ByteVector bytes;
    while (bytes.size() < size) {
        putBytes(bytes, kZeltSync1 | kZeltSync2 << 8, 2);
        putBytes(bytes, random(), 4);
        putBytes(bytes, 0x8000 | random(), 2);
        for (auto garbage = 24 + random() % 128; garbage > 0; --garbage) putBytes(bytes, random(), 1);
    }
    bytes.resize(size);
    return bytes;
}

// What a navigation block replaces at the receiver: satellite, and Galileo's message; empty for another block.
std::string navigationKey(const ByteVector& bytes) {
    const Bytes view{bytes.data(), bytes.size()};
    ZeltNavBlock nav;
    if (!zeltFixNavBlock(view, nav)) return {};
    const bool isGalileo = zeltNumber(view) == kZeltGalNav;
    return {static_cast<char>(nav.bytes().u8(kZeltSvidOffset)),
            static_cast<char>(isGalileo ? view.u8(ZeltGalNav::kSource) : 0)};
}

class LogWriter {
public:
    LogWriter(const Arguments& arguments, const SeedLog& seed, std::FILE* stream)
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

    void writeStamped(ByteVector& block, int64_t t) {
        setStamp(block, seed_.start + t);
        finishBlock(block);
        write(block);
    }

    void writeSecond(int64_t t) {
        for (; nextBlock_ < seed_.blocks.size() && seed_.blocks[nextBlock_].second <= t - shift_; ++nextBlock_) {
            ByteVector block = seed_.blocks[nextBlock_].bytes;
            shiftBlock(block, shift_);
            writeStamped(block, t);
        }
        for (const ByteVector& block : encodeSecond(t)) {
            const bool hidden = arguments_.falseStarts && t % kSampleSpacing != 0;
            write(hidden ? makeFalseStarts(block.size(), random_) : block);
        }
        if (seed_.unknown.empty()) return;
        ByteVector unknown = seed_.unknown[static_cast<size_t>(t) % seed_.unknown.size()];
        writeStamped(unknown, t);
    }

    std::vector<ByteVector> encodeSecond(int64_t t) {
        interpolateEpoch(seed_, t - shift_, seed_.start + t, *epoch_);
        if (!arguments_.meas3) return encodeMeasEpoch(*epoch_);
        if (Meas3Encoder::isReference(*epoch_)) {
            const int64_t lead = Meas3Encoder::kRateLead;
            interpolateEpoch(seed_, t - shift_ + lead, seed_.start + t + lead, *ahead_);
        }
        return encoder_.encode(*epoch_, *ahead_);
    }

    void jumpBackWhenDue(int64_t t) {
        const int64_t latest = seed_.span() - kJumpReserve - Meas3Encoder::kRateLead;
        const auto time = static_cast<uint32_t>(seed_.start + t);
        const bool wholeMinute = time % (Meas3Encoder::kInterval / 1000) == 0;
        if (t - shift_ < latest || !wholeMinute || slotIndex(time) != kNoSlot) return;
        shift_ += latest / kTrackPeriod * kTrackPeriod;
        resendEphemerides(t);
    }

    // Sends what is in force where the log goes on: of every satellite the newest navigation blocks that the seed has
    // before that time, or its first ones, so that none is left with an orbit of before the jump.
    void resendEphemerides(int64_t t) {
        std::map<std::string, const ByteVector*> inForce;
        nextBlock_ = 0;
        for (const SeedBlock& block : seed_.blocks) {
            const bool isPast = block.second < t - shift_;
            if (isPast) ++nextBlock_;
            const std::string key = navigationKey(block.bytes);
            if (!key.empty() && (isPast || inForce.count(key) == 0)) inForce[key] = &block.bytes;
        }
        for (const auto& [key, block] : inForce) {
            ByteVector sent = *block;
            shiftBlock(sent, shift_);
            writeStamped(sent, t);
        }
    }

    const Arguments& arguments_;
    const SeedLog& seed_;
    std::FILE* stream_;
    bool good_ = true;
    int64_t shift_ = 0;  // s by which the log is later than the part of the seed that it is made of
    size_t nextBlock_ = 0;
    Meas3Encoder encoder_;
    std::unique_ptr<ZeltMeasEpoch> epoch_ = std::make_unique<ZeltMeasEpoch>();
    std::unique_ptr<ZeltMeasEpoch> ahead_ = std::make_unique<ZeltMeasEpoch>();
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
        return fail("usage: makelog SEED-LOG OUTPUT --hours N [--format measepoch|meas3] [--false-starts]", "");
    }
    SeedLog seed;
    if (!readSeed(arguments.seed, seed)) return fail("no epochs every 30 s in ", arguments.seed);
    if (seed.span() < 3 * kJumpReserve) return fail("too short a log: ", arguments.seed);
    std::FILE* stream = std::fopen(arguments.output, "wb");
    if (stream == nullptr) return fail("cannot write ", arguments.output);
    const auto writer = std::make_unique<LogWriter>(arguments, seed, stream);
    const bool written = writer->writeLog();
    return std::fclose(stream) == 0 && written ? 0 : fail("cannot write ", arguments.output);
}
