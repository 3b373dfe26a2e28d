// What homing sets the counters to at the home stops, and where it parks the axes, in steps.
#pragma once

#include <cstdint>

#include "axis/axes.h"

inline constexpr std::int32_t kTiltHomeCounter = 5120;
inline constexpr std::int32_t kTiltParking = 3200;
inline constexpr std::int32_t kRotateParking = 533;

// The axis's counter at its home stop: the focus maximum for focus, 5120 for tilt, else 0.
inline std::int32_t homeCounter(Axis axis) {
    switch (axis) {
        case Axis::tilt:
            return kTiltHomeCounter;
        case Axis::focus:
            return axisMaximum(Axis::focus);
        default:
            return 0;
    }
}

// The middle of the pan range.
inline std::int32_t panParking() {
    return axisMaximum(Axis::pan) / 2;
}
