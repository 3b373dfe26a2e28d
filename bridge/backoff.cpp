#include "bridge/backoff.h"

#include <algorithm>

namespace bridge {

std::chrono::milliseconds pauseAfter(int failures, double chance) {
    constexpr int kLongest = 30'000;
    constexpr int kMostDoublings = 5;
    const int longest = std::min(1000 << std::clamp(failures, 1, kMostDoublings), kLongest);
    return std::chrono::milliseconds(longest / 2 + static_cast<int>(chance * longest / 2));
}

}  // namespace bridge
