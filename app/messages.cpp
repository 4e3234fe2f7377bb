#include "app/messages.h"

#include <cerrno>
#include <cstdio>

void printOpenFailure(const char* kindWord, const char* path, const char* verb) {
    const int error = errno;  // which formatting may change
    char message[255];
    std::snprintf(message, sizeof message, "The %s file \"%s\" could not be opened for %s", kindWord, path, verb);
    errno = error;
    std::perror(message);
}
