#include "motion/absolute_moves.h"

#include <cstdio>

#include "axis/axes.h"
#include "axis/axis_driver.h"
#include "axis/marker_files.h"
#include "axis/targets.h"
#include "control_state.h"
#include "motion/focus_after_zoom.h"
#include "motion/publication.h"
#include "raw_time.h"

namespace {

constexpr std::int32_t kTiltSpeed = 250;

// Whether the axis's target differs from its position. The target is then forced into the range, in
// `target` and, unless a new one has arrived, in the shared state; the move works with the copy.
bool isDue(Axis axis, std::int32_t& target) {
    target = takeTarget(axis);
    if (target == axisPosition(axis)) {
        return false;
    }
    target = clampToAxis(axis, target);
    replaceTarget(axis, target);
    return true;
}

void startZoom(LensLoopState& state) {
    std::int32_t target = 0;
    if (!isDue(Axis::zoom, target)) {
        return;
    }
    setMotorPower(1);
    iZoomMove = 2;
    publishStatus(Axis::zoom, "run");
    resetPresetGoal(state);
    setAxisPosition(Axis::zoom, zoomMoveTo(axisPosition(Axis::zoom), target));
    recordMoveStart();
}

void startFocus(LensLoopState& state) {
    std::int32_t target = 0;
    if (!isDue(Axis::focus, target)) {
        return;
    }
    setMotorPower(1);
    iFocusMove = 2;
    publishStatus(Axis::focus, "run");
    focusWaitReady();
    resetPresetGoal(state);
    setAxisPosition(Axis::focus, focusMoveTo(axisPosition(Axis::focus), target));
    recordMoveStart();
}

void startIris() {
    std::int32_t target = 0;
    if (!isDue(Axis::iris, target)) {
        return;
    }
    iIrisMove = 2;
    publishStatus(Axis::iris, "run");
    setAxisPosition(Axis::iris, irisMoveTo(axisPosition(Axis::iris), target));
}

void startRotate(LensLoopState& state) {
    std::int32_t target = 0;
    if (!isDue(Axis::rotate, target)) {
        return;
    }
    startManualRotate();
    setMotorPower(1);
    iRotateMove = 2;
    std::printf("2.iRotateMove=%d %d %d \n", 2, axisPosition(Axis::rotate), target);
    publishStatus(Axis::rotate, "run");
    resetPresetGoal(state);
    rotateWaitReady();
    setAxisPosition(Axis::rotate, rotateMoveTo(axisPosition(Axis::rotate), target));
    recordMoveStart();
}

void startPan(LensLoopState& state) {
    std::int32_t target = 0;
    if (!isDue(Axis::pan, target)) {
        return;
    }
    std::printf("Pan Run %d -> %d\n", axisPosition(Axis::pan), target);
    publishStatus(Axis::pan, "run");
    resetPresetGoal(state);
    iPanMove = 2;
    panWaitIdle();
    setAxisPosition(Axis::pan, panMoveTo(axisPosition(Axis::pan), target));
    recordMoveStart();
}

void startTilt(LensLoopState& state) {
    std::int32_t target = 0;
    if (!isDue(Axis::tilt, target)) {
        return;
    }
    iTiltMove = 2;
    publishStatus(Axis::tilt, "run");
    tiltWaitIdle();
    do {
        setAxisPosition(Axis::tilt, tiltMoveToSpeed(axisPosition(Axis::tilt), target, kTiltSpeed));
        tiltWaitIdle();
    } while (axisPosition(Axis::tilt) != target);
    resetPresetGoal(state);
    recordMoveStart();
}

// Ends the axis's absolute move; a command that has just asked for another keeps its state.
void endMove(Axis axis, std::int32_t state) {
    publishMoveEnd(axis);
    replaceIfUnchanged(*axisRow(axis).move, state, 0);
}

void completePan() {
    const std::int32_t state = iPanMove;
    if (state == 2 && panIsBusy() == 0) {
        endMove(Axis::pan, state);
        std::puts("Pan Stop");
    } else if (state == 4) {
        replaceIfUnchanged(iPanMove, 4, 2);
    }
}

void completeTilt() {
    const std::int32_t state = iTiltMove;
    if (state == 2 && tiltIsBusy() == 0) {
        endMove(Axis::tilt, state);
    } else if (state == 4) {
        replaceIfUnchanged(iTiltMove, 4, 2);
    }
}

void completeRotate() {
    const std::int32_t state = iRotateMove;
    if (state == 2 && rotateIsReady() == 0) {
        endMove(Axis::rotate, state);
    } else if (state == 4) {
        std::printf("4.iRotateMove=%d\n", 4);
        replaceIfUnchanged(iRotateMove, 4, 2);
    }
}

void completeZoom() {
    const std::int32_t state = iZoomMove;
    if (state == 2 && zoomIsReady() == 0) {
        endMove(Axis::zoom, state);
        focusAfterAbsoluteZoom();
    } else if (state == 4 && zoomIsReady() == 0) {
        endMove(Axis::zoom, state);
    } else if (state == 5) {
        replaceIfUnchanged(iZoomMove, 5, 4);
    }
}

// Whether a requested focus move has just been admitted.
bool completeFocus() {
    const std::int32_t state = iFocusMove;
    if (state == 2 && focusIsReady() == 0) {
        endMove(Axis::focus, state);
    } else if (state == 4) {
        replaceIfUnchanged(iFocusMove, 4, 2);
        return true;
    }
    return false;
}

void completeIris() {
    const std::int32_t state = iIrisMove;
    if (state == 2 && irisIsReady() == 0) {
        endMove(Axis::iris, state);
    } else if (state == 4) {
        replaceIfUnchanged(iIrisMove, 4, 2);
    }
}

}  // namespace

void startAbsoluteMoves(LensLoopState& state) {
    startZoom(state);
    startFocus(state);
    startIris();
    startRotate(state);
    startPan(state);
    startTilt(state);
}

void completeMoves() {
    completePan();
    completeTilt();
    completeRotate();
    completeZoom();
    const bool focusAdmitted = completeFocus();
    // Pan and tilt do not keep the supply on.
    if (!focusAdmitted && iRotateMove == 0 && iZoomMove == 0 && iFocusMove == 0 &&
        giAfRequest == 0) {
        setMotorPower(0);
    }
    completeIris();
}
