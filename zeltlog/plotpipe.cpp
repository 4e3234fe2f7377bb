#include "zeltlog/plotpipe.h"

#ifndef _WIN32
#include <csignal>
#endif

namespace {

#ifdef _WIN32
// A file name holds no quotation mark there.
std::string commandFor(const std::string& picture) { return "plot-position -o \"" + picture + '"'; }
std::FILE* openPipe(const std::string& command) { return _popen(command.c_str(), "w"); }
int closePipe(std::FILE* pipe) { return _pclose(pipe); }
#else
std::string commandFor(const std::string& picture) {
    std::string command = "plot-position --output='";
    for (const char c : picture) command += c == '\'' ? "'\\''" : std::string(1, c);
    return command + '\'';
}

// The tool may end before all is written, which shall not end this program.
std::FILE* openPipe(const std::string& command) {
    std::signal(SIGPIPE, SIG_IGN);
    return popen(command.c_str(), "w");  // NOLINT(cert-env33-c): what the user names is quoted in it
}
int closePipe(std::FILE* pipe) { return pclose(pipe); }
#endif

}  // namespace

PlotPipe::PlotPipe(const std::string& picture) : pipe_(openPipe(commandFor(picture))) {}

PlotPipe::~PlotPipe() { finish(); }

void PlotPipe::write(const std::string& text) {
    if (pipe_ != nullptr) std::fputs(text.c_str(), pipe_);
}

bool PlotPipe::finish() {
    if (pipe_ == nullptr) return false;
    std::FILE* pipe = pipe_;
    pipe_ = nullptr;
    return closePipe(pipe) == 0;
}
