#include "tests/support/logs.h"

#include <fstream>
#include <iterator>
#include <random>
#include <sstream>

#include "app/driver.h"
#include "cggtts/writer.h"

namespace fs = std::filesystem;

const std::string kExampleLog = ZELT_EXAMPLES "/esbc-2020-06-25-3h.zelt";
const std::string kCompactLog = ZELT_EXAMPLES "/esbc-2020-06-25-3h-meas3.zelt";

namespace {

constexpr size_t kLineSize = 127;
constexpr const char* kSumLine = "CKSUM = ";
constexpr const char* kTitlesEnd = ".1ns.1ps/s.1ns.1ps/s.1ns.1ps/s.1ns\n";

// Two hexadecimal digits, the checksum of a text.
bool isSumOf(const std::string& digits, const std::string& text) {
    return digits.size() == 2 && digits.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos &&
           std::stoul(digits, nullptr, 16) == cggttsChecksum(text);
}

std::string readFile(const fs::path& path, std::ios::openmode mode) {
    std::ifstream in(path, mode);
    return {std::istreambuf_iterator<char>(in), {}};
}

// The data lines of a sound file, which begin behind the titles of their columns.
std::vector<std::string> checkedLines(const std::string& text, bool numericOnly) {
    const size_t titles = text.find(kTitlesEnd);
    require(titles != std::string::npos, "a header that ends in the column titles");
    const size_t sum = text.rfind(kSumLine, titles) + std::string(kSumLine).size();
    require(isSumOf(text.substr(sum, 2), text.substr(0, sum - 1)), "a header's checksum");
    std::istringstream in(text.substr(titles + std::string(kTitlesEnd).size()));
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
        require(!in.eof(), "a line feed behind every line");
        checkDataLine(line, numericOnly);
        lines.push_back(line);
    }
    return lines;
}

}  // namespace

RunConfig stationConfig(const Qon::Nav::Vector3& station) {
    RunConfig config;
    config.leapSeconds = 18;
    config.phaseCentre.fill(station);
    return config;
}

ByteVector readLog(const fs::path& path) {
    const std::string bytes = readFile(path, std::ios::binary);
    return {bytes.begin(), bytes.end()};
}

std::string writeFile(const fs::path& path, const ByteVector& bytes) {
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    out.close();
    require(out.good(), "a written file");
    return path.string();
}

ScratchFolder::ScratchFolder() {
    std::random_device random;
    do {
        path = fs::temp_directory_path() / ("zelt-" + std::to_string(random()));
    } while (!fs::create_directory(path));
}

ScratchFolder::~ScratchFolder() {
    std::error_code ignored;
    fs::remove_all(path, ignored);
}

void EpochReader::read(const std::string& path, const Visit& visit) {
    zeltOpenFile(path.c_str(), file_);
    file_.meas.wanted = wanted_;
    Bytes block;
    while (zeltGetNextBlock(file_, block, kZeltAnyBlock, kZeltAnyBlock, 0) == kZeltFound) take(block, visit);
    finish(visit);
    zeltCloseFile(file_);
}

void EpochReader::take(Bytes block, const Visit& visit) {
    if (!zeltHasTimeStamp(block)) return;
    for (bool ready = zeltCollectMeasBlock(file_, block, epoch_, mode_); ready;
         ready = zeltNextCompleteEpoch(file_, epoch_, mode_)) {
        visit(epoch_);
    }
}

void EpochReader::finish(const Visit& visit) {
    if (zeltDecodePendingEpoch(file_, epoch_, mode_)) visit(epoch_);
}

const ZeltMeasEpoch* EpochReader::decode(const std::vector<ByteVector>& blocks) {
    const ZeltMeasEpoch* decoded = nullptr;
    const Visit keep = [&decoded](const ZeltMeasEpoch& epoch) { decoded = &epoch; };
    for (const ByteVector& block : blocks) take(viewOf(block), keep);
    finish(keep);
    return decoded;
}

void forEachSignal(const ZeltMeasEpoch& epoch,
                   const std::function<void(const ZeltMeasSat&, size_t, const ZeltMeasSignal&)>& visit) {
    for (const ZeltMeasSat& satellite : epoch.used()) {
        for (size_t antenna = 0; antenna < kZeltAntennas; ++antenna) {
            for (const ZeltMeasSignal& signal : satellite.used(antenna)) visit(satellite, antenna, signal);
        }
    }
}

ZeltMeasSignal signalOf(const ZeltMeasEpoch& epoch, int svid, int signalType, size_t antenna) {
    ZeltMeasSignal found{};
    forEachSignal(epoch, [&](const ZeltMeasSat& satellite, size_t a, const ZeltMeasSignal& signal) {
        if (satellite.svid == svid && a == antenna && signal.signalType == signalType) found = signal;
    });
    return found;
}

std::vector<int> svidsOf(const ZeltMeasEpoch& epoch) {
    std::vector<int> svids;
    for (const ZeltMeasSat& satellite : epoch.used()) svids.push_back(satellite.svid);
    return svids;
}

CreatedFiles convertFile(const RunConfig& config, const RunOptions& options) {
    OutputRegistry outputs;
    processFile(config, options, outputs);
    closeOutputs(outputs);
    CreatedFiles files;
    for (const fs::directory_entry& entry : fs::directory_iterator(".")) {
        const std::string name = entry.path().filename().string();
        if (name != options.inputFile) files[name] = checkedLines(readFile(name, std::ios::in), options.isNumericOnly);
    }
    for (const auto& [name, lines] : files) fs::remove(name);
    return files;
}

CreatedFiles convert(const ByteVector& log, const RunConfig& config, RunOptions options) {
    const ScratchFolder folder;
    const fs::path before = fs::current_path();
    fs::current_path(folder.path);
    options.inputFile = writeFile("log", log);
    const CreatedFiles files = convertFile(config, options);
    fs::current_path(before);
    return files;
}

std::vector<std::string> linesOf(const CreatedFiles& files) {
    std::vector<std::string> all;
    for (const auto& [name, lines] : files) all.insert(all.end(), lines.begin(), lines.end());
    return all;
}

void checkDataLine(const std::string& line, bool numericOnly) {
    require(line.size() == kLineSize, "a line of 127 characters");
    const size_t sum = kLineSize - 2;
    require(numericOnly || isSumOf(line.substr(sum), line.substr(0, sum)), "a line's checksum");
}
