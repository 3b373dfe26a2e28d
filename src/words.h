// Words of bus values and key names.
#pragma once

#include <cstdint>
#include <cstring>
#include <span>

inline bool startsWith(const char* text, const char* prefix) {
    return std::strncmp(text, prefix, std::strlen(prefix)) == 0;
}

inline bool contains(const char* text, const char* part) {
    return std::strstr(text, part) != nullptr;
}

inline bool isWord(const char* text, const char* word) {
    return std::strcmp(text, word) == 0;
}

// A word that stands for a number.
struct WordValue {
    const char* word;
    std::int32_t value;
};

// The value of the row whose word is exactly `word`, or `fallback`.
inline std::int32_t valueOfWord(std::span<const WordValue> table, const char* word,
                                std::int32_t fallback) {
    for (const WordValue& row : table) {
        if (isWord(word, row.word)) {
            return row.value;
        }
    }
    return fallback;
}
