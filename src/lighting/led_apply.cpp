#include "lighting/led_apply.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "control_state.h"
#include "numbers.h"
#include "platform/motor_mcu.h"

namespace {

// Draw of one channel at level 255.
constexpr double kChannelWatts = 0.1625;

// Group words within the power limit, and the sum of their channel levels.
struct LimitedGroup {
    std::array<LedWord, kGroupSize> words;
    std::int32_t levels;
};

// The limit is read afresh for each channel; meant so.
LimitedGroup limited(LedGroup group) {
    LimitedGroup result = {};
    for (std::size_t led = 0; led < kGroupSize; ++led) {
        for (const unsigned shift : kChannelShifts) {
            const auto wanted = static_cast<std::int32_t>(group[led] >> shift & 0xFF);
            const std::int32_t level = std::min(wanted, giLedPower.load());
            result.words[led] |= static_cast<LedWord>(level) << shift;
            result.levels += level;
        }
    }
    return result;
}

}  // namespace

void applyLeds(LedGroup groupA, LedGroup groupB) {
    LockedBlock lock(gMotorLock);
    const LimitedGroup a = limited(groupA);
    const LimitedGroup b = limited(groupB);
    setMuiltLEDs(a.words.data(), b.words.data());
    giLedPowerLoad = truncateToInt32(100 * ((a.levels + b.levels) * kChannelWatts / 255));
}

void applyLeds(LedGroup both) {
    applyLeds(both, both);
}
