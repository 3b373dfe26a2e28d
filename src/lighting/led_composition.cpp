#include "lighting/led_composition.h"

#include <cstddef>
#include <cstdio>

#include "bus_values.h"
#include "control_state.h"
#include "lighting/led_apply.h"
#include "lighting/patterns.h"
#include "lighting/position_lights.h"
#include "platform/clock.h"
#include "platform/motor_mcu.h"

namespace {

constexpr std::int32_t kFirstDemoMode = 1;
constexpr std::int32_t kFullWhiteMode = 6;
constexpr std::int32_t kLastDemoMode = 10;
constexpr int kBoostSupply = 4;

constexpr char kTestStatusKey[] = "lens.camN.light.test_status";

// 1 while the full white demo mode holds the extra power supply on.
std::int32_t giPowerBoost = 0;

void refreshLightTime(LedComposition& leds) {
    leds.time = readRawClock().tv_sec;
}

// 1 for the first entry of the event orders, 0 if no event is on.
std::int32_t latestEvent() {
    std::int32_t latest = 0;
    std::int32_t highest = 0;
    for (std::int32_t entry = 0; entry < kOnvifEntries; ++entry) {
        const std::int32_t order = gaOnvifOrder[entry];
        if (order > highest) {
            highest = order;
            latest = entry + 1;
        }
    }
    return latest;
}

void setManualColor(std::int32_t level) {
    giDemoLedR = level;
    giDemoLedG = level;
    giDemoLedB = level;
    giDemoLedW = level;
}

// Lights all LEDs by way of the manual colour, in the next pass.
void enterFullWhiteMode(LedComposition& leds) {
    setManualColor(255);
    leds.manualForgotten = true;
    leds.step = 1;
    if (giSlaveCameras == 1) {
        giPowerBoost = 1;
        setPowerEnable(kBoostSupply);
    }
}

void endPowerBoost() {
    if (giPowerBoost != 0) {
        giPowerBoost = 0;
        // Enabling nothing switches the boost off; meant so.
        setPowerEnable(0);
    }
}

void enterDemoMode(LedComposition& leds, std::int32_t mode) {
    setKeyToNumber(kTestStatusKey, mode);
    if (mode == kFullWhiteMode) {
        enterFullWhiteMode(leds);
    }
}

void leaveDemoModes(LedComposition& leds, std::int32_t mode, std::int32_t oldMode) {
    std::printf("giDemoLedMode=%d %d\n", mode, oldMode);
    setKeyToNumber(kTestStatusKey, 0);
    if (oldMode == kFullWhiteMode) {
        setManualColor(0);
    }
    leds.words.fill(kLedDark);
}

void changeDemoMode(LedComposition& leds, std::int32_t mode) {
    const std::int32_t oldMode = leds.modeSeen;
    leds.modeSeen = mode;
    leds.step = 0;
    if (mode >= kFirstDemoMode && mode <= kLastDemoMode) {
        enterDemoMode(leds, mode);
    } else {
        leaveDemoModes(leds, mode, oldMode);
    }
}

}  // namespace

void initialiseLeds() {
    for (int led = 0; led < static_cast<int>(kLedCount); ++led) {
        setLedMode(led, 1);
    }
}

// The words count as sent only where `applyChangedLeds` sends them; else the full white mode would
// go dark in the pass in which it lights.
void followManualColor(LedComposition& leds) {
    const ManualColor color = {giDemoLedR, giDemoLedG, giDemoLedB, giDemoLedW};
    if (color == leds.manualSeen && !leds.manualForgotten) {
        return;
    }
    leds.manualSeen = color;
    leds.manualForgotten = false;
    leds.words.fill(packLedWord(color.red, color.green, color.blue, color.white));
    applyLeds(groupA(leds.words));
}

void drawLights(LedComposition& leds) {
    if (const std::int32_t event = latestEvent(); event != 0) {
        drawEventPattern(event, leds.step, giLightFlashPeriod, giLightBrightness, leds.words);
    } else {
        drawPositionLights(leds.step, leds.words);
    }
}

void followLedTestMode(LedComposition& leds) {
    const std::int32_t mode = giLedTestMode;
    if (mode != leds.testModeSeen) {
        leds.testModeSeen = mode;
        giDemoLedMode = mode;
        std::printf("giDemoLedMode=%d\n", mode);
    }
}

void runDemoLedMode(LedComposition& leds) {
    const std::int32_t mode = giDemoLedMode;
    if (mode != kFullWhiteMode) {
        endPowerBoost();
    }
    if (mode != leds.modeSeen) {
        changeDemoMode(leds, mode);
    } else {
        ++leds.step;
    }
    drawDemoPattern(mode, leds.step, leds.words);
}

void maskDisabledLeds(LedComposition& leds) {
    for (std::size_t led = 0; led < kLedCount; ++led) {
        if (gaLedCtrl[led] == 0) {
            leds.words[led] = kLedDark;
        }
    }
}

void applyChangedLeds(LedComposition& leds) {
    // Taken first: a limit set from here on has its own turn in the next pass.
    const bool limitChanged = giLedPowerChanged.exchange(0) == 1;
    if (leds.words == leds.applied && !limitChanged) {
        return;
    }
    refreshLightTime(leds);
    giLedPower = giLedPowerApplied.load();
    const LedGroup group = groupA(leds.words);
    std::printf("Set LED %d %d %d %d %d %d\n", leds.step, giHomeRequest.load(),
                static_cast<std::int32_t>(group[0]), static_cast<std::int32_t>(group[1]),
                static_cast<std::int32_t>(group[2]), static_cast<std::int32_t>(group[3]));
    applyLeds(group, groupB(leds.words));
    leds.applied = leds.words;
}

void endLedStep(LedComposition& leds) {
    if (leds.step % (kCycleSteps / 2) != 0) {
        return;
    }
    if (leds.step == kCycleSteps) {
        leds.step = 0;
    }
    refreshLightTime(leds);
}
