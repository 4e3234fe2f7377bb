#include "utils/zeltdata/meas3companions.h"

namespace {

constexpr size_t kCompanionData = 16;  // offset, all four
constexpr unsigned kTrackingBits = 5;

constexpr float kCn0Step = 0.0625F;  // dB-Hz
constexpr float kCn0Centre = 0.5F;

Bytes dataOf(Bytes block) { return block.sub(kCompanionData, block.size); }

// Kind 0: none; 1 and 2: a small correction, positive or negative; 3: a large one of either sign. Code corrections are
// logged in centimetres.
void takeMultipath(BitCursor& bits, Meas3Extras& extras) {
    const uint32_t kind = bits.take(2);
    if (kind == 0) return;
    const bool isLarge = kind == 3;
    const uint32_t code = bits.take(isLarge ? 11 : 7);
    const uint32_t carrier = bits.take(isLarge ? 8 : 5);
    if (bits.failed) return;
    const int32_t centimetres = isLarge ? signExtend(code, 11) : static_cast<int32_t>(code) * (kind == 1 ? 1 : -1);
    extras.multipath = static_cast<int16_t>(centimetres * 10);
    extras.carrierMultipath = static_cast<uint8_t>(signExtend(carrier, isLarge ? 8 : 5));
}

}  // namespace

Meas3Companions::Meas3Companions(const Meas3Blocks& blocks)
    : doppler{dataOf(blocks.doppler)}, cn0{dataOf(blocks.cn0HiRes)}, pp{dataOf(blocks.pp)}, mp{dataOf(blocks.mp)} {}

uint8_t zeltTakeMeas3Tracking(Meas3Companions& companions) {
    return static_cast<uint8_t>(companions.pp.take(kTrackingBits));
}

Meas3Extras zeltTakeMeas3Extras(Meas3Companions& companions) {
    Meas3Extras extras;
    const uint32_t cn0 = companions.cn0.take(4);
    if (!companions.cn0.failed) extras.cn0Change = static_cast<float>(cn0) * kCn0Step - kCn0Centre;
    if (companions.pp.take(1) != 0) {
        const auto half = static_cast<int>(companions.pp.take(5));
        if (!companions.pp.failed) extras.evenCn0 = half * 2;
    }
    takeMultipath(companions.mp, extras);
    extras.dopplerCode = zeltReadDopplerCode(companions.doppler);
    return extras;
}

// The size is told by the bits from 1 on: 0; 1 0; 1 1 0; 1 1 1. Bit 0 is the sign, the magnitude fills the rest.
int32_t zeltReadDopplerCode(ByteCursor& cursor) {
    constexpr int32_t kDoNotUse = -1048575;
    const auto word = static_cast<uint32_t>(cursor.rest.sub(0, 8).word());
    size_t size = 1;
    while (size < 4 && (word >> size & 1) != 0) ++size;
    cursor.take(size);
    if (cursor.failed) return kMeas3NoDoppler;
    const auto prefix = static_cast<unsigned>(size < 4 ? size + 1 : 4);
    const auto magnitude = static_cast<int32_t>(bitField(word, prefix, static_cast<unsigned>(8 * size) - prefix));
    const int32_t code = (word & 1) != 0 ? -magnitude : magnitude;
    return code == kDoNotUse ? kMeas3NoDoppler : code;
}
