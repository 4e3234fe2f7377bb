#include "zeltlog/loginfo.h"

#include <algorithm>
#include <memory>

#include "cggtts/schedule.h"
#include "cggtts/trackengine.h"
#include "utils/geometry/constants.h"
#include "utils/geometry/navtools.h"
#include "utils/nav/navdatadecoder/satnavdecoder/ephemerisstore.h"
#include "utils/zeltdata/zeltmeas.h"
#include "utils/zeltdata/zeltnav.h"
#include "utils/zeltdata/zeltread.h"

using namespace Qon::Nav;

namespace {

constexpr unsigned kMeasMode = kZeltAllowMeas3 | kZeltAllowMeasEpoch;

// Everything the pass over one log works on. It holds a decoded epoch, too large for the stack of a small machine.
struct InfoPass {
    LogInfo info;
    ZeltFile file;
    ZeltMeasEpoch epoch;
    ZeltNavBlock navBlock;
    EphemerisStore store;
    int64_t blocksEnd = 0;  // file position behind the last block
    int64_t latest = kNoTime;
};

bool isHalfMinute(const ZeltMeasEpoch& epoch) { return epoch.tow / 1000 % kSampleSpacing == 0; }

// The codes that the engine asks for, as it asks for them: of the first antenna.
void countSatellite(const ZeltMeasSat& satellite, LogInfo& info) {
    const Constellation* constellation = constellationOf(satellite.svid);
    if (constellation == nullptr) return;
    ConstellationInfo& counted = info.constellations[constellation->index];
    counted.seen.set(satellite.svid);
    const CodePair codes = findCodes(satellite, *constellation);
    const bool has1 = codes.code1 > kAvailableAbove;
    const bool has2 = codes.code2 > kAvailableAbove;
    ++(has1 && has2 ? counted.bothCodes : has1 || has2 ? counted.oneCode : counted.noCode);
}

// Counts what an epoch holds. All epochs are decoded until one lies on the half minute; from there on only such are,
// the ones that tracks use, and what was counted before is dropped: a log of 1 Hz costs no more than a conversion.
void countEpoch(InfoPass& pass) {
    LogInfo& info = pass.info;
    if (isHalfMinute(pass.epoch) && !info.areHalfMinutes) {
        info.areHalfMinutes = true;
        info.decodedEpochs = 0;
        for (ConstellationInfo& c : info.constellations) c.bothCodes = c.oneCode = c.noCode = 0;
        pass.file.meas.wanted.everySeconds = kSampleSpacing;
    }
    if (info.areHalfMinutes && !isHalfMinute(pass.epoch)) return;
    ++info.decodedEpochs;
    for (const ZeltMeasSat& satellite : pass.epoch.used()) countSatellite(satellite, info);
}

void collectEpochs(Bytes block, InfoPass& pass) {
    for (bool ready = zeltCollectMeasBlock(pass.file, block, pass.epoch, kMeasMode); ready;
         ready = zeltNextCompleteEpoch(pass.file, pass.epoch, kMeasMode)) {
        countEpoch(pass);
    }
}

NavMessage messageOf(Bytes block) {
    if (zeltNumber(block) != kZeltGalNav) return kNavOnly;
    const uint8_t source = block.u8(ZeltGalNav::kSource);
    return source == ZeltGalNav::kSourceFnav ? kFnav : source == ZeltGalNav::kSourceInav ? kInav : kOtherMessage;
}

// Time without a new ephemeris counts from the log's beginning on: tracks before the first one are lost too.
void noteEphemerisTime(int64_t t, int64_t logBegin, ConstellationInfo& counted) {
    const int64_t before = counted.latestEphemeris == kNoTime ? logBegin : counted.latestEphemeris;
    counted.longestWithout = std::max(counted.longestWithout, t - before);
    counted.latestEphemeris = std::max(counted.latestEphemeris, t);
}

// Counted as the store takes them: whatever comes last, healthy or not, and of Galileo F/NAV alone.
void countEphemeris(Bytes navBlock, int64_t t, EphemerisStore& store, LogInfo& info) {
    const uint8_t svid = navBlock.u8(kZeltSvidOffset);
    const Constellation* constellation = constellationOf(svid);
    if (constellation == nullptr) return;
    ConstellationInfo& counted = info.constellations[constellation->index];
    const NavMessage message = messageOf(navBlock);
    ++counted.ephemerides[message];
    if (message != kNavOnly && message != kFnav) return;
    StoreNavBlock(store, navBlock);
    if (!HeadOf(store.slots[svid]).isHealthy) ++counted.unhealthy;
    counted.withEphemeris.set(svid);
    if (t != kNoTime) noteEphemerisTime(t, info.blockTimes.first, counted);
}

// All sources, though the converter stops at the first: where they differ, a leap second lies near or a block is wrong.
void countLeapSecond(Bytes block, int64_t t, LogInfo& info) {
    const uint16_t number = zeltNumber(block);
    if (number == kZeltGpsUtc || number == kZeltUtc2) {
        const int32_t seconds = zeltUtcLeapSeconds(block);
        if (seconds != kNoLeapSeconds) info.leapSeconds[t == kNoTime ? kLeapUnstamped : kLeapStamped].add(seconds);
    } else if (t != kNoTime && (number == kZeltMeasEpoch || number == kZeltMeas3Ranges)) {
        const int32_t seconds = zeltLeapSecondsAt(t / 1000);
        if (seconds != kNoLeapSeconds) info.leapSeconds[kLeapTable].add(seconds);
    }
}

void countBlock(Bytes block, InfoPass& pass) {
    LogInfo& info = pass.info;
    ++info.blocks;
    ++info.blockCounts[block.u16(kZeltIdOffset)];
    info.strayBytes += zeltGetFilePos(pass.file) - static_cast<int64_t>(block.size) - pass.blocksEnd;
    pass.blocksEnd = zeltGetFilePos(pass.file);
    if (zeltNumber(block) == kZeltReceiverSetup && info.setups++ == 0) info.setup = zeltParseReceiverSetup(block);
    const int64_t t = blockTime(block);
    countLeapSecond(block, t, info);
    if (t == kNoTime) {
        ++info.unstampedBlocks;
        return;
    }
    if (pass.latest != kNoTime && t < pass.latest) ++info.backwards;
    pass.latest = t;
    info.blockTimes.add(t);
    if (isEpochBlock(block)) info.epochs.add(t);
    const bool isNav = zeltFixNavBlock(block, pass.navBlock);  // a copy, as in the converter's pass
    collectEpochs(block, pass);                                // voids the view
    if (isNav) countEphemeris(pass.navBlock.bytes(), t, pass.store, info);
}

// What looks like the beginning of a block and reaches beyond the file's end, behind the last whole block.
void findCutOff(InfoPass& pass) {
    LogInfo& info = pass.info;
    for (int64_t pos = pass.blocksEnd; info.size - pos >= int64_t{kZeltHeaderSize}; ++pos) {
        const Bytes header = pass.file.window.at(pos, kZeltHeaderSize);
        if (header.size < kZeltHeaderSize) return;
        if (header.u8(0) != kZeltSync1 || header.u8(1) != kZeltSync2) continue;
        const int64_t length = header.u16(kZeltLengthOffset);
        if (length < int64_t{kZeltMinLength} || pos + length <= info.size) continue;
        info.cutOffBytes = info.size - pos;
        info.cutOffLength = length;
        return;
    }
}

// What only the end of the log tells.
void finish(InfoPass& pass) {
    LogInfo& info = pass.info;
    if (zeltDecodePendingEpoch(pass.file, pass.epoch, kMeasMode)) countEpoch(pass);
    for (ConstellationInfo& c : info.constellations) {
        if (info.blockTimes.last != kNoTime) noteEphemerisTime(info.blockTimes.last, info.blockTimes.first, c);
    }
    info.strayBytes += std::max<int64_t>(0, info.size - pass.blocksEnd);  // below 0 where the file has grown
    findCutOff(pass);
    info.crcErrors = pass.file.crcErrorCount;
    const auto has = [&](uint16_t number) {
        uint64_t count = 0;
        for (size_t revision = 0; revision < 8; ++revision) count += info.blockCounts[revision << 13 | number];
        return count != 0;
    };
    const bool isMeasEpoch = has(kZeltMeasEpoch) || has(kZeltMeasEpochOld);
    const bool isMeas3 = has(kZeltMeas3Ranges);
    info.format = isMeasEpoch && isMeas3 ? "MeasEpoch and Meas3" : isMeasEpoch ? "MeasEpoch" : isMeas3 ? "Meas3" : "";
}

}  // namespace

bool isEpochBlock(Bytes block) {
    const uint16_t number = zeltNumber(block);
    return (number == kZeltMeasEpoch || number == kZeltMeasEpochOld || number == kZeltMeas3Ranges) &&
           zeltHasTimeStamp(block);
}

void EpochTimes::add(int64_t t) {
    if (t == latest) return;  // a second antenna, or a second family
    if (latest != kNoTime && t < latest) ++backwards;
    if (latest != kNoTime && t > latest) {
        const int64_t distance = t - latest;
        // Bounded, as a damaged log may have a new distance at every epoch; the regular one comes early.
        if (distances.size() < kDistances || distances.contains(distance)) ++distances[distance];
        const auto at =
            std::find_if(longest.begin(), longest.end(), [&](const Gap& gap) { return gap.to - gap.from < distance; });
        if (at != longest.end() || longest.size() < kLongestGaps) longest.insert(at, {latest, t});
        if (longest.size() > kLongestGaps) longest.pop_back();
    }
    latest = t;
    span.add(t);
    if (t / 1000 % kSampleSpacing == 0) ++onHalfMinute;
    ++count;
}

// The most frequent and not the smallest or the mean: gaps and single stray epochs do not move it.
int64_t EpochTimes::interval() const {
    const auto most = std::max_element(distances.begin(), distances.end(),
                                       [](const auto& a, const auto& b) { return a.second < b.second; });
    return most == distances.end() ? kNoTime : most->first;
}

bool EpochTimes::isGap(int64_t distance) const { return 2 * distance > 3 * interval(); }

uint64_t EpochTimes::gapCount() const {
    uint64_t gaps = 0;
    for (const auto& [distance, times] : distances) gaps += isGap(distance) ? times : 0;
    return gaps;
}

int64_t EpochTimes::missingTime() const {
    const int64_t regular = interval();
    int64_t missing = 0;
    for (const auto& [distance, times] : distances) {
        if (!isGap(distance)) continue;
        const int64_t each = distance - regular;
        if (each > (INT64_MAX - missing) / static_cast<int64_t>(times)) return INT64_MAX;  // hostile time stamps
        missing += each * static_cast<int64_t>(times);
    }
    return missing;
}

void LeapSecondSource::add(int32_t seconds) {
    lowest = count == 0 ? seconds : std::min(lowest, seconds);
    highest = count == 0 ? seconds : std::max(highest, seconds);
    ++count;
}

bool leapSecondsAgree(const LogInfo& info) {
    LeapSecondSource all;
    for (const LeapSecondSource& source : info.leapSeconds) {
        if (source.count == 0) continue;
        all.add(source.lowest);
        all.add(source.highest);
    }
    return all.lowest == all.highest;
}

LogInfo readLogInfo(const std::string& path, const OnProgress& onProgress) {
    const auto pass = std::make_unique<InfoPass>();
    pass->info.path = path;
    zeltOpenFile(path.c_str(), pass->file, ZeltOnFault::kEndFile);
    if (pass->file.window.isOpen()) pass->info.size = std::max<int64_t>(0, zeltGetFileLength(pass->file));
    pass->file.meas.wanted.codesOnly = true;
    Bytes block;
    while (zeltGetNextBlock(pass->file, block, kZeltAnyBlock, kZeltAnyBlock, 0) == kZeltFound) {
        countBlock(block, *pass);
        const auto done = static_cast<float>(zeltGetFilePos(pass->file));
        if (onProgress) onProgress(100 * done / static_cast<float>(pass->info.size));
    }
    finish(*pass);
    pass->info.fault = faultOf(pass->file, pass->info.size);
    zeltCloseFile(pass->file);
    return pass->info;
}
