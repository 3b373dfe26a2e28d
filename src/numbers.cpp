#include "numbers.h"

#include <cstdlib>
#include <cstring>

bool readDecimal(const char* text, std::int32_t& number) {
    char* end = nullptr;
    number = cutToInt32(std::strtol(text, &end, 10));
    return end != text;
}

std::int32_t parseDecimal(const char* text) {
    std::int32_t number = 0;
    readDecimal(text, number);
    return number;
}

std::uint32_t parseHexadecimal(const char* text) {
    return static_cast<std::uint32_t>(std::strtoul(text, nullptr, 16));
}

int parseIntList(const char* text, std::int32_t* slots, int count) {
    int stored = 0;
    while (stored < count) {
        text += std::strspn(text, ",");
        if (*text == '\0') {
            break;
        }
        slots[stored++] = parseDecimal(text);
        text += std::strcspn(text, ",");
    }
    return stored;
}
