#include "motion/rotate_requests.h"

#include <cstdio>

#include "axis/axis_driver.h"
#include "control_state.h"
#include "motion/publication.h"
#include "motion/rotate_test.h"
#include "orientation/attitude.h"
#include "orientation/auto_search.h"
#include "orientation/install_detection.h"
#include "orientation/rotate_mode.h"

namespace {

void level(LensLoopState& state) {
    // One reading that nobody uses; meant so.
    GyroGetAttitude();
    publishStatus(Axis::rotate, "run");
    setMotorPower(1);
    resetPresetGoal(state);
    AutoSearch(giRotate);
    rotateWaitReady();
    publishMoveEnd(Axis::rotate);
    setMotorPower(0);
}

// Mode "auto": mount detection once both axes rest, also after a preset run; meant so.
void watchForMount(LensLoopState& state) {
    const std::int32_t pan = iPanMove;
    const std::int32_t rotate = iRotateMove;
    if (pan == state.watchedPanMove && rotate == state.watchedRotateMove) {
        return;
    }
    state.watchedPanMove = pan;
    state.watchedRotateMove = rotate;
    if (pan == kMoveIdle && rotate == kMoveIdle) {
        state.watchedRotate = RotateMode1RPMode();
    }
}

// Mode "rotate": a transition after each rotate move and after each pan move.
void watchForTurns(LensLoopState& state) {
    const std::int32_t rotate = iRotateMove;
    const std::int32_t previousRotate = state.watchedRotateMove;
    if (rotate != previousRotate) {
        std::printf("iRotateMove=%d %d\n", rotate, previousRotate);
        state.watchedRotateMove = rotate;
        if (previousRotate != kMovePreset && rotate == kMoveIdle) {
            state.watchedRotate = RotateMode2RotateMode();
        }
    }
    const std::int32_t pan = iPanMove;
    const std::int32_t previousPan = state.watchedPanMove;
    if (pan != previousPan && pan != kMoveIdle) {
        state.watchedPanMove = pan;
    } else if (pan != previousPan && previousPan != kMovePreset) {
        // The end of a preset run stays unseen, for mode "auto" to find it; meant so.
        state.watchedPanMove = kMoveIdle;
        state.watchedRotate = RotateMode2PanMode();
    }
}

}  // namespace

bool serveRotateRequest(LensLoopState& state) {
    const std::int32_t request = giAutoRotate;
    const bool levelling = request == 1 || request == 2;
    if (!levelling && request != 3) {
        return false;
    }
    if (levelling && (giPoeStatus != 0 || giMotorRunning != 0)) {
        return false;
    }
    if (!levelling) {
        runRotateTest();
    } else if (giGyroCheck == 0) {
        level(state);
    } else {
        std::puts("Gyro not ready");
    }
    replaceIfUnchanged(giAutoRotate, request, 0);
    return true;
}

void completePresetRotate() {
    if (iRotateMove != kMovePreset) {
        return;
    }
    rotateWaitReady();
    publishMoveEnd(Axis::rotate);
    replaceIfUnchanged(iRotateMove, kMovePreset, kMoveIdle);
}

void watchOrientation(LensLoopState& state) {
    const std::int32_t mode = giModeRotate;
    if (giGyroCheck != 0) {
        state.watchedPanMove = iPanMove;
        state.watchedRotateMove = iRotateMove;
    } else if (mode == 1) {
        watchForMount(state);
    } else if (mode == 2) {
        watchForTurns(state);
    }
}

// The watch's own choice counts as a change too, however soon the bus brings it back.
void requestLevellingOnNewRotate(LensLoopState& state) {
    const std::int32_t rotate = giRotate;
    if (rotate != state.rememberedRotate || rotate != state.watchedRotate.value_or(rotate)) {
        giAutoRotate = 1;
        std::printf("giRotate=%d\n", rotate);
    }
    rememberRotate(state, rotate);
}
