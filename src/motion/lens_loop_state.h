// What the lens loop keeps from one pass to the next. Lens thread only.
#pragma once

#include <cstdint>
#include <optional>

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
