// Whole texts read as numbers.
#pragma once

#include <charconv>
#include <string_view>
#include <system_error>

namespace twin {

// Reads all of `text` as a number of that base. False if it is none, or does not fit; `number` may
// then hold anything.
template <typename Number>
bool readNumber(std::string_view text, int base, Number& number) {
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number, base);
    return error == std::errc{} && stop == end;
}

}  // namespace twin
