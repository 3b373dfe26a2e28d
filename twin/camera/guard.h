// Finds out that a virtual-clock run stands still while somebody runs.
#pragma once

#include <chrono>

#include "twin/clock/actors.h"

namespace twin {

class Guard {
public:
    // To be called about once a second, with how far the run has come and how long it has been held
    // up so far by whoever reads its output. Returns for how many seconds, by these calls, time has
    // stood still while somebody runs; one in which the output was held up for most of the time
    // does not count.
    int look(const Progress& progress, std::chrono::nanoseconds heldUp);

private:
    int standing_ = 0;
    Progress last_{nullptr, 0, 0};
    std::chrono::nanoseconds heldUp_{0};
};

}  // namespace twin
