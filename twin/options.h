// The command line.
#pragma once

#include <string>

#include "twin/head.h"
#include "twin/output.h"

namespace twin {

struct Options {
    bool virtualClock = true;
    double speed = 1.0;
    std::string stateDirectory;  // empty: a private one that goes with the run
    CameraOptions camera;
    OutputOptions output;
    bool interactive = false;  // commands are typed at a terminal
};

// What the command line asks for: a run, or nothing more than text that has been printed.
struct CommandLine {
    bool run = false;
    int exitStatus = 0;  // if not run
    Options options;
};

// Reads the command line. Without --clock the clock is real where commands are typed at a terminal,
// virtual otherwise.
CommandLine readCommandLine(int argc, char** argv);

}  // namespace twin
