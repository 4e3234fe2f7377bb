// The navigation path: hostile blocks into the store, and a track computed with what came of them.
//
// An input is 32 bytes of time, codes and configuration, and a navigation block.
#include <cmath>
#include <cstring>
#include <iterator>
#include <random>

#include "cggtts/track.h"
#include "cggtts/writer.h"
#include "fuzz/support.h"
#include "utils/nav/navdatadecoder/satnavdecoder/ephemerisstore.h"
#include "utils/nav/positionfilter/models/orbits/orbits.h"
#include "utils/nav/positionfilter/models/orbits/satellitemodel.h"
#include "utils/zeltdata/zeltnav.h"

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t maxSize);

using namespace Qon::Nav;

namespace {

constexpr uint16_t kNumbers[] = {kZeltGpsNav, kZeltGalNav, kZeltGloNav, kZeltBdsNav};
constexpr size_t kSettingsSize = 32;
// Settings, by offset.
constexpr size_t kTimeOffset = 0;  // i16, s from the reference time to the track's end
constexpr size_t kHow = 2;         // u8
constexpr size_t kChannel = 3;     // u8
constexpr size_t kLeap = 4;        // i32
constexpr size_t kCode1 = 8;       // f64
constexpr size_t kCode2 = 16;      // f64
constexpr size_t kDelay = 24;      // f64, ns

// Makes a value be computed of which nothing is asked.
void use(double value) { asm volatile("" ::"m"(value)); }

void useEphemeris(const Ephemeris& ephemeris, double t) {
    SatelliteModel model(ephemeris);
    use(model.GetSatPosition(t, kExampleStation).x + model.GetSatClockBias(t) + model.GetRelativisticCorr(t));
    for (int signal = -1; signal <= kNoSignal; ++signal) {
        if (const auto* gps = std::get_if<GpsEphemeris>(&ephemeris)) use(OM_GetSatClockGPS(*gps, signal, t).drift);
        if (const auto* gal = std::get_if<GalEphemeris>(&ephemeris)) use(OM_GetSatClockGAL(*gal, signal, t).drift);
        if (const auto* glo = std::get_if<GloEphemeris>(&ephemeris)) use(OM_GetSatClockGLO(*glo, signal, t).drift);
        if (const auto* bds = std::get_if<BdsEphemeris>(&ephemeris)) use(OM_GetSatClockBDS(*bds, signal, t).drift);
    }
    const int issue = HeadOf(ephemeris).issue;
    require(issue >= 0 && issue <= 999, "an issue of ephemeris of three digits");
}

void computeTrack(const Ephemeris& ephemeris, uint32_t end, int svid, Bytes settings) {
    const Constellation* known = constellationOf(svid);
    const Constellation& row = known != nullptr ? *known : kConstellations[0];
    RunConfig config = stationConfig();
    config.elevationMaskDeg = -91;
    if ((settings.u8(kHow) & 1) != 0) config.leapSeconds = settings.i32(kLeap);
    config.*row.delay1Ns = settings.f64(kDelay);
    if ((settings.u8(kHow) & 2) != 0) config.phaseCentre[row.index] = {settings.f64(kDelay), settings.f64(kCode2), 0};
    TrackRecord record;
    record.ephemeris = ephemeris;
    startTrack(record, config, row);
    for (int slot = 0; slot < kSlotsPerTrack; ++slot) {
        const uint32_t t = end - static_cast<uint32_t>(kLastSlot - slot) * kSampleSpacing;
        const int given = (settings.u8(kHow) & 4) != 0 ? 0 : slot;  // all x the same: no line through them
        trackSample(
            record, given, t,
            {settings.u8(kChannel), row.signal1, row.signal2, settings.f64(kCode1) + slot, settings.f64(kCode2)});
    }
    require(record.sampleCount >= 0 && record.sampleCount <= kSlotsPerTrack, "the number of samples");
    DataLine line;
    line.svid = static_cast<uint8_t>(svid);
    const TrackOutcome outcome = finishTrack(record, end, config, LocalFrameAt(record.antennaPos), line);
    if (outcome != TrackOutcome::kLine) return;
    require(record.sampleCount >= kMinSamples, "samples enough for a line");
    std::string text;
    formatDataLine(line, text);
    require(text.back() == '\n', "a whole line");
    text.pop_back();
    checkDataLine(text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const Bytes settings = Bytes{data, size}.sub(0, kSettingsSize);
    const Bytes block = Bytes{data, size}.sub(kSettingsSize, size);
    ZeltNavBlock fixed;
    if (!zeltFixNavBlock(block, fixed)) return 0;
    EphemerisStore store;
    StoreNavBlock(store, fixed.bytes());
    const uint8_t svid = fixed.bytes().u8(kZeltSvidOffset);
    for (size_t i = 0; i < store.slots.size(); ++i) {
        require(i == svid || IsEmpty(store.slots[i]), "no slot but the satellite's");
    }
    const Ephemeris& ephemeris = store.slots[svid];
    // Reference times fit 32 bits: they are computed in as many.
    const auto reference = static_cast<uint32_t>(HeadOf(ephemeris).referenceTime);
    const uint32_t end = reference + static_cast<uint32_t>(settings.i16(kTimeOffset));
    use(IsEphemerisUsable(ephemeris, end) ? 1 : 0);
    useEphemeris(ephemeris, end);
    useEphemeris(ephemeris, settings.f64(kCode1));
    computeTrack(ephemeris, end, svid, settings);
    return 0;
}

// Doubles and floats that break careless arithmetic are planted where fields are: at multiples of four.
extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t maxSize, unsigned seed) {
    constexpr double kDoubles[] = {NAN,   INFINITY, -INFINITY, 1.7e308, -1.7e308, 5e-324, -0.0,
                                   -2e10, 1,        1e10,      0,       4e9,      1e19};
    constexpr float kFloats[] = {NAN, INFINITY, -INFINITY, 3.4e38F, -3.4e38F, 1e-45F, -0.0F, -2e10F, 1, 0};
    std::minstd_rand random(seed);
    switch (size < kSettingsSize + kZeltMinLength ? 3 : random() % 5) {
        case 0: {
            const uint16_t number = kNumbers[random() % std::size(kNumbers)];
            std::memcpy(data + kSettingsSize + kZeltIdOffset, &number, sizeof number);
            return size;
        }
        case 1:
            std::memcpy(data + random() % ((size - 8) / 4) * 4, &kDoubles[random() % std::size(kDoubles)], 8);
            return size;
        case 2: std::memcpy(data + random() % (size / 4) * 4, &kFloats[random() % std::size(kFloats)], 4); return size;
        default: return LLVMFuzzerMutate(data, size, maxSize);
    }
}
