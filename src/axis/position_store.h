// The position file: what the open-loop axes know of themselves, kept across restarts.
#pragma once

#include <cstdint>

// Writes the axis table, byte for byte, to the position file. Takes the present pan and tilt
// positions as published and as targets. A file that cannot be opened is passed over in silence.
// Lens thread.
void savePositions();

// Adopts the stored positions (not the ranges), drives the iris to its end stop instead of trusting
// its position, and publishes all six. Returns the number of whole records read (1, or 0 for a
// short file, whose missing words count as 0), or -1, changing nothing, if there is no file.
// Start-up only.
std::int32_t loadPositions();
