// What the LEDs show by themselves: the patterns of the events and of the demo modes, and flashing.
// A pattern fills all eight words from the step counter; nothing is applied here. Main thread.
#pragma once

#include <cstdint>

#include "lighting/led_words.h"

// Steps of one cycle of the step counter. Every period divides it, so that no pattern jumps where
// the counter begins anew.
inline constexpr std::int32_t kCycleSteps = 200;

// Lit for the first `onSteps` of every `period` steps.
struct Flash {
    std::int32_t onSteps;
    std::int32_t period;
};

constexpr bool isLit(const Flash& flash, std::int32_t step) {
    return step % flash.period < flash.onSteps;
}

// Lit for the first half of every `period` steps.
constexpr Flash evenFlash(std::int32_t period) {
    return {period / 2, period};
}

// Draws the pattern of event 1 to 10 at brightness `level` (0 to 255), `period` (positive) steps
// long; any other event leaves the words alone.
void drawEventPattern(std::int32_t event, std::int32_t step, std::int32_t period,
                      std::int32_t level, LedWords& words);

// Draws the pattern of a demo mode; a mode that has none leaves the words alone.
void drawDemoPattern(std::int32_t mode, std::int32_t step, LedWords& words);
