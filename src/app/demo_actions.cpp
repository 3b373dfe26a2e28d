#include "app/demo_actions.h"

#include <cstdint>
#include <cstdio>

#include "app/calibration_sweep.h"
#include "axis/axes.h"
#include "axis/axis_driver.h"
#include "axis/targets.h"
#include "control_state.h"
#include "numbers.h"
#include "platform/clock.h"
#include "platform/motor_mcu.h"
#include "raw_time.h"

namespace {

constexpr int kPollMicroseconds = 100000;
constexpr int kHomePolls = 600;

// Microseconds from the last move start to the end of the last action.
std::int64_t giActionElapsedUs = 0;

// An action word taken apart.
struct Action {
    bool hasNumber;
    bool relative;
    std::int32_t number;
};

// Whether the action ran a move, whose time is then printed.
using ActionRoutine = bool (*)(const Action& action);

std::int32_t actionTarget(Axis axis, const Action& action) {
    const std::int64_t origin = action.relative ? axisPosition(axis) : 0;
    return saturateToInt32(origin + action.number);
}

bool moveWhenReady(Axis axis, const Action& action, std::int32_t (*waitReady)()) {
    waitReady();
    orderTarget(axis, actionTarget(axis, action));
    sleepMicroseconds(kPollMicroseconds);
    waitReady();
    return true;
}

bool moveFocus(const Action& action) {
    return moveWhenReady(Axis::focus, action, focusWaitReady);
}

bool moveRotate(const Action& action) {
    return moveWhenReady(Axis::rotate, action, rotateWaitReady);
}

bool moveZoom(const Action& action) {
    return moveWhenReady(Axis::zoom, action, zoomWaitReady);
}

bool headIsBusy() {
    if (panIsBusy() == 0 && tiltIsBusy() == 0) {
        return false;
    }
    std::puts("Pan/Tilt motor busy");
    return true;
}

bool movePan(const Action& action) {
    if (headIsBusy()) {
        return false;
    }
    orderTarget(Axis::pan, actionTarget(Axis::pan, action));
    sleepMicroseconds(kPollMicroseconds);
    panWaitIdle();
    return true;
}

// Waits for the live target, which the lens loop forces into the range.
bool moveTilt(const Action& action) {
    if (headIsBusy()) {
        return false;
    }
    orderTarget(Axis::tilt, actionTarget(Axis::tilt, action));
    sleepMicroseconds(kPollMicroseconds);
    while (axisPosition(Axis::tilt) != orderedTarget(Axis::tilt)) {
        sleepMicroseconds(kPollMicroseconds);
    }
    tiltWaitIdle();
    return true;
}

bool moveIris(const Action& action) {
    orderTarget(Axis::iris, actionTarget(Axis::iris, action));
    return false;
}

bool requestHome(const Action& action) {
    // Dropped, as it would have been a moment later, for a request that has come since it was let
    // in.
    if (!replaceIfUnchanged(giHomeRequest, 0, action.hasNumber ? action.number : 1) ||
        !action.hasNumber) {
        return false;
    }
    for (int poll = 0; action.number != 0 && poll < kHomePolls && giHomeRequest != 0; ++poll) {
        sleepMicroseconds(kPollMicroseconds);
    }
    return true;
}

bool requestFocus(const Action& action) {
    // The capital letter asks for the slow sweep; meant so.
    replaceIfUnchanged(giAfRequest, 0, action.relative ? 1 : 2);
    return false;
}

bool switchIcr(const Action& action) {
    {
        LockedBlock lock(gMotorLock);
        if (action.number != 0) {
            setIcrSwEnalbe();
        } else {
            setIcrSwDisable();
        }
    }
    std::puts(action.number != 0 ? "ICR Day Mode" : "ICR Night Mode");
    return false;
}

bool sweepCalibration(const Action& action) {
    // There is no action under the capital letter; meant so.
    if (action.relative) {
        runCalibrationSweep();
    }
    return false;
}

struct ActionRow {
    char letter;  // upper case: absolute; the lower-case twin: relative
    bool needsNumber;
    Axis axis;                 // whose position is printed where the number is missing
    const char* positionName;  // null: nothing is printed then
    ActionRoutine run;
};

constexpr ActionRow kActions[] = {
    {'A', false, Axis::focus, nullptr, requestFocus},
    {'F', true, Axis::focus, "Focus Pos", moveFocus},
    {'H', false, Axis::pan, nullptr, requestHome},
    {'I', true, Axis::iris, "Iris Pos", moveIris},
    {'N', true, Axis::pan, nullptr, switchIcr},
    {'P', true, Axis::pan, "Pan Pos", movePan},
    {'R', true, Axis::rotate, "Rotat Pos", moveRotate},
    {'T', true, Axis::tilt, "Tilt Pos", moveTilt},
    {'Z', true, Axis::zoom, "Zoom Pos", moveZoom},
    {'C', false, Axis::pan, nullptr, sweepCalibration},
};

void printActionTime() {
    const std::int64_t start = gtMoveStart;
    giActionElapsedUs = rawMicroseconds() - start;
    printElapsed("Time", giActionElapsedUs);
}

void runAction(const ActionRow& row, const Action& action) {
    if (row.needsNumber && !action.hasNumber) {
        if (row.positionName != nullptr) {
            std::printf("%s:%d\n", row.positionName, axisPosition(row.axis));
        }
    } else if (row.run(action)) {
        printActionTime();
    }
}

}  // namespace

void runDemoAction(const char* word) {
    const char letter = word[0];
    if (giHomeRequest != 0 || giAfRequest != 0 || letter < 'A' || letter > 'z') {
        return;
    }
    const bool lower = letter >= 'a';
    const char upper = static_cast<char>(lower ? letter - ('a' - 'A') : letter);
    const bool hasNumber = word[1] != '\0';
    const Action action = {hasNumber, lower, hasNumber ? parseDecimal(word + 1) : 0};
    for (const ActionRow& row : kActions) {
        if (row.letter == upper) {
            runAction(row, action);
            return;
        }
    }
}
