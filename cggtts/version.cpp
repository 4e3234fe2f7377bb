#include "cggtts/version.h"

// The build defines the number for this file alone, so that a new one rebuilds nothing else.
const char* const kProgramVersion = "zelt2cggtts-" ZELT_VERSION;
