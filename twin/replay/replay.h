// Repeats recorded runs: the same camera, given the same acts at the same times.
#pragma once

#include <string>
#include <vector>

#include "twin/camera/session.h"
#include "twin/replay/recording.h"

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

// One run of a recording, and the options to play it with.
struct PlayableRun {
    RecordedRun run;
    SessionOptions session;
};

// The runs of the recording, in their order, as play() takes them; those of a camera in the field
// as the model's. None, with a line on standard error, if the file is of no use. `session` has the
// clock, and how a camera in the field hangs.
std::vector<PlayableRun> playableRuns(const ReplayOptions& options, const SessionOptions& session);

}  // namespace twin
