#include "bus_values.h"

#include <cstdio>

#include "platform/nbus.h"

void setKeyToNumber(const char* key, std::int32_t value) {
    char text[128] = {};
    std::snprintf(text, sizeof text, "%d", value);
    nbus_set(key, text);
}
