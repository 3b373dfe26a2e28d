// The LED composition: from the light settings, the event lights and the demo modes to the words
// that the LEDs show, step by step once a pass of the supervision loop. Main thread.
//
// Whatever draws last wins: the lights, over them a demo mode, over both the enable switches. Words
// that nothing draws stay as they are, and they are sent only when they differ from those last
// sent. The manual demo colour is sent past all this, and stays on until other words are sent.
#pragma once

#include <cstdint>

#include "lighting/led_words.h"

struct ManualColor {
    std::int32_t red, green, blue, white;
    bool operator==(const ManualColor&) const = default;
};

// What the composition keeps from pass to pass.
struct LedComposition {
    std::int32_t step = 0;
    // The lighting's clock: raw monotonic second of its last refresh, comparable with
    // `gaOnvifTime`.
    std::int64_t time = 0;
    LedWords words = {};
    // All ones, so that the first pass sends.
    LedWords applied = {0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF,
                        0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF};
    ManualColor manualSeen = {64, 64, 64, 64};
    // Whether the manual colour counts as new whatever it is.
    bool manualForgotten = false;
    std::int32_t testModeSeen = 0;
    std::int32_t modeSeen = 0;
};

// Puts all LEDs into the mode in which they show words. Before the first pass.
void initialiseLeds();

// Sends the manual demo colour to all LEDs when it has changed.
void followManualColor(LedComposition& leds);

// Draws the pattern of the event triggered last, or the position lights where there is none.
void drawLights(LedComposition& leds);

// Makes a changed test mode the demo mode.
void followLedTestMode(LedComposition& leds);

// Advances the step counter, enters a changed demo mode and draws the present one.
void runDemoLedMode(LedComposition& leds);

// Darkens the LEDs that are switched off.
void maskDisabledLeds(LedComposition& leds);

// Sends the words if they or the LED power limit have changed.
void applyChangedLeds(LedComposition& leds);

// Begins a new cycle of steps where the old one has ended, and refreshes the lighting's clock twice
// a cycle.
void endLedStep(LedComposition& leds);
