// Numbers as bus values.
#pragma once

#include <cstdint>

// Sets `key` to the number in decimal. The bus's answer is not looked at. Any thread.
void setKeyToNumber(const char* key, std::int32_t value);
