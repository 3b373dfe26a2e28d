// The fixed-step focus search: one sweep downwards through an interval, then back to the sharpest
// position, by a choice of measuring areas. Lens thread only; runs until it is done, for seconds.
#pragma once

#include <cstdint>

// Sweeps the part of [start, end] within the focus range in steps of `step` (a step of 10 becomes
// 40 while the picture is blurred). `mode` chooses the measure: 1 all areas, 2 and 3 the areas'
// middle where they agree, 4 the area with the best contrast, 5 area A, 6 area C; any other: all
// areas, without a move or a message. Returns the chosen position; the focus is moved there in
// modes 2 and 3, in 1, 4, 5 and 6 only for a step of 4 or less. -1: the encoder does not run within
// 15 s, the interval is too small, nothing is sharp, or the best is one below the top. The present
// focus position if a preset command interrupts.
std::int32_t focusSweep(std::int32_t start, std::int32_t end, std::int32_t step, std::int32_t mode);
