// The run's time: one clock for actors (the daemon's threads, the bus dispatcher, the console) and
// for events of the simulated world.
#pragma once

#include <cstdint>

namespace twin {

using Microseconds = std::int64_t;

// Time since the start of this run. Any actor, also from inside an event.
Microseconds now();

// Has `action(argument)` called when the time reaches `when` (at once if it has passed), before any
// actor runs at that time; events of one instant run in the order in which they were scheduled.
// Events never block. In real-clock runs they run on a thread of their own; the world lock is held.
void scheduleEvent(Microseconds when, void (*action)(std::int64_t argument), std::int64_t argument);

// Guards the simulated world. Every library call and every event holds it; in virtual-clock runs it
// is never contended. Not recursive.
class WorldLock {
public:
    WorldLock();
    ~WorldLock();
    WorldLock(const WorldLock&) = delete;
    WorldLock& operator=(const WorldLock&) = delete;
};

}  // namespace twin
