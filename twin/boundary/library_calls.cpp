#include "twin/boundary/library_calls.h"

#include <string>

#include "twin/boundary/bus.h"
#include "twin/clock/actors.h"
#include "twin/clock/locks.h"
#include "twin/clock/timeline.h"
#include "twin/trace/output.h"
#include "twin/trace/trace.h"
#include "twin/world/fault_values.h"

namespace twin {

namespace {

void (*gWatch)(const char* name) = nullptr;

// What is known of the lock that serialises the motor calls. World lock.
struct MotorLock {
    bool watched = false;
    const HeldLocks* firstCaller = nullptr;
    bool shared = false;   // a second caller has been seen
    HeldLocks candidates;  // held at every call since
};

constinit MotorLock gMotorLock;

// Where the turn of the fault "set-at N KEY VALUE" has come, makes the set and has the daemon take
// it before the caller goes on.
void deliverSetAt(const char* name) {
    std::string text;
    {
        const WorldLock world;
        if (!takeFault(Fault::setAt, 0) || faultValue(Fault::setAt) != 0) {
            return;
        }
        text = outsideSet();
    }
    answer(std::string("set at: ") + name);
    const std::size_t blank = text.find(' ');
    const std::string problem = setFromFault(name, text.substr(0, blank), text.substr(blank + 1));
    if (!problem.empty()) {
        complain("set-at: " + problem);
    }
    if (clockIsVirtual()) {
        letGoOn(kDispatcher);
    }
}

// Leaves the mutexes that are held, too. Whether any is left.
bool narrow(HeldLocks& candidates, const HeldLocks& held) {
    bool left = false;
    for (const pthread_mutex_t*& mutex : candidates.mutexes) {
        mutex = mutex != nullptr && holds(held, mutex) ? mutex : nullptr;
        left = left || mutex != nullptr;
    }
    return left;
}

}  // namespace

void onLibraryCall(void (*watch)(const char* name)) {
    gWatch = watch;
}

void enterLibrary(const char* name) {
    deliverSetAt(name);
    if (gWatch != nullptr) {
        gWatch(name);
    }
}

void watchMotorLock() {
    gMotorLock.watched = true;
}

void checkSerialised(const char* name) {
    const HeldLocks& callers = heldLocks();
    const HeldLocks held = callers;
    const WorldLock world;
    MotorLock& lock = gMotorLock;
    if (!lock.watched) {
        return;
    }
    if (lock.firstCaller == nullptr) {
        lock.firstCaller = &callers;
    }
    if (!lock.shared && &callers != lock.firstCaller) {
        lock.shared = true;
        lock.candidates = held;
    }
    if (lock.shared && !narrow(lock.candidates, held)) {
        reportViolation("a motor call that no lock keeps from others: %s", name);
        lock.candidates = held;
    }
}

void checkLockFree(const char* name) {
    if (holdsALock()) {
        reportViolation("%s with a lock held", name);
    }
}

}  // namespace twin
