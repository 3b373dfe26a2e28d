// Bringing the head's shared variables to rest around a run that owns several axes. Lens thread.
#pragma once

#include <initializer_list>

#include "axis/axes.h"

inline constexpr std::initializer_list<Axis> kAllAxes = {Axis::pan,  Axis::tilt,  Axis::rotate,
                                                         Axis::zoom, Axis::focus, Axis::iris};

// Sets the axes' move states to `state`.
void setMoveStates(std::initializer_list<Axis> axes, std::int32_t state);

// Makes the axes' positions their targets.
void setTargetsToPositions(std::initializer_list<Axis> axes);

// Prints `name` and the time since the last move start, "NAME:SECONDS.MICROSECONDS".
void printTimeSinceMoveStart(const char* name);
