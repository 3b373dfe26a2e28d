#include "twin/clock/locks.h"

#include <cerrno>

#include "twin/clock/actors.h"
#include "twin/clock/virtual_clock.h"

namespace twin {

namespace {

thread_local HeldLocks tLocks;

void replace(const pthread_mutex_t* old, const pthread_mutex_t* next) {
    for (const pthread_mutex_t*& slot : heldLocks().mutexes) {
        if (slot == old) {
            slot = next;
            return;
        }
    }
}

}  // namespace

HeldLocks& heldLocks() {
    return onVirtualClock() ? virtual_clock::locksOfActor() : tLocks;
}

bool holdsALock() {
    for (const pthread_mutex_t* held : heldLocks().mutexes) {
        if (held != nullptr) {
            return true;
        }
    }
    return false;
}

}  // namespace twin

extern "C" {

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names for what is wrapped.
int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
int __real_pthread_mutex_unlock(pthread_mutex_t* mutex);
int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex);
int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex);

int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
    int result = pthread_mutex_trylock(mutex);
    if (result == EBUSY) {
        while (twin::onVirtualClock() && twin::virtual_clock::runningActor() != nullptr &&
               twin::virtual_clock::heldByAnother(mutex)) {
            twin::virtual_clock::waitForRelease(mutex);
        }
        result = __real_pthread_mutex_lock(mutex);
    }
    if (result == 0) {
        twin::replace(nullptr, mutex);
    }
    return result;
}

int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex) {
    twin::replace(mutex, nullptr);
    const int result = __real_pthread_mutex_unlock(mutex);
    if (twin::onVirtualClock()) {
        twin::virtual_clock::released(mutex);
    }
    return result;
}

// NOLINTEND(bugprone-reserved-identifier)

}  // extern "C"
