#include "motion/continuous_moves.h"

#include <cstdio>
#include <cstdlib>

#include "axis/axes.h"
#include "axis/axis_driver.h"
#include "axis/marker_files.h"
#include "axis/motor_codes.h"
#include "axis/targets.h"
#include "control_state.h"
#include "motion/focus_after_zoom.h"
#include "motion/publication.h"

namespace {

using Wait = std::int32_t (*)();
using Move = std::int32_t (*)(std::int32_t current, std::int32_t target);

// The axes that step from their target: focus, zoom, rotate and iris.
struct LensRow {
    Axis axis;
    int stepSize;
    Wait isReady;
    Move moveTo;
    Wait waitReady;         // before "stop"; none for the iris
    bool leadsTheHead;      // switches the supply on and abandons a preset run
    bool busyEndsPreset;    // also when the motor is not ready yet
    const char* atMaximum;  // printed at the ends of the range
    const char* atMinimum;
};

constexpr LensRow kFocusRow = {Axis::focus, 10,    focusIsReady, focusMoveTo, focusWaitReady,
                               true,        false, nullptr,      nullptr};
constexpr LensRow kZoomRow = {Axis::zoom, 30,   zoomIsReady,  zoomMoveTo,  zoomWaitReady,
                              true,       true, "Stop Zoom2", "Stop Zoom3"};
constexpr LensRow kRotateRow = {Axis::rotate, 30,   rotateIsReady, rotateMoveTo, rotateWaitReady,
                                true,         true, nullptr,       nullptr};
constexpr LensRow kIrisRow = {Axis::iris, 1,     irisIsReady, irisMoveTo, nullptr,
                              false,      false, nullptr,     nullptr};

void announce(const char* notice) {
    if (notice != nullptr) {
        std::puts(notice);
    }
}

// A continuous command, 0 for none, and the move state and the target that it found.
struct Continuous {
    std::int32_t command = 0;
    std::int32_t move = kMoveIdle;
    std::int32_t before = 0;
};

// What waits for the target is taken, and the move state read, before the command is, as a command
// word stores them the other way round. Without a command it goes on waiting, for an absolute move.
Continuous takeContinuous(Axis axis) {
    const SharedInt& shared = *axisRow(axis).continuous;
    if (shared == 0) {
        return {};
    }
    const TakenTarget taken = takeTarget(axis);
    const std::int32_t move = *axisRow(axis).move;
    const std::int32_t command = shared;
    if (command == 0) {
        putBack(axis, taken);
    }
    return {command, move, taken.target};
}

void enterContinuous(Axis axis, std::int32_t move) {
    if (move != kMoveContinuous) {
        publishStatus(axis, "run");
    }
    replaceIfUnchanged(*axisRow(axis).move, move, kMoveContinuous);
}

// The wanted target forced into the range. Beyond an end it also ends the continuous command, in
// the shared state (unless a new one has arrived) and in `command`; landing exactly on an end does
// not.
std::int32_t stepTarget(Axis axis, std::int64_t wanted, std::int32_t& command) {
    const std::int32_t target = clampToAxis(axis, wanted);
    if (target != wanted) {
        replaceIfUnchanged(*axisRow(axis).continuous, command, 0);
        command = 0;
    }
    return target;
}

void stepLens(const LensRow& row, LensLoopState& state, Continuous& taken) {
    // Each time: a run that this move has waited for, or that came in its middle, makes the home
    // marker anew.
    if (row.axis == Axis::rotate) {
        clearHomeFile();
    }
    if (row.isReady() != 0) {
        if (row.busyEndsPreset) {
            resetPresetGoal(state);
        }
        return;
    }
    if (row.leadsTheHead) {
        setMotorPower(1);
    }
    enterContinuous(row.axis, taken.move);
    const std::int64_t wanted = taken.before + std::int64_t{row.stepSize} * taken.command;
    const std::int32_t target = stepTarget(row.axis, wanted, taken.command);
    if (target < wanted) {
        announce(row.atMaximum);
    } else if (target > wanted) {
        announce(row.atMinimum);
    }
    setTarget(row.axis, target);
    if (row.leadsTheHead) {
        resetPresetGoal(state);
    }
    setAxisPosition(row.axis, row.moveTo(axisPosition(row.axis), target));
}

// Whether a continuous move is over; not yet if its command may have been ended by a word whose own
// move is still to come, or there would be a "stop" in between.
bool isOver(Axis axis, std::int32_t command) {
    return command == 0 && !moveIsComing(axis) && *axisRow(axis).move == kMoveContinuous;
}

// Whether a continuous move ended in this pass.
bool continuousLens(const LensRow& row, LensLoopState& state) {
    Continuous taken = takeContinuous(row.axis);
    if (taken.command != 0) {
        stepLens(row, state, taken);
    }
    if (!isOver(row.axis, taken.command)) {
        return false;
    }
    if (row.waitReady != nullptr) {
        row.waitReady();
    }
    publishMoveEnd(row.axis);
    replaceIfUnchanged(*axisRow(row.axis).move, kMoveContinuous, kMoveIdle);
    return true;
}

constexpr int kPanStep = 128;
constexpr int kTiltStep = 32;

// Speed codes fall by ten a step below the ninth.
std::int32_t speedCode(std::int32_t command, std::int32_t fastest) {
    const std::int64_t magnitude = std::llabs(std::int64_t{command});
    return magnitude >= 9 ? fastest : fastest - 10 * static_cast<std::int32_t>(9 - magnitude);
}

// Pan steps from its previous target, tilt from its position; meant so.
void stepPan(LensLoopState& state, Continuous& taken) {
    if (panIsBusy() != 0) {
        resetPresetGoal(state);
        return;
    }
    enterContinuous(Axis::pan, taken.move);
    const std::int32_t speed = speedCode(taken.command, kPanContinuousSpeed);
    const std::int64_t wanted =
        std::int64_t{taken.before} + (taken.command > 0 ? kPanStep : -kPanStep);
    const std::int32_t target = stepTarget(Axis::pan, wanted, taken.command);
    setTarget(Axis::pan, target);
    resetPresetGoal(state);
    setAxisPosition(Axis::pan, panMoveToSpeed(axisPosition(Axis::pan), target, speed));
}

void stepTilt(LensLoopState& state, Continuous& taken) {
    if (tiltIsBusy() != 0) {
        resetPresetGoal(state);
        return;
    }
    enterContinuous(Axis::tilt, taken.move);
    const std::int32_t position = axisPosition(Axis::tilt);
    const std::int32_t speed = speedCode(taken.command, kTiltContinuousSpeed);
    const std::int64_t wanted =
        std::int64_t{position} + (taken.command > 0 ? kTiltStep : -kTiltStep);
    const std::int32_t target = stepTarget(Axis::tilt, wanted, taken.command);
    setTarget(Axis::tilt, target);
    std::printf("iTiltContinuous=%d/%d speed=%d\n", target, position, speed);
    resetPresetGoal(state);
    setAxisPosition(Axis::tilt, tiltMoveToSpeed(position, target, speed));
}

// Ends a continuous pan or tilt whose command is 0.
void endHeadMove(Axis axis, std::int32_t command, Wait waitIdle, const char* notice) {
    if (!isOver(axis, command)) {
        return;
    }
    waitIdle();
    std::puts(notice);
    publishMoveEnd(axis);
    replaceIfUnchanged(*axisRow(axis).move, kMoveContinuous, kMoveIdle);
}

}  // namespace

void continuousFocus(LensLoopState& state) {
    continuousLens(kFocusRow, state);
}

void continuousZoom(LensLoopState& state) {
    if (continuousLens(kZoomRow, state)) {
        focusAfterContinuousZoom();
    }
}

void continuousRotate(LensLoopState& state) {
    continuousLens(kRotateRow, state);
}

void continuousPan(LensLoopState& state) {
    Continuous taken = takeContinuous(Axis::pan);
    if (taken.command != 0) {
        stepPan(state, taken);
    }
    endHeadMove(Axis::pan, taken.command, panWaitIdle, "iPanContinuous=stop");
}

void continuousTilt(LensLoopState& state) {
    Continuous taken = takeContinuous(Axis::tilt);
    if (taken.command != 0) {
        stepTilt(state, taken);
    }
    endHeadMove(Axis::tilt, taken.command, tiltWaitIdle, "iTiltContinuous=stop");
}

void continuousIris(LensLoopState& state) {
    continuousLens(kIrisRow, state);
}
