// What zeltlog tracks tells of a hostile log: its lines are those of the files.
#include "fuzz/logmutator.h"
#include "fuzz/support.h"
#include "zeltlog/tracktext.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    enterScratchFolder();
    writeFile("log", {data, data + size});
    const unsigned how = size == 0 ? 0 : data[size - 1];
    RunConfig config = stationConfig();
    config.elevationMaskDeg = (how & 1) != 0 ? 10 : -91;
    config.isContiguous = (how & 2) != 0;
    RunOptions options;
    options.inputFile = "log";
    if ((how & 4) != 0) options.excluded = "R";
    TrackReport report(options);
    size_t lines = 0;
    const FollowedLog log = followTracks(config, options, [&](const TrackRow& row) {
        report.add(row, true);
        lines += row.fate == TrackFate::kLine ? 1 : 0;
        require(row.fate != TrackFate::kLine || row.kept >= 21, "a line of enough samples");
        require(row.bothCodes >= 0 && row.kept >= 0 && row.kept <= 26, "samples of a track");
        require(rowText(row).back() == '\n', "a whole row");
    });
    report.setEpochTimes(log.epochTimes);
    require(!reportText(report).empty() && !reportJson(report).empty(), "a report");
    require(linesOf(convertFile(config, options)).size() == lines, "the lines of the files");
    return 0;
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t maxSize, unsigned seed) {
    return mutateLog(data, size, maxSize, seed);
}
