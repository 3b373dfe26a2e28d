// Presets: two stored head positions with their image orientation. Lens thread only.
#pragma once

#include <cstdint>

#include "motion/lens_loop_state.h"

// Executes the pending preset request, if any: stores, deletes, or sets the goal of a preset run.
void servePresetRequest(LensLoopState& state);
