#include "motion/rest.h"

#include <cstdio>

#include "control_state.h"
#include "raw_time.h"

void setMoveStates(std::initializer_list<Axis> axes, std::int32_t state) {
    for (const Axis axis : axes) {
        *axisRow(axis).move = state;
    }
}

void setTargetsToPositions(std::initializer_list<Axis> axes) {
    for (const Axis axis : axes) {
        const std::int32_t position = axisPosition(axis);
        *axisRow(axis).target = position;
        if (axis == Axis::pan) {
            giPanTargetSeen = position;
        } else if (axis == Axis::tilt) {
            giTiltTargetSeen = position;
        }
    }
}

void printTimeSinceMoveStart(const char* name) {
    const long long elapsed = rawMicroseconds() - gtMoveStart;
    std::printf("%s:%lld.%06lld\n", name, elapsed / 1000000, elapsed % 1000000);
}
