// The adaptive focus search: steps downwards in strides that shrink as the sharpness rises, stops
// past the peak, and goes back to it. Lens thread only; runs until it is done, for seconds.
#pragma once

#include <cstdint>

// Searches the part of [start, end] within the focus range. 0 once the focus has settled on the
// peak (or the interval is too small); the best position seen, unmoved, if the fine phase was never
// reached; the present focus position if a preset command interrupts.
std::int32_t focusSweepAdaptive(std::int32_t start, std::int32_t end);
