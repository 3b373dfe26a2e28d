#include "motion/lens_loop.h"

#include <cstdio>

#include "axis/marker_files.h"
#include "axis/motor_codes.h"
#include "control_state.h"
#include "motion/absolute_moves.h"
#include "motion/autofocus_requests.h"
#include "motion/continuous_moves.h"
#include "motion/homing.h"
#include "motion/lens_loop_state.h"
#include "motion/preset_run.h"
#include "motion/presets.h"
#include "motion/publication.h"
#include "motion/rotate_requests.h"
#include "orientation/motion_sensor.h"
#include "platform/clock.h"
#include "platform/model.h"

namespace {

constexpr int kPassMicroseconds = 10000;
constexpr int kQuickPassMicroseconds = 1000;

void startLensThread(LensLoopState& state) {
    GyroOpen();
    if (get_lenstype() == kLongLens) {
        giLensVariant = 2;
    }
    ChackPowerOffStatus();
    rememberRotate(state, giRotate);
}

// Positions are not published while pan or tilt runs continuously.
void publishAndPace() {
    const std::int32_t pan = iPanContinuous;
    const std::int32_t tilt = iTiltContinuous;
    if (pan == 0 && tilt == 0) {
        publishPositions();
    }
    // Quicker for exactly this pair of speeds; meant so.
    sleepMicroseconds(pan == 1 && tilt == 1 ? kQuickPassMicroseconds : kPassMicroseconds);
}

bool exitWanted() {
    if (giExit == 0) {
        return false;
    }
    std::puts("Exit kestrel LensLoop 1");
    return true;
}

void runPass(LensLoopState& state) {
    // An autofocus that this pass itself asks for is served by the next.
    const std::int32_t autofocus = giAfRequest;
    continuousFocus(state);
    continuousZoom(state);
    continuousRotate(state);
    if (!serveRotateRequest(state)) {
        completePresetRotate();
    }
    watchOrientation(state);
    continuousPan(state);
    continuousTilt(state);
    continuousIris(state);
    startAbsoluteMoves(state);
    serveAutofocusRequest(autofocus);
    servePresetRequest(state);
    followPresetGoal(state);
    completeMoves();
    serveHomeRequest();
    publishAndPace();
}

}  // namespace

std::int32_t LensLoop() {
    LensLoopState state;
    startLensThread(state);
    if (exitWanted()) {
        return 0;
    }
    for (;;) {
        runPass(state);
        if (exitWanted()) {
            return 0;
        }
        requestLevellingOnNewRotate(state);
    }
}
