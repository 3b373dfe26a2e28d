#include "motion/fast_home.h"

#include <array>
#include <cstdio>

#include "axis/axis_driver.h"
#include "axis/end_stop_drives.h"
#include "control_state.h"
#include "motion/parking.h"
#include "motion/publication.h"
#include "motion/rest.h"
#include "platform/clock.h"
#include "raw_time.h"

namespace {

constexpr int kPollMicroseconds = 100000;
constexpr std::int32_t kDefaultZoom = 200;
constexpr std::int32_t kDefaultFocus = 1150;

// An axis goes through these one a poll. Entered: at the start; when the drive is ordered; when the
// motor is found idle; when the parking move is ordered; when the motor is found idle again.
enum class HomeState { notStarted, driving, atStop, parking, done };

using States = std::array<HomeState, kAxisCount>;

HomeState& stateOf(States& states, Axis axis) {
    return states[static_cast<std::size_t>(axis)];
}

// The axes that start at once and are parked: pan, tilt, rotate.
struct HeadRow {
    Axis axis;
    EndStopDrive drive;
    const char* driveNotice;
    std::int32_t (*isBusy)();
    std::int32_t (*moveTo)(std::int32_t current, std::int32_t target);
    std::int32_t (*parking)();
    const char* parkingNotice;
    const char* stopNotice;
};

std::int32_t tiltParking() {
    return kTiltParking;
}

std::int32_t rotateParking() {
    return kRotateParking;
}

constexpr HeadRow kHeadRows[] = {
    {Axis::pan, EndStopDrive::panFast, "Home Pan", panIsBusy, panMoveTo, panParking, "Pan to",
     "Pan stop"},
    {Axis::tilt, EndStopDrive::tiltFast, "Home Tilt", tiltIsBusy, tiltMoveTo, tiltParking,
     "Tilt to", "Tilt Stop"},
    {Axis::rotate, EndStopDrive::rotateFast, "Home Rotate", rotateIsReady, rotateMoveTo,
     rotateParking, "Rotate to", "Rotate Stop"},
};

void park(const HeadRow& row) {
    const std::int32_t parking = row.parking();
    setAxisPosition(row.axis, row.moveTo(homeCounter(row.axis), parking));
    std::printf("%s %d\n", row.parkingNotice, parking);
}

void pollHead(const HeadRow& row, HomeState& state) {
    switch (state) {
        case HomeState::notStarted:
            driveToEndStop(row.drive);
            std::puts(row.driveNotice);
            state = HomeState::driving;
            break;
        case HomeState::driving:
            if (row.isBusy() == 0) {
                state = HomeState::atStop;
            }
            break;
        case HomeState::atStop:
            park(row);
            state = HomeState::parking;
            break;
        case HomeState::parking:
            if (row.isBusy() == 0) {
                std::puts(row.stopNotice);
                state = HomeState::done;
            }
            break;
        case HomeState::done:
            break;
    }
}

// The axes that start one after the other: zoom once rotate is done, focus once zoom is.
struct LensRow {
    Axis axis;
    Axis after;
    EndStopDrive drive;
    const char* driveNotice;
    std::int32_t (*isReady)();
    std::int32_t (*moveTo)(std::int32_t current, std::int32_t target);
    std::int32_t (*waitReady)();
    std::int32_t defaultPosition;
    const char* stopNotice;
};

constexpr LensRow kLensRows[] = {
    {Axis::zoom, Axis::rotate, EndStopDrive::zoom, "Home Zoom", zoomIsReady, zoomMoveTo,
     zoomWaitReady, kDefaultZoom, "Zoom Stop"},
    {Axis::focus, Axis::zoom, EndStopDrive::focus, "Home Focus", focusIsReady, focusMoveTo,
     focusWaitReady, kDefaultFocus, "Focus Stop"},
};

void endLens(const LensRow& row, bool toDefault) {
    setHomeCounters({row.axis});
    if (toDefault) {
        setAxisPosition(row.axis, row.moveTo(axisPosition(row.axis), row.defaultPosition));
        row.waitReady();
    }
    std::puts(row.stopNotice);
}

void pollLens(const LensRow& row, States& states, bool toDefault) {
    HomeState& state = stateOf(states, row.axis);
    if (stateOf(states, row.after) != HomeState::done) {
        return;
    }
    if (state == HomeState::notStarted) {
        driveToEndStop(row.drive);
        std::puts(row.driveNotice);
        state = HomeState::driving;
    } else if (state == HomeState::driving && row.isReady() == 0) {
        endLens(row, toDefault);
        state = HomeState::done;
    }
}

// The iris is short enough to be done within one poll.
void pollIris(States& states) {
    HomeState& state = stateOf(states, Axis::iris);
    if (state == HomeState::done || stateOf(states, Axis::focus) != HomeState::done) {
        return;
    }
    driveToEndStop(EndStopDrive::iris);
    std::puts("Home Iris");
    irisWaitReady();
    setHomeCounters({Axis::iris});
    std::puts("Iris Stop");
    state = HomeState::done;
}

// Whether all six are done.
bool pollAll(States& states, bool toDefault) {
    for (const HeadRow& row : kHeadRows) {
        pollHead(row, stateOf(states, row.axis));
    }
    for (const LensRow& row : kLensRows) {
        pollLens(row, states, toDefault);
    }
    pollIris(states);
    for (const HomeState state : states) {
        if (state != HomeState::done) {
            return false;
        }
    }
    std::puts("Home Finish");
    return true;
}

void finish(bool thenFocus) {
    setTargetsToPositions(kAllAxes);
    publishStatuses(kAllAxes, "stop");
    clearOffsets();
    if (thenFocus) {
        giAfRequest = 1;
    } else {
        publishActionDone();
    }
    giHomeRequest = 0;
    setMotorPower(0);
    printTimeSinceMoveStart("Fast Home");
}

}  // namespace

void fastHome(bool thenFocus) {
    recordMoveStart();
    takeOver(kAllAxes);
    publishStatuses(kAllAxes, "run");
    setMotorPower(1);
    States states = {};
    while (giExit == 0 && !pollAll(states, thenFocus)) {
        sleepMicroseconds(kPollMicroseconds);
    }
    finish(thenFocus);
}
