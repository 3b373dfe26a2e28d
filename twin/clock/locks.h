// The locks that actors hold. A program linked with the twin locks and unlocks its mutexes through
// here (the linker wraps the two calls), so that an actor on the virtual clock that finds a mutex
// taken waits as a thread does, and so that the twin can tell who calls it with which lock.
#pragma once

#include <pthread.h>

#include <array>
#include <cstddef>

namespace twin {

struct HeldLocks {
    std::array<const pthread_mutex_t*, 8> mutexes{};  // null: none
};

inline bool holds(const HeldLocks& locks, const pthread_mutex_t* mutex) {
    for (const pthread_mutex_t* held : locks.mutexes) {
        if (held == mutex) {
            return true;
        }
    }
    return false;
}

// What the calling actor holds, or the calling thread if it is none. The reference stays good as
// long as the actor lives and tells one from another.
HeldLocks& heldLocks();

// Whether it holds any.
bool holdsALock();

}  // namespace twin
