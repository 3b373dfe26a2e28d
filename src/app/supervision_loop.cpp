#include "app/supervision_loop.h"

#include <cstdio>

#include "app/command_buffers.h"
#include "app/demo_actions.h"
#include "app/power_estimate.h"
#include "axis/marker_files.h"
#include "control_state.h"
#include "lighting/led_composition.h"
#include "motion/command_words.h"
#include "numbers.h"
#include "orientation/motion_sensor.h"
#include "platform/clock.h"
#include "platform/nbus.h"

namespace {

constexpr int kPassMicroseconds = 10000;

struct LoopState {
    LedComposition leds;
    std::int32_t lastIrisTable = -1;
};

void hand(Mailbox& mailbox, void (*interpret)(const char* word)) {
    if (const char* word = claimMailbox(mailbox)) {
        interpret(word);
        clearMailbox(mailbox);
    }
}

void hand(OverwriteBuffer& buffer, void (*interpret)(const char* word)) {
    char word[kCommandSize];
    if (takeCommand(buffer, word)) {
        interpret(word);
    }
}

void handOverCommands() {
    hand(gszFocusCmd, focusCommand);
    hand(gszZoomCmd, zoomCommand);
    hand(gszIrisCmd, irisCommand);
    hand(gszPanCmd, panCommand);
    hand(gszTiltCmd, tiltCommand);
    hand(gszRotateCmd, rotateCommand);
}

// As the camera's 32-bit arithmetic has it: the product wraps.
std::int32_t irisAtTable(std::int32_t percent) {
    const std::int64_t irisMaximum = gLensRange[kIrisMaximum];
    return cutToInt32(irisMaximum - cutToInt32(irisMaximum * percent) / 100);
}

void followIrisTable(LoopState& state) {
    const std::int32_t table = giIrisTable;
    if (table == state.lastIrisTable) {
        return;
    }
    state.lastIrisTable = table;
    char text[128] = {};
    std::snprintf(text, sizeof text, "a:%d", irisAtTable(table));
    nbus_set("lens.camN.iris", text);
}

// The word stays in its mailbox until it is done, so that words which arrive meanwhile are dropped.
void runPendingDemoAction() {
    const char* word = claimUnlessDone(gszDemoPtzAction);
    if (word == nullptr) {
        sleepMicroseconds(kPassMicroseconds);
        return;
    }
    runDemoAction(word);
    clearMailbox(gszDemoPtzAction);
    nbus_set("demo.ptz.action", "done");
}

bool exitWanted() {
    if (giExit == 0) {
        return false;
    }
    std::puts("Exit kestrel 1");
    return true;
}

void runPass(LoopState& state) {
    followManualColor(state.leds);
    handOverCommands();
    drawLights(state.leds);
    followLedTestMode(state.leds);
    runDemoLedMode(state.leds);
    maskDisabledLeds(state.leds);
    applyChangedLeds(state.leds);
    followIrisTable(state);
    runPendingDemoAction();
    endLedStep(state.leds);
    replaceIfUnchanged(giFwUpdate, 1, 0);
    publishPowerConsumption();
}

}  // namespace

void superviseUntilExit() {
    giGyroCheck = GyroCheckId();
    initialiseLeds();
    checkHomeFile();
    LoopState state;
    while (!exitWanted()) {
        runPass(state);
    }
}
