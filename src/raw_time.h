// The raw monotonic clock in microseconds, and the time of the last move start.
#pragma once

#include <cstdint>
#include <cstdio>

#include "control_state.h"
#include "platform/clock.h"

// The raw monotonic clock in microseconds. Any thread.
inline std::int64_t rawMicroseconds() {
    const timespec time = readRawClock();
    return std::int64_t{time.tv_sec} * 1000000 + time.tv_nsec / 1000;
}

// Records now as the time of the last move start. Lens thread.
inline void recordMoveStart() {
    gtMoveStart = rawMicroseconds();
}

// Prints `name` and a time in microseconds as "NAME:SECONDS.MICROSECONDS". Any thread.
inline void printElapsed(const char* name, std::int64_t microseconds) {
    const long long elapsed = microseconds;
    std::printf("%s:%lld.%06lld\n", name, elapsed / 1000000, elapsed % 1000000);
}

// The same with the time since the last move start. Any thread.
inline void printTimeSinceMoveStart(const char* name) {
    const std::int64_t start = gtMoveStart;
    printElapsed(name, rawMicroseconds() - start);
}
