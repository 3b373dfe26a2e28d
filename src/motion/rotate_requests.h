// Requests that concern the rotate axis, and the end of its share of a preset run. Lens thread
// only.
#pragma once

#include "motion/lens_loop_state.h"

// Serves a pending auto-rotate request. Whether there was one to serve.
bool serveRotateRequest();

// Ends the rotate move of a preset run.
void completePresetRotate();

// Requests levelling when the image-rotate setting has changed.
void requestLevellingOnNewRotate(LensLoopState& state);
