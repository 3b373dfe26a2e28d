// What other services learn of the head: positions and statuses on the bus. Lens thread only.
#pragma once

#include <cstdint>
#include <initializer_list>

#include "axis/axes.h"

// Sets the axis's status key: "run" when a move starts, "stop" when it ends.
void publishStatus(Axis axis, const char* status);

// Sets the status keys of the axes, in the order given.
void publishStatuses(std::initializer_list<Axis> axes, const char* status);

// Sets the action key to "done".
void publishActionDone();

// Sets the preset request key to "done".
void publishPresetDone();

// Ends a move on the bus: status "stop", then action "done".
void publishMoveEnd(Axis axis);

// Publishes every position that changed (or is due), on both key families, and saves the position
// file once pan and tilt are at rest. Always 0.
std::int32_t publishPositions();
