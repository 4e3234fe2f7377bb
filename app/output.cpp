#include "app/output.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "app/messages.h"
#include "cggtts/writer.h"

namespace {

constexpr size_t kOutputPathCapacity = 49;
constexpr size_t kCreatedFilesCapacity = 499;

// Firmware up to this version tracks 64 channels, later ones 80 (CH in the header).
constexpr double kLastFirmwareWith64Channels = 5.2999;

HeaderTexts headerTexts(const RunOptions& options) {
    HeaderTexts texts;
    texts.receiverName = options.productName;
    texts.firmwareVersion = options.firmwareVersion;
    texts.channels = std::atof(options.firmwareVersion.c_str()) > kLastFirmwareWith64Channels ? 80 : 64;
    texts.laboratory = options.laboratory;
    texts.revisionDate = options.revisionDate;
    texts.calibrationId = options.calibrationId;
    texts.comment = options.comment;
    texts.timeReference = options.timeReference;
    return texts;
}

void createFile(const Constellation& constellation, const CggttsProcessor& processor, const RunConfig& config,
                const RunOptions& options, OutputRegistry& outputs) {
    std::string path =
        makeFileName(constellation, options.laboratoryCode, options.receiverId, processor.lastSampleTime()) +
        options.suffix;
    path.resize(std::min(path.size(), kOutputPathCapacity));
    std::FILE* stream = openFileOrExit(path.c_str(), "wt", constellation.kindWord, 1);
    std::fputs(formatHeader(constellation.index, headerTexts(options), config).c_str(), stream);
    outputs.streams[constellation.index] = stream;
    std::string& list = outputs.createdFiles;
    list += (list.empty() ? "" : ",") + path;
    list.resize(std::min(list.size(), kCreatedFilesCapacity));
}

}  // namespace

// All files come into being together, with the first lines of any: one that never gets a line holds its header alone.
void writeOutputs(const CggttsProcessor& processor, const RunConfig& config, const RunOptions& options,
                  OutputRegistry& outputs) {
    for (const Constellation& constellation : kConstellations) {
        if (outputs.streams[constellation.index] == nullptr && isConstellationEnabled(options, constellation.letter)) {
            createFile(constellation, processor, config, options, outputs);
        }
    }
    for (const Constellation& constellation : kConstellations) {
        std::FILE* stream = outputs.streams[constellation.index];
        if (stream == nullptr) continue;
        std::string lines = processor.lineBuffer(constellation);
        if (options.isNumericOnly) matlabFilter(lines);
        std::fputs(lines.c_str(), stream);
    }
}

std::FILE* openFileOrExit(const char* path, const char* mode, const char* kindWord, int exitStatus) {
    std::FILE* stream = std::fopen(path, mode);
    if (stream == nullptr) {
        printOpenFailure(kindWord, path, std::strpbrk(mode, "wa") != nullptr ? "writing" : "reading");
        std::exit(exitStatus);
    }
    return stream;
}

void matlabFilter(std::string& text) {
    for (char& c : text) {
        if (c >= 'A' && c <= 'Z') c = '0';
    }
}

void closeOutputs(OutputRegistry& outputs) {
    for (std::FILE*& stream : outputs.streams) {
        if (stream != nullptr) std::fclose(stream);
        stream = nullptr;
    }
}
