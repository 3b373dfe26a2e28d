// Time. Every sleep and every clock reading of the daemon goes through here.
#pragma once

#include <ctime>

// Suspends the calling thread for that long; returns at once for 0 or less.
void sleepMicroseconds(int microseconds);

// The raw monotonic clock. Any thread.
timespec readRawClock();
