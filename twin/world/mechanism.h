// The six axes: true positions, end stops, motion, and the controller's counters.
//
// Every function needs the world lock. Positions are motor steps, positive in the direction of the
// daemon's growing counters. Motion is computed from the time when it is asked for.
#pragma once

#include <cstdint>

#include "twin/clock/timeline.h"

namespace twin {

enum class Axis { pan, tilt, rotate, zoom, focus, iris };
constexpr int kAxisCount = 6;
constexpr Axis kAxes[kAxisCount] = {Axis::pan,  Axis::tilt,  Axis::rotate,
                                    Axis::zoom, Axis::focus, Axis::iris};

// The encoder takes one picture at each whole multiple of this time.
constexpr Microseconds kFramePeriod = 33'000;

// "pan", "tilt", ...
const char* axisName(Axis axis);

struct AxisTruth {
    int position = 0;
    bool busy = false;
    // Steps ordered and never made: lost at an end stop, to a fault or to a replacing order.
    std::int64_t lost = 0;
    // Steps of the running order that are still to come.
    std::int64_t remaining = 0;
};

// Builds the axes of a lens with the given stops, at rest at seeded positions.
void makeMechanism(bool longLens, std::uint64_t seed);

// Puts an axis at rest at a remembered place. False, and no change, for one beyond the stops.
bool placeAxis(Axis axis, std::int64_t position, std::int64_t lost);

// Orders `steps` steps; `direction` is +1 or -1. Pan and tilt take a speed code (kept within 0 to
// 255), the others steps per second (kept within 1 to 100,000). The axis is busy from this instant
// on; an order that still runs is replaced. Zero or negative steps order nothing and change
// nothing.
void orderMove(Axis axis, int direction, int steps, int speed);

// The axis at this instant.
AxisTruth axisTruth(Axis axis);

// The position at the latest frame, this instant included.
int framePosition(Axis axis);

// The next status byte of the axis: idle and busy bytes vary as the controller's do.
unsigned char statusByte(Axis axis);

// The controller's own counter: all pulses ever ordered, signed. Homing does not touch it.
int controllerCounter(Axis axis);
void writeControllerCounter(Axis axis, int value);

// Carries running orders on under the faults as they are now. An order that they do not concern is
// not touched, and only a changed rate changes when one ends.
void refreshMotions();

}  // namespace twin
