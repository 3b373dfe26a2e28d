// The virtual clock: actors as fibers, and time that jumps to the next thing due. All of it belongs
// to one thread. Only timeline.cpp calls it.
#pragma once

#include "twin/clock/actors.h"
#include "twin/clock/locks.h"

namespace twin::virtual_clock {

Microseconds now();
void scheduleEvent(Microseconds when, void (*action)(std::int64_t), std::int64_t argument);
bool startActor(const char* name, void (*entry)(void*), void* argument);

// Suspends the running actor until `when`, or until wake; the console lets time pass instead, until
// `when` or until `*stop`.
void suspend(Microseconds when, const bool* stop);

// The running actor; null for the console and inside an event.
Actor* runningActor();

// Makes a suspended actor due now.
void wake(Actor& actor);

// As twin::letGoOn.
bool letGoOn(const char* name);

// The locks of the running actor, or of the console.
HeldLocks& locksOfActor();
// Whether an actor other than the running one holds the mutex.
bool heldByAnother(const pthread_mutex_t* mutex);
// Suspends the running actor until the mutex's holder has released it.
void waitForRelease(const pthread_mutex_t* mutex);
void released(const pthread_mutex_t* mutex);

Progress progress();
void interrupt(void (*action)());
void takeInterrupt();

}  // namespace twin::virtual_clock
