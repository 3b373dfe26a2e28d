// Where the picture is sharp at a zoom position, roughly: the centre of an autofocus search.
#pragma once

#include <cstdint>

// The focus position of the last table row whose zoom is not above `zoom`; 0 below the first row.
// The table follows the lens variant. Lens thread.
std::int32_t focusCentre(std::int32_t zoom);
