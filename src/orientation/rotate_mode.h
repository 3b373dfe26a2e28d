// The rotate mode's look at the attitude after a rotate or a pan move: sets the image orientation
// to match, without a sweep. Lens thread.
#pragma once

#include <cstdint>

#include "orientation/angle_range.h"
#include "orientation/attitude.h"

// One way in which a turned picture can stand, and the settings for it.
struct TurnCase {
    AngleRange pitch;
    AngleRange yaw;
    AngleRange roll;
    bool flipAndMirror;
    std::int32_t rotate;
    const char* marker;
};

// The first case that the attitude matches; null if there is none. A function of its argument.
const TurnCase* findTurnCase(const Attitude& attitude);

// Whether the head lies level with the ground. A function of its argument.
bool isResting(const Attitude& attitude);

// After a rotate move: sets `giRotate` and publishes flip, mirror and rotate for the case that
// matches; nothing if none does. Moves no motor. Returns `giRotate`.
std::int32_t RotateMode2RotateMode();

// After a pan move: publishes flip and mirror for the case that matches and levels the picture,
// with the motor supply as it is; requests a search if none does. Returns `giRotate` as it was on
// entry.
std::int32_t RotateMode2PanMode();
