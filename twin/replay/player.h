// Plays one recorded run: its camera, and its acts at their times.
#pragma once

#include <string>

#include "twin/camera/session.h"
#include "twin/replay/recording.h"

namespace twin {

// Lays the run's camera into the place that has been taken (place.h). An error text, empty on
// success.
std::string layCamera(const RecordedRun& run);

// Gives the camera that has been booted the run's acts on a thread of its own, with the real clock.
void playBeside(const RecordedRun& run);

// Boots the run's camera and gives it what it was given; ends the process as the run ended. In a
// process of its own.
//
// A run that was recorded in real time goes by loops that are late now and then. There an act that
// followed an order to a motor so closely that a loop was between two orders (a `stop` in the midst
// of a continuous move) follows the same order on the virtual clock, so that the axis gets as many
// of them and ends at the same place.
[[noreturn]] void play(const RecordedRun& run, const SessionOptions& options, int (*daemon)());

}  // namespace twin
