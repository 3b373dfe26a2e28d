// The blocking way to a preset, as part of homing. Lens thread only.
#pragma once

// Moves to the preset stored under `key`, focuses by the zoom position's table value and requests
// autofocus; the stored focus and orientation are not used. An unusable preset only switches the
// motor supply on and off.
void fastPreset(const char* key);
