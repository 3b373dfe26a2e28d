#include "motion/absolute_moves.h"

#include <cstdio>

#include "axis/axes.h"
#include "axis/axis_driver.h"
#include "axis/marker_files.h"
#include "axis/motor_codes.h"
#include "axis/targets.h"
#include "control_state.h"
#include "motion/focus_after_zoom.h"
#include "motion/publication.h"
#include "raw_time.h"

namespace {

// Whether the axis's target differs from its position. The target is then forced into the range, in
// `target` and in the shared state.
bool hasToMove(Axis axis, std::int32_t& target) {
    const TakenTarget taken = takeTarget(axis);
    // A rotate word makes the home marker void as it is carried out, also one that leads nowhere.
    if (axis == Axis::rotate && isByWord(taken)) {
        clearHomeFile();
    }
    target = taken.target;
    if (target == axisPosition(axis)) {
        return false;
    }
    target = clampToAxis(axis, target);
    setTarget(axis, target);
    return true;
}

void startZoom(LensLoopState& state) {
    std::int32_t target = 0;
    if (!hasToMove(Axis::zoom, target)) {
        return;
    }
    setMotorPower(1);
    iZoomMove = kMoveAbsolute;
    publishStatus(Axis::zoom, "run");
    resetPresetGoal(state);
    setAxisPosition(Axis::zoom, zoomMoveTo(axisPosition(Axis::zoom), target));
    recordMoveStart();
}

void startFocus(LensLoopState& state) {
    std::int32_t target = 0;
    if (!hasToMove(Axis::focus, target)) {
        return;
    }
    setMotorPower(1);
    iFocusMove = kMoveAbsolute;
    publishStatus(Axis::focus, "run");
    focusWaitReady();
    resetPresetGoal(state);
    setAxisPosition(Axis::focus, focusMoveTo(axisPosition(Axis::focus), target));
    recordMoveStart();
}

void startIris() {
    std::int32_t target = 0;
    if (!hasToMove(Axis::iris, target)) {
        return;
    }
    iIrisMove = kMoveAbsolute;
    publishStatus(Axis::iris, "run");
    setAxisPosition(Axis::iris, irisMoveTo(axisPosition(Axis::iris), target));
}

void startRotate(LensLoopState& state) {
    std::int32_t target = 0;
    if (!hasToMove(Axis::rotate, target)) {
        return;
    }
    setMotorPower(1);
    iRotateMove = kMoveAbsolute;
    std::printf("2.iRotateMove=%d %d %d \n", kMoveAbsolute, axisPosition(Axis::rotate), target);
    publishStatus(Axis::rotate, "run");
    resetPresetGoal(state);
    rotateWaitReady();
    setAxisPosition(Axis::rotate, rotateMoveTo(axisPosition(Axis::rotate), target));
    recordMoveStart();
}

void startPan(LensLoopState& state) {
    std::int32_t target = 0;
    if (!hasToMove(Axis::pan, target)) {
        return;
    }
    std::printf("Pan Run %d -> %d\n", axisPosition(Axis::pan), target);
    publishStatus(Axis::pan, "run");
    resetPresetGoal(state);
    iPanMove = kMoveAbsolute;
    panWaitIdle();
    setAxisPosition(Axis::pan, panMoveTo(axisPosition(Axis::pan), target));
    recordMoveStart();
}

void startTilt(LensLoopState& state) {
    std::int32_t target = 0;
    if (!hasToMove(Axis::tilt, target)) {
        return;
    }
    iTiltMove = kMoveAbsolute;
    publishStatus(Axis::tilt, "run");
    tiltWaitIdle();
    do {
        setAxisPosition(Axis::tilt,
                        tiltMoveToSpeed(axisPosition(Axis::tilt), target, kTiltAbsoluteSpeed));
        tiltWaitIdle();
    } while (axisPosition(Axis::tilt) != target);
    resetPresetGoal(state);
    recordMoveStart();
}

// The move state that this pass may complete: none while a word is being stored whose move is still
// to come.
std::int32_t stateToComplete(Axis axis) {
    return moveIsComing(axis) ? kMoveIdle : axisRow(axis).move->load();
}

// Ends the axis's absolute move; a command that has just asked for another keeps its state.
void endMove(Axis axis, std::int32_t state) {
    publishMoveEnd(axis);
    replaceIfUnchanged(*axisRow(axis).move, state, kMoveIdle);
}

void completePan() {
    const std::int32_t state = stateToComplete(Axis::pan);
    if (state == kMoveAbsolute && panIsBusy() == 0) {
        endMove(Axis::pan, state);
        std::puts("Pan Stop");
    } else if (state == kMoveRequested) {
        replaceIfUnchanged(iPanMove, kMoveRequested, kMoveAbsolute);
    }
}

void completeTilt() {
    const std::int32_t state = stateToComplete(Axis::tilt);
    if (state == kMoveAbsolute && tiltIsBusy() == 0) {
        endMove(Axis::tilt, state);
    } else if (state == kMoveRequested) {
        replaceIfUnchanged(iTiltMove, kMoveRequested, kMoveAbsolute);
    }
}

void completeRotate() {
    const std::int32_t state = stateToComplete(Axis::rotate);
    if (state == kMoveAbsolute && rotateIsReady() == 0) {
        endMove(Axis::rotate, state);
    } else if (state == kMoveRequested) {
        std::printf("4.iRotateMove=%d\n", kMoveRequested);
        replaceIfUnchanged(iRotateMove, kMoveRequested, kMoveAbsolute);
    }
}

void completeZoom() {
    const std::int32_t state = stateToComplete(Axis::zoom);
    if (state == kMoveAbsolute && zoomIsReady() == 0) {
        endMove(Axis::zoom, state);
        focusAfterAbsoluteZoom();
    } else if (state == kMoveRequested && zoomIsReady() == 0) {
        endMove(Axis::zoom, state);
    } else if (state == kZoomRequested) {
        replaceIfUnchanged(iZoomMove, kZoomRequested, kMoveRequested);
    }
}

// Whether a requested focus move has just been admitted.
bool completeFocus() {
    const std::int32_t state = stateToComplete(Axis::focus);
    if (state == kMoveAbsolute && focusIsReady() == 0) {
        endMove(Axis::focus, state);
    } else if (state == kMoveRequested) {
        replaceIfUnchanged(iFocusMove, kMoveRequested, kMoveAbsolute);
        return true;
    }
    return false;
}

void completeIris() {
    const std::int32_t state = stateToComplete(Axis::iris);
    if (state == kMoveAbsolute && irisIsReady() == 0) {
        endMove(Axis::iris, state);
    } else if (state == kMoveRequested) {
        replaceIfUnchanged(iIrisMove, kMoveRequested, kMoveAbsolute);
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
    if (!focusAdmitted && iRotateMove == kMoveIdle && iZoomMove == kMoveIdle &&
        iFocusMove == kMoveIdle && giAfRequest == 0) {
        setMotorPower(0);
    }
    completeIris();
}
