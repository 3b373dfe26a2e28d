#include "twin/world/mechanism.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "twin/trace/trace.h"
#include "twin/world/fault_values.h"
#include "twin/world/random.h"

namespace twin {
namespace {

struct Stops {
    int low;
    int high;
};

struct AxisRow {
    const char* name;
    Stops standardLens;
    Stops longLens;
    // Steps per second at speed code 250; 0: the order's speed is the rate.
    int codedRate;
};

// The home stops are exact; the far ones leave a little room beyond the usable range.
constexpr AxisRow kRows[kAxisCount] = {
    {"pan", {0, 44393}, {0, 44393}, 12000}, {"tilt", {-40, 5120}, {-40, 5120}, 1920},
    {"rotate", {0, 10720}, {0, 10720}, 0},  {"zoom", {0, 2375}, {0, 2950}, 0},
    {"focus", {-16, 2433}, {-16, 1812}, 0}, {"iris", {0, 100}, {0, 122}, 0},
};

struct Motor {
    Stops stops = {0, 0};
    // Where the axis stood, and what it had lost, after the counted steps of the present order.
    std::int64_t position = 0;
    std::int64_t lost = 0;

    // The present order; a finished one stays here until the next.
    Microseconds start = 0;
    int direction = 1;
    std::int64_t steps = 0;
    std::int64_t rate = 1;  // thousandths of a step per second
    int speed = 0;
    std::int64_t counted = 0;  // leading steps that `position` and `lost` already contain
    std::int64_t slip = 0;     // steps after those that do not move the axis
    std::int64_t room = 0;     // steps that can move it then
    bool stuck = false;
    bool reachedStop = false;
    std::int64_t generation = 0;  // tells this order's events from those that no longer hold

    // The position at a frame, kept when a later order of the same frame period would hide it.
    Microseconds keptFrame = -1;
    std::int64_t keptPosition = 0;

    std::uint32_t counter = 0;
    std::uint64_t statusSequence = 0;
};

std::array<Motor, kAxisCount> gMotors;

int indexOf(Axis axis) {
    return static_cast<int>(axis);
}

const AxisRow& rowOf(Axis axis) {
    return kRows[indexOf(axis)];
}

Motor& motorOf(Axis axis) {
    return gMotors[static_cast<std::size_t>(axis)];
}

std::int64_t rateOf(Axis axis, int speed) {
    std::int64_t rate = std::int64_t{std::clamp(speed, 1, 100'000)} * 1000;
    if (const int coded = rowOf(axis).codedRate; coded != 0) {
        const int code = std::clamp(speed, 0, 255);
        rate = std::llround(coded * 1000.0 * std::exp2((code - 250) / 16.0));
    }
    // Thousandths; 0 without the fault.
    const int slow = std::max(1000, faultValue(Fault::axisSlow, indexOf(axis)));
    return std::max<std::int64_t>(1, rate * 1000 / slow);
}

// Steps are at most 2^31, so that the products below stay within 63 bits.
Microseconds timeFor(const Motor& motor, std::int64_t steps) {
    return (steps * 1'000'000'000 + motor.rate - 1) / motor.rate;
}

std::int64_t stepsDone(const Motor& motor, Microseconds when) {
    const Microseconds elapsed =
        std::clamp<Microseconds>(when - motor.start, 0, timeFor(motor, motor.steps));
    return std::min(motor.steps, elapsed * motor.rate / 1'000'000'000);
}

std::int64_t stepsMoved(const Motor& motor, std::int64_t done) {
    return std::clamp<std::int64_t>(done - motor.counted - motor.slip, 0, motor.room);
}

std::int64_t positionAt(const Motor& motor, Microseconds when) {
    return motor.position + motor.direction * stepsMoved(motor, stepsDone(motor, when));
}

bool isBusy(const Motor& motor, Microseconds when) {
    return motor.steps > 0 && when < motor.start + timeFor(motor, motor.steps);
}

// Counts what the present order has done by now, so that its rest can meet other conditions.
void countSteps(Motor& motor, Microseconds when) {
    const Microseconds frame = when / kFramePeriod;
    if (motor.keptFrame != frame) {
        motor.keptFrame = frame;
        motor.keptPosition = positionAt(motor, frame * kFramePeriod);
    }
    const std::int64_t done = stepsDone(motor, when);
    const std::int64_t moved = stepsMoved(motor, done);
    const std::int64_t fresh = done - motor.counted;
    motor.position += motor.direction * moved;
    motor.lost += fresh - moved;
    motor.slip -= std::min(fresh, motor.slip);
    motor.counted = done;
    ++motor.generation;
}

void reportStop(std::int64_t argument) {
    const Axis axis = kAxes[argument % kAxisCount];
    Motor& motor = motorOf(axis);
    if (argument / kAxisCount != motor.generation || motor.reachedStop) {
        return;
    }
    motor.reachedStop = true;
    trace("head", "%s stop", rowOf(axis).name);
}

// How many of the present order's steps to come the fault "slip" takes that none has taken yet.
std::int64_t stepsToSlip(Axis axis) {
    const Motor& motor = motorOf(axis);
    return std::min<std::int64_t>(faultValue(Fault::axisSlip, indexOf(axis)),
                                  motor.steps - motor.counted - motor.slip);
}

bool isStuck(Axis axis) {
    return faultValue(Fault::axisStuck, indexOf(axis)) != 0;
}

// Puts the steps that are not counted yet under the present faults and stops.
void meetConditions(Axis axis) {
    Motor& motor = motorOf(axis);
    const auto slip = static_cast<int>(stepsToSlip(axis));
    motor.slip += slip;
    setFaultValue(Fault::axisSlip, indexOf(axis),
                  faultValue(Fault::axisSlip, indexOf(axis)) - slip);
    motor.stuck = isStuck(axis);
    motor.room =
        motor.direction > 0 ? motor.stops.high - motor.position : motor.position - motor.stops.low;
    const std::int64_t free = motor.slip + motor.room;
    if (motor.stuck) {
        motor.room = 0;
    } else if (free < motor.steps - motor.counted) {
        const std::int64_t event = motor.generation * kAxisCount + indexOf(axis);
        if (free == 0) {
            reportStop(event);
        } else {
            scheduleEvent(motor.start + timeFor(motor, motor.counted + free), reportStop, event);
        }
    }
}

// Sets an axis whose steps are counted going.
void begin(Axis axis, int direction, std::int64_t steps, int speed) {
    Motor& motor = motorOf(axis);
    motor.start = now();
    motor.direction = direction;
    motor.steps = steps;
    motor.counted = 0;
    motor.speed = speed;
    motor.rate = rateOf(axis, speed);
    meetConditions(axis);
}

}  // namespace

const char* axisName(Axis axis) {
    return rowOf(axis).name;
}

void makeMechanism(bool longLens, std::uint64_t seed) {
    std::uint64_t sequence = scatter(seed);
    for (const Axis axis : kAxes) {
        Motor& motor = motorOf(axis);
        const std::int64_t generation = motor.generation + 1;
        motor = Motor{};
        motor.generation = generation;
        motor.start = now();
        motor.stops = longLens ? rowOf(axis).longLens : rowOf(axis).standardLens;
        const std::int64_t places = std::int64_t{motor.stops.high} - motor.stops.low + 1;
        motor.position =
            motor.stops.low +
            static_cast<std::int64_t>(nextRandom(sequence) % static_cast<std::uint64_t>(places));
        motor.statusSequence = nextRandom(sequence);
    }
}

bool placeAxis(Axis axis, std::int64_t position, std::int64_t lost) {
    Motor& motor = motorOf(axis);
    if (position < motor.stops.low || position > motor.stops.high || lost < 0) {
        return false;
    }
    motor.position = position;
    motor.lost = lost;
    motor.steps = 0;
    motor.counted = 0;
    motor.slip = 0;
    return true;
}

void orderMove(Axis axis, int direction, int steps, int speed) {
    if (steps <= 0) {
        return;
    }
    Motor& motor = motorOf(axis);
    const bool replaced = isBusy(motor, now());
    countSteps(motor, now());
    motor.lost += motor.steps - motor.counted;
    motor.slip = 0;
    motor.reachedStop = false;
    if (replaced) {
        trace("head", "%s replaced", rowOf(axis).name);
    }
    const auto pulses = static_cast<std::uint32_t>(steps);
    motor.counter += direction > 0 ? pulses : 0U - pulses;
    begin(axis, direction, steps, speed);
}

AxisTruth axisTruth(Axis axis) {
    const Motor& motor = motorOf(axis);
    const std::int64_t done = stepsDone(motor, now());
    const std::int64_t moved = stepsMoved(motor, done);
    return {static_cast<int>(motor.position + motor.direction * moved), isBusy(motor, now()),
            motor.lost + done - motor.counted - moved, motor.steps - done};
}

int framePosition(Axis axis) {
    const Motor& motor = motorOf(axis);
    const Microseconds frame = now() / kFramePeriod;
    return static_cast<int>(motor.keptFrame == frame ? motor.keptPosition
                                                     : positionAt(motor, frame * kFramePeriod));
}

unsigned char statusByte(Axis axis) {
    Motor& motor = motorOf(axis);
    const bool busy = isBusy(motor, now()) || faultValue(Fault::axisNeverReady, indexOf(axis)) != 0;
    const std::uint64_t random = nextRandom(motor.statusSequence);
    if (axis == Axis::pan || axis == Axis::tilt) {
        return static_cast<unsigned char>(busy ? 1 + random % 255 : 0);
    }
    // Busy: any high nibble but 0xA.
    const std::uint64_t other = (random >> 8) % 15;
    const std::uint64_t high = busy ? (other < 0xA ? other : other + 1) : 0xA;
    return static_cast<unsigned char>(high << 4 | (random & 0xF));
}

int controllerCounter(Axis axis) {
    return static_cast<int>(motorOf(axis).counter);
}

void writeControllerCounter(Axis axis, int value) {
    motorOf(axis).counter = static_cast<std::uint32_t>(value);
}

void refreshMotions() {
    for (const Axis axis : kAxes) {
        Motor& motor = motorOf(axis);
        if (!isBusy(motor, now())) {
            continue;
        }
        if (rateOf(axis, motor.speed) != motor.rate) {
            countSteps(motor, now());
            begin(axis, motor.direction, motor.steps - motor.counted, motor.speed);
        } else if (isStuck(axis) != motor.stuck || stepsToSlip(axis) > 0) {
            countSteps(motor, now());
            meetConditions(axis);
        }
    }
}

}  // namespace twin
