// Turns the rotate axis until an angle of the attitude reaches a target, with the sensor as the
// only feedback: step, read again, let the step follow the error, turn round when it grows, and go
// back to the best position seen in the end. Blocks the lens thread.
#pragma once

#include <cstdint>

// One run's use of the rotate target. A command that replaces the target meanwhile is left in
// place, to be carried out after the run, which goes on with its own.
struct RotateDrive {
    std::int32_t target;  // steps; where the run last sent the axis
    bool shared = true;   // `giNewRotat` follows
};

// A run that starts at the present target.
RotateDrive takeRotateDrive();

// Sends the axis to `target` (steps, clamped to its range by the move) and stores the position that
// it will have.
void driveRotateTo(RotateDrive& drive, std::int32_t target);

// Bring pitch or yaw to `targetAngle` (degrees in 0..360; 360 stands for level). They end within
// half a degree, after the third turn, or at an end of the rotate range, and have no time limit. An
// angle just above 0 counts as far from 360.
void RotateToPitch(RotateDrive& drive, float targetAngle);
void RotateToYaw(RotateDrive& drive, float targetAngle);
