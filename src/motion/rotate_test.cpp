#include "motion/rotate_test.h"

#include <cstdio>

#include "axis/axes.h"
#include "axis/axis_driver.h"
#include "platform/clock.h"

namespace {

constexpr int kCycles = 50;
constexpr int kMovesPerCycle = 30;
constexpr int kMoveSteps = 16;
constexpr int kSettleMicroseconds = 100000;
constexpr int kPauseMicroseconds = 3000000;

void rotateTo(std::int64_t position) {
    const std::int32_t target = clampToAxis(Axis::rotate, position);
    setAxisPosition(Axis::rotate, rotateMoveTo(axisPosition(Axis::rotate), target));
    sleepMicroseconds(kSettleMicroseconds);
    rotateWaitReady();
}

}  // namespace

void runRotateTest() {
    const std::int32_t start = axisPosition(Axis::rotate);
    setMotorPower(1);
    for (int cycle = 0; cycle < kCycles; ++cycle) {
        for (int move = 0; move < kMovesPerCycle; ++move) {
            rotateTo(start + std::int64_t{move} * kMoveSteps);
            sleepMicroseconds(kSettleMicroseconds);
        }
        std::printf("Test Count=%d\n", cycle);
        sleepMicroseconds(kPauseMicroseconds);
    }
    rotateTo(start);
    setMotorPower(0);
}
