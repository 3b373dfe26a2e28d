// What the two focus searches share. Lens thread only.
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

// The best value of an area's sharpness, or of the score, and where it was seen.
struct FocusPeak {
    std::int32_t value = 0;
    std::int32_t position = 0;
};

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

// The last readings of the areas; a reading that fails leaves them.
struct AreaSharpness {
    std::int32_t a = 0;
    std::int32_t b = 0;
    std::int32_t c = 0;
};

// Whether a preset command interrupts the search.
inline bool presetInterrupts() {
    return giActPreset != -1;
}

// Says that a search was interrupted.
void printInterrupt();

// Says where the focus has been put and how sharp it is there.
void printFocusResult(std::int32_t chosen, AreaSharpness& areas);
