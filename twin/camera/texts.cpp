#include "twin/camera/texts.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <utility>

#include "twin/boundary/bus.h"
#include "twin/trace/disk_limit.h"

namespace twin {

namespace {

void append(std::string_view text, bool name, std::string& line) {
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7f || c == '\\' || (name && c == ' ')) {
            std::array<char, 8> code{};
            std::snprintf(code.data(), code.size(), "\\x%02x", byte);
            line += code.data();
        } else {
            line += c;
        }
    }
}

std::optional<std::string> unescaped(std::string_view text, bool zeros) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            result += text[i];
            continue;
        }
        const std::string_view code = text.substr(i, 4);
        unsigned char byte = 0;
        if (code.size() != 4 || code[1] != 'x' ||
            std::from_chars(code.data() + 2, code.data() + 4, byte, 16).ptr != code.data() + 4 ||
            (byte == 0 && !zeros)) {
            return std::nullopt;
        }
        result += static_cast<char>(byte);
        i += 3;
    }
    return result;
}

// Writes all of it and sees it on the disk.
bool writeOut(int descriptor, std::string_view content) {
    while (!content.empty()) {
        const ssize_t count = write(descriptor, content.data(), content.size());
        if (count < 0) {
            return false;
        }
        content.remove_prefix(static_cast<std::size_t>(count));
    }
    return fsync(descriptor) == 0;
}

}  // namespace

std::string textLine(std::string_view name, std::string_view value) {
    std::string line;
    line.reserve(name.size() + value.size() + 2);
    append(name, true, line);
    line += ' ';
    append(value, false, line);
    return line += '\n';
}

std::string textLines(const Texts& texts) {
    std::string lines;
    for (const auto& [name, value] : texts) {
        lines += textLine(name, value);
    }
    return lines;
}

std::optional<std::pair<std::string, std::string>> readTextLine(std::string_view line, bool zeros) {
    const std::size_t blank = line.find(' ');
    if (blank == 0 || blank == std::string::npos || line.find('\0') != std::string::npos) {
        return std::nullopt;
    }
    auto name = unescaped(line.substr(0, blank), false);
    auto value = unescaped(line.substr(blank + 1), zeros);
    if (!name || !value) {
        return std::nullopt;
    }
    return std::pair(std::move(*name), std::move(*value));
}

int readTexts(std::istream& stream, std::size_t longest, Texts& texts) {
    int damaged = 0;
    std::string line;
    while (std::getline(stream, line)) {
        const auto entry = readTextLine(line, false);
        if (!entry || entry->first.size() > kLongestBusText || entry->second.size() > longest) {
            ++damaged;
            continue;
        }
        texts[entry->first] = entry->second;
    }
    return damaged;
}

std::string replaceFile(const std::string& path, const std::string& content) {
    const OwnWriting allowed;
    const std::string fresh = path + ".new";
    const int descriptor = open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    const bool written = descriptor >= 0 && writeOut(descriptor, content);
    std::string problem;
    if (!written || rename(fresh.c_str(), path.c_str()) != 0) {
        problem = failureOf(path, "cannot be saved");
        unlink(fresh.c_str());
    }
    if (descriptor >= 0) {
        close(descriptor);
    }
    return problem;
}

std::string failureOf(const std::string& path, const char* act) {
    const char* const reason = std::strerror(errno);
    return path + ": " + act + ": " + reason;
}

}  // namespace twin
