// The firmware of the two microcontrollers. Main thread, at start-up, before anything else uses
// them.
#pragma once

// Brings the main board's microcontroller, then the sensor's, to the firmware version that the
// system expects, and publishes the version that each then runs. A microcontroller without a
// readable expected version is passed over; one whose image cannot be written is left as it is and
// not published. Takes seconds where a version differs, and as long as it takes where a
// microcontroller does not say its version in the end.
void updateMcuFirmware();
