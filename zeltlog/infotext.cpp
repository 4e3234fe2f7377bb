#include "zeltlog/infotext.h"

#include <cstdarg>
#include <cstdio>

#include "utils/geometry/constants.h"
#include "utils/geometry/geometry.h"
#include "utils/geometry/satnames.h"
#include "zeltlog/blocknames.h"
#include "zeltlog/textformat.h"

using namespace Qon::Nav;

namespace {

// The facts of one log stand behind a column of names; an empty name goes on with the one above.
void appendFact(std::string& text, const char* name, const std::string& fact) {
    text += formatText("%-14s%s\n", name, fact.c_str());
}

std::string timesText(const TimeSpan& span) {
    return span.first == kNoTime ? "none" : "from " + formatTime(span.first) + " to " + formatTime(span.last);
}

std::string disorderText(uint64_t backwards) {
    return backwards == 0 ? "" : formatText("; %s out of order", countText(backwards, "block").c_str());
}

// Numbers and revisions apart: the same block of another revision has other fields (doc/log-format.md).
void appendBlocks(const LogInfo& info, std::string& text) {
    appendFact(text, "Blocks",
               std::to_string(info.blocks) + ", " + timesText(info.blockTimes) + disorderText(info.backwards));
    for (size_t id = 0; id < info.blockCounts.size(); ++id) {
        if (info.blockCounts[id] == 0) continue;
        const auto number = static_cast<uint16_t>(id % kZeltBlockNumbers);
        text += formatText("%22u  %-16s revision %u  %10llu\n", static_cast<unsigned>(number), blockName(number),
                           static_cast<unsigned>(id / kZeltBlockNumbers),
                           static_cast<unsigned long long>(info.blockCounts[id]));
    }
}

// Written out even where there is none: whoever looks for damage sees that it was looked for.
void appendDamage(const LogInfo& info, std::string& text) {
    std::string damage = countText(info.crcErrors, "candidate") + " with a wrong CRC, " +
                         countText(static_cast<uint64_t>(info.strayBytes), "byte") + " of no block, " +
                         countText(info.unstampedBlocks, "block") + " without time stamp";
    if (info.cutOffBytes != 0) {
        damage += formatText(", a block of %lld bytes cut off at the end after %lld",
                             static_cast<long long>(info.cutOffLength), static_cast<long long>(info.cutOffBytes));
    }
    appendFact(text, "Damage", damage);
}

void appendEpochs(const LogInfo& info, std::string& text) {
    const EpochTimes& epochs = info.epochs;
    if (epochs.count == 0) return appendFact(text, "Measurements", "none");
    std::string line = countText(epochs.count, "epoch") + " (" + info.format + "), " + timesText(epochs.span);
    if (epochs.interval() != kNoTime) line += ", every " + formatDuration(epochs.interval());
    appendFact(text, "Measurements", line + disorderText(epochs.backwards));
    if (epochs.onHalfMinute == 0) {  // tracks are sampled there alone (schedule.h)
        appendFact(text, "", "none of them on the half minute: no track can be made of them");
    }
    if (epochs.gapCount() == 0) return;
    appendFact(
        text, "Gaps",
        countText(epochs.gapCount(), "gap") + ", " + formatDuration(epochs.missingTime()) + " missing; the longest:");
    for (const EpochTimes::Gap& gap : epochs.longest) {
        if (epochs.isGap(gap.to - gap.from)) {
            appendFact(text, "", formatTime(gap.from) + " to " + formatTime(gap.to));
        }
    }
}

void appendSetup(const LogInfo& info, std::string& text) {
    if (info.setups == 0) return appendFact(text, "Receiver", "no ReceiverSetup block");
    const ZeltReceiverSetup& setup = info.setup;
    appendFact(text, "Receiver",
               (setup.hasProductName ? setup.productName : "unknown") + ", firmware " + setup.firmwareVersion);
    appendFact(text, "Agency", setup.agency);
    if (!setup.hasPosition) return appendFact(text, "Position", "unknown");
    // In the frame of -px, -py and -pz, and as the block has it.
    const Vector3 p =
        GeodeticToEcef(MakeLocalFrame(setup.position.latitude, setup.position.longitude), setup.position.height);
    appendFact(text, "Position",
               formatText("%.3f %.3f %.3f m; latitude %.7f, longitude %.7f degrees, height %.3f m", p.x, p.y, p.z,
                          setup.position.latitude * kDegreesPerRadian, setup.position.longitude * kDegreesPerRadian,
                          setup.position.height));
}

std::string leapText(const LeapSecondSource& source) {
    if (source.count == 0) return "-";
    if (source.lowest == source.highest) return std::to_string(source.lowest);
    return std::to_string(source.lowest) + " to " + std::to_string(source.highest);
}

void appendLeapSeconds(const LogInfo& info, std::string& text) {
    std::string line = "table " + leapText(info.leapSeconds[kLeapTable]) + ", UTC blocks with time stamp " +
                       leapText(info.leapSeconds[kLeapStamped]) + ", without " +
                       leapText(info.leapSeconds[kLeapUnstamped]);
    if (!leapSecondsAgree(info)) line += ": they do not agree";
    appendFact(text, "Leap second", line);
    // UTC blocks with a time stamp are none of the converter's sources (zeltsetup.h).
    if (info.leapSeconds[kLeapTable].count == 0 && info.leapSeconds[kLeapUnstamped].count == 0) {
        appendFact(text, "", "zelt2cggtts needs -ls for this log");
    }
}

// A constellation that gives no lines shows here why: no satellites, one code of two, no ephemerides, or too few of
// them.
void appendConstellations(const LogInfo& info, std::string& text) {
    text += formatText("\n%-9s%11s%12s%10s%10s%13s%10s%10s  %s\n", "", "satellites", "both codes", "one code",
                       "no code", "ephemerides", "of sats", "unhealthy", "longest without");
    for (size_t c = 0; c < info.constellations.size(); ++c) {
        const ConstellationInfo& row = info.constellations[c];
        uint64_t ephemerides = 0;
        for (const uint64_t count : row.ephemerides) ephemerides += count;
        text += formatText("%-9s%11zu%12llu%10llu%10llu%13llu%10zu%10llu  %s\n", kConstellationNames[c],
                           row.seen.count(), static_cast<unsigned long long>(row.bothCodes),
                           static_cast<unsigned long long>(row.oneCode), static_cast<unsigned long long>(row.noCode),
                           static_cast<unsigned long long>(ephemerides), row.withEphemeris.count(),
                           static_cast<unsigned long long>(row.unhealthy), formatDuration(row.longestWithout).c_str());
    }
    // A receiver that logs I/NAV alone seems to log ephemerides, and gives not one line.
    const auto& galileo = info.constellations[2].ephemerides;
    text += formatText("Galileo's ephemerides: %llu F/NAV (the ones that tracks use), %llu I/NAV, %llu other\n",
                       static_cast<unsigned long long>(galileo[kFnav]), static_cast<unsigned long long>(galileo[kInav]),
                       static_cast<unsigned long long>(galileo[kOtherMessage]));
    text += formatText("Codes: of each satellite at each of %llu epochs%s\n",
                       static_cast<unsigned long long>(info.decodedEpochs),
                       info.areHalfMinutes ? " on the half minute" : "");
    for (size_t c = 0; c < info.constellations.size(); ++c) {
        if (info.constellations[c].seen.none()) continue;
        text += formatText("%-9s", kConstellationNames[c]);
        for (int svid = 0; svid < 256; ++svid) {
            if (info.constellations[c].seen.test(static_cast<size_t>(svid)))
                text += formatText(" %s", SVIDToName(svid).data());
        }
        text += '\n';
    }
}

}  // namespace

std::string infoText(const LogInfo& info) {
    std::string text;
    appendFact(text, "Log", info.path);
    appendFact(text, "Size", countText(static_cast<uint64_t>(info.size), "byte"));
    appendBlocks(info, text);
    appendDamage(info, text);
    appendEpochs(info, text);
    appendSetup(info, text);
    appendLeapSeconds(info, text);
    appendConstellations(info, text);
    return text;
}

std::string infoTableTitles() {
    return formatText("%-19s  %-19s  %8s  %8s  %5s  %6s  %8s  %3s  %3s  %3s  %3s  %s\n", "first epoch", "last epoch",
                      "epochs", "interval", "gaps", "CRC", "stray", "G", "R", "E", "C", "log");
}

// The columns of satellites are those of kConstellations, in its order.
std::string infoTableLine(const LogInfo& info) {
    const EpochTimes& epochs = info.epochs;
    const std::string interval = epochs.interval() == kNoTime ? "-" : formatDuration(epochs.interval());
    std::string text =
        formatText("%-19s  %-19s  %8llu  %8s  %5llu  %6llu  %8lld", formatTime(epochs.span.first).c_str(),
                   formatTime(epochs.span.last).c_str(), static_cast<unsigned long long>(epochs.count),
                   interval.c_str(), static_cast<unsigned long long>(epochs.gapCount()),
                   static_cast<unsigned long long>(info.crcErrors), static_cast<long long>(info.strayBytes));
    for (const ConstellationInfo& c : info.constellations) text += formatText("  %3zu", c.seen.count());
    return text + "  " + info.path + '\n';
}

// Whatever was not looked at may lie outside the span: said, because plans are made of it.
std::string spanText(const LogSpan& span) {
    std::string text = formatTime(span.first) + "  " + formatTime(span.last) + "  " + span.path;
    if (!span.isOrdered) {
        text += span.isWhole ? "  (blocks out of order)" : "  (blocks out of order: others may lie outside)";
    } else if (!span.isWhole) {
        text += "  (head and tail; in between, times may not be in order)";
    }
    return text + '\n';
}
