#include "axis/targets.h"

#include <atomic>

#include "control_state.h"
#include "numbers.h"

namespace {

Shared<WaitingOrder>& waitingOrder(Axis axis) {
    return gaWaitingOrder[static_cast<std::size_t>(axis)];
}

SharedInt& seen(Axis axis) {
    return gaTargetSeen[static_cast<std::size_t>(axis)];
}

// What one relative word does to a target.
WaitingOrder relativeOrder(Axis axis, std::int32_t steps) {
    const AxisRow& limits = axisRow(axisRow(axis).relativeLimits);
    return {steps, static_cast<std::uint16_t>(gLensRange[limits.minimum]),
            static_cast<std::uint16_t>(gLensRange[limits.maximum])};
}

std::int32_t carriedOut(const WaitingOrder& order, std::int32_t target) {
    return clampToRange(order.high, order.low, std::int64_t{target} + order.steps);
}

// One after the other. Sums beyond 32 bits have met an end of the range long before.
WaitingOrder joined(const WaitingOrder& first, const WaitingOrder& next) {
    return {saturateToInt32(std::int64_t{first.steps} + next.steps),
            static_cast<std::uint16_t>(carriedOut(next, first.low)),
            static_cast<std::uint16_t>(carriedOut(next, first.high))};
}

}  // namespace

void orderTarget(Axis axis, std::int32_t target) {
    // First the steps go, then the target comes, so that they are never added to it; nor is it
    // taken before it is marked, or the mark would outlive it and have it carried out once more
    // after a run.
    waitingOrder(axis) = kComingOrder;
    *axisRow(axis).target = target;
    waitingOrder(axis) = kAbsoluteOrder;
}

void orderRelative(Axis axis, std::int32_t steps) {
    SharedInt& target = *axisRow(axis).target;
    const WaitingOrder order = relativeOrder(axis, steps);
    for (bool ordered = false; !ordered;) {
        WaitingOrder waiting = waitingOrder(axis);
        if (waiting == kAbsoluteOrder) {
            const std::int32_t absolute = target;
            ordered = replaceIfUnchanged(target, absolute, carriedOut(order, absolute));
        } else {
            const WaitingOrder both = waiting == kNoOrder ? order : joined(waiting, order);
            ordered = waitingOrder(axis).compare_exchange_strong(waiting, both);
        }
    }
}

std::int32_t takeTarget(Axis axis) {
    WaitingOrder order = waitingOrder(axis);
    // As in nearly every pass: nothing has come, and nothing need be written.
    if (order == kNoOrder && *axisRow(axis).target == seenTarget(axis)) {
        return seenTarget(axis);
    }
    for (bool taken = false; !taken;) {
        if (order == kComingOrder) {
            return seenTarget(axis);
        }
        const std::int32_t target = *axisRow(axis).target;
        taken = waitingOrder(axis).compare_exchange_strong(order, kNoOrder);
        if (taken) {
            seen(axis) = target;
        }
    }
    if (order != kNoOrder && order != kAbsoluteOrder) {
        // Not where an absolute order has come after them.
        replaceTarget(axis, carriedOut(order, seenTarget(axis)));
    }
    return seenTarget(axis);
}

std::int32_t seenTarget(Axis axis) {
    return seen(axis);
}

bool orderWaits(Axis axis) {
    const WaitingOrder waiting = waitingOrder(axis);
    return waiting != kNoOrder && waiting != kComingOrder;
}

bool replaceTarget(Axis axis, std::int32_t next) {
    // An absolute order to the very place that the axis came from leaves the number as it was.
    const WaitingOrder waiting = waitingOrder(axis);
    if (waiting == kAbsoluteOrder || waiting == kComingOrder ||
        !replaceIfUnchanged(*axisRow(axis).target, seen(axis), next)) {
        return false;
    }
    seen(axis) = next;
    return true;
}
