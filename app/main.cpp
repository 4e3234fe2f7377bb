#include <cstdio>

#include "app/cmdline.h"
#include "app/driver.h"
#include "app/output.h"
#include "app/standardstreams.h"

namespace {

constexpr int kConfigurationFailure = 3;

}  // namespace

int main(int argc, char** argv) {
    openClosedStandardStreams();
    RunConfig config;
    RunOptions options;
    if (!parseOptions(argc, argv, config, options)) return kConfigurationFailure;
    if (options.inputFile.empty()) return 0;  // after -h or -V
    OutputRegistry outputs;
    processFile(config, options, outputs);
    if (outputs.createdFiles.empty()) {
        std::printf("No CGGTTS files were created\n");
    } else {
        std::printf("Created following CGGTTS files:%s\n", outputs.createdFiles.c_str());
    }
    closeOutputs(outputs);
    return 0;
}
