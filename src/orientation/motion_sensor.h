// The motion sensor: the only code that touches the I2C bus.
//
// No transfer is ever tried again. A register read that fails gives 0, so that a failed reading is
// an acceleration of zero. Lens thread; start-up's identity check runs on the main thread.
#pragma once

#include <cstdint>

// Along the head's axes, in m/s².
struct Acceleration {
    float x;
    float y;
    float z;
};

// Opens the bus and programs the sensor, unless it is open. 0 if it is (now) open, which says
// nothing about the sensor itself, or -1; the next call then tries again. The first calls of the
// main and the lens thread are not held apart: both may program the sensor.
std::int32_t GyroOpen();

// Opens the sensor and reads its identity: 0 if it is the expected one, else -1.
std::int32_t GyroCheckId();

// One reading. The caller has opened the sensor.
Acceleration GyroReadAccel();
