// The head's tilt against gravity, as angles in degrees, each from one reading; nothing is filtered
// or kept. Lens thread, but for the functions of their arguments alone.
//
// The axis orders and signs, also where they look inconsistent, are what the rest is built on.
#pragma once

#include <cstdint>

#include "orientation/motion_sensor.h"

// Angles in 0..360; they jump between the ends when the true angle crosses zero.
struct Attitude {
    float pitch;
    float yaw;
    float roll;
};

// Signed angles: pitch in -90..90, roll in -180..180.
struct PitchRoll {
    float pitch;
    float roll;
};

// Opens the sensor if need be and takes one reading. Without a sensor all angles are 0.
Attitude GyroGetAttitude();

// The attitude that a reading means.
Attitude AccelToAngles(const Acceleration& reading);

// The four orders of the axes: (xyzPitch, yzRoll), (zyxPitch, xzRoll), (yzxPitch, xyRoll) and
// (zxPitch, zxRoll).
PitchRoll CalcXyzPitchRoll(const Acceleration& reading);
PitchRoll CalcZyxPitchRoll(const Acceleration& reading);
PitchRoll CalcYzxPitchRoll(const Acceleration& reading);
PitchRoll CalcZxPitchRoll(const Acceleration& reading);

// Whether a signed angle is less than 20 degrees from 0 or from ±180; from ±90.
bool IsNearLevel(float angle);
bool IsNearVertical(float angle);

// Prints where pan, tilt and rotate stand and the attitude there; `place` tells the callers apart.
void printAttitude(int place, const Attitude& attitude);
