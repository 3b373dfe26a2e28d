// The real clock: actors as threads, events on a thread of their own. Only timeline.cpp calls it.
#pragma once

#include <chrono>

#include "twin/clock/actors.h"

namespace twin::real_clock {

// The factor between the run's time and the wall's, from now on. Everyone who waits here goes on
// waiting by the new one; whoever waits elsewhere by a wallTime does not know.
void setSpeed(double speed);
double speed();

Microseconds now();
void scheduleEvent(Microseconds when, void (*action)(std::int64_t), std::int64_t argument);
bool startActor(void (*entry)(void*), void* argument);
void sleepUntil(Microseconds when);

// The wall's moment at which the run's time reaches `when`.
std::chrono::steady_clock::time_point wallTime(Microseconds when);

}  // namespace twin::real_clock
