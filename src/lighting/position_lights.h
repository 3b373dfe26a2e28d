// The four lights of the camera: what each shows by its settings, dimmed where it would shine into
// the picture.
#pragma once

#include <cstdint>

#include "lighting/led_words.h"

// Which lights are dimmed: bit 0 back left, 1 front left, 2 front right, 3 back right. `pan` and
// `tilt` are positions in steps, `gain` is the exposure's; 0 unless the head looks low into the
// dark. Any thread.
std::int32_t LightDimMask(std::int32_t pan, std::int32_t tilt, std::int32_t gain);

// What a light shows at a step: `state` and `color` are the codes of `gaLightState` and
// `gaLightColor`, `brightness` is 0 to 255. An unknown code is dark. Any thread.
LedWord lightWord(std::int32_t state, std::int32_t color, std::int32_t brightness,
                  std::int32_t step);

// Fills all eight words from the settings of the four lights. Prints the dimming mask when it has
// changed. Main thread.
void drawPositionLights(std::int32_t step, LedWords& words);
