// The one place that sends LED words to the main-board microcontroller.
#pragma once

#include "lighting/led_words.h"

// Sends the words, each channel limited to the LED power limit, and records the draw of what was
// sent as the LEDs' share of the power estimate. The words themselves stay as they are. Any thread.
void applyLeds(LedGroup groupA, LedGroup groupB);

// The same with one group for both halves.
void applyLeds(LedGroup both);
