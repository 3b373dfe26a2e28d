#include "axis/targets.h"

#include <atomic>

#include "control_state.h"
#include "numbers.h"

namespace {

Shared<WaitingOrder>& waitingOrder(Axis axis) {
    return gaWaitingOrder[static_cast<std::size_t>(axis)];
}

bool isAbsolute(const WaitingOrder& order) {
    return order.high == 0 && (order.low == kWordLow || order.low == kOtherLow);
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

// One order after the other. Sums beyond 32 bits have met an end of the range long before.
WaitingOrder joined(const WaitingOrder& first, const WaitingOrder& next) {
    if (first == kNoOrder || isAbsolute(next)) {
        return next;
    }
    if (next == kNoOrder) {
        return first;
    }
    if (isAbsolute(first)) {
        return {carriedOut(next, first.steps), kWordLow, 0};
    }
    return {saturateToInt32(std::int64_t{first.steps} + next.steps),
            static_cast<std::uint16_t>(carriedOut(next, first.low)),
            static_cast<std::uint16_t>(carriedOut(next, first.high))};
}

}  // namespace

void orderTargetByWord(Axis axis, std::int32_t target) {
    waitingOrder(axis) = WaitingOrder{target, kWordLow, 0};
}

void orderTarget(Axis axis, std::int32_t target) {
    waitingOrder(axis) = WaitingOrder{target, kOtherLow, 0};
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

TakenTarget takeTarget(Axis axis) {
    SharedInt& target = *axisRow(axis).target;
    const std::int32_t before = target;
    TakenTarget taken = {before, before, waitingOrder(axis)};
    for (bool done = taken.order == kNoOrder; !done;) {
        // Before the order goes, so that `orderedTarget` finds it in one place or the other.
        target = taken.target = carriedOut(taken.order, before);
        done = waitingOrder(axis).compare_exchange_strong(taken.order, kNoOrder);
    }
    return taken;
}

void putBack(Axis axis, const TakenTarget& taken) {
    if (taken.order == kNoOrder) {
        return;
    }
    WaitingOrder waiting = waitingOrder(axis);
    while (!waitingOrder(axis).compare_exchange_strong(waiting, joined(taken.order, waiting))) {
    }
    *axisRow(axis).target = taken.before;
}

bool isByWord(const TakenTarget& taken) {
    return taken.order != kNoOrder && !(isAbsolute(taken.order) && taken.order.low == kOtherLow);
}

bool orderWaits(Axis axis) {
    return waitingOrder(axis) != kNoOrder;
}

void setTarget(Axis axis, std::int32_t next) {
    *axisRow(axis).target = next;
}
