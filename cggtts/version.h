// The version of the programs, as the header of a file and -V give it.
#pragma once

extern const char* const kProgramVersion;
