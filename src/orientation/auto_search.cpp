#include "orientation/auto_search.h"

#include <algorithm>
#include <cstdio>
#include <span>

#include "axis/axes.h"
#include "axis/axis_driver.h"
#include "axis/marker_files.h"
#include "control_state.h"
#include "orientation/image_settings.h"

namespace {

constexpr std::int32_t kSweepStep = 200;

// Mode of the search before; -1 before the first.
constinit SharedInt giLastSearchMode = -1;

constexpr AngleRange kLevel = beyond(45, 315);

// The roll bounds are not symmetric, 290 being 280 in one row; meant so.
constexpr SearchCase kModeZeroCases[] = {
    {kLevel, between(270, 360), between(90, 270), true, RotateToYaw, 360, "000000", false},
    {kLevel, below(90), beyond(90, 290), false, RotateToYaw, 360, "22222222", false},
    {kLevel, below(90), between(160, 190), false, RotateToYaw, 360, "1212121212", false},
    {kLevel, above(270), beyond(90, 290), true, RotateToYaw, 360, "13131313", false},
    {kAnyAngle, between(45, 135), kAnyAngle, false, RotateToPitch, 90, "555555555", false},
    {kAnyAngle, between(225, 315), kAnyAngle, true, RotateToPitch, 270, "7777777", false},
};

constexpr SearchCase kOtherModeCases[] = {
    {kLevel, below(90), between(90, 270), false, RotateToPitch, 360, "1111111", false},
    {kLevel, beyond(10, 270), between(90, 270), true, RotateToPitch, 360, "99999", false},
    {kLevel, above(270), beyond(90, 290), true, RotateToPitch, 360, "33333333", false},
    {kLevel, below(90), beyond(90, 280), false, RotateToPitch, 360, "888888", false},
    {kAnyAngle, between(45, 135), kAnyAngle, false, RotateToYaw, 90, "555555555", true},
    {kAnyAngle, between(225, 315), kAnyAngle, true, RotateToYaw, 270, "6666666", false},
};

bool sweepsDown(std::int32_t mode, std::int32_t upperEnd) {
    if (mode == giLastSearchMode) {
        return axisPosition(Axis::rotate) > upperEnd / 2;
    }
    giLastSearchMode = mode;
    return mode == 1;
}

}  // namespace

const SearchCase* findSearchCase(std::int32_t mode, const Attitude& attitude) {
    const bool modeZero = mode == 0;
    const float first = modeZero ? attitude.yaw : attitude.pitch;
    const float second = modeZero ? attitude.pitch : attitude.yaw;
    for (const SearchCase& row : std::span(modeZero ? kModeZeroCases : kOtherModeCases)) {
        if (meets(first, row.first) && meets(second, row.second) &&
            meets(attitude.roll, row.roll)) {
            return &row;
        }
    }
    return nullptr;
}

void levelAs(const SearchCase& found, const char* markerPrefix) {
    publishImageSetting(kFlipKey, found.flipAndMirror);
    publishImageSetting(kMirrorKey, found.flipAndMirror);
    if (!found.markerFirst) {
        found.servo(found.targetAngle);
    }
    std::printf("%s%s\n", markerPrefix, found.marker);
    if (found.markerFirst) {
        found.servo(found.targetAngle);
    }
}

std::int32_t AutoSearch(std::int32_t mode) {
    std::puts("in AutoSearch");
    const std::int32_t upperEnd = axisMaximum(Axis::rotate);
    const bool down = sweepsDown(mode, upperEnd);
    const std::int32_t lastTarget = down ? 0 : upperEnd;
    std::int32_t target = down ? upperEnd : 0;
    for (;;) {
        driveRotateAndWait(target);
        const Attitude attitude = GyroGetAttitude();
        printAttitude(3, attitude);
        if (const SearchCase* found = findSearchCase(mode, attitude)) {
            levelAs(*found, "");
            break;
        }
        if (target == lastTarget) {
            break;
        }
        target = down ? std::max(target - kSweepStep, 0) : std::min(target + kSweepStep, upperEnd);
    }
    setHomeFile();
    return 0;
}
