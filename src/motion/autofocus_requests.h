// Autofocus requests: a search around the zoom position's table focus. Lens thread only.
#pragma once

#include <cstdint>

// Serves the request, as it was at the beginning of the pass, and ends it: 1 fast, 2, 5 and 6
// contrast sweep in that mode, 3 contrast sweep in mode 2; anything else is left alone.
void serveAutofocusRequest(std::int32_t request);
