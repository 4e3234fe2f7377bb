// Messages that more than one place prints.
#pragma once

// Prints "The KIND file "PATH" could not be opened for reading" (or "writing"), cut to 254 characters, with the text of
// the last system error behind it, on standard error.
void printOpenFailure(const char* kindWord, const char* path, const char* verb);
