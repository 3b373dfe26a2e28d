// The hand-over of the axes' targets from those who order moves (main thread) to the lens loop.
//
// An absolute order stands until the lens loop takes it, also through a run (homing, autofocus,
// levelling) that has the axis meanwhile: it is carried out afterwards. Relative words wait and
// reach the target only when the lens loop takes it, which no run does in its middle: so the first
// counts from where the run leaves the axis, and each later one from where those before it lead,
// each forced into the range. After an absolute order that has not been taken they count from that
// one. The last absolute order wins over all before it. One word per axis holds all that waits, and
// the target itself is the lens loop's alone: no order can come between two looks at it.
#pragma once

#include <cstdint>

#include "axis/axes.h"
#include "control_state.h"

// Has `target` made the axis's target, by a word or by something else; what waits is dropped. Main
// thread.
void orderTargetByWord(Axis axis, std::int32_t target);
void orderTarget(Axis axis, std::int32_t target);

// Has the axis's target moved by `steps`, by a word. Main thread.
void orderRelative(Axis axis, std::int32_t steps);

// The absolute order that waits, or else the axis's target. Any thread.
std::int32_t orderedTarget(Axis axis);

struct TakenTarget {
    std::int32_t target;  // with what waited for it carried out
    std::int32_t before;  // as it was
    WaitingOrder order;   // what waited
};

// Takes what waits for the axis's target. Lens thread.
TakenTarget takeTarget(Axis axis);

// As though it had not been taken: what waits is behind it, or has replaced it. Lens thread.
void putBack(Axis axis, const TakenTarget& taken);

// Whether a word, and not something else, ordered what was taken.
bool isByWord(const TakenTarget& taken);

// Whether something has been ordered that the lens loop has not taken yet. Lens thread.
bool orderWaits(Axis axis);

// Makes `next` the axis's target; what waits is carried out afterwards. Lens thread (and start-up).
void setTarget(Axis axis, std::int32_t next);
