#include "app/light_handlers.h"

#include <algorithm>
#include <cstdio>

#include "control_state.h"
#include "numbers.h"
#include "platform/clock.h"
#include "words.h"

namespace {

constexpr WordValue kFlashWords[] = {{"slow", 200}, {"medium", 100}};
constexpr std::int32_t kFastFlash = 20;
constexpr WordValue kEventBrightnessWords[] = {{"low", 32}, {"high", 255}};
constexpr std::int32_t kMediumEventBrightness = 64;

constexpr WordValue kColorWords[] = {
    {"white", 0}, {"green", 1}, {"yellow", 2}, {"red", 3}, {"blue", 4}};
constexpr std::int32_t kDark = 5;
constexpr WordValue kStateWords[] = {{"off", 0}, {"on", 1}, {"slow", 2}, {"medium", 3}};
constexpr std::int32_t kFast = 4;
constexpr WordValue kBrightnessWords[] = {{"high", 255}, {"medium", 64}};
constexpr std::int32_t kLow = 32;

// Only the first has its leading dot; meant so.
constexpr const char* kLights[] = {".front_left", "front_right", "back_left", "back_right"};

void takeLight(std::size_t light, const char* key, const char* value) {
    if (contains(key, ".color")) {
        gaLightColor[light] = valueOfWord(kColorWords, value, kDark);
    } else if (contains(key, ".state")) {
        gaLightState[light] = valueOfWord(kStateWords, value, kFast);
    } else if (contains(key, ".brightness")) {
        gaLightBrightness[light] = valueOfWord(kBrightnessWords, value, kLow);
    }
}

std::int32_t takeSequenceNumber() {
    const std::int32_t number = std::max(giOnvifSeq.load(), 1);
    giOnvifSeq = cutToInt32(std::int64_t{number} + 1);
    return number;
}

void takeOnvifList(const char* value) {
    std::int32_t entries[kOnvifEntries];
    const int count = parseIntList(value, entries, kOnvifEntries);
    for (int entry = 0; entry < count; ++entry) {
        if (entries[entry] == 0) {
            gaOnvifOrder[entry] = 0;
        } else if (gaOnvifOrder[entry] == 0) {
            gaOnvifOrder[entry] = takeSequenceNumber();
            gaOnvifTime[entry] = readRawClock().tv_sec;
        }
    }
}

void takeRelay(const char* key, const char* value) {
    for (int relay = 0; relay < kRelays; ++relay) {
        char name[24] = {};
        std::snprintf(name, sizeof name, ".relay1%d.", relay);
        if (!contains(key, name)) {
            continue;
        }
        if (contains(key, ".mode")) {
            gaRelayMode[relay] = isWord(value, "monostable") ? 2 : 1;
        } else if (contains(key, ".timeout")) {
            gaRelayTimeout[relay] = parseDecimal(value);
        }
        return;
    }
}

}  // namespace

void handleEventLight(const char* key, const char* value) {
    if (contains(key, ".light.flash")) {
        giLightFlashPeriod = valueOfWord(kFlashWords, value, kFastFlash);
    } else if (contains(key, ".light.brightness")) {
        giLightBrightness = valueOfWord(kEventBrightnessWords, value, kMediumEventBrightness);
    }
}

void handleLensLight(const char* key, const char* value) {
    for (std::size_t light = 0; light < std::size(kLights); ++light) {
        if (contains(key, kLights[light])) {
            takeLight(light, key, value);
            return;
        }
    }
    if (contains(key, ".onvif_mode")) {
        takeOnvifList(value);
    } else if (contains(key, ".relay1")) {
        takeRelay(key, value);
    } else if (contains(key, ".test_mode")) {
        const std::int32_t mode = parseDecimal(value);
        giLedTestMode = mode;
        std::printf("LED Test Mode=%d\n", mode);
    }
}

void handleLedPower(const char*, const char* value) {
    const std::int32_t power = std::max(parseDecimal(value), 0);
    giLedPower = power;
    giLedPowerApplied = power;
    giLedPowerChanged = 1;
}

void handleLedCtrl(const char*, const char* value) {
    std::int32_t switches[kLedSwitches];
    const int count = parseIntList(value, switches, kLedSwitches);
    for (int led = 0; led < count; ++led) {
        gaLedCtrl[led] = static_cast<std::uint8_t>(switches[led]);
    }
}
