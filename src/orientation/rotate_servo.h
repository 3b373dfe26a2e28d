// Turns the rotate axis until an angle of the attitude reaches a target, with the sensor as the
// only feedback: step, read again, let the step follow the error, turn round when it grows, and go
// back to the best position seen in the end. Blocks the lens thread.
#pragma once

#include <cstdint>

// Sends the axis to `target` (clamped to its range by the move), which becomes its target, stores
// the position that it will have, and waits until it is there.
void driveRotateAndWait(std::int32_t target);

// Bring pitch or yaw to `targetAngle` (degrees in 0..360; 360 stands for level). They end within
// half a degree, after the third turn, or at an end of the rotate range, and have no time limit. An
// angle just above 0 counts as far from 360.
void RotateToPitch(float targetAngle);
void RotateToYaw(float targetAngle);
