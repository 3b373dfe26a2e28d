// Repeats recorded runs: the same camera, given the same acts at the same times.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "twin/camera/session.h"

namespace twin {

struct ReplayOptions {
    std::string file;      // empty: nothing is to be replayed
    bool compare = false;  // prints what came out differently, in the place of the trace
    bool damaged = false;  // replays what can be read of a damaged recording
};

// Replays every run of the recording, each as a boot of its own, and prints the traces; or compares
// them with the recording. `session` has the clock and its speed. Returns the exit status: that of
// the first run that ended with another than 0, 1 if a comparison found texts that differ, 2 if the
// file is of no use, which a line on standard error says.
int runReplay(const ReplayOptions& options, const SessionOptions& session, int (*daemon)());

// What the page needs to show the recording's first run with the real clock.
struct WatchedReplay {
    SessionOptions session;
    std::function<std::string()> layCamera;  // in the place that has been taken
    std::function<void()> start;             // once the camera has been booted
};

// None, with a line on standard error, if the file is of no use. `session` has the clock's speed
// and what is printed.
std::optional<WatchedReplay> watchReplay(const ReplayOptions& options,
                                         const SessionOptions& session);

}  // namespace twin
