// What the lens loop keeps from one pass to the next. Lens thread only.
#pragma once

#include <cstdint>

// The preset goal; -1 = no goal for that axis, all -1 = no preset run.
struct PresetTargets {
    std::int32_t pan = -1;
    std::int32_t tilt = -1;
    std::int32_t rotate = -1;
    std::int32_t zoom = -1;
    std::int32_t focus = -1;
};

struct LensLoopState {
    PresetTargets presetGoal;
    std::int32_t previousPresetResult = 0;
    std::int32_t rememberedRotate = 0;  // `giRotate` as last seen
};

// Abandons any preset run in progress.
inline void resetPresetGoal(LensLoopState& state) {
    state.presetGoal = PresetTargets{};
}
