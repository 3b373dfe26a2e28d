// The zoom/focus calibration sweep. Main thread.
#pragma once

// Zooms through the range in steps of 50, has the focus found at each, and writes the pairs "zoom,
// focus", one a line, to standard output and to the calibration file; does nothing if that cannot
// be opened. Takes minutes.
void runCalibrationSweep();
