#include "app/cmdline.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <type_traits>

#include "app/helptext.h"
#include "app/messages.h"
#include "cggtts/constellations.h"
#include "cggtts/version.h"
#include "utils/geometry/geometry.h"
#include "utils/zeltdata/zeltread.h"
#include "utils/zeltdata/zeltsetup.h"

using namespace Qon::Nav;

namespace {

constexpr size_t kPathCapacity = 1023;
constexpr size_t kEpochTextCapacity = 19;  // yyyy-mm-dd_hh:mm:ss
constexpr size_t kCodeCapacity = 2;

// The ionosphere-free combination of the two vertical offsets of each constellation, in the order of kConstellations:
// factor = f1^2 / (f1^2 - f2^2) for L1/L2, E1/E5a, B1/B2. GLONASS's is that of 1602 and 1248 MHz, not of its 9/7 ratio,
// which gives 2.53125 (deliberate: X, Y and Z in the header and the digits of its lines hang on it where -ag1 and -ag2
// differ, 1.3 mm or 4 ps for 0.1 m).
struct OffsetRow {
    double AntennaSettings::*offset1;
    double AntennaSettings::*offset2;
    double factor;
};
constexpr OffsetRow kOffsets[kTrackedConstellations] = {
    {&AntennaSettings::offsetL1, &AntennaSettings::offsetL2, 2.5457277801631593},
    {&AntennaSettings::offsetGloL1, &AntennaSettings::offsetGloL2, 2.543764495985727},
    {&AntennaSettings::offsetL1, &AntennaSettings::offsetE5a, 2.2606043275188257},
    {&AntennaSettings::offsetB1, &AntennaSettings::offsetB2, 2.487168313616926},
};

// What takes the place of an argument that was used. Writable in name only, as argv's own texts are: nobody writes to
// it.
char kEmptyArgument[] = "";

bool beginsWith(const char* argument, const char* option) {
    return std::strncmp(argument, option, std::strlen(option)) == 0;
}

// The value of the option's next occurrence from argument i on, consumed; null when there is none.
const char* takeValue(const char* option, int argc, char** argv, int& i) {
    for (; i < argc; ++i) {
        if (!beginsWith(argv[i], option)) continue;
        const char* value = argv[i] + std::strlen(option);
        argv[i] = kEmptyArgument;
        if (*value == '\0' && i + 1 < argc) {
            value = argv[++i];
            argv[i] = kEmptyArgument;
        }
        ++i;
        return value;
    }
    return nullptr;
}

void printSyntaxError(const char* option) {
    std::fprintf(stderr, "!! Syntax error in %s argument.  Use -h option for help.\n", option);
}

// Occurrences are all taken, so that none is left over as an unknown option. The last one decides whether the option
// fails, but a value that an earlier one set stays.
template <class Number>
bool getNumberOption(const char* option, const char* format, Number& value, int argc, char** argv) {
    bool converted = true;
    int i = 1;
    while (const char* text = takeValue(option, argc, argv, i)) converted = std::sscanf(text, format, &value) == 1;
    if (!converted) printSyntaxError(option);
    return converted;
}

// Only the last occurrence is read, and an empty one counts as none.
bool getEpochOption(const char* option, const EpochTarget& target, int argc, char** argv) {
    std::string text;
    getStringOption(option, {&text, kEpochTextCapacity}, argc, argv);
    if (text.empty() || parseEpochBound(text.c_str(), *target.milliseconds)) return true;
    printSyntaxError(option);
    return false;
}

// Looks an option up among the arguments and gives its target what it finds.
struct ApplyOption {
    const char* option;
    int argc;
    char** argv;

    bool operator()(double* value) const { return getDoubleOption(option, *value, argc, argv); }
    bool operator()(int32_t* value) const { return getIntOption(option, *value, argc, argv); }
    bool operator()(const EpochTarget& target) const { return getEpochOption(option, target, argc, argv); }
    bool operator()(const TextTarget& target) const {
        getStringOption(option, target, argc, argv);
        return true;
    }
    bool operator()(bool* flag) const {
        *flag = findOption(option, argc, argv, FoundArgument::kEmpty);
        return true;
    }
};

// False after reporting the first argument that no option took.
bool reportLeftovers(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        if (*argv[i] == '\0') continue;
        std::fprintf(stderr, "!! Unknown option %s.  Use -h option for help.\n", argv[i]);
        return false;
    }
    return true;
}

bool getInputFile(int argc, char** argv, RunOptions& options) {
    if (!findOption("-f", argc, argv, FoundArgument::kKeep)) {
        std::fprintf(stderr, "!! Argument -f is mandatory.  Use -h option for help.\n");
        return false;
    }
    getStringOption("-f", {&options.inputFile, kPathCapacity}, argc, argv);
    return checkInputFile(options.inputFile.c_str(), "Zelt");
}

// A number given is taken as it stands, without a look at the log.
bool completeLeapSeconds(const RunOptions& options, RunConfig& config) {
    if (config.leapSeconds == kNoLeapSeconds) config.leapSeconds = zeltLeapSecondsFromFile(options.inputFile.c_str());
    if (config.leapSeconds != kNoLeapSeconds) return true;
    std::fprintf(stderr, "!! Leap second cannot be determined.  Use -ls option to set it manually.\n");
    return false;
}

// Of a position that was not given: the Earth's centre is nobody's antenna.
bool isOrigin(const Vector3& p) { return p.x == 0 && p.y == 0 && p.z == 0; }

// What the command line gives goes before the log, but -lab Unknown cannot be told from no -lab.
void completeFromSetup(RunOptions& options, AntennaSettings& antenna) {
    ZeltReceiverSetup setup;
    if (!zeltReadReceiverSetup(options.inputFile.c_str(), setup)) return;
    options.firmwareVersion = setup.firmwareVersion;
    if (options.laboratory == "Unknown") options.laboratory = setup.agency;
    if (setup.hasProductName) options.productName = setup.productName;
    if (isOrigin(antenna.position) && setup.hasPosition) {
        const Geodetic& p = setup.position;
        antenna.position = GeodeticToEcef(MakeLocalFrame(p.latitude, p.longitude), p.height);
    }
}

// The offsets are vertical: they raise the antenna along the ellipsoid's normal.
bool computePhaseCentres(const AntennaSettings& antenna, RunConfig& config) {
    if (isOrigin(antenna.position)) {
        std::fprintf(stderr, "!! Receiver position unknown.  Use -px, -py and -pz options to set it.\n");
        return false;
    }
    const Geodetic p = EcefToGeodetic(antenna.position);
    const LocalFrame frame = MakeLocalFrame(p.latitude, p.longitude);
    for (const Constellation& constellation : kConstellations) {
        const OffsetRow& row = kOffsets[constellation.index];
        const double height =
            p.height + row.factor * (antenna.*row.offset1) - (row.factor - 1) * (antenna.*row.offset2);
        config.phaseCentre[constellation.index] = GeodeticToEcef(frame, height);
    }
    return true;
}

}  // namespace

std::vector<Option> optionTable(RunConfig& config, RunOptions& options, AntennaSettings& antenna) {
    return {
        {"-px", &antenna.position.x},
        {"-py", &antenna.position.y},
        {"-pz", &antenna.position.z},
        {"-ls", &config.leapSeconds},
        {"-elm", &config.elevationMaskDeg},
        {"-al1", &antenna.offsetL1},
        {"-al2", &antenna.offsetL2},
        {"-ag1", &antenna.offsetGloL1},
        {"-ag2", &antenna.offsetGloL2},
        {"-ae5a", &antenna.offsetE5a},
        {"-ab1", &antenna.offsetB1},
        {"-ab2", &antenna.offsetB2},
        {"-dl1", &config.delayGpsL1Ns},
        {"-dl2", &config.delayGpsL2Ns},
        {"-dg1", &config.delayGloL1Ns},
        {"-dg2", &config.delayGloL2Ns},
        {"-de5a", &config.delayGalE5aNs},
        {"-de1", &config.delayGalE1Ns},
        {"-db1", &config.delayBdsB1Ns},
        {"-db2", &config.delayBdsB2Ns},
        {"-dref", &config.delayReferenceNs},
        {"-dcab", &config.delayCableNs},
        {"-labid", TextTarget{&options.laboratoryCode, kCodeCapacity}},
        {"-lab", TextTarget{&options.laboratory, 40}},
        {"-rxid", TextTarget{&options.receiverId, kCodeCapacity}},
        {"-calid", TextTarget{&options.calibrationId, 30}},
        {"-revdate", TextTarget{&options.revisionDate, 30}},
        {"-comment", TextTarget{&options.comment, 80}},
        {"-tref", TextTarget{&options.timeReference, 30}},
        {"-suffix", TextTarget{&options.suffix, 30}},
        {"-x", TextTarget{&options.excluded, 9}},
        {"-b", EpochTarget{&options.firstEpochMs}},
        {"-e", EpochTarget{&options.lastEpochMs}},
        {"-C", &config.isContiguous},
        {"-v", &options.showsProgress},
        {"-matlab", &options.isNumericOnly},
    };
}

bool parseOptions(int argc, char** argv, RunConfig& config, RunOptions& options) {
    AntennaSettings antenna;
    return parseOptions(argc, argv, config, options, antenna);
}

bool parseOptions(int argc, char** argv, RunConfig& config, RunOptions& options, AntennaSettings& antenna) {
    // Help and version go before everything, wrong options included.
    if (findOption("-h", argc, argv, FoundArgument::kKeep)) {
        printHelp();
        return true;
    }
    if (findOption("-V", argc, argv, FoundArgument::kKeep)) {
        std::printf("%s\n", kProgramVersion);
        return true;
    }
    // What fails is reported in this order: the file, the syntax of options in the table's, unknown ones, what the log
    // would have to tell.
    if (!getInputFile(argc, argv, options)) return false;
    for (const Option& option : optionTable(config, options, antenna)) {
        if (!std::visit(ApplyOption{option.text, argc, argv}, option.target)) return false;
    }
    if (!reportLeftovers(argc, argv)) return false;
    options.laboratoryCode.resize(kCodeCapacity, '_');
    options.receiverId.resize(kCodeCapacity, '_');
    if (!completeLeapSeconds(options, config)) return false;
    completeFromSetup(options, antenna);
    return computePhaseCentres(antenna, config);
}

bool findOption(const char* option, int argc, char** argv, FoundArgument found) {
    for (int i = 1; i < argc; ++i) {
        if (!beginsWith(argv[i], option)) continue;
        if (found == FoundArgument::kEmpty) argv[i] = kEmptyArgument;
        return true;
    }
    return false;
}

bool getDoubleOption(const char* option, double& value, int argc, char** argv) {
    return getNumberOption(option, "%lf", value, argc, argv);
}

bool getIntOption(const char* option, int32_t& value, int argc, char** argv) {
    static_assert(std::is_same_v<int32_t, int>);  // which is what %d fills
    return getNumberOption(option, "%d", value, argc, argv);
}

void getStringOption(const char* option, const TextTarget& target, int argc, char** argv) {
    int i = 1;
    while (const char* text = takeValue(option, argc, argv, i)) {
        *target.value = std::string(text).substr(0, target.capacity);
    }
}

bool parseEpochBound(const char* text, int64_t& milliseconds) {
    unsigned year = 0;
    unsigned month = 0;
    unsigned day = 0;
    unsigned hour = 0;
    unsigned minute = 0;
    double second = 0;
    char separator = 0;
    const int converted = std::sscanf(text, "%u%c%u%c%u%c%u%c%u%c%lf", &year, &separator, &month, &separator, &day,
                                      &separator, &hour, &separator, &minute, &separator, &second);
    if (converted < 1) return false;
    const double value = std::trunc(DateToGpsSeconds(year, month, day, hour, minute, second) * 1000 + 0.5);
    constexpr auto kMin = std::numeric_limits<int64_t>::min();
    constexpr auto kMax = std::numeric_limits<int64_t>::max();
    // The highest 64-bit integer becomes 2^63 as a double, one too many for it.
    if (value >= static_cast<double>(kMax)) {
        milliseconds = kMax;
    } else {
        milliseconds = value >= static_cast<double>(kMin) ? static_cast<int64_t>(value) : kMin;
    }
    return true;
}

bool checkInputFile(const char* path, const char* kindWord) {
    if (zeltCanOpenFile(path)) return true;
    printOpenFailure(kindWord, path, "reading");
    return false;
}
