// What goes wrong with a log, and how far it has been read.
#pragma once

#include <functional>
#include <string>

#include "app/pass.h"
#include "utils/zeltdata/zeltwindow.h"

// Told now and then how far a pass is, percent.
using OnProgress = std::function<void(float percent)>;

// Prints a message on standard error, with the program's name in front.
void complain(const std::string& text);

// The same, and the exit status tells that not all was well.
void complain(const std::string& text, int& status);

// Bytes of a file, 0 where it has none to tell of.
int64_t fileSize(const std::string& path);

// What kept an opened file from being read to its end: the fault that was met, or that it is shorter now than at first.
ZeltFault faultOf(ZeltFile& file, int64_t sizeAtFirst);

// What to say of a file in which a pass met a fault: "LOG: Permission denied".
std::string faultText(const std::string& path, const ZeltFault& fault);

// What to say of a file without a block: "no Zelt block in LOG", and what it holds instead where that can be told.
std::string noBlockText(const std::string& path);

// True when a block follows somewhere in the file, from its beginning on.
bool holdsBlock(const std::string& path, ZeltFault& fault);

// Draws a bar on standard error where that is a terminal; null elsewhere.
OnProgress terminalProgress(const std::string& label);
void clearTerminalProgress();

// Runs a pass over its log, and tells how far it is beside whoever listens to its blocks already. Gives what kept the
// log from being read to its end.
ZeltFault followLog(FilePass& pass, PassEvents& events, const OnProgress& onProgress);
