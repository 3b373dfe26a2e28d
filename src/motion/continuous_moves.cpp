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

// A continuous command, 0 for none, and the target that it found.
struct Continuous {
    std::int32_t command = 0;
    std::int32_t before = 0;
};

// What waits for the target is taken before the command is read, as a command word stores them the
// other way round. Without a command it goes on waiting, for an absolute move.
Continuous takeContinuous(Axis axis) {
    const SharedInt& shared = *axisRow(axis).continuous;
    if (shared == 0) {
        return {};
    }
    const TakenTarget taken = takeTarget(axis);
    const std::int32_t command = shared;
    if (command == 0) {
        putBack(axis, taken);
    }
    return {command, taken.target};
}

void enterContinuous(Axis axis) {
    SharedInt& move = *axisRow(axis).move;
    const std::int32_t read = move;
    if (read != kMoveContinuous) {
        publishStatus(axis, "run");
    }
    replaceIfUnchanged(move, read, kMoveContinuous);
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

void stepLens(const LensRow& row, LensLoopState& state, std::int32_t before,
              std::int32_t& command) {
    if (row.isReady() != 0) {
        if (row.busyEndsPreset) {
            resetPresetGoal(state);
        }
        return;
    }
    if (row.leadsTheHead) {
        setMotorPower(1);
    }
    enterContinuous(row.axis);
    const std::int64_t wanted = before + std::int64_t{row.stepSize} * command;
    const std::int32_t target = stepTarget(row.axis, wanted, command);
    if (target < wanted) {
        announce(row.atMaximum);
    } else if (target > wanted) {
        announce(row.atMinimum);
    }
    replaceTarget(row.axis, target);
    if (row.leadsTheHead) {
        resetPresetGoal(state);
    }
    setAxisPosition(row.axis, row.moveTo(axisPosition(row.axis), target));
}

// Whether a continuous move is over; not yet if its command may have been ended by a word whose own
// move is still to come, or there would be a "stop" in between.
bool isOver(Axis axis, std::int32_t command) {
    return command == 0 && gaWordComing[static_cast<std::size_t>(axis)] == 0 &&
           *axisRow(axis).move == kMoveContinuous;
}

// Whether a continuous move ended in this pass.
bool continuousLens(const LensRow& row, LensLoopState& state) {
    auto [command, before] = takeContinuous(row.axis);
    if (command != 0) {
        stepLens(row, state, before, command);
    }
    if (!isOver(row.axis, command)) {
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
void stepPan(LensLoopState& state, std::int32_t before, std::int32_t& command) {
    if (panIsBusy() != 0) {
        resetPresetGoal(state);
        return;
    }
    enterContinuous(Axis::pan);
    const std::int32_t speed = speedCode(command, kPanContinuousSpeed);
    const std::int64_t wanted = std::int64_t{before} + (command > 0 ? kPanStep : -kPanStep);
    const std::int32_t target = stepTarget(Axis::pan, wanted, command);
    replaceTarget(Axis::pan, target);
    resetPresetGoal(state);
    setAxisPosition(Axis::pan, panMoveToSpeed(axisPosition(Axis::pan), target, speed));
}

void stepTilt(LensLoopState& state, std::int32_t& command) {
    if (tiltIsBusy() != 0) {
        resetPresetGoal(state);
        return;
    }
    enterContinuous(Axis::tilt);
    const std::int32_t position = axisPosition(Axis::tilt);
    const std::int32_t speed = speedCode(command, kTiltContinuousSpeed);
    const std::int64_t wanted = std::int64_t{position} + (command > 0 ? kTiltStep : -kTiltStep);
    const std::int32_t target = stepTarget(Axis::tilt, wanted, command);
    replaceTarget(Axis::tilt, target);
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
    // As the move begins, also once more after a homing, which makes the home marker anew.
    if (iRotateContinuous != 0 && iRotateMove != kMoveContinuous) {
        clearHomeFile();
    }
    continuousLens(kRotateRow, state);
}

void continuousPan(LensLoopState& state) {
    auto [command, before] = takeContinuous(Axis::pan);
    if (command != 0) {
        stepPan(state, before, command);
    }
    endHeadMove(Axis::pan, command, panWaitIdle, "iPanContinuous=stop");
}

void continuousTilt(LensLoopState& state) {
    std::int32_t command = takeContinuous(Axis::tilt).command;
    if (command != 0) {
        stepTilt(state, command);
    }
    endHeadMove(Axis::tilt, command, tiltWaitIdle, "iTiltContinuous=stop");
}

void continuousIris(LensLoopState& state) {
    continuousLens(kIrisRow, state);
}
