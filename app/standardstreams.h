// Standard input, output and error when the program starts.
#pragma once

// Opens those that are closed on the null device. To be called before the first file is opened: a file that took their
// descriptor would receive what is printed. Where there is no null device they stay closed.
void openClosedStandardStreams();
