// The plotting tool, fed through a pipe.
#pragma once

#include <cstdio>
#include <string>

// A running `plot-position -o PICTURE`, found as a shell finds it, that reads lines of epochs.
class PlotPipe {
public:
    explicit PlotPipe(const std::string& picture);
    ~PlotPipe();
    PlotPipe(const PlotPipe&) = delete;
    PlotPipe& operator=(const PlotPipe&) = delete;

    // What is written behind the tool's end is lost.
    void write(const std::string& text);

    // Waits for the tool. False when it could not be started, or did not draw; it has said why then.
    bool finish();

private:
    std::FILE* pipe_;
};
