// The search for an upright picture: sweeps the rotate axis in coarse steps until the attitude
// matches a case, then has a servo level it. The cases also serve the pan transition.
#pragma once

#include <cstdint>

#include "orientation/angle_range.h"
#include "orientation/attitude.h"
#include "orientation/rotate_servo.h"

// One way in which the picture can stand, and what makes it upright.
struct SearchCase {
    AngleRange first;   // mode 0: yaw; other modes: pitch
    AngleRange second;  // mode 0: pitch; other modes: yaw
    AngleRange roll;
    bool flipAndMirror;
    void (*servo)(float targetAngle);
    float targetAngle;
    const char* marker;
    bool markerFirst;  // printed before the servo runs
};

// The first case that the attitude matches, in mode 0's table or in that of all other modes; null
// if there is none. A function of its arguments.
const SearchCase* findSearchCase(std::int32_t mode, const Attitude& attitude);

// Publishes the case's flip and mirror, runs its servo and prints its marker behind `markerPrefix`.
// Blocks the lens thread.
void levelAs(const SearchCase& found, const char* markerPrefix);

// Searches with the image-rotate setting as the mode, and writes the home marker, also when nothing
// was found. Always 0. Blocks the lens thread.
std::int32_t AutoSearch(std::int32_t mode);
