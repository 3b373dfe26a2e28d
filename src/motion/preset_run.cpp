#include "motion/preset_run.h"

#include <algorithm>
#include <cstdio>

#include "axis/axis_driver.h"
#include "axis/motor_codes.h"
#include "axis/targets.h"
#include "control_state.h"
#include "motion/publication.h"
#include "motion/rest.h"
#include "platform/clock.h"

namespace {

constexpr int kBusyPollMicroseconds = 10000;
constexpr int kBusyPolls = 3000;
constexpr int kSettleMicroseconds = 100000;
constexpr std::int32_t kPanStep = 256;
constexpr std::int32_t kTiltAndRotateStep = 500;

bool isDue(Axis axis, std::int32_t goal) {
    return goal >= 0 && goal != axisPosition(axis);
}

// A step of at most `length` from the position towards the goal.
std::int32_t stepTowards(Axis axis, std::int32_t goal, std::int32_t length) {
    const std::int64_t position = axisPosition(axis);
    const std::int64_t step = position > goal ? std::max<std::int64_t>(position - length, goal)
                                              : std::min<std::int64_t>(position + length, goal);
    return clampToAxis(axis, step);
}

// Lets the motor run out, and pulses the supply.
void arrive(std::int32_t (*wait)()) {
    sleepMicroseconds(kSettleMicroseconds);
    wait();
    setMotorPower(0);
    sleepMicroseconds(kSettleMicroseconds);
    setMotorPower(1);
}

// Idle on the very last poll counts as still busy too, as in every wait.
bool panBecomesIdle() {
    int polls = 0;
    do {
        sleepMicroseconds(kBusyPollMicroseconds);
        ++polls;
    } while (panIsBusy() != 0 && polls < kBusyPolls);
    return polls < kBusyPolls;
}

// False if a manual move of the axis has been ordered meanwhile: that abandons the run.
bool beginStep(Axis axis, std::int32_t target) {
    if (orderWaits(axis)) {
        return false;
    }
    setTarget(axis, target);
    publishStatus(axis, "run");
    return true;
}

void goPan(std::int32_t goal) {
    if (!panBecomesIdle()) {
        return;
    }
    const std::int32_t target = stepTowards(Axis::pan, goal, kPanStep);
    if (!beginStep(Axis::pan, target)) {
        return;
    }
    setAxisPosition(Axis::pan, panMoveToSpeed(axisPosition(Axis::pan), target, kPanPresetSpeed));
    if (axisPosition(Axis::pan) == goal) {
        arrive(panWaitIdle);
    }
}

void goTilt(std::int32_t goal) {
    if (tiltIsBusy() != 0) {
        return;
    }
    const std::int32_t target = stepTowards(Axis::tilt, goal, kTiltAndRotateStep);
    if (!beginStep(Axis::tilt, target)) {
        return;
    }
    setAxisPosition(Axis::tilt,
                    tiltMoveToSpeed(axisPosition(Axis::tilt), target, kTiltPresetSpeed));
    if (axisPosition(Axis::tilt) == goal) {
        arrive(tiltWaitIdle);
    }
}

// Zoom and focus go the whole way in one move.
void goLens(Axis axis, std::int32_t goal, std::int32_t (*isReady)(),
            std::int32_t (*moveTo)(std::int32_t current, std::int32_t target),
            std::int32_t (*waitReady)()) {
    if (isReady() != 0 || !beginStep(axis, goal)) {
        return;
    }
    setAxisPosition(axis, moveTo(axisPosition(axis), clampToAxis(axis, goal)));
    if (axisPosition(axis) == goal) {
        arrive(waitReady);
    }
}

void goRotate(std::int32_t goal) {
    if (rotateIsReady() != 0) {
        return;
    }
    const std::int32_t target = stepTowards(Axis::rotate, goal, kTiltAndRotateStep);
    if (!beginStep(Axis::rotate, target)) {
        return;
    }
    setAxisPosition(Axis::rotate, rotateMoveTo(axisPosition(Axis::rotate), target));
    if (axisPosition(Axis::rotate) == goal) {
        sleepMicroseconds(kSettleMicroseconds);
        rotateWaitReady();
        sleepMicroseconds(kSettleMicroseconds);
        setMotorPower(0);
    }
}

constexpr AxisList kPresetAxes = {Axis::pan, Axis::rotate, Axis::tilt, Axis::zoom, Axis::focus};

// A run that homing or autofocus interrupts goes on afterwards without entering anew: its axes stay
// in state 0 and the supply off; meant so.
void enterPresetRun() {
    setMoveStates(kPresetAxes, kMovePreset);
    std::printf("1.iRotateMove=%d\n", kMovePreset);
}

// Without a stored focus the autofocus ends the focus's run.
void endPresetRun(LensLoopState& state) {
    const bool storedFocus = state.presetGoal.focus != kNoGoal;
    if (!storedFocus) {
        giAfRequest = 1;
    }
    setMoveStates(kPresetAxes, kMoveIdle);
    resetPresetGoal(state);
    publishStatuses({Axis::pan, Axis::tilt, Axis::rotate, Axis::zoom}, "stop");
    if (storedFocus) {
        publishStatus(Axis::focus, "stop");
    }
    publishPresetDone();
}

}  // namespace

void followPresetGoal(LensLoopState& state) {
    const PresetTargets& goal = state.presetGoal;
    const std::int32_t result = presetStep(goal.pan, goal.tilt, goal.rotate, goal.zoom, goal.focus);
    if (result != state.previousPresetResult) {
        std::printf("Preset mode=%d\n", result);
        if (result == 1) {
            enterPresetRun();
        }
    }
    // Seen without a change, too: a run to where the head already stands ends with "done".
    if (result == 0 && goal.pan >= 0) {
        endPresetRun(state);
    }
    state.previousPresetResult = result;
}

std::int32_t presetStep(std::int32_t pan, std::int32_t tilt, std::int32_t rotate, std::int32_t zoom,
                        std::int32_t focus) {
    if (isDue(Axis::pan, pan)) {
        goPan(pan);
    } else if (isDue(Axis::tilt, tilt)) {
        goTilt(tilt);
    } else if (isDue(Axis::zoom, zoom)) {
        goLens(Axis::zoom, zoom, zoomIsReady, zoomMoveTo, zoomWaitReady);
    } else if (isDue(Axis::focus, focus)) {
        goLens(Axis::focus, focus, focusIsReady, focusMoveTo, focusWaitReady);
    } else if (isDue(Axis::rotate, rotate)) {
        goRotate(rotate);
    } else {
        return 0;
    }
    return 1;
}
