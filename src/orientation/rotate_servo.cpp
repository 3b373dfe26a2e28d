#include "orientation/rotate_servo.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "axis/axes.h"
#include "axis/axis_driver.h"
#include "axis/targets.h"
#include "control_state.h"
#include "numbers.h"
#include "orientation/attitude.h"
#include "platform/clock.h"

namespace {

constexpr double kToleranceDegrees = 0.5;
constexpr double kEffectDegrees = 0.3;
constexpr double kStepsPerDegree = 20.0;
constexpr std::int32_t kSmallestStep = 16;
constexpr std::int32_t kLargestStep = 400;
constexpr int kReversalLimit = 3;
constexpr std::int32_t kNoPosition = -1;
constexpr int kMoveStartMicroseconds = 10000;
constexpr int kSettleMicroseconds = 33000;
constexpr int kSecondLookMicroseconds = 100000;

// What sets the two servos apart.
struct Servo {
    float Attitude::*angle;
    const char* progressTail;
    const char* upperEndNotice;
    const char* lowerEndNotice;
};

constexpr Servo kPitchServo = {&Attitude::pitch, "", nullptr, nullptr};
constexpr Servo kYawServo = {&Attitude::yaw, " ", "++++++", "------"};

struct ServoRun {
    float targetAngle;
    std::int32_t direction;
    float current;
    float last;  // reported
    int reversals = 0;
    float bestError = 360;
    std::int32_t bestPosition = kNoPosition;
};

// The difference of two angles of a circle, in -180..180.
float wrapped(float difference) {
    return difference > 180 ? difference - 360 : difference < -180 ? difference + 360 : difference;
}

// Not wrapped: with 360 as the target only a reading just below it ends the run; meant so.
bool withinTolerance(const ServoRun& run) {
    return std::fabs(run.targetAngle - run.current) <= kToleranceDegrees;
}

std::int32_t stepFor(float error) {
    return std::clamp(truncateToInt32(static_cast<double>(error) * kStepsPerDegree), kSmallestStep,
                      kLargestStep);
}

void sendRotateTo(std::int32_t target) {
    setTarget(Axis::rotate, target);
    setAxisPosition(Axis::rotate, rotateMoveTo(axisPosition(Axis::rotate), target));
}

Attitude turnAndLook(std::int64_t steps) {
    driveRotateAndWait(cutToInt32(std::int64_t{giNewRotat} + steps));
    sleepMicroseconds(kSettleMicroseconds);
    return GyroGetAttitude();
}

bool atEnd() {
    const std::int32_t position = axisPosition(Axis::rotate);
    return position == axisMaximum(Axis::rotate) || position == axisMinimum(Axis::rotate);
}

// Whether the axis stands at the end that it is heading for.
bool endReached(std::int32_t direction) {
    const std::int32_t position = axisPosition(Axis::rotate);
    return direction > 0 ? position >= axisMaximum(Axis::rotate)
                         : position <= axisMinimum(Axis::rotate);
}

void noteBest(ServoRun& run, float error) {
    if (error < run.bestError) {
        run.bestError = error;
        run.bestPosition = axisPosition(Axis::rotate);
        std::puts("*");
    } else {
        std::puts("");
    }
}

// The error grew: look again, and turn round if that is confirmed.
void reconsiderDirection(const Servo& servo, ServoRun& run, float error) {
    sleepMicroseconds(kSecondLookMicroseconds);
    run.current = GyroGetAttitude().*servo.angle;
    if (std::fabs(wrapped(run.targetAngle - run.current)) > error) {
        run.direction = -run.direction;
        std::printf("Wrong direction, reversing...%d\n", run.direction);
        ++run.reversals;
    }
    run.last = run.current;
}

// One step and what it taught. A step without effect inside the range is repeated: the angle stays.
void takeStep(const Servo& servo, ServoRun& run) {
    const float oldError = wrapped(run.targetAngle - run.current);
    const float oldSize = std::fabs(oldError);
    const Attitude attitude = turnAndLook(std::int64_t{run.direction} * stepFor(oldSize));
    const float angle = attitude.*servo.angle;
    const float newError = wrapped(run.targetAngle - angle);
    const float newSize = std::fabs(newError);
    // Both servos show the yaw as fYaw.
    std::printf(
        "target_angle=%.2f,fYaw=%.2f,last_angle=%.2f Step:%d angle_difference=%.2f "
        "new_angle_difference=%.2f%s",
        run.targetAngle, attitude.yaw, run.last, axisPosition(Axis::rotate), oldError, newError,
        servo.progressTail);
    noteBest(run, newSize);
    const bool effective = std::fabs(oldError - newError) > kEffectDegrees;
    if (!effective && !atEnd()) {
        return;
    }
    if (newSize <= oldSize) {
        run.current = run.last = angle;
    } else {
        reconsiderDirection(servo, run, oldSize);
    }
}

void announceEnd(const Servo& servo, std::int32_t direction) {
    const char* notice = direction > 0 ? servo.upperEndNotice : servo.lowerEndNotice;
    if (notice != nullptr) {
        std::puts(notice);
    }
}

void returnToBest(const ServoRun& run) {
    if (run.bestPosition == kNoPosition) {
        return;
    }
    sendRotateTo(run.bestPosition);
    sleepMicroseconds(kSettleMicroseconds);
    rotateWaitReady();
}

void runServo(const Servo& servo, float targetAngle) {
    std::printf("target_angle=%.2f\n", targetAngle);
    const bool upperHalf = axisPosition(Axis::rotate) > axisMaximum(Axis::rotate) / 2;
    const float start = GyroGetAttitude().*servo.angle;
    ServoRun run = {targetAngle, upperHalf ? -1 : 1, start, start};
    while (!withinTolerance(run) && run.reversals != kReversalLimit) {
        takeStep(servo, run);
        // With the direction as it is after a turn.
        if (endReached(run.direction)) {
            announceEnd(servo, run.direction);
            break;
        }
    }
    returnToBest(run);
    std::printf("Reached target angle: %.2f degrees.\n", run.last);
}

}  // namespace

void driveRotateAndWait(std::int32_t target) {
    sendRotateTo(target);
    sleepMicroseconds(kMoveStartMicroseconds);
    rotateWaitReady();
}

void RotateToPitch(float targetAngle) {
    runServo(kPitchServo, targetAngle);
}

void RotateToYaw(float targetAngle) {
    runServo(kYawServo, targetAngle);
}
