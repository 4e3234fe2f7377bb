#include "utils/zeltdata/zeltfault.h"

#include <cstdio>
#include <cstdlib>

void zeltFatal(ZeltFaultPlace place) {
    char message[255];
    std::snprintf(message, sizeof message, "Abnormal program termination (%s,%i)",
                  "..\\fw\\fw\\gen\\utils\\zeltdata\\src\\zeltread.cpp", static_cast<int>(place));
    std::perror(message);
    std::exit(1);
}
