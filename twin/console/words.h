// A command line's words.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "twin/clock/timeline.h"

namespace twin {

// A command's name and the words after it.
struct Words {
    std::string line;
    std::string name;                 // empty if the line is blank
    std::vector<std::string> words;   // after the name
    std::vector<std::size_t> starts;  // where each of them begins in the line

    // The line from the n-th word after the name on, blanks and all; empty if there is none.
    std::string from(std::size_t n) const;
};

Words splitLine(const std::string& line);

// The last of these words is taken for a time if it reads as a number at all.
bool isNumber(const std::string& word);

// No command lets more time pass than this (some eleven days).
constexpr Microseconds kLongestTime = 1'000'000'000'000;

// A span of time in seconds; none if the text is none, or if it is negative or too long.
std::optional<Microseconds> readSeconds(const std::string& text);

// Seconds with six decimals.
std::string secondsText(Microseconds time);

// What `wait KEY VALUE [SECONDS]` asks for after the key: the value, in double quotes where it is
// empty or its last word is a number, and the limit's text, if there is one.
struct Awaited {
    std::string value;
    std::optional<std::string> limit;
};

// `text` is what follows the key. None if there is no value.
std::optional<Awaited> readAwaited(const std::string& text);

}  // namespace twin
