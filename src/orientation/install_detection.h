// Mount detection: tells from one reading how the camera is mounted (ceiling, desktop, wall and
// which way it is turned there) and publishes mirror, flip and rotate to match.
#pragma once

#include <cstdint>

#include "orientation/angle_range.h"
#include "orientation/attitude.h"

// The seven signed angles that detection goes by, in degrees, all from one reading.
struct MountAngles {
    float xyzPitch;
    float zyxPitch;
    float yzxPitch;
    float yzRoll;
    float xzRoll;
    float xyRoll;
    float zxRoll;
};

MountAngles mountAngles(const Acceleration& reading);

struct ImageSettings {
    bool flip;
    bool mirror;
    bool rotate;
};

// A mount told by the three pitches alone.
struct DirectMount {
    AngleRange xyzPitch;
    AngleRange zyxPitch;
    AngleRange yzxPitch;
    const char* label;
    ImageSettings settings;
};

// The first such mount that matches; null if none does. A function of its argument.
const DirectMount* findDirectMount(const MountAngles& angles);

// What the harder cases come to: the pitches that were compared, folded to 0..360, and the outcome.
struct InstallFinding {
    const char* family = nullptr;  // "xyz+yzx" or "zyx+yzx"; null if the pitches decide nothing
    float pitchSum = 0;
    float pitch = 0;
    float yzxPitch = 0;
    const char* lineFamily = nullptr;  // as the outcome's line names it
    const char* outcome = nullptr;     // null if not classified
    std::int32_t code = 0;             // 1 to 4; 0 if not classified
};

// Classifies the mount. A function of its argument.
InstallFinding classifyInstall(const MountAngles& angles);

// Whether two angles are at most `tolerance` degrees apart on the circle.
bool AngleNear(float a, float b, float tolerance);

// Classifies and prints how it came to the result: the install code 1 to 4, or 0.
std::int32_t DetectInstallMode(const MountAngles& angles);

// One reading, which the caller has opened the sensor for, classified and published; a mount that
// cannot be told gets the settings of before again, and a head lying level gets none. Returns
// `giRotate` as it then is: the bus may or may not have brought the new value yet. Lens thread.
std::int32_t RotateMode1RPMode();
