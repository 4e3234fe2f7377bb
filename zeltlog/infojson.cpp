#include "utils/geometry/satnames.h"
#include "zeltlog/blocknames.h"
#include "zeltlog/infotext.h"
#include "zeltlog/jsontext.h"

namespace {

constexpr double kMillisecondsPerSecond = 1000;

Json secondsJson(int64_t milliseconds) {
    return milliseconds == kNoTime ? Json() : Json(static_cast<double>(milliseconds) / kMillisecondsPerSecond);
}

Json blocksJson(const LogInfo& info) {
    Json blocks = Json::array();
    for (size_t id = 0; id < info.blockCounts.size(); ++id) {
        if (info.blockCounts[id] == 0) continue;
        const auto number = static_cast<uint16_t>(id % kZeltBlockNumbers);
        blocks.push_back({{"number", number},
                          {"name", blockName(number)},
                          {"revision", id / kZeltBlockNumbers},
                          {"count", info.blockCounts[id]}});
    }
    return blocks;
}

Json epochsJson(const LogInfo& info) {
    const EpochTimes& epochs = info.epochs;
    Json longest = Json::array();
    for (const EpochTimes::Gap& gap : epochs.longest) {
        if (epochs.isGap(gap.to - gap.from)) {
            longest.push_back({{"from", formatTime(gap.from)}, {"to", formatTime(gap.to)}});
        }
    }
    return {{"format", info.format},
            {"count", epochs.count},
            {"first", timeJson(epochs.span.first)},
            {"last", timeJson(epochs.span.last)},
            {"interval_s", secondsJson(epochs.interval())},
            {"on_half_minute", epochs.onHalfMinute != 0},
            {"out_of_order", epochs.backwards},
            {"gaps",
             {{"count", epochs.gapCount()}, {"missing_s", secondsJson(epochs.missingTime())}, {"longest", longest}}}};
}

Json setupJson(const LogInfo& info) {
    if (info.setups == 0) return {};
    const ZeltReceiverSetup& setup = info.setup;
    Json position;
    if (setup.hasPosition) {
        position = {{"latitude_rad", setup.position.latitude},
                    {"longitude_rad", setup.position.longitude},
                    {"height_m", setup.position.height}};
    }
    return {{"product", setup.hasProductName ? Json(setup.productName) : Json()},
            {"firmware", setup.firmwareVersion},
            {"agency", setup.agency},
            {"position", position},
            {"blocks", info.setups}};
}

Json leapJson(const LeapSecondSource& source) {
    if (source.count == 0) return {};
    return {{"lowest", source.lowest}, {"highest", source.highest}, {"count", source.count}};
}

Json satellitesJson(const std::bitset<256>& satellites) {
    Json names = Json::array();
    for (size_t svid = 0; svid < satellites.size(); ++svid) {
        if (satellites.test(svid)) names.push_back(Qon::Nav::SVIDToName(static_cast<int>(svid)).data());
    }
    return names;
}

Json constellationJson(const ConstellationInfo& c, bool hasMessages) {
    // Galileo alone logs more than one message, and not all of them are used: an object instead of a number.
    Json ephemerides = c.ephemerides[kNavOnly];
    if (hasMessages) {
        ephemerides = {
            {"F/NAV", c.ephemerides[kFnav]}, {"I/NAV", c.ephemerides[kInav]}, {"other", c.ephemerides[kOtherMessage]}};
    }
    return {{"satellites", satellitesJson(c.seen)},
            {"both_codes", c.bothCodes},
            {"one_code", c.oneCode},
            {"no_code", c.noCode},
            {"ephemerides", ephemerides},
            {"satellites_with_ephemeris", satellitesJson(c.withEphemeris)},
            {"unhealthy_ephemerides", c.unhealthy},
            {"longest_without_ephemeris_s", secondsJson(c.longestWithout)}};
}

}  // namespace

std::string spanJson(const LogSpan& span) {
    return jsonLine({{"log", span.path},
                     {"first", timeJson(span.first)},
                     {"last", timeJson(span.last)},
                     {"in_order", span.isOrdered},
                     {"whole_log_read", span.isWhole}});
}

std::string infoJson(const LogInfo& info) {
    Json json = {{"log", info.path},
                 {"bytes", info.size},
                 {"blocks", info.blocks},
                 {"first", timeJson(info.blockTimes.first)},
                 {"last", timeJson(info.blockTimes.last)},
                 {"out_of_order", info.backwards},
                 {"by_number", blocksJson(info)},
                 {"crc_errors", info.crcErrors},
                 {"stray_bytes", info.strayBytes},
                 {"cut_off", {{"bytes", info.cutOffBytes}, {"length", info.cutOffLength}}},
                 {"unstamped_blocks", info.unstampedBlocks},
                 {"epochs", epochsJson(info)},
                 {"receiver", setupJson(info)}};
    json["leap_second"] = {{"table", leapJson(info.leapSeconds[kLeapTable])},
                           {"stamped", leapJson(info.leapSeconds[kLeapStamped])},
                           {"unstamped", leapJson(info.leapSeconds[kLeapUnstamped])},
                           {"agree", leapSecondsAgree(info)}};
    json["decoded_epochs"] = info.decodedEpochs;
    for (size_t c = 0; c < info.constellations.size(); ++c) {
        const bool hasMessages = kConstellations[c].code == Qon::Nav::kGalileo;
        json["constellations"][kConstellationNames[c]] = constellationJson(info.constellations[c], hasMessages);
    }
    return jsonLine(json);
}
