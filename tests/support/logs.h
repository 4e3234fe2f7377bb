// Logs as files: where tests put them, the epochs that are read from them, the files that they are converted into.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "app/runoptions.h"
#include "cggtts/runconfig.h"
#include "tests/support/blocks.h"
#include "utils/zeltdata/zeltmeas.h"
#include "utils/zeltdata/zeltread.h"

// The example log, the compact one of the same measurements, and where the station is (ITRF, m).
extern const std::string kExampleLog;
extern const std::string kCompactLog;
constexpr Qon::Nav::Vector3 kExampleStation{3582105.291, 532589.7313, 5232754.8054};

// What a run at a station needs to be told: the place and the leap second.
RunConfig stationConfig(const Qon::Nav::Vector3& station = kExampleStation);

ByteVector readLog(const std::filesystem::path& path);

// Writes a file; its path as a text.
std::string writeFile(const std::filesystem::path& path, const ByteVector& bytes);

// A new folder that goes away with the object. Tests may run side by side.
struct ScratchFolder {
    std::filesystem::path path;

    ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;
    ~ScratchFolder();
    std::string write(const std::string& name, const ByteVector& log) const { return writeFile(path / name, log); }
};

// Blocks gathered into epochs as the program does it, from a file or, without one, from blocks that the caller has.
class EpochReader {
public:
    using Visit = std::function<void(const ZeltMeasEpoch&)>;

    explicit EpochReader(unsigned families = kZeltAllowMeas3 | kZeltAllowMeasEpoch, const ZeltWanted& wanted = {})
        : mode_(families), wanted_(wanted) {
        file_.meas.wanted = wanted;
    }

    // Hands every epoch of a log to `visit`.
    void read(const std::string& path, const Visit& visit);
    void take(Bytes block, const Visit& visit);
    void finish(const Visit& visit);

    // The epoch of some blocks, null when they give none. It stays good until the next call.
    const ZeltMeasEpoch* decode(const std::vector<ByteVector>& blocks);

private:
    unsigned mode_;
    ZeltWanted wanted_;
    ZeltFile file_;
    ZeltMeasEpoch epoch_{};
};

// Hands every signal of an epoch to `visit`, with its satellite and antenna.
void forEachSignal(const ZeltMeasEpoch& epoch,
                   const std::function<void(const ZeltMeasSat&, size_t, const ZeltMeasSignal&)>& visit);

// The signal of a satellite, one without flags when it is not in the epoch.
ZeltMeasSignal signalOf(const ZeltMeasEpoch& epoch, int svid, int signalType, size_t antenna = 0);

// The satellites of an epoch.
std::vector<int> svidsOf(const ZeltMeasEpoch& epoch);

// The data lines of the files that a conversion creates, by name.
using CreatedFiles = std::map<std::string, std::vector<std::string>>;

// Converts the log named in the options in the working directory and removes what it creates, or what else is there.
// Stops unless every file is sound: a header with its checksum and whole data lines of 127 characters with theirs.
CreatedFiles convertFile(const RunConfig& config, const RunOptions& options);

// Converts a log in a folder of its own.
CreatedFiles convert(const ByteVector& log, const RunConfig& config = stationConfig(), RunOptions options = {});

// The lines of all files.
std::vector<std::string> linesOf(const CreatedFiles& files);

// Stops unless it is a data line, without its line feed. One of digits alone has no checksum.
void checkDataLine(const std::string& line, bool numericOnly = false);
