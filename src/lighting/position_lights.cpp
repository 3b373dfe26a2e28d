#include "lighting/position_lights.h"

#include <cstddef>
#include <cstdio>
#include <iterator>

#include "axis/axes.h"
#include "control_state.h"
#include "lighting/patterns.h"

namespace {

constexpr std::int32_t kDimTilt = 3520;
constexpr std::int32_t kDimGain = 10000;
constexpr std::int32_t kDarkDimTilt = 4341;
constexpr std::int32_t kDimLevel = 32;
constexpr std::int32_t kDarkDimLevel = 16;

struct DimSector {
    std::int32_t from;
    std::int32_t to;
    std::int32_t mask;
};

constexpr DimSector kDimSectors[] = {
    {2771, 8312, 11},   {8313, 13853, 3},   {13854, 19353, 7},  {19354, 24937, 6},
    {24938, 30478, 14}, {30479, 36020, 12}, {36021, 41562, 13},
};
constexpr std::int32_t kMaskAtPanEnds = 9;

// By state code: off, on, slow, medium, fast.
constexpr Flash kStates[] = {{0, 1}, {1, 1}, evenFlash(200), evenFlash(100), evenFlash(20)};

// By colour code: white, green, yellow, red, blue, dark.
constexpr LedWord kColors[] = {kLedWhite, kLedGreen, kLedYellow, kLedRed, kLedBlue, kLedDark};

// Once round the camera, which is the order of the mask's bits but not that of the settings: the
// index of each light's settings.
constexpr std::size_t kRoundTheCamera[] = {2, 0, 1, 3};

// The last mask, printed when it changes.
std::int32_t giLightMask = 0;

template <typename Row, std::size_t kCount>
bool isIndexOf(const Row (&)[kCount], std::int32_t code) {
    return code >= 0 && code < static_cast<std::int32_t>(kCount);
}

std::int32_t presentDimMask(std::int32_t tilt) {
    const std::int32_t pan = axisPosition(Axis::pan);
    const std::int32_t gain = giCurrentGain;
    const std::int32_t mask = LightDimMask(pan, tilt, gain);
    if (mask != giLightMask) {
        giLightMask = mask;
        std::printf("Pan:%d Tilt:%d Gain:%d iRet=%x\n", pan, tilt, gain,
                    static_cast<unsigned>(mask));
    }
    return mask;
}

}  // namespace

std::int32_t LightDimMask(std::int32_t pan, std::int32_t tilt, std::int32_t gain) {
    if (tilt <= kDimTilt || gain <= kDimGain) {
        return 0;
    }
    for (const DimSector& sector : kDimSectors) {
        if (pan >= sector.from && pan <= sector.to) {
            return sector.mask;
        }
    }
    return kMaskAtPanEnds;
}

LedWord lightWord(std::int32_t state, std::int32_t color, std::int32_t brightness,
                  std::int32_t step) {
    if (!isIndexOf(kStates, state) || !isIndexOf(kColors, color) || !isLit(kStates[state], step)) {
        return kLedDark;
    }
    return withBrightness(kColors[color], brightness);
}

void drawPositionLights(std::int32_t step, LedWords& words) {
    const std::int32_t tilt = axisPosition(Axis::tilt);
    const std::int32_t dimLevel = tilt < kDarkDimTilt ? kDimLevel : kDarkDimLevel;
    const std::int32_t mask = presentDimMask(tilt);
    for (std::size_t place = 0; place < std::size(kRoundTheCamera); ++place) {
        const std::size_t light = kRoundTheCamera[place];
        const bool dimmed = (mask >> place & 1) != 0;
        const std::int32_t brightness = dimmed ? dimLevel : gaLightBrightness[light].load();
        const LedWord word = lightWord(gaLightState[light], gaLightColor[light], brightness, step);
        words[2 * place] = word;
        words[2 * place + 1] = word;
    }
}
