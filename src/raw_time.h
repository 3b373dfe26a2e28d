// The raw monotonic clock in microseconds, and the time of the last move start.
#pragma once

#include <cstdint>

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
