// Plays one recorded run: its camera, and its acts at their times.
#pragma once

#include <sys/types.h>

#include <string>

#include "twin/camera/session.h"
#include "twin/clock/timeline.h"
#include "twin/replay/recording.h"

namespace twin {

// Who watches a run while it is played, on the virtual clock.
struct RunWatcher {
    void (*trace)(const std::string& line);  // as tapTrace gives it
    // The camera has just been booted, or its clock has come to a multiple of kWatchPeriod.
    void (*look)();
    void (*over)();  // the recorded time is over, and the camera is on
};
constexpr Microseconds kWatchPeriod = 40'000;

// Forks the process that is to play a run, as fork() does. It ends with the one that forks it, even
// if that is killed. The main thread.
pid_t forkPlayer();

// Boots the run's camera and gives it what it was given; ends the process as the run ended. In a
// process of its own.
//
// A run that was recorded in real time goes by loops that are late now and then. There an act that
// followed an order to a motor so closely that a loop was between two orders (a `stop` in the midst
// of a continuous move) follows the same order on the virtual clock, so that the axis gets as many
// of them and ends at the same place.
//
// `watcher` is null where nobody watches.
[[noreturn]] void play(const RecordedRun& run, const SessionOptions& options, int (*daemon)(),
                       const RunWatcher* watcher = nullptr);

}  // namespace twin
