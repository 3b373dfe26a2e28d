// What the lens loop keeps from one pass to the next. Lens thread only.
#pragma once

#include <cstdint>
#include <optional>

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
    // `giRotate` as the orientation watch of this pass left it; none if it did not look.
    std::optional<std::int32_t> watchedRotate;
    // Move states as the orientation watch last saw them.
    std::int32_t watchedPanMove = 0;
    std::int32_t watchedRotateMove = 0;
};

// Takes `rotate` as seen, so that it does not lead to levelling.
inline void rememberRotate(LensLoopState& state, std::int32_t rotate) {
    state.rememberedRotate = rotate;
    state.watchedRotate.reset();
}

// Abandons any preset run in progress.
inline void resetPresetGoal(LensLoopState& state) {
    state.presetGoal = PresetTargets{};
}
