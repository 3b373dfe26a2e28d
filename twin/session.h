// One run of the camera, from power-up to its end.
#pragma once

#include "twin/options.h"

namespace twin {

// Powers the camera up, starts the daemon's main function on it and executes the console's
// commands. Does not return: the process ends with the run's exit status.
[[noreturn]] void runSession(const Options& options, int (*daemon)());

// Ends the run at this instant: nothing moves on, lasting state is saved, output is complete, and
// the process ends with `status`, or with 1 where that is 0 and something went wrong that must be
// seen. Any thread; the first call counts.
[[noreturn]] void endRun(int status);

// Delivers a signal to the daemon as the operating system would, and ends the run as the daemon's
// handler does.
[[noreturn]] void deliverSignal(int signal);

}  // namespace twin
