// The hand-over of the axes' targets from those who order moves (main thread) to the lens loop.
//
// An absolute order stands until the lens loop takes it, also through a run (homing, autofocus,
// levelling) that has the axis meanwhile: it is carried out afterwards. Relative words wait and
// reach the target only when the lens loop takes it, which no run does in its middle: so the first
// counts from where the run leaves the axis, and each later one from where those before it lead,
// each forced into the range. After an absolute order that has not been taken they count from that
// one. The last absolute order wins over all before it.
#pragma once

#include <cstdint>

#include "axis/axes.h"

// Makes `target` the axis's target; relative words that wait are dropped. Main thread.
void orderTarget(Axis axis, std::int32_t target);

// Has the axis's target moved by `steps`. Main thread.
void orderRelative(Axis axis, std::int32_t steps);

// The axis's target, with the relative words that wait for it; from now on it counts as seen. Lens
// thread.
std::int32_t takeTarget(Axis axis);

// The target as the lens loop last took or replaced it. Lens thread.
std::int32_t seenTarget(Axis axis);

// Whether something has been ordered that the lens loop has not taken yet. Lens thread.
bool orderWaits(Axis axis);

// Makes `next` the axis's target, unless an order has replaced the one last seen; whether it did.
// Lens thread (and start-up).
bool replaceTarget(Axis axis, std::int32_t next);
