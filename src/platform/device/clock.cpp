#include "platform/clock.h"

#include <unistd.h>

void sleepMicroseconds(int microseconds) {
    if (microseconds > 0) {
        usleep(static_cast<useconds_t>(microseconds));
    }
}

timespec readRawClock() {
    timespec time = {};
    clock_gettime(CLOCK_MONOTONIC_RAW, &time);
    return time;
}
