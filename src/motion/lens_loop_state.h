// What the lens loop keeps from one pass to the next. Lens thread only.
#pragma once

#include <cstdint>

inline constexpr std::int32_t kNoGoal = -1;

// The preset goal; without any, there is no preset run.
struct PresetTargets {
    std::int32_t pan = kNoGoal;
    std::int32_t tilt = kNoGoal;
    std::int32_t rotate = kNoGoal;
    std::int32_t zoom = kNoGoal;
    std::int32_t focus = kNoGoal;
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
