#include "fuzz/logmutator.h"

#include <algorithm>
#include <iterator>
#include <random>
#include <utility>

#include "tests/support/blocks.h"

namespace {

using Blocks = std::vector<ByteVector>;

constexpr uint16_t kNumbers[] = {
    kZeltMeasExtra,    kZeltGalNav,  kZeltGloNav,        kZeltMeasEpoch,    kZeltUtc2,   kZeltBdsNav,
    kZeltMeas3Ranges,  kZeltMeas3Pp, kZeltMeasFullRange, kZeltMeas3Mp,      kZeltGpsNav, kZeltMeas3Cn0HiRes,
    kZeltMeas3Doppler, kZeltGpsUtc,  kZeltReceiverSetup, kZeltMeasEpochOld,
};
// Bit patterns of doubles and, in their upper halves, of floats: NaN, infinities, the largest, the smallest, the
// missing value, -0, 1 and neighbours; and integers at their ends.
constexpr uint64_t kHostile[] = {
    0x7FF8000000000000, 0x7FF0000000000000, 0xFFF0000000000000, 0x7FEFFFFFFFFFFFFF, 0xFFEFFFFFFFFFFFFF,
    0x0000000000000001, 0xC212A05F20000000, 0x8000000000000000, 0x3FF0000000000000, 0x3FF0000000000001,
    0x7FC000007F800000, 0xD09502F9FF7FFFFF, 0xFFFFFFFFFFFFFFFF, 0x7FFFFFFF80000000, 0x0000000000000000,
    0x41EFFFFFFFE00000, 0x43E0000000000000, 0xC3E0000000000000,
};

struct Mutation {
    std::minstd_rand random;
    Blocks blocks;

    size_t below(size_t count) { return random() % count; }
    ByteVector& any() { return blocks[below(blocks.size())]; }
};

// The blocks of a log, whatever their CRC, and what lies between them as blocks of its own.
Blocks split(Bytes log) {
    Blocks blocks;
    const uint8_t* at = log.data;
    for (const Bytes block : blocksOf(log, Crc::kAny)) {
        if (at != block.data) blocks.emplace_back(at, block.data);
        blocks.push_back(copyOf(block));
        at = block.data + block.size;
    }
    if (at != log.data + log.size) blocks.emplace_back(at, log.data + log.size);
    return blocks;
}

bool isBlock(const ByteVector& bytes) {
    return bytes.size() >= kZeltMinLength && bytes[0] == kZeltSync1 && bytes[1] == kZeltSync2;
}

void mutateBody(ByteVector& block) {
    const size_t header = block.size() < kZeltMinLength ? 0 : kZeltHeaderSize;
    const size_t size = block.size() - header;
    const size_t room = std::min(size + 40, kZeltMaxLength - header);
    block.resize(header + room);
    block.resize(header + LLVMFuzzerMutate(block.data() + header, size, room));
}

void mutateField(Mutation& m, ByteVector& block) {
    const Bytes view = viewOf(block);
    const auto put = [&block](size_t at, size_t size, uint64_t value) {
        BlockBuilder builder(std::move(block));
        block = builder.put(at, size, value).bytes;
    };
    const size_t at = kZeltHeaderSize + m.below(block.size());
    const uint64_t hostile = kHostile[m.below(std::size(kHostile))];
    switch (m.below(6)) {
        case 0: return put(kZeltIdOffset, 2, kNumbers[m.below(std::size(kNumbers))] | m.below(5) << 13);
        case 1: return put(kZeltTowOffset, 4, zeltTow(view) + (m.below(4) - 1) * (m.below(2) == 0 ? 1000 : 30000));
        case 2: return put(kZeltWncOffset, 2, zeltWnc(view) + (m.below(3) - 1) * (m.below(2) == 0 ? 1 : 1024));
        case 3: return put(at, 8, hostile);
        case 4: return put(at, 4, hostile);
        default: return put(at, 1, m.random());
    }
}

// The time stamp of one block is given to another: blocks of one epoch come together.
void shareStamp(Mutation& m) {
    const ByteVector from = m.any();
    ByteVector& to = m.any();
    to = BlockBuilder(to).u32(kZeltTowOffset, zeltTow(viewOf(from))).u16(kZeltWncOffset, zeltWnc(viewOf(from))).bytes;
}

void rearrange(Mutation& m) {
    auto position = [&m] { return m.blocks.begin() + static_cast<std::ptrdiff_t>(m.below(m.blocks.size())); };
    switch (m.below(3)) {
        case 0: m.blocks.erase(position()); return;
        case 1: std::iter_swap(position(), position()); return;
        default: {
            const ByteVector copy = m.any();
            m.blocks.insert(position(), copy);
        }
    }
}

}  // namespace

size_t mutateLog(uint8_t* data, size_t size, size_t maxSize, unsigned seed) {
    Mutation m{std::minstd_rand(seed), split({data, size})};
    const size_t kind = m.blocks.empty() ? 0 : m.below(8);
    if (kind == 0) {
        size = LLVMFuzzerMutate(data, size, maxSize);
        m.blocks = split({data, size});
    } else if (kind <= 2) {
        mutateBody(m.any());
    } else if (kind <= 5) {
        mutateField(m, m.any());
    } else if (kind == 6) {
        shareStamp(m);
    } else {
        rearrange(m);
    }
    size_t written = 0;
    for (ByteVector& block : m.blocks) {
        if (isBlock(block) && m.below(200) != 0) block = BlockBuilder(std::move(block)).done();
        const size_t count = std::min(block.size(), maxSize - written);
        std::copy_n(block.begin(), count, data + written);
        written += count;
    }
    return written;
}
