// Which way is up, as the sensor in the head feels it.
#pragma once

#include <string>

namespace twin {

struct Vector {
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;
};

// Mounts the camera: "ceiling", "desktop", "wall0", "wall90", "wall180" or "wall270". False for any
// other word.
bool mountCamera(const std::string& mount);

// The word for how it is mounted.
const char* mountName();

// The acceleration in m/s² in the sensor's axes, with the head at these true positions.
Vector gravityReading(int pan, int tilt, int rotate);

}  // namespace twin
