// Fast home: all axes at once, each a small state machine, polled together. Lens thread only.
#pragma once

// Homes all six axes; ends early when `giExit` is set. With `thenFocus` it also takes zoom and
// focus to their default position and requests autofocus.
void fastHome(bool thenFocus);
