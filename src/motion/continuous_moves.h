// Continuous moves: short relative moves, one a pass, while a continuous command stands; and what
// happens when it is withdrawn or runs into the end of the range. Lens thread only.
#pragma once

#include "motion/lens_loop_state.h"

// Each does its axis's step of this pass, then ends the move if its command is (or has just become)
// 0. A motor that is still busy is skipped until the next pass.
void continuousFocus(LensLoopState& state);
void continuousZoom(LensLoopState& state);
void continuousRotate(LensLoopState& state);
void continuousPan(LensLoopState& state);
void continuousTilt(LensLoopState& state);
void continuousIris(LensLoopState& state);
