// Absolute moves: started when an axis's target differs from its position, ended when its motor is
// found at rest. Lens thread only.
#pragma once

#include "motion/lens_loop_state.h"

// Starts the move of every axis whose target was moved away from its position. Tilt moves run to
// completion here.
void startAbsoluteMoves(LensLoopState& state);

// Ends the absolute moves whose motors have stopped, lets freshly requested moves wait one pass,
// and switches the motor supply off once zoom, focus and rotate are idle and no autofocus is
// requested.
void completeMoves();
