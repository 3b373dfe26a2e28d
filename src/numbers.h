// Numbers from outside: text to integer, floating point to integer, wide results to 32 bits.
#pragma once

#include <cstdint>

// The decimal number that `text` begins with, as `strtol` in base 10 reads it, cut to 32 bits; 0
// for text that is no number.
std::int32_t parseDecimal(const char* text);

// The hexadecimal number that `text` begins with, with or without "0x", cut to 32 bits; 0 for text
// that is no number.
std::uint32_t parseHexadecimal(const char* text);

// As `parseDecimal`, into `number`; false, leaving 0, for text that is no number.
bool readDecimal(const char* text, std::int32_t& number);

// Stores the decimal value of each comma-separated field of `text` in consecutive slots, at most
// `count` of them; empty fields collapse. Returns the number of slots written.
int parseIntList(const char* text, std::int32_t* slots, int count);

// The lower 32 bits of a wide result.
constexpr std::int32_t cutToInt32(std::int64_t value) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(value));
}

// The nearest value that 32 bits hold.
constexpr std::int32_t saturateToInt32(std::int64_t value) {
    return value > INT32_MAX   ? INT32_MAX
           : value < INT32_MIN ? INT32_MIN
                               : static_cast<std::int32_t>(value);
}

// `value` truncated towards zero as the camera's processor does it: out-of-range values saturate,
// NaN gives 0.
constexpr std::int32_t truncateToInt32(double value) {
    if (value != value) {
        return 0;
    }
    if (value >= 2147483647.0) {
        return INT32_MAX;
    }
    if (value <= -2147483648.0) {
        return INT32_MIN;
    }
    return static_cast<std::int32_t>(value);
}
