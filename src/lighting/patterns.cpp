#include "lighting/patterns.h"

#include <algorithm>
#include <iterator>

namespace {

struct Pattern;

// What one LED shows at one step, at full brightness.
using Shape = LedWord (*)(const Pattern& pattern, std::int32_t led, std::int32_t step,
                          std::int32_t period);

struct Pattern {
    Shape shape;
    LedWord first;
    LedWord second;
};

constexpr auto kLeds = static_cast<std::int32_t>(kLedCount);

// Gliding levels change every fourth step only: fluent to the eye at a quarter of the orders.
constexpr std::int32_t kGlideSteps = 4;

// How far into the period the step is, in `parts` equal parts: 0 to parts - 1.
std::int32_t partOfPeriod(std::int32_t step, std::int32_t period, std::int32_t parts) {
    return step % period * parts / period;
}

LedWord steady(const Pattern& pattern, std::int32_t, std::int32_t, std::int32_t) {
    return pattern.first;
}

LedWord flash(const Pattern& pattern, std::int32_t, std::int32_t step, std::int32_t period) {
    return isLit(evenFlash(period), step) ? pattern.first : pattern.second;
}

// The two halves of the camera, left and right, swap their colours.
LedWord halves(const Pattern& pattern, std::int32_t led, std::int32_t step, std::int32_t period) {
    const bool left = led < kLeds / 2;
    return left == isLit(evenFlash(period), step) ? pattern.first : pattern.second;
}

// Neighbours swap their colours.
LedWord neighbours(const Pattern& pattern, std::int32_t led, std::int32_t step,
                   std::int32_t period) {
    const bool even = led % 2 == 0;
    return even == isLit(evenFlash(period), step) ? pattern.first : pattern.second;
}

LedWord running(const Pattern& pattern, std::int32_t led, std::int32_t step, std::int32_t period) {
    return led == partOfPeriod(step, period, kLeds) ? pattern.first : pattern.second;
}

LedWord filling(const Pattern& pattern, std::int32_t led, std::int32_t step, std::int32_t period) {
    return led <= partOfPeriod(step, period, kLeds) ? pattern.first : pattern.second;
}

LedWord strobe(const Pattern& pattern, std::int32_t, std::int32_t step, std::int32_t period) {
    constexpr std::int32_t kStrobeSteps = 2;
    return isLit({kStrobeSteps, period}, step) ? pattern.first : pattern.second;
}

// Up during the first half of the period, down during the second.
LedWord breathing(const Pattern& pattern, std::int32_t, std::int32_t step, std::int32_t period) {
    const std::int32_t phase = step % period / kGlideSteps * kGlideSteps;
    const std::int32_t height = std::min(phase, period - phase);
    return withBrightness(pattern.first, height * 2 * 255 / period);
}

// Red, green, blue and back to red, one turn per period, each LED an eighth of a turn ahead.
LedWord wheel(const Pattern&, std::int32_t led, std::int32_t step, std::int32_t period) {
    const std::int32_t phase = (step / kGlideSteps * kGlideSteps + led * period / kLeds) % period;
    const std::int32_t hue = phase * 3 * 255 / period;
    const std::int32_t rising = hue % 255;
    const std::int32_t falling = 255 - rising;
    switch (hue / 255) {
        case 0:
            return packLedWord(falling, rising, 0, 0);
        case 1:
            return packLedWord(0, falling, rising, 0);
        default:
            return packLedWord(rising, 0, falling, 0);
    }
}

// The channels one after the other, a quarter of the cycle each. The last one also has the cycle's
// end, step 200.
LedWord channels(const Pattern&, std::int32_t, std::int32_t step, std::int32_t period) {
    constexpr LedWord kChannels[] = {kLedRed, kLedGreen, kLedBlue, kLedWhite};
    return kChannels[std::min(step * 4 / period, 3)];
}

constexpr Pattern kEventPatterns[] = {
    {flash, kLedWhite, kLedDark},    // 1
    {flash, kLedRed, kLedDark},      // 2
    {flash, kLedGreen, kLedDark},    // 3
    {flash, kLedBlue, kLedDark},     // 4
    {flash, kLedYellow, kLedDark},   // 5
    {steady, kLedWhite, kLedDark},   // 6
    {steady, kLedRed, kLedDark},     // 7
    {steady, kLedGreen, kLedDark},   // 8
    {halves, kLedRed, kLedBlue},     // 9
    {running, kLedWhite, kLedDark},  // 10
};

struct DemoPattern {
    std::int32_t mode;
    std::int32_t period;
    Pattern pattern;
};

constexpr DemoPattern kDemoPatterns[] = {
    {1, kCycleSteps, {channels, kLedDark, kLedDark}},
    {2, 100, {running, kLedWhite, kLedDark}},
    {3, kCycleSteps, {filling, kLedGreen, kLedDark}},
    {4, kCycleSteps, {breathing, kLedWhite, kLedDark}},
    {5, 100, {halves, kLedRed, kLedBlue}},
    {7, kCycleSteps, {wheel, kLedDark, kLedDark}},
    {8, kCycleSteps, {steady, kLedGreen, kLedDark}},
    {9, 20, {strobe, kLedWhite, kLedDark}},
    {10, 100, {neighbours, kLedRed, kLedGreen}},
};

void draw(const Pattern& pattern, std::int32_t step, std::int32_t period, std::int32_t level,
          LedWords& words) {
    for (std::int32_t led = 0; led < kLeds; ++led) {
        const LedWord word = pattern.shape(pattern, led, step, period);
        words[static_cast<std::size_t>(led)] = withBrightness(word, level);
    }
}

}  // namespace

void drawEventPattern(std::int32_t event, std::int32_t step, std::int32_t period,
                      std::int32_t level, LedWords& words) {
    if (event >= 1 && event <= std::ssize(kEventPatterns)) {
        draw(kEventPatterns[event - 1], step, period, level, words);
    }
}

void drawDemoPattern(std::int32_t mode, std::int32_t step, LedWords& words) {
    for (const DemoPattern& row : kDemoPatterns) {
        if (row.mode == mode) {
            draw(row.pattern, step, row.period, 255, words);
            return;
        }
    }
}
