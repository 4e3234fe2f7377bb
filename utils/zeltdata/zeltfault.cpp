#include "utils/zeltdata/zeltfault.h"

#include <cstdio>
#include <cstdlib>

// Scripts and the support desk know the text as it stands, path included; the path names no file of this machine.
// Putting it together leaves errno alone, whose text perror adds.
void zeltFatal(ZeltFaultPlace place) {
    char message[255];
    std::snprintf(message, sizeof message, "Abnormal program termination (%s,%i)",
                  "..\\fw\\fw\\gen\\utils\\zeltdata\\src\\zeltread.cpp", static_cast<int>(place));
    std::perror(message);
    std::exit(1);
}
