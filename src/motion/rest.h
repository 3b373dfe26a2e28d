// Bringing the head's shared variables to rest around a run that owns several axes. Lens thread.
#pragma once

#include <cstdint>
#include <initializer_list>

#include "axis/axes.h"

using AxisList = std::initializer_list<Axis>;

inline constexpr AxisList kAllAxes = {Axis::pan,  Axis::tilt,  Axis::rotate,
                                      Axis::zoom, Axis::focus, Axis::iris};

// Ends all continuous commands, waits for every motor, and clears the axes' move states.
void takeOver(AxisList axes);

// Sets the axes' move states to `state`.
void setMoveStates(AxisList axes, std::int32_t state);

// Makes the axes' positions their targets. A move that waits starts when the run is over.
void setTargetsToPositions(AxisList axes);

// Sets the axes' counters to what they are at the home stop.
void setHomeCounters(AxisList axes);

// Forgets how far the controller's own counters differed: homing has made ours true.
void clearOffsets();
