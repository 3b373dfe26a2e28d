// What both focus searches do with the focus motor and its range. Lens thread only.
#pragma once

#include <algorithm>
#include <cstdint>

#include "axis/axes.h"
#include "axis/axis_driver.h"
#include "control_state.h"
#include "numbers.h"
#include "platform/clock.h"

// One encoder frame, and two, in microseconds.
inline constexpr int kFrameMicroseconds = 33000;
inline constexpr int kTwoFramesMicroseconds = 66000;

struct FocusInterval {
    std::int32_t low;
    std::int32_t high;
};

// The part of [start, end] that lies within the focus range.
inline FocusInterval focusInterval(std::int32_t start, std::int32_t end) {
    return {std::max(axisMinimum(Axis::focus), start), std::min(axisMaximum(Axis::focus), end)};
}

// Moves the focus to `position` (forced into its range) and waits for it.
inline void moveFocusAndWait(std::int32_t position) {
    setAxisPosition(Axis::focus, focusMoveTo(axisPosition(Axis::focus), position));
    focusWaitReady();
}

// Approaches `position` from `lead` above, so that the gear's play is always on the same side, with
// a pause after each move.
inline void approachFocus(std::int32_t position, std::int32_t lead, int pauseMicroseconds) {
    moveFocusAndWait(saturateToInt32(std::int64_t{position} + lead));
    sleepMicroseconds(pauseMicroseconds);
    moveFocusAndWait(position);
}

// Whether a preset command interrupts the search.
inline bool presetInterrupts() {
    return giActPreset != -1;
}
