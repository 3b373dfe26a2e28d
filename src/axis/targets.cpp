#include "axis/targets.h"

#include <atomic>

#include "control_state.h"
#include "numbers.h"

namespace {

Shared<WaitingOrder>& waitingOrder(Axis axis) {
    return gaWaitingOrder[static_cast<std::size_t>(axis)];
}

WaitingOrder absoluteOrder(std::int32_t target) {
    return {target, kAbsoluteLow, 0};
}

bool isAbsolute(const WaitingOrder& order) {
    return order.low == kAbsoluteLow && order.high == 0;
}

// What one relative word does to a target.
WaitingOrder relativeOrder(Axis axis, std::int32_t steps) {
    const AxisRow& limits = axisRow(axisRow(axis).relativeLimits);
    return {steps, static_cast<std::uint16_t>(gLensRange[limits.minimum]),
            static_cast<std::uint16_t>(gLensRange[limits.maximum])};
}

// Where a target gets by an order.
std::int32_t carriedOut(const WaitingOrder& order, std::int32_t target) {
    return isAbsolute(order)
               ? order.steps
               : clampToRange(order.high, order.low, std::int64_t{target} + order.steps);
}

// A relative order after another order. Sums beyond 32 bits have met an end of the range long
// before.
WaitingOrder joined(const WaitingOrder& first, const WaitingOrder& next) {
    if (first == kNoOrder) {
        return next;
    }
    if (isAbsolute(first)) {
        return absoluteOrder(carriedOut(next, first.steps));
    }
    return {saturateToInt32(std::int64_t{first.steps} + next.steps),
            static_cast<std::uint16_t>(carriedOut(next, first.low)),
            static_cast<std::uint16_t>(carriedOut(next, first.high))};
}

}  // namespace

void orderTarget(Axis axis, std::int32_t target) {
    waitingOrder(axis) = absoluteOrder(target);
}

void orderRelative(Axis axis, std::int32_t steps) {
    const WaitingOrder order = relativeOrder(axis, steps);
    WaitingOrder waiting = waitingOrder(axis);
    while (!waitingOrder(axis).compare_exchange_strong(waiting, joined(waiting, order))) {
    }
}

std::int32_t orderedTarget(Axis axis) {
    const WaitingOrder waiting = waitingOrder(axis);
    return isAbsolute(waiting) ? waiting.steps : axisRow(axis).target->load();
}

std::int32_t takeTarget(Axis axis) {
    SharedInt& target = *axisRow(axis).target;
    WaitingOrder order = waitingOrder(axis);
    const std::int32_t before = target;
    for (bool taken = order == kNoOrder; !taken;) {
        // Before the order goes, so that `orderedTarget` finds it in one place or the other.
        target = carriedOut(order, before);
        taken = waitingOrder(axis).compare_exchange_strong(order, kNoOrder);
    }
    return target;
}

bool orderWaits(Axis axis) {
    return waitingOrder(axis) != kNoOrder;
}

bool replaceTarget(Axis axis, std::int32_t next) {
    if (isAbsolute(waitingOrder(axis))) {
        return false;
    }
    *axisRow(axis).target = next;
    return true;
}
