// Files of NAME VALUE lines, in which a camera is kept between runs.
#pragma once

#include <cstddef>
#include <istream>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace twin {

using Texts = std::map<std::string, std::string>;

// The longest value in the memory of a mechanism, in bytes.
constexpr std::size_t kLongestHeadText = 1000;

// One line with its end. Blanks in the name, control characters and backslashes are written \xNN.
std::string textLine(std::string_view name, std::string_view value);

// All lines.
std::string textLines(const Texts& texts);

// What textLine was given, from its line without the end; `zeros` lets NUL bytes pass. None if the
// line is none.
std::optional<std::pair<std::string, std::string>> readTextLine(std::string_view line, bool zeros);

// Adds what the lines say to `texts`; the last line of a name counts. Returns the number of lines
// that are none or have a value of more than `longest` bytes.
int readTexts(std::istream& stream, std::size_t longest, Texts& texts);

// Replaces the file's content whole: even if this machine fails meanwhile, it holds the former
// content or the new one. Returns an error text, empty on success.
std::string replaceFile(const std::string& path, const std::string& content);

// "PATH: ACT: REASON" for the latest failure of a system call.
std::string failureOf(const std::string& path, const char* act);

}  // namespace twin
