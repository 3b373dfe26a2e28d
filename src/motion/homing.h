// Homing: drives axes against their mechanical ends, sets their counters there, and parks them.
// Blocks the lens loop until it is done. Lens thread only.
#pragma once

#include <cstdint>

// Serves `giHomeRequest`, if any, and clears it; a request that arrives meanwhile is lost. Values
// that mean nothing are cleared in silence.
void serveHomeRequest();
