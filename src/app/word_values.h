// Words that stand for numbers.
#pragma once

#include <cstdint>
#include <cstring>
#include <span>

struct WordValue {
    const char* word;
    std::int32_t value;
};

// The value of the row whose word is exactly `word`, or `fallback`.
inline std::int32_t valueOfWord(std::span<const WordValue> table, const char* word,
                                std::int32_t fallback) {
    for (const WordValue& row : table) {
        if (std::strcmp(word, row.word) == 0) {
            return row.value;
        }
    }
    return fallback;
}
