// What goes wrong with a file before it is known to be a log, and how far one has been read.
#pragma once

#include <functional>
#include <string>

#include "app/pass.h"
#include "utils/zeltdata/zeltwindow.h"

// Told now and then how far a pass is, percent.
using OnProgress = std::function<void(float percent)>;

// Prints a message on standard error, with the program's name in front.
void complain(const std::string& text);

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

// Tells how far a pass is, block by block, beside who listens to its blocks already. Nothing for a null function.
void showProgressOf(FilePass& pass, const OnProgress& onProgress, PassEvents& events);
