#include "motion/rest.h"

#include "axis/axis_driver.h"
#include "axis/targets.h"
#include "control_state.h"
#include "motion/parking.h"

void takeOver(AxisList axes) {
    stopAllAndWait();
    setMoveStates(axes, kMoveIdle);
}

void setMoveStates(AxisList axes, std::int32_t state) {
    for (const Axis axis : axes) {
        *axisRow(axis).move = state;
    }
}

void setTargetsToPositions(AxisList axes) {
    for (const Axis axis : axes) {
        setTarget(axis, axisPosition(axis));
    }
}

void setHomeCounters(AxisList axes) {
    for (const Axis axis : axes) {
        setAxisPosition(axis, homeCounter(axis));
    }
}

void clearOffsets() {
    giTiltOffset = 0;
    giPanOffset = 0;
}
