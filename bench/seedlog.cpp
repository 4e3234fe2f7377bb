#include "bench/seedlog.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "utils/geometry/constants.h"
#include "utils/geometry/navtools.h"
#include "utils/geometry/sigtypes.h"
#include "utils/nav/positionfilter/models/orbits/keplerorbit.h"
#include "utils/zeltdata/zeltmeas.h"
#include "utils/zeltdata/zeltnav.h"
#include "utils/zeltdata/zeltread.h"
#include "utils/zeltdata/zeltsignal.h"

using namespace Qon::Nav;

namespace {

constexpr double kSlip = 20;  // m by which code and carrier may come apart between two epochs

bool has(double value) { return value > kAvailableAbove; }

int64_t secondsOf(uint32_t wnc, uint32_t tow) { return int64_t{wnc} * kSecondsPerWeek + tow / 1000; }

bool isKept(uint16_t number) {
    constexpr uint16_t kNumbers[] = {kZeltReceiverSetup, kZeltGpsUtc, kZeltUtc2,  kZeltGpsNav,
                                     kZeltGalNav,        kZeltGloNav, kZeltBdsNav};
    return std::find(std::begin(kNumbers), std::end(kNumbers), number) != std::end(kNumbers);
}

double wavelengthOf(const ZeltMeasSat& satellite, const ZeltMeasSignal& signal) {
    return zeltSignalWavelength(signal.signalType, satellite.glonassChannel - kGlonassChannelOffset);
}

// Range rate in m/s by the first Doppler, kNotAvailable without one; one rate for all signals keeps them together.
double rangeRate(const ZeltMeasSat& satellite) {
    for (const ZeltMeasSignal& signal : satellite.signals[0]) {
        if (signal.flags != 0 && has(signal.doppler)) return -signal.doppler * wavelengthOf(satellite, signal);
    }
    return kNotAvailable;
}

// Where between two epochs, and the range rates at both.
struct Interval {
    double u = 0;  // 0 at the first epoch, 1 at the second
    double rate0 = 0;
    double rate1 = 0;

    // Cubic Hermite; `unit`: metres per unit of the values.
    double cubic(double value0, double value1, double unit) const {
        const double slope0 = rate0 / unit * kSeedSpacing;
        const double slope1 = rate1 / unit * kSeedSpacing;
        const double v = 1 - u;
        return value0 * v * v * (1 + 2 * u) + value1 * u * u * (3 - 2 * u) + u * v * (slope0 * v - slope1 * u);
    }
    double linear(double value0, double value1) const { return value0 + u * (value1 - value0); }
};

// `signal` holds the first epoch's values.
void interpolateSignal(ZeltMeasSignal& signal, const ZeltMeasSignal& next, double wavelength, const Interval& at) {
    const double code = signal.pseudorange;
    const double carrier = signal.carrierPhase;
    signal.pseudorange = at.cubic(code, next.pseudorange, 1);
    if (has(carrier) && has(next.carrierPhase)) {
        const double apart = (next.carrierPhase - carrier) * wavelength - (next.pseudorange - code);
        signal.carrierPhase = std::abs(apart) < kSlip ? at.cubic(carrier, next.carrierPhase, wavelength)
                                                      : carrier + (signal.pseudorange - code) / wavelength;
    } else {
        signal.carrierPhase = kNotAvailable;
    }
    const bool hasDoppler = has(signal.doppler) && has(next.doppler);
    signal.doppler = hasDoppler ? static_cast<float>(at.linear(signal.doppler, next.doppler)) : kNotAvailableF;
    if (signal.lockTime != 0) signal.lockTime += static_cast<uint32_t>(std::lround(at.u * kSeedSpacing)) * 1000;
}

// Moves `satellite` on to a time between its epoch and the next one; false when no signal goes on till then.
bool interpolateSatellite(ZeltMeasSat& satellite, const ZeltMeasSat& next, double u) {
    const Interval at{u, rangeRate(satellite), rangeRate(next)};
    if (!has(at.rate0) || !has(at.rate1)) return false;
    bool any = false;
    for (size_t i = 0; i < satellite.signals[0].size(); ++i) {
        ZeltMeasSignal& signal = satellite.signals[0][i];
        const ZeltMeasSignal& later = next.signals[0][i];
        const bool goesOn = signal.flags != 0 && later.flags != 0 && signal.signalType == later.signalType &&
                            has(signal.pseudorange) && has(later.pseudorange);
        if (goesOn) {
            interpolateSignal(signal, later, wavelengthOf(satellite, signal), at);
            any = true;
        } else {
            signal = ZeltMeasSignal{};
        }
    }
    return any;
}

const ZeltMeasSat* findSatellite(const ZeltMeasEpoch& epoch, uint8_t svid) {
    for (int i = 0; i < epoch.satelliteCount; ++i) {
        const ZeltMeasSat& satellite = epoch.satellites[static_cast<size_t>(i)];
        if (satellite.svid == svid) return &satellite;
    }
    return nullptr;
}

// Adds `shift` to a week and a second of week, both stored in the block.
void shiftTime(ByteVector& block, size_t weekOffset, size_t secondOffset, int64_t shift) {
    const Bytes view{block.data(), block.size()};
    const int64_t time = int64_t{view.u16(weekOffset)} * kSecondsPerWeek + view.u32(secondOffset) + shift;
    setBytes(block, weekOffset, static_cast<uint64_t>(time / kSecondsPerWeek), 2);
    setBytes(block, secondOffset, static_cast<uint64_t>(time % kSecondsPerWeek), 4);
}

void shiftKepler(ByteVector& block, const ZeltKeplerLayout& at, double earthRate, int64_t shift) {
    const auto toeOf = [&] { return static_cast<double>(Bytes{block.data(), block.size()}.u32(at.toe)); };
    const double toe = toeOf();
    shiftTime(block, at.wnToe, at.toe, shift);
    shiftTime(block, at.wnToc, at.toc, shift);
    const double node = Bytes{block.data(), block.size()}.f64(at.omega0) + earthRate * (toeOf() - toe) / kIcdPi;
    setBytes(block, at.omega0, std::bit_cast<uint64_t>(std::remainder(node, 2)), 8);
}

void shiftGlonass(ByteVector& block, int64_t shift) {
    constexpr int64_t kMinutesPerDay = 1440;
    const int64_t tb = Bytes{block.data(), block.size()}.u16(ZeltGloNav::kTb) + shift / 60;
    shiftTime(block, ZeltGloNav::kWnToe, ZeltGloNav::kToe, shift);
    setBytes(block, ZeltGloNav::kTb, static_cast<uint64_t>(tb % kMinutesPerDay), 2);
}

}  // namespace

bool readSeed(const char* path, SeedLog& seed) {
    ZeltFile file;
    zeltOpenFile(path, file);
    ZeltMeasEpoch epoch{};
    Bytes block;
    while (zeltGetNextBlock(file, block, kZeltAnyBlock, kZeltAnyBlock, 0) == kZeltFound) {
        if (!zeltHasTimeStamp(block)) continue;
        const ByteVector copy(block.data, block.data + block.size);
        if (zeltIsMeasBlock(block)) {
            // collected below
        } else if (isKept(zeltNumber(block))) {
            seed.blocks.push_back({secondsOf(zeltWnc(block), zeltTow(block)), copy});
        } else {
            seed.unknown.push_back(copy);
        }
        if (zeltCollectMeasBlock(file, block, epoch, kZeltAllowMeasEpoch)) seed.epochs.push_back(epoch);
    }
    zeltCloseFile(file);
    if (seed.epochs.size() < 2) return false;
    seed.start = secondsOf(seed.epochs[0].wnc, seed.epochs[0].tow);
    for (SeedBlock& other : seed.blocks) other.second -= seed.start;
    for (size_t i = 0; i < seed.epochs.size(); ++i) {
        const ZeltMeasEpoch& e = seed.epochs[i];
        if (secondsOf(e.wnc, e.tow) != seed.start + static_cast<int64_t>(i) * kSeedSpacing) return false;
    }
    return true;
}

void interpolateEpoch(const SeedLog& seed, int64_t second, int64_t time, ZeltMeasEpoch& epoch) {
    const auto index = static_cast<size_t>(second / kSeedSpacing);
    const double u = static_cast<double>(second % kSeedSpacing) / kSeedSpacing;
    epoch = seed.epochs[index];
    epoch.wnc = static_cast<uint32_t>(time / kSecondsPerWeek);
    epoch.tow = static_cast<uint32_t>(time % kSecondsPerWeek * 1000);
    if (u > 0) {
        const ZeltMeasEpoch& next = seed.epochs[index + 1];
        epoch.satelliteCount = 0;
        for (int i = 0; i < seed.epochs[index].satelliteCount; ++i) {
            ZeltMeasSat satellite = seed.epochs[index].satellites[static_cast<size_t>(i)];
            const ZeltMeasSat* later = findSatellite(next, satellite.svid);
            if (later == nullptr || !interpolateSatellite(satellite, *later, u)) continue;
            epoch.satellites[static_cast<size_t>(epoch.satelliteCount++)] = satellite;
        }
    }
    for (ZeltMeasSat& satellite : epoch.satellites) {
        for (ZeltMeasSignal& signal : satellite.signals[0]) {
            if (has(signal.pseudorange)) signal.pseudorange = std::round(signal.pseudorange * 1000) * 0.001;
        }
    }
}

void shiftBlock(ByteVector& block, int64_t shift) {
    const Bytes view{block.data(), block.size()};
    switch (zeltNumber(view)) {
        case kZeltGpsNav: shiftKepler(block, kZeltGpsKepler, kGpsModel.earthRate, shift); break;
        case kZeltGalNav: shiftKepler(block, kZeltGalKepler, kGalileoModel.earthRate, shift); break;
        case kZeltBdsNav: shiftKepler(block, kZeltGpsKepler, kBeiDouModel.earthRate, shift); break;
        case kZeltGloNav: shiftGlonass(block, shift); break;
        default: break;
    }
}
