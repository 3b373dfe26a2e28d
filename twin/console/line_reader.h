// The console's input, line by line.
#pragma once

#include <cstddef>
#include <string>

namespace twin {

enum class LineResult {
    line,      // a line without its end
    tooLong,   // a line beyond kLongestInputLine bytes; the rest of it has been skipped
    badBytes,  // a line with a NUL byte in it
    end,       // no more input
    broken,    // the input cannot be read; `errno` says why
};

constexpr std::size_t kLongestInputLine = 4096;

// Reads the next line of standard input. Calls `beforeWaiting` before it has to wait for more.
LineResult readLine(std::string& line, void (*beforeWaiting)());

// How many lines have been read.
int linesRead();

// Input that was read elsewhere and comes first, after so many lines; and what was read and is not
// used yet.
void giveInput(const std::string& text, int lines);
std::string unusedInput();

}  // namespace twin
