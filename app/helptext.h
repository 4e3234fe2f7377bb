// The help that -h prints.
#pragma once

// Prints the help on standard error.
void printHelp();

// The three parts of the help, in the order in which they are printed.
extern const char* const kHelpTexts[3];
