#include "app/standardstreams.h"

#ifdef _WIN32

// The runtime library keeps descriptors 0 to 2 for the standard streams, open or not.
void openClosedStandardStreams() {}

#else

#include <fcntl.h>
#include <unistd.h>

void openClosedStandardStreams() {
    // The system gives out the lowest free descriptor, so the first one behind the three tells that they are all open.
    int descriptor = -1;
    do descriptor = open("/dev/null", O_RDWR);
    while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor >= 0) close(descriptor);
}

#endif
