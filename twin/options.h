// The command line.
#pragma once

#include <optional>
#include <string>

#include "bridge/options.h"
#include "twin/camera/session.h"
#include "twin/console/console.h"
#include "twin/page/server.h"
#include "twin/replay/replay.h"

namespace twin {

struct Options {
    SessionOptions session;
    ConsoleOptions console;
    std::optional<PageAddress> page;
    std::string script;  // the file with the commands; empty: standard input
    bridge::Options mqtt;
    ReplayOptions replay;
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
