// The lens loop: the body of the motion-control thread. It turns what the bus side leaves in the
// control state into moves, and publishes the results.
#pragma once

#include <cstdint>

// Runs until `giExit` is set; always 0. A pass takes 10 ms (1 ms while pan and
// tilt both run continuously at speed 1) and what its moves block.
std::int32_t LensLoop();
