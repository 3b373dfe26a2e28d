// How long the bridge waits before it tries the broker again.
#pragma once

#include <chrono>

namespace bridge {

// The pause after so many failures in a row (at least 1): twice as long each time, from 1 s to
// 30 s. `chance`, from 0 to 1, spreads the pauses of heads that have lost one broker together.
std::chrono::milliseconds pauseAfter(int failures, double chance);

}  // namespace bridge
