// LED words: one word per LED, with the levels of its four channels.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

// white << 24, red << 16, green << 8, blue; each 0 to 255.
using LedWord = std::uint32_t;

inline constexpr LedWord kLedDark = 0;
inline constexpr LedWord kLedWhite = 0xFF000000;
inline constexpr LedWord kLedRed = 0x00FF0000;
inline constexpr LedWord kLedGreen = 0x0000FF00;
inline constexpr LedWord kLedBlue = 0x000000FF;
inline constexpr LedWord kLedYellow = kLedRed | kLedGreen;

inline constexpr unsigned kChannelShifts[] = {24, 16, 8, 0};

inline constexpr std::size_t kLedCount = 8;
inline constexpr std::size_t kGroupSize = kLedCount / 2;

// Once round the camera, two LEDs each: back left, front left, front right, back right. The first
// half is the library's group A, the second its group B.
using LedWords = std::array<LedWord, kLedCount>;
using LedGroup = std::span<const LedWord, kGroupSize>;

inline LedGroup groupA(const LedWords& words) {
    return std::span(words).first<kGroupSize>();
}

inline LedGroup groupB(const LedWords& words) {
    return std::span(words).last<kGroupSize>();
}

// The levels as a word; a level below 0 counts as 0, one above 255 as 255.
LedWord packLedWord(std::int32_t red, std::int32_t green, std::int32_t blue, std::int32_t white);

// `word` with every channel scaled by `level` / 255; `level` is 0 to 255.
LedWord withBrightness(LedWord word, std::int32_t level);
