// The navigation path: hostile blocks into the store, and a track computed with what came of them.
//
// An input is 32 bytes of time, codes and configuration, and a navigation block.
#include "cggtts/track.h"
#include "fuzz/logmutator.h"
#include "fuzz/support.h"
#include "utils/nav/navdatadecoder/satnavdecoder/ephemerisstore.h"
#include "utils/nav/positionfilter/models/orbits/orbits.h"
#include "utils/zeltdata/zeltnav.h"

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t maxSize);

using namespace Qon::Nav;

namespace {

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

double referenceTime(const Ephemeris& any) {
    return std::visit(
        [](const auto& ephemeris) {
            if constexpr (std::is_same_v<decltype(ephemeris), const std::monostate&>)
                return 0.0;
            else
                return ReferenceTime(ephemeris);
        },
        any);
}

void useEphemeris(const Ephemeris& ephemeris, double t) {
    Vector3 position;
    GlonassArc arc;
    GetSatPosition(ephemeris, t, kExampleStation, arc, position);
    use(position.x + GetSatClockBias(ephemeris, t) + GetRelativisticCorr(ephemeris, t));
    for (int signal = -1; signal <= kNoSignal; ++signal) {
        if (const auto* gps = std::get_if<GpsEphemeris>(&ephemeris)) use(OM_GetSatClockGPS(*gps, signal, t).drift);
        if (const auto* gal = std::get_if<GalEphemeris>(&ephemeris)) use(OM_GetSatClockGAL(*gal, signal, t).drift);
        if (const auto* glo = std::get_if<GloEphemeris>(&ephemeris)) use(OM_GetSatClockGLO(*glo, signal, t).drift);
        if (const auto* bds = std::get_if<BdsEphemeris>(&ephemeris)) use(OM_GetSatClockBDS(*bds, signal, t).drift);
    }
    const int issue = IssueOfEphemeris(ephemeris);
    require(issue >= 0 && issue <= 999, "an issue of ephemeris of three digits");
}

void computeTrack(const Ephemeris& ephemeris, uint32_t end, int svid, Bytes settings) {
    const size_t c = constellationOf(svid) % kConstellations.size();
    const Constellation& row = kConstellations[c];
    RunConfig config = stationConfig();
    config.elevationMask = -91;
    if ((settings.u8(kHow) & 1) != 0) config.leapSeconds = settings.i32(kLeap);
    config.*row.delay1 = settings.f64(kDelay);
    if ((settings.u8(kHow) & 2) != 0) config.phaseCentre[c] = {settings.f64(kDelay), settings.f64(kCode2), 0};
    TrackRecord record;
    record.ephemeris = ephemeris;
    startTrack(record, config, c);
    for (int slot = 0; slot < kSlotsPerTrack; ++slot) {
        const uint32_t t = end - static_cast<uint32_t>(kLastSlot - slot) * kSampleSpacing;
        const int given = (settings.u8(kHow) & 4) != 0 ? 0 : slot;  // all x the same: no line through them
        trackSample(
            record, given, t,
            {settings.u8(kChannel), row.signal1, row.signal2, settings.f64(kCode1) + slot, settings.f64(kCode2)});
    }
    require(record.sampleCount >= 0 && record.sampleCount <= kSlotsPerTrack, "the number of samples");
    Station station;
    DataLine line;
    line.svid = static_cast<uint8_t>(svid);
    if (!finishTrack(record, end, config, station, line)) return;
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
        require(i == svid || std::holds_alternative<std::monostate>(store.slots[i]), "no slot but the satellite's");
    }
    const Ephemeris& ephemeris = store.slots[svid];
    // Reference times fit 32 bits: they are computed in as many.
    const auto reference = static_cast<uint32_t>(referenceTime(ephemeris));
    const uint32_t end = reference + static_cast<uint32_t>(settings.i16(kTimeOffset));
    use(IsEphemerisUsable(ephemeris, end) ? 1 : 0);
    useEphemeris(ephemeris, end);
    useEphemeris(ephemeris, settings.f64(kCode1));
    computeTrack(ephemeris, end, svid, settings);
    return 0;
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t maxSize, unsigned seed) {
    if (size < kSettingsSize || seed % 4 == 0) return LLVMFuzzerMutate(data, size, maxSize);
    return kSettingsSize + mutateLog(data + kSettingsSize, size - kSettingsSize, maxSize - kSettingsSize, seed / 4);
}
