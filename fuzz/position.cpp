// The antenna's position by a hostile log. An input is a log.
#include <cmath>
#include <memory>

#include "fuzz/logmutator.h"
#include "fuzz/support.h"
#include "zeltlog/positiontext.h"

using namespace Qon::Nav;

namespace {

void checkEpoch(const PositionEpoch& epoch, const Vector3& inUse) {
    const EpochSolution& s = epoch.solution;
    require(s.used >= 0 && static_cast<size_t>(s.used) <= epoch.measurements.size(), "measurements used");
    require(s.outcome >= EpochOutcome::kTooFewSatellites || std::isfinite(s.position.x + s.position.y + s.position.z),
            "a finite position");
    require(!IsUsable(s.outcome) || (s.degreesOfFreedom > 0 && s.statistic <= s.threshold), "a test that passes");
    require(epochText(epoch, inUse).back() == '\n', "a line");
}

void checkReport(const PositionReport& report) {
    for (size_t i = 0; report.hasPosition() && i < 3; ++i) {
        require(report.solution.covariance[i][i] > 0, "a standard deviation");
    }
    require(!positionText(report).empty() && positionJson(report).back() == '\n', "a report");
    uint64_t listed = report.ledger.faultsNotListed();
    for (const FaultSpell& spell : report.ledger.spells()) listed += static_cast<uint64_t>(spell.epochs);
    for (const SatelliteSums& satellite : report.ledger.adjustment().satellites) {
        listed -= static_cast<uint64_t>(satellite.atFault);
    }
    require(listed == 0, "every fault in the list");
}

// Where the log puts an antenna whose position in use is the given one.
LogPosition solveLog(const Vector3& inUse) {
    StationConfig config{stationConfig(inUse), inUse};
    config.elevationMaskDeg = 5;
    RunOptions options;
    options.inputFile = "log";
    const auto pass = std::make_unique<FilePass>(config, options);
    PassEvents events;
    const auto ledger = std::make_unique<PositionLedger>(*pass, config, events,
                                                         [&](const PositionEpoch& epoch) { checkEpoch(epoch, inUse); });
    runPass(*pass, events, ZeltOnFault::kEndFile);
    zeltCloseFile(pass->file);
    const PositionReport report(*ledger, config, options);
    checkReport(report);
    return report.solution;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    silencePrinting();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    enterScratchFolder();
    writeFile("log", {data, data + size});
    const LogPosition here = solveLog(kExampleStation);
    const LogPosition elsewhere = solveLog({1e6, 2e6, -6e6});
    require(here.outcome == elsewhere.outcome, "an outcome that the position in use does not touch");
    require(here.outcome != LogOutcome::kSolved || here.position == elsewhere.position, "one position");
    return 0;
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t maxSize, unsigned seed) {
    return mutateLog(data, size, maxSize, seed);
}
