// Presets: two stored head positions with their image orientation. Lens thread only.
#pragma once

#include <cstdint>

#include "motion/lens_loop_state.h"

// Executes the pending preset request, if any: stores, deletes, or sets the goal of a preset run.
void servePresetRequest(LensLoopState& state);

// Takes one step of the preset run and ends it once it has arrived.
void followPresetGoal(LensLoopState& state);

// One step towards the goals, of one axis: 0 when every axis with a goal (0 or more) is there, 1
// while still moving.
std::int32_t presetStep(std::int32_t pan, std::int32_t tilt, std::int32_t rotate, std::int32_t zoom,
                        std::int32_t focus);
