// The command line: arguments, a line each, over a small log that tells leap second and position, and the conversion of
// that log by whatever they say.
#include <filesystem>
#include <string>
#include <vector>

#include "app/cmdline.h"
#include "app/driver.h"
#include "fuzz/support.h"
#include "tests/logbuilder.h"
#include "utils/zeltdata/zeltnav.h"

namespace {

constexpr const char* kLog = "log";
constexpr uint32_t kFirstSample = 346230;  // s of the week, of a track's slot 0
constexpr size_t kMaxArguments = 64;

// A GPS satellite over one track, all of it plausible.
ByteVector makeLog() {
    BlockBuilder setup(kZeltReceiverSetup, 424, 4, kFirstSample * 1000);
    setup.text(116, "Laboratory").text(196, "5.3.0").text(328, "Receiver");
    setup.f64(368, 0.9685).f64(376, 0.1476).f32(384, 60);
    BlockBuilder utc(kZeltGpsUtc, 40, 0, kZeltNoTow, kZeltNoWnc);
    BlockBuilder nav(kZeltGpsNav, 140, 0, kFirstSample * 1000);
    const ZeltKeplerLayout& at = kZeltGpsKepler;
    nav.u8(kZeltSvidOffset, 5).f64(at.sqrtA, 5153.7).f64(at.e, 0.01).f64(at.i0, 0.3);
    nav.u32(at.toe, kFirstSample).u16(at.wnToe, kTestWeek % 1024);
    nav.u32(at.toc, kFirstSample).u16(at.wnToc, kTestWeek % 1024);
    ByteVector log = joined({setup.done(), utc.u8(33, 18).done(), nav.done()});
    for (uint32_t slot = 0; slot < kSlotsPerTrack; ++slot) {
        BlockBuilder epoch(kZeltMeasEpoch, 52, 1, (kFirstSample + slot * kSampleSpacing) * 1000);
        epoch.u8(14, {1, 20, 12}).u8(21, {1, 5, 5}).u32(24, 525163520).u8(39, 1);
        log += epoch.u8(40, 2).u16(46, 3000).done();
    }
    return log;
}

void checkOptions(const RunConfig& config, const RunOptions& options) {
    require(config.leapSeconds != Qon::Nav::kNoLeapSeconds, "a leap second");
    require(options.laboratoryCode.size() == 2 && options.receiverId.size() == 2, "codes of two characters");
    const struct {
        const std::string& text;
        size_t capacity;
    } texts[] = {{options.inputFile, 1023},  {options.laboratory, 40}, {options.calibrationId, 30},
                 {options.revisionDate, 30}, {options.comment, 80},    {options.timeReference, 30},
                 {options.suffix, 30},       {options.excluded, 9}};
    for (const auto& [text, capacity] : texts) require(text.size() <= capacity, "a text within its capacity");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    silencePrinting();
    const InScratchDirectory directory;
    const ByteVector log = makeLog();
    writeFile(kLog, log.data(), log.size());
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const InScratchDirectory directory;
    std::vector<std::string> arguments(1);
    for (size_t i = 0; i < size; ++i) {
        if (data[i] == '\n' || data[i] == '\0') {
            if (arguments.size() == kMaxArguments) break;
            arguments.emplace_back();
        } else {
            // No path leads out of the directory.
            arguments.back() += data[i] == '/' ? '_' : static_cast<char>(data[i]);
        }
    }
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    RunConfig config;
    RunOptions options;
    if (!parseOptions(static_cast<int>(arguments.size()), argv.data(), config, options)) return 0;
    if (options.inputFile.empty()) return 0;  // help or version
    checkOptions(config, options);
    // Of a directory the length cannot be told, which with -v ends the program, as it must.
    if (!std::filesystem::is_regular_file(options.inputFile)) return 0;
    OutputRegistry outputs;
    processFile(config, options, outputs);
    closeOutputs(outputs);
    checkAndRemoveOutputs(kLog, options.isNumericOnly);
    return 0;
}
