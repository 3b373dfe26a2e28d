#include "twin/clock/timeline.h"

#include <mutex>

#include "twin/clock/actors.h"
#include "twin/clock/real_clock.h"
#include "twin/clock/virtual_clock.h"

namespace twin {

namespace {

bool gVirtual = false;
// Whether this is the thread of a virtual clock: the one that runs the console and the fibers.
thread_local bool tOfVirtualClock = false;

std::mutex& worldMutex() {
    static auto& mutex = *new std::mutex;
    return mutex;
}

}  // namespace

void useVirtualClock() {
    gVirtual = true;
    tOfVirtualClock = true;
}

void useRealClock(double speed) {
    gVirtual = false;
    real_clock::setSpeed(speed);
}

bool clockIsVirtual() {
    return gVirtual;
}

double clockSpeed() {
    return gVirtual ? 1.0 : real_clock::speed();
}

void setClockSpeed(double speed) {
    real_clock::setSpeed(speed);
}

bool onVirtualClock() {
    return tOfVirtualClock;
}

Microseconds now() {
    return gVirtual ? virtual_clock::now() : real_clock::now();
}

void scheduleEvent(Microseconds when, void (*action)(std::int64_t argument),
                   std::int64_t argument) {
    (gVirtual ? virtual_clock::scheduleEvent : real_clock::scheduleEvent)(when, action, argument);
}

bool startActor(const char* name, void (*entry)(void*), void* argument) {
    return gVirtual ? virtual_clock::startActor(name, entry, argument)
                    : real_clock::startActor(entry, argument);
}

void sleepUntil(Microseconds when) {
    if (gVirtual) {
        virtual_clock::suspend(when, nullptr);
    } else {
        real_clock::sleepUntil(when);
    }
}

void settle() {
    if (gVirtual) {
        virtual_clock::suspend(now(), nullptr);
    }
}

bool letGoOn(const char* name) {
    return virtual_clock::letGoOn(name);
}

WorldLock::WorldLock() {
    if (!gVirtual) {
        worldMutex().lock();
    }
}

WorldLock::~WorldLock() {
    if (!gVirtual) {
        worldMutex().unlock();
    }
}

void Gate::open() {
    if (gVirtual) {
        open_ = true;
        if (waiter_ != nullptr) {
            virtual_clock::wake(*waiter_);
        }
        return;
    }
    const std::lock_guard lock(mutex_);
    open_ = true;
    opening_.notify_one();
}

bool Gate::pass(Microseconds deadline) {
    return gVirtual ? passVirtual(deadline) : passReal(deadline);
}

bool Gate::passVirtual(Microseconds deadline) {
    if (!open_) {
        waiter_ = virtual_clock::runningActor();
        virtual_clock::suspend(deadline, &open_);
        waiter_ = nullptr;
    }
    const bool passed = open_;
    open_ = false;
    return passed;
}

bool Gate::passReal(Microseconds deadline) {
    std::unique_lock lock(mutex_);
    const auto isOpen = [this] { return open_; };
    if (deadline == kNever) {
        opening_.wait(lock, isOpen);
    } else {
        opening_.wait_until(lock, real_clock::wallTime(deadline), isOpen);
    }
    const bool passed = open_;
    open_ = false;
    return passed;
}

Progress runProgress() {
    return virtual_clock::progress();
}

void interruptRun(void (*action)()) {
    virtual_clock::interrupt(action);
}

void takeInterrupt() {
    virtual_clock::takeInterrupt();
}

}  // namespace twin
