#include "axis/targets.h"

#include <algorithm>

#include "control_state.h"
#include "numbers.h"

namespace {

SharedInt& waitingOrder(Axis axis) {
    return gaWaitingOrder[static_cast<std::size_t>(axis)];
}

SharedInt& seen(Axis axis) {
    return gaTargetSeen[static_cast<std::size_t>(axis)];
}

std::int32_t movedBy(Axis axis, std::int32_t target, std::int32_t steps) {
    return clampToAxis(axisRow(axis).relativeLimits, std::int64_t{target} + steps);
}

// The sum of relative words, as `gaWaitingOrder` has it.
std::int32_t addSteps(std::int32_t waiting, std::int32_t steps) {
    const std::int64_t sum = waiting == kNoOrder ? steps : std::int64_t{waiting} + steps;
    return std::max(saturateToInt32(sum), kAbsoluteOrder + 1);
}

}  // namespace

void orderTarget(Axis axis, std::int32_t target) {
    // First the steps go, then the target comes, so that they are never added to it.
    waitingOrder(axis) = kNoOrder;
    *axisRow(axis).target = target;
    waitingOrder(axis) = kAbsoluteOrder;
}

void orderRelative(Axis axis, std::int32_t steps) {
    SharedInt& target = *axisRow(axis).target;
    for (bool ordered = false; !ordered;) {
        const std::int32_t waiting = waitingOrder(axis);
        if (waiting == kAbsoluteOrder) {
            const std::int32_t absolute = target;
            ordered = replaceIfUnchanged(target, absolute, movedBy(axis, absolute, steps));
        } else {
            ordered = replaceIfUnchanged(waitingOrder(axis), waiting, addSteps(waiting, steps));
        }
    }
}

std::int32_t takeTarget(Axis axis) {
    const std::int32_t target = *axisRow(axis).target;
    seen(axis) = target;
    const std::int32_t steps = waitingOrder(axis).exchange(kNoOrder);
    if (steps != kNoOrder && steps != kAbsoluteOrder) {
        // Not where an absolute order has come after them.
        replaceTarget(axis, movedBy(axis, target, steps));
    }
    return seenTarget(axis);
}

std::int32_t seenTarget(Axis axis) {
    return seen(axis);
}

bool orderWaits(Axis axis) {
    return waitingOrder(axis) != kNoOrder;
}

bool replaceTarget(Axis axis, std::int32_t next) {
    // An absolute order to the very place that the axis came from leaves the number as it was.
    if (waitingOrder(axis) == kAbsoluteOrder ||
        !replaceIfUnchanged(*axisRow(axis).target, seen(axis), next)) {
        return false;
    }
    seen(axis) = next;
    return true;
}
