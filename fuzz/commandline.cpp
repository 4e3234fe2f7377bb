// The command line: arguments, a line each, over a small log that tells leap second and position, and the conversion of
// that log by whatever they say.
#include "app/cmdline.h"
#include "fuzz/support.h"
#include "tests/support/satellite.h"
#include "zeltlog/conversionrun.h"

namespace {

constexpr size_t kMaxArguments = 64;

ByteVector makeLog() {
    BlockBuilder setup(kZeltReceiverSetup, 424, 4);
    setup.text(116, "Laboratory").text(196, "5.3.0").text(328, "Receiver").f64(368, 0.9).f64(376, 0.15).f32(384, 80);
    BlockBuilder utc(kZeltGpsUtc, 40, 0, kZeltNoTow, kZeltNoWnc);
    return joined({setup.done(), utc.u8(33, 18).done(), simulate(kGpsSatellite)});
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
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const ByteVector log = makeLog();
    enterScratchFolder();
    writeFile("log", log);
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
    // A folder in place of the log ends the program, as it must.
    std::error_code ignored;  // a name may be too long to ask
    if (std::filesystem::is_directory(logOf({arguments.begin() + 1, arguments.end()}), ignored)) return 0;
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    RunConfig config;
    RunOptions options;
    if (!parseOptions(static_cast<int>(arguments.size()), argv.data(), config, options)) return 0;
    if (options.inputFile.empty()) return 0;  // help or version
    checkOptions(config, options);
    if (std::filesystem::is_regular_file(options.inputFile)) convertFile(config, options);
    return 0;
}
