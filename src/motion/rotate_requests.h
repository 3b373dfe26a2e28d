// Requests that concern the rotate axis, the end of its share of a preset run, and the watch that
// has the image orientation follow the head's moves. Lens thread only.
#pragma once

#include "motion/lens_loop_state.h"

// Serves a pending auto-rotate request, which blocks until it is done. Levelling waits for the
// power supply and for running or failed motors, and is dropped without a motion sensor. Whether a
// request was served.
bool serveRotateRequest(LensLoopState& state);

// Ends the rotate move of a preset run.
void completePresetRotate();

// In the rotate modes, has the image orientation follow a pan or rotate move that has ended; in
// mode "rotate" not after a preset run.
void watchOrientation(LensLoopState& state);

// Requests levelling when the image-rotate setting has changed.
void requestLevellingOnNewRotate(LensLoopState& state);
