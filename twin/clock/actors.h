// Actors: the daemon's threads and the bus dispatcher. With the virtual clock they are fibers of
// the one thread that runs the console, exactly one runs at a time, and time jumps; with the real
// clock they are threads of the operating system.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <limits>
#include <mutex>

#include "twin/clock/timeline.h"

namespace twin {

constexpr Microseconds kNever = std::numeric_limits<Microseconds>::max();

// Chooses the run's clock, once, before anything else here is used. `speed` scales the real clock:
// 2 lets two seconds pass in one. Without a choice the clock is real at speed 1.
void useVirtualClock();
void useRealClock(double speed);
bool clockIsVirtual();
// Whether the caller is on the one thread of a virtual clock's actors and console.
bool onVirtualClock();

// The factor of the real clock, which may be changed while it runs: what is waited for comes then
// by the new one. 1 with the virtual clock. Any thread; not by two at a time.
double clockSpeed();
void setClockSpeed(double speed);

// Starts an actor that runs `entry(argument)`; with the virtual clock it first runs when the
// starter waits. `name` must live for ever; the real-time guard shows it. False if there are too
// many.
bool startActor(const char* name, void (*entry)(void*), void* argument);

// Lets time pass until `when`. Called by an actor it suspends that actor alone. Called by the
// console with the virtual clock it is what makes time pass: events and actors run in the order of
// their times (at one instant events first, then actors in the order in which they were started),
// and everything due at `when` has run when it returns.
void sleepUntil(Microseconds when);

// Lets everything that is due at the present instant run. Nothing to do with the real clock.
void settle();

// Holds the running actor up until the actor called `name`, and whoever else is due by then, has
// gone on and waits again, as if the running one had lost the processor for so long. False, and
// nothing has happened, where `name` waits for more than time. Virtual clock only.
bool letGoOn(const char* name);

// What one waits at until another opens it. An opening is remembered until it is used, and used by
// one passage. At most one actor, or the console, waits at a gate.
struct Actor;
class Gate {
public:
    void open();
    // Waits for an opening, at most until `deadline`. False if there was none.
    bool pass(Microseconds deadline);

private:
    bool passVirtual(Microseconds deadline);
    bool passReal(Microseconds deadline);

    std::mutex mutex_;
    std::condition_variable opening_;
    bool open_ = false;
    Actor* waiter_ = nullptr;
};

// For the thread that watches a virtual-clock run: who runs now (null: nobody, the console waits
// for input), how far time has come, and how often the console has let time pass. Any thread.
struct Progress {
    const char* running;
    Microseconds time;
    std::uint64_t turn;
};
Progress runProgress();

// Has the console's thread call `action` as soon as the actor that runs now yields. Any thread;
// virtual clock only.
void interruptRun(void (*action)());

// Runs an action left by interruptRun, if there is one. For the console, while it waits for input.
void takeInterrupt();

}  // namespace twin
