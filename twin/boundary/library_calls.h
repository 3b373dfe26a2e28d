// What happens around the daemon's calls to its libraries, whatever they do: who watches them, and
// what callers owe them.
#pragma once

namespace twin {

// Has `watch(name)` called inside every call of a library function, where the call can be held up.
// Once, before the daemon starts.
void onLibraryCall(void (*watch)(const char* name));

// Called first by every library function. World lock not held.
void enterLibrary(const char* name);

// From here on the motor calls have to be serialised: as soon as two actors make such calls, a
// violation is reported unless one lock is held at every one of them. For runs in which the twin
// sees the daemon's locks.
void watchMotorLock();

// Called first by every motor function. World lock not held.
void checkSerialised(const char* name);

// Reports a violation if the caller holds a lock. For calls that wait, and for the bus's.
void checkLockFree(const char* name);

}  // namespace twin
