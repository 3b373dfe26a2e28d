// The drives of homing: straight orders to the motor library, without clamp, power value or wait.
// They leave the position to the caller. Lens thread only.
#pragma once

#include <cstdint>

// Each drives its axis beyond its whole range towards the home stop. The fast ones differ in speed
// or overrun; the iris of a full home in its code.
enum class EndStopDrive {
    pan,
    tilt,
    rotate,
    zoom,
    focus,
    iris,
    irisOfFullHome,
    panFast,
    tiltFast,
    rotateFast,
};

// Orders the drive and returns at once. The zoom's sense follows the lens variant.
void driveToEndStop(EndStopDrive drive);

// Orders `steps` steps of pan away from its home stop and returns at once.
void drivePanForward(std::int32_t steps);
