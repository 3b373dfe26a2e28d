#include "motion/publication.h"

#include <cstdio>

#include "axis/axis_driver.h"
#include "axis/position_store.h"
#include "bus_values.h"
#include "platform/nbus.h"

namespace {

void publishIfChanged(Axis axis) {
    const auto index = static_cast<std::size_t>(axis);
    const std::int32_t position = axisPosition(axis);
    if (position == gaLastPublished[index] && gaPublishDue[index] == 0) {
        return;
    }
    gaLastPublished[index] = position;
    gaPublishDue[index] = 0;
    setKeyToNumber(axisRow(axis).demoPositionKey, position);
    setKeyToNumber(axisRow(axis).positionKey, position);
    giPublishPending = 1;
    if (axis == Axis::focus) {
        std::printf("Focus Pos=%d\n", position);
    }
}

}  // namespace

void publishStatus(Axis axis, const char* status) {
    nbus_set(axisRow(axis).statusKey, status);
}

void publishStatuses(std::initializer_list<Axis> axes, const char* status) {
    for (const Axis axis : axes) {
        publishStatus(axis, status);
    }
}

void publishActionDone() {
    nbus_set("lens.camN.action.cmd", "done");
}

void publishPresetDone() {
    nbus_set("lens.camN.act_preset", "done");
}

void publishMoveEnd(Axis axis) {
    publishStatus(axis, "stop");
    publishActionDone();
}

std::int32_t publishPositions() {
    for (std::size_t index = 0; index < kAxisCount; ++index) {
        publishIfChanged(static_cast<Axis>(index));
    }
    if (giPublishPending != 1) {
        return 0;
    }
    if (tiltIsBusy() != 0 || panIsBusy() != 0) {
        return 0;
    }
    if (iPanContinuous != 0 || iTiltContinuous != 0) {
        return 0;
    }
    giPublishPending = 0;
    savePositions();
    return 0;
}
