// The preset run: towards the preset goal, one step of one axis a pass. Lens thread only.
#pragma once

#include <cstdint>

#include "motion/lens_loop_state.h"

// Takes one step of the preset run and ends it once it has arrived.
void followPresetGoal(LensLoopState& state);

// One step towards the goals, of one axis: 0 when every axis with a goal (0 or more) is there, 1
// while still moving. Waits for a running pan motor, for up to 30 s.
std::int32_t presetStep(std::int32_t pan, std::int32_t tilt, std::int32_t rotate, std::int32_t zoom,
                        std::int32_t focus);
