#include "twin/console/words.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <system_error>

namespace twin {

namespace {

constexpr const char* kBlanks = " \t";

std::string trimmed(const std::string& text) {
    const std::size_t begin = text.find_first_not_of(kBlanks);
    const std::size_t end = text.find_last_not_of(kBlanks);
    return begin == std::string::npos ? std::string{} : text.substr(begin, end - begin + 1);
}

// Whether the whole text is a number; a NaN and an infinity are, too.
std::optional<double> readNumber(const std::string& text) {
    double number = 0.0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number, std::chars_format::fixed);
    const bool whole = stop == end && error != std::errc::invalid_argument;
    // What is too large for the type is too large for everything else.
    return whole ? std::optional(error == std::errc{} ? number : HUGE_VAL) : std::nullopt;
}

}  // namespace

std::string Words::from(std::size_t n) const {
    if (n == 0) {
        return words.empty() ? std::string{} : line.substr(starts[0]);
    }
    // The value after a word begins behind exactly one blank, so that it may begin with one.
    const std::size_t end = starts[n - 1] + words[n - 1].size();
    return end < line.size() ? line.substr(end + 1) : std::string{};
}

Words splitLine(const std::string& line) {
    Words result;
    result.line = line;
    for (std::size_t begin = line.find_first_not_of(kBlanks); begin != std::string::npos;) {
        const std::size_t end = std::min(line.find_first_of(kBlanks, begin), line.size());
        if (result.name.empty()) {
            result.name = line.substr(begin, end - begin);
        } else {
            result.words.push_back(line.substr(begin, end - begin));
            result.starts.push_back(begin);
        }
        begin = line.find_first_not_of(kBlanks, end);
    }
    return result;
}

bool isNumber(const std::string& word) {
    return readNumber(word).has_value();
}

std::optional<Microseconds> readSeconds(const std::string& text) {
    constexpr double kMost = static_cast<double>(kLongestTime) / 1e6;
    const std::optional<double> seconds = readNumber(text);
    // Written so that a NaN is refused.
    if (!seconds || !(*seconds >= 0.0 && *seconds <= kMost)) {
        return std::nullopt;
    }
    return std::llround(*seconds * 1e6);
}

std::string secondsText(Microseconds time) {
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%" PRId64 ".%06d", time / 1'000'000,
                  static_cast<int>(time % 1'000'000));
    return text.data();
}

std::optional<Awaited> readAwaited(const std::string& text) {
    const std::string whole = trimmed(text);
    if (whole.empty()) {
        return std::nullopt;
    }
    const std::size_t blank = whole.find_last_of(kBlanks);
    const bool limited = blank != std::string::npos && isNumber(whole.substr(blank + 1));
    const std::string value = limited ? trimmed(whole.substr(0, blank)) : whole;
    const auto limit = limited ? std::optional(whole.substr(blank + 1)) : std::nullopt;
    // From the first quote to the last one: those between are the value's own.
    const auto quoted = [](const std::string& words) {
        return words.size() >= 2 && words.front() == '"' && words.back() == '"';
    };
    if (quoted(value)) {
        return Awaited{value.substr(1, value.size() - 2), limit};
    }
    // A number inside the quotes is no limit.
    if (quoted(whole)) {
        return Awaited{whole.substr(1, whole.size() - 2), std::nullopt};
    }
    return Awaited{value, limit};
}

}  // namespace twin
