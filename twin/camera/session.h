// One run of the camera, from power-up to its end.
#pragma once

#include <array>
#include <csignal>
#include <string>
#include <utility>

#include "twin/camera/head.h"
#include "twin/trace/output.h"

namespace twin {

struct SessionOptions {
    bool virtualClock = true;
    double speed = 1.0;
    std::string stateDirectory;  // empty: a private one that goes with the run
    CameraOptions camera;
    OutputOptions output;
    int refusal = 1;  // the exit status where the camera cannot be powered up
};

// Powers the camera up and starts the daemon's main function on it. Where that is not possible, the
// process ends with a line on standard error. Once; what follows is the caller's to drive, and ends
// with endRun.
void powerUp(const SessionOptions& options, int (*daemon)());

// Something in this run is not as it was expected: a run that ends by itself ends with 1. Any
// thread.
void failRun();

// The exit status of a run that ends by itself at this instant: 0 or 1. Any thread.
int runStatus();

// Ends the run at this instant: nothing moves on, lasting state is saved, output is complete, and
// the process ends with `status`, or with 1 where that is 0 and something went wrong that must be
// seen. Any thread; the first call counts.
[[noreturn]] void endRun(int status);

// What is done last when the run ends, with nothing moving any more. Once, before powerUp.
void onRunEnd(void (*action)());

// Notes that the run ends because of a signal to the process; and whether it does. Any thread.
void noteOutsideSignal();
bool outsideSignalEnds();

// The signals that the daemon handles, and their names in commands.
inline constexpr std::array<std::pair<const char*, int>, 3> kDaemonSignals = {
    {{"TERM", SIGTERM}, {"INT", SIGINT}, {"QUIT", SIGQUIT}}};

// Delivers a signal to the daemon as the operating system would, and ends the run as the daemon's
// handler does.
[[noreturn]] void deliverSignal(int signal);

}  // namespace twin
