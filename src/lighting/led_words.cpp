#include "lighting/led_words.h"

#include <algorithm>

namespace {

LedWord channelLevel(std::int32_t level) {
    return static_cast<LedWord>(std::clamp(level, 0, 255));
}

}  // namespace

LedWord packLedWord(std::int32_t red, std::int32_t green, std::int32_t blue, std::int32_t white) {
    return channelLevel(white) << 24 | channelLevel(red) << 16 | channelLevel(green) << 8 |
           channelLevel(blue);
}

LedWord withBrightness(LedWord word, std::int32_t level) {
    LedWord scaled = 0;
    for (const unsigned shift : kChannelShifts) {
        scaled |= (word >> shift & 0xFF) * channelLevel(level) / 255 << shift;
    }
    return scaled;
}
