#include "motion/homing.h"

#include <cstdio>

#include "axis/axis_driver.h"
#include "axis/end_stop_drives.h"
#include "axis/marker_files.h"
#include "axis/targets.h"
#include "control_state.h"
#include "motion/fast_home.h"
#include "motion/fast_preset.h"
#include "motion/parking.h"
#include "motion/publication.h"
#include "motion/rest.h"
#include "platform/clock.h"
#include "platform/motor_mcu.h"
#include "platform/sensor_mcu.h"
#include "raw_time.h"

namespace {

void startDrive(const char* notice, EndStopDrive drive) {
    std::puts(notice);
    driveToEndStop(drive);
}

void homeIris(EndStopDrive drive) {
    startDrive("Home Iris", drive);
    irisWaitReady();
}

void homeFocus() {
    startDrive("Home Focus", EndStopDrive::focus);
    focusWaitReady();
}

void homeZoom() {
    startDrive("Home Zoom", EndStopDrive::zoom);
    zoomWaitReady();
}

void homeRotate() {
    std::puts("Home Rotat");
    rotateWaitReady();
    driveToEndStop(EndStopDrive::rotate);
    rotateWaitReady();
}

// The text says 320 while the move goes to 3200; meant so.
void parkTilt() {
    std::printf("Tilt %d to 320\n", axisPosition(Axis::tilt));
    setAxisPosition(Axis::tilt, tiltMoveTo(axisPosition(Axis::tilt), kTiltParking));
    tiltWaitIdle();
}

void announcePanParking() {
    std::printf("Pan %d to %d\n", axisPosition(Axis::pan), panParking());
}

void startPanParking() {
    announcePanParking();
    setAxisPosition(Axis::pan, panMoveTo(axisPosition(Axis::pan), panParking()));
}

void announceRotateParking() {
    std::printf("Rotat %d to 533\n", axisPosition(Axis::rotate));
}

void parkRotate() {
    setAxisPosition(Axis::rotate, rotateMoveTo(axisPosition(Axis::rotate), kRotateParking));
    rotateWaitReady();
}

void printVersions() {
    unsigned int sensor = 0;
    unsigned int mainBoard = 0;
    getVersion_sen(&sensor);
    getVersion_mb(&mainBoard);
    std::printf("Ver:%d\n", static_cast<int>(sensor));
}

void driveAllToStops() {
    startDrive("Home Pan", EndStopDrive::pan);
    homeIris(EndStopDrive::irisOfFullHome);
    startDrive("Home Tilt", EndStopDrive::tilt);
    tiltWaitIdle();
    homeFocus();
    homeZoom();
    panWaitIdle();
    homeRotate();
    setHomeCounters(kAllAxes);
}

void parkAll() {
    parkTilt();
    announcePanParking();
    drivePanForward(panParking());
    setAxisPosition(Axis::pan, panParking());
    panWaitIdle();
    announceRotateParking();
    parkRotate();
}

// After a home that asks for autofocus the focus stays "run" until that ends.
void publishFullHomeEnd(bool autofocus) {
    publishStatuses({Axis::pan, Axis::tilt, Axis::rotate, Axis::zoom}, "stop");
    if (!autofocus) {
        publishStatus(Axis::focus, "stop");
    }
    publishStatus(Axis::iris, "stop");
    publishActionDone();
}

void fullHome(bool autofocus) {
    takeOver(kAllAxes);
    publishStatuses(kAllAxes, "run");
    setMotorPower(1);
    recordMoveStart();
    printVersions();
    driveAllToStops();
    parkAll();
    setTargetsToPositions(kAllAxes);
    setHomeFile();
    publishFullHomeEnd(autofocus);
    setMotorPower(0);
    clearOffsets();
    checkHomeFile();
    if (autofocus) {
        giAfRequest = 1;
    }
    giHomeRequest = 0;
    std::printf("Home Pan:%d %d\n", axisPosition(Axis::pan), orderedTarget(Axis::pan));
}

void homeAll() {
    fullHome(false);
}

void homeAllThenFocus() {
    fullHome(true);
}

void endHome() {
    publishStatuses(kAllAxes, "stop");
    publishActionDone();
    giHomeRequest = 0;
}

void homeRotateAndLens() {
    const auto axes = {Axis::rotate, Axis::zoom, Axis::focus, Axis::iris};
    takeOver(axes);
    setMotorPower(1);
    publishStatuses(axes, "run");
    homeIris(EndStopDrive::iris);
    homeFocus();
    homeZoom();
    homeRotate();
    setHomeCounters(axes);
    announceRotateParking();
    std::printf("Focus Pos: %d / %d\n", axisPosition(Axis::focus), axisMaximum(Axis::focus));
    parkRotate();
    setTargetsToPositions(axes);
    endHome();
    setMotorPower(0);
}

// Switches no power; meant so.
void homePanAndTilt() {
    const auto axes = {Axis::pan, Axis::tilt};
    takeOver(axes);
    publishStatuses(axes, "run");
    startDrive("Home Pan", EndStopDrive::pan);
    panWaitIdle();
    startDrive("Home Tilt", EndStopDrive::tilt);
    sleepMicroseconds(1000000);
    tiltWaitIdle();
    setHomeCounters(axes);
    parkTilt();
    startPanParking();
    panWaitIdle();
    setTargetsToPositions(axes);
    endHome();
    clearOffsets();
}

void homeLens() {
    const auto axes = {Axis::zoom, Axis::focus, Axis::iris};
    takeOver(axes);
    setMotorPower(1);
    publishStatuses(axes, "run");
    homeIris(EndStopDrive::iris);
    homeFocus();
    homeZoom();
    setHomeCounters(axes);
    setTargetsToPositions(axes);
    endHome();
    setMotorPower(0);
}

// Switches no power; meant so.
void homeHead() {
    const auto axes = {Axis::pan, Axis::tilt, Axis::rotate};
    takeOver(axes);
    publishStatuses(axes, "run");
    startDrive("Home Pan", EndStopDrive::pan);
    startDrive("Home Tilt", EndStopDrive::tilt);
    startDrive("Home Rotat", EndStopDrive::rotate);
    rotateWaitReady();
    tiltWaitIdle();
    panWaitIdle();
    setHomeCounters(axes);
    parkTilt();
    startPanParking();
    announceRotateParking();
    parkRotate();
    tiltWaitIdle();
    panWaitIdle();
    setTargetsToPositions(axes);
    endHome();
    clearOffsets();
}

void homeFast() {
    fastHome(false);
}

void homeFastThenFocus() {
    fastHome(true);
}

void goToPreset1Fast() {
    fastPreset("lens.camN.preset1");
}

void goToPreset2Fast() {
    fastPreset("lens.camN.preset2");
}

struct HomeRow {
    std::int32_t request;
    void (*run)();
};

constexpr HomeRow kHomeRuns[] = {
    {1, homeAll},          {10, homeAllThenFocus}, {2, homeRotateAndLens}, {3, homePanAndTilt},
    {4, homeLens},         {5, homeHead},          {11, homeFast},         {12, homeFastThenFocus},
    {13, goToPreset1Fast}, {14, goToPreset2Fast},
};

}  // namespace

void serveHomeRequest() {
    const std::int32_t request = giHomeRequest;
    if (request == 0) {
        return;
    }
    for (const HomeRow& row : kHomeRuns) {
        if (row.request == request) {
            row.run();
            return;
        }
    }
    replaceIfUnchanged(giHomeRequest, request, 0);
}
