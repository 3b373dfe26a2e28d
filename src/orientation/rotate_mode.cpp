#include "orientation/rotate_mode.h"

#include <cstdio>

#include "control_state.h"
#include "orientation/auto_search.h"
#include "orientation/image_settings.h"

namespace {

constexpr AngleRange kLevel = beyond(30, 330);

// Pitch, yaw, roll; flip and mirror; rotate.
constexpr TurnCase kTurnCases[] = {
    {between(270, 360), kLevel, between(90, 270), true, 0, "000000"},
    {kLevel, below(90), between(90, 270), false, 1, "1111111"},
    {kLevel, beyond(10, 270), between(90, 270), true, 1, "99999"},
    {below(90), kLevel, beyond(90, 290), false, 0, "22222222"},
    {below(90), kLevel, between(160, 190), false, 0, "1212121212"},
    {kLevel, above(270), beyond(90, 290), true, 1, "33333333"},
    {kLevel, between(10, 90), beyond(90, 290), false, 1, "888888"},
    {above(270), kLevel, beyond(90, 290), true, 0, "13131313"},
    {kAnyAngle, between(60, 130), kAnyAngle, false, 1, "4444444444"},
    {between(60, 130), kAnyAngle, kAnyAngle, false, 0, "555555555"},
    {kAnyAngle, between(240, 300), kAnyAngle, true, 1, "6666666"},
    {between(240, 300), kAnyAngle, kAnyAngle, true, 0, "7777777"},
};

constexpr AngleRange kAtRest = beyond(5, 355);
constexpr AngleRange kUpsideDown = between(170, 190);
constexpr AngleRange kUpright = beyond(10, 350);

}  // namespace

const TurnCase* findTurnCase(const Attitude& attitude) {
    for (const TurnCase& row : kTurnCases) {
        if (meets(attitude.pitch, row.pitch) && meets(attitude.yaw, row.yaw) &&
            meets(attitude.roll, row.roll)) {
            return &row;
        }
    }
    return nullptr;
}

bool isResting(const Attitude& attitude) {
    return meets(attitude.pitch, kAtRest) && meets(attitude.yaw, kAtRest) &&
           (meets(attitude.roll, kUpsideDown) || meets(attitude.roll, kUpright));
}

std::int32_t RotateMode2RotateMode() {
    std::puts("in RotateMode2RotateMode");
    const Attitude attitude = GyroGetAttitude();
    printAttitude(1, attitude);
    const TurnCase* found = findTurnCase(attitude);
    if (found == nullptr) {
        return giRotate;
    }
    giRotate = found->rotate;
    publishImageSetting(kFlipKey, found->flipAndMirror);
    publishImageSetting(kMirrorKey, found->flipAndMirror);
    publishImageSetting(kRotateKey, found->rotate == 1);
    std::puts(found->marker);
    return giRotate;
}

std::int32_t RotateMode2PanMode() {
    std::puts("in RotateMode2PanMode");
    const Attitude attitude = GyroGetAttitude();
    printAttitude(2, attitude);
    const std::int32_t rotate = giRotate;
    if (isResting(attitude)) {
        std::puts("The sensor is level with the ground and not moving");
        return rotate;
    }
    if (const SearchCase* found = findSearchCase(rotate, attitude)) {
        levelAs(*found, "P");
    } else {
        giAutoRotate = 1;
    }
    return rotate;
}
