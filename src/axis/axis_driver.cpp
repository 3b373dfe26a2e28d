#include "axis/axis_driver.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "axis/axes.h"
#include "axis/motor_codes.h"
#include "control_state.h"
#include "platform/clock.h"
#include "platform/model.h"
#include "platform/motor_mcu.h"

namespace {

constexpr int kDirectionPauseMicroseconds = 100000;

using DeviceOrder = int (*)(int device, int steps, int speed);

// Pan and tilt.
struct HeadMotor {
    Axis axis;
    int (*busyStatus)(int device, unsigned char* status);
    DeviceOrder backward;
    DeviceOrder forward;
    SharedInt* power;
    std::int32_t runningPower;
    int pollMicroseconds;
    int pollLimit;
};

constexpr HeadMotor kPan = {
    Axis::pan, getPanBusyStatus, setPanBackwardS, setPanForwardS, &giPanPower, 30, 100000, 500};
constexpr HeadMotor kTilt = {
    Axis::tilt, getTiltBusyStatus, setTiltBackwardS, setTiltForwardS, &giTiltPower, 50, 30000,
    2000};

// Zoom, focus, iris and rotate. The iris's power is not tracked.
struct LensMotor {
    Axis axis;
    int (*status)(unsigned char* status);
    int (*lower)(int code, int steps, int speed);
    int (*higher)(int code, int steps, int speed);
    int code;
    SharedInt* power;
    std::int32_t runningPower;
    std::int32_t probedIdlePower;
};

// The senses of the standard lens's zoom and of every focus are reversed.
constexpr LensMotor kZoom = {
    Axis::zoom, getZoomStatus, setZoom8Forward, setZoom8Backward, kZoomCode, &giZoomPower, 160, 0};
constexpr LensMotor kZoomLong = {
    Axis::zoom, getZoomStatus, setZoom8Backward, setZoom8Forward, kZoomCode, &giZoomPower, 160, 0};
// The probe leaves an idle focus motor at 80, the wait at 0; meant so.
constexpr LensMotor kFocus = {Axis::focus,
                              getFocusStatus,
                              setFocus8Forward,
                              setFocus8Backward,
                              kFocusCode,
                              &giFocusPower,
                              160,
                              80};
constexpr LensMotor kIris = {
    Axis::iris, getIrisStatus, setIrisBackward, setIrisForward, kIrisCode, nullptr, 0, 0};
constexpr LensMotor kRotate = {Axis::rotate,
                               getRotatStatus,
                               setRotatBackward,
                               setRotatForward,
                               kRotateCode,
                               &giRotatePower,
                               130,
                               0};

constexpr int kLensPollMicroseconds = 10000;
constexpr int kLensPollLimit = 500;

enum FocusDirection { kNoDirection, kTowardsLower, kTowardsHigher };

// Last state requested of the motor supply; -1 unknown, so that the first request gets through.
constinit SharedInt giMotorPower = -1;
// Direction of the last focus move.
constinit SharedInt giFocusLastDir = kNoDirection;

void setPower(SharedInt* power, std::int32_t value) {
    if (power != nullptr) {
        *power = value;
    }
}

std::int32_t probe(const HeadMotor& motor) {
    unsigned char status = 0;
    int result = 0;
    {
        LockedBlock lock(gMotorLock);
        result = motor.busyStatus(kHead, &status);
    }
    if (result != 0) {
        return 1;
    }
    if (status == 0) {
        *motor.power = 0;
    }
    return status;
}

bool saysReady(unsigned char status) {
    return (status & 0xF0) == 0xA0;
}

std::int32_t probe(const LensMotor& motor) {
    unsigned char status = 0;
    int result = 0;
    {
        LockedBlock lock(gMotorLock);
        result = motor.status(&status);
    }
    if (result != 0 || !saysReady(status)) {
        return -1;
    }
    setPower(motor.power, motor.probedIdlePower);
    return 0;
}

std::int32_t waitIdle(const HeadMotor& motor) {
    int polls = 0;
    do {
        sleepMicroseconds(motor.pollMicroseconds);
        ++polls;
    } while (probe(motor) != 0 && polls < motor.pollLimit);
    *motor.power = 0;
    // Idle on the very last poll counts as a time-out too; meant so.
    return polls == motor.pollLimit ? -1 : 0;
}

std::int32_t waitReady(const LensMotor& motor) {
    int polls = 0;
    for (;;) {
        unsigned char status = 0;
        {
            // Only the byte counts here; the query's result does not. Meant so.
            LockedBlock lock(gMotorLock);
            motor.status(&status);
        }
        ++polls;
        if (saysReady(status)) {
            break;
        }
        sleepMicroseconds(kLensPollMicroseconds);
        if (polls == kLensPollLimit) {
            break;
        }
    }
    setPower(motor.power, 0);
    // Ready on the very last poll counts as a time-out too; meant so.
    return polls == kLensPollLimit ? -1 : 0;
}

// |target - current| as the library takes it; a distance beyond 32 bits is cut to the largest.
int stepsBetween(std::int32_t current, std::int32_t target) {
    const std::int64_t distance = std::llabs(std::int64_t{target} - current);
    return distance > INT32_MAX ? INT32_MAX : static_cast<int>(distance);
}

std::int32_t moveHead(const HeadMotor& motor, std::int32_t current, std::int32_t target,
                      std::int32_t speed) {
    const std::int32_t clamped = clampToAxis(motor.axis, target);
    if (clamped == current) {
        return current;
    }
    *motor.power = motor.runningPower;
    const DeviceOrder order = clamped < current ? motor.backward : motor.forward;
    LockedBlock lock(gMotorLock);
    order(kHead, stepsBetween(current, clamped), speed);
    return clamped;
}

// Announces an order just before it is given, under the motor lock.
using OrderNotice = void (*)(bool lower, int steps);

// The part of a lens move that follows the wait; `clamped` differs from `current`.
std::int32_t orderLens(const LensMotor& motor, std::int32_t current, std::int32_t clamped,
                       OrderNotice notice = nullptr) {
    const bool lower = clamped < current;
    const int steps = stepsBetween(current, clamped);
    setPower(motor.power, motor.runningPower);
    LockedBlock lock(gMotorLock);
    if (notice != nullptr) {
        notice(lower, steps);
    }
    (lower ? motor.lower : motor.higher)(motor.code, steps, kLensSpeed);
    return clamped;
}

void printIrisOrder(bool lower, int steps) {
    std::printf(lower ? "move iris Backward %d\n" : "move iris Forward %d\n", steps);
}

// Pauses before a change of direction, which includes the first move.
void settleFocusDirection(FocusDirection direction) {
    if (giFocusLastDir != direction) {
        sleepMicroseconds(kDirectionPauseMicroseconds);
        giFocusLastDir = direction;
    }
}

int readTiltCounter() {
    int position = 0;
    getTiltnPos(kHead, &position);
    std::printf("Pos:%d\n", position);
    return position;
}

}  // namespace

std::int32_t panIsBusy() {
    return probe(kPan);
}

std::int32_t tiltIsBusy() {
    return probe(kTilt);
}

std::int32_t zoomIsReady() {
    return probe(kZoom);
}

std::int32_t focusIsReady() {
    return probe(kFocus);
}

std::int32_t irisIsReady() {
    return probe(kIris);
}

std::int32_t rotateIsReady() {
    return probe(kRotate);
}

std::int32_t panWaitIdle() {
    return waitIdle(kPan);
}

std::int32_t tiltWaitIdle() {
    return waitIdle(kTilt);
}

std::int32_t zoomWaitReady() {
    return waitReady(kZoom);
}

std::int32_t focusWaitReady() {
    return waitReady(kFocus);
}

std::int32_t irisWaitReady() {
    return waitReady(kIris);
}

std::int32_t rotateWaitReady() {
    return waitReady(kRotate);
}

std::int32_t panMoveTo(std::int32_t current, std::int32_t target) {
    return moveHead(kPan, current, target, kPanMoveSpeed);
}

std::int32_t panMoveToSpeed(std::int32_t current, std::int32_t target, std::int32_t speed) {
    return panIsBusy() != 0 ? current : moveHead(kPan, current, target, speed);
}

std::int32_t tiltMoveTo(std::int32_t current, std::int32_t target) {
    return moveHead(kTilt, current, target, kTiltMoveSpeed);
}

std::int32_t tiltMoveToSpeed(std::int32_t current, std::int32_t target, std::int32_t speed) {
    return moveHead(kTilt, current, target, speed);
}

std::int32_t zoomMoveTo(std::int32_t current, std::int32_t target) {
    const std::int32_t clamped = clampToAxis(Axis::zoom, target);
    if (zoomWaitReady() != 0) {
        return current;
    }
    const LensMotor& motor = get_lenstype() == kLongLens ? kZoomLong : kZoom;
    return clamped == current ? current : orderLens(motor, current, clamped);
}

std::int32_t focusMoveTo(std::int32_t current, std::int32_t target) {
    const std::int32_t clamped = clampToAxis(Axis::focus, target);
    if (focusWaitReady() != 0 || clamped == current) {
        return current;
    }
    settleFocusDirection(clamped < current ? kTowardsLower : kTowardsHigher);
    return orderLens(kFocus, current, clamped);
}

std::int32_t irisMoveTo(std::int32_t current, std::int32_t target) {
    const std::int32_t clamped = clampToAxis(Axis::iris, target);
    if (irisWaitReady() != 0 || clamped == current) {
        return current;
    }
    return orderLens(kIris, current, clamped, printIrisOrder);
}

std::int32_t rotateMoveTo(std::int32_t current, std::int32_t target) {
    const std::int32_t clamped = clampToAxis(Axis::rotate, target);
    if (rotateWaitReady() != 0 || clamped == current) {
        return current;
    }
    return orderLens(kRotate, current, clamped);
}

void setMotorPower(std::int32_t on) {
    if (giMotorPower == on) {
        return;
    }
    giMotorPower = on;
    std::printf("Set ZFRPT Power:%d\n", on);
    if (on == 1) {
        setPowerEnable(15);
    } else {
        setPowerDisable(0);
    }
}

std::int32_t setIcrSwitch(const char* text) {
    return std::strcmp(text, "on") == 0 ? setIcrSwEnalbe() : setIcrSwDisable();
}

void stopAllAndWait() {
    std::puts("Stop Zoom1");
    for (const AxisRow& row : kAxes) {
        *row.continuous = 0;
    }
    panWaitIdle();
    tiltWaitIdle();
    zoomWaitReady();
    focusWaitReady();
    rotateWaitReady();
    irisWaitReady();
}

void tiltStepLossCheck() {
    constexpr int kCycles = 100;
    constexpr int kStrides = 100;
    constexpr int kStrideSteps = 32;
    const int start = readTiltCounter();
    for (int cycle = 0; cycle < kCycles; ++cycle) {
        for (int stride = 0; stride < kStrides; ++stride) {
            {
                LockedBlock lock(gMotorLock);
                setTiltBackwardS(kHead, kStrideSteps, kTiltMoveSpeed);
            }
            tiltWaitIdle();
        }
        {
            LockedBlock lock(gMotorLock);
            setTiltForwardS(kHead, kStrides * kStrideSteps, kTiltMoveSpeed);
        }
        tiltWaitIdle();
        sleepMicroseconds(1000000);
        if (readTiltCounter() != start) {
            return;
        }
    }
}
