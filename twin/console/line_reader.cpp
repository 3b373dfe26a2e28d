#include "twin/console/line_reader.h"

#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>

#include "twin/console/input.h"

namespace twin {

namespace {

// Never destroyed: threads outlive main.
std::string& buffer() {
    static auto& text = *new std::string;
    return text;
}
std::size_t gUsed = 0;  // of the buffer
bool gBroken = false;
std::atomic<int> gLines{0};

// Waits for input. False at its end.
bool fillBuffer() {
    while (awaitInput()) {
        std::array<char, 4096> text{};
        const ssize_t count = read(STDIN_FILENO, text.data(), text.size());
        if (count > 0) {
            gUsed = 0;
            buffer().assign(text.data(), static_cast<std::size_t>(count));
            return true;
        }
        if (count == 0) {
            return false;
        }
        if (errno != EINTR && errno != EAGAIN) {
            gBroken = true;
            return false;
        }
    }
    return false;
}

}  // namespace

int linesRead() {
    return gLines;
}

void giveInput(const std::string& text, int lines) {
    buffer() = text;
    gUsed = 0;
    gLines = lines;
}

std::string unusedInput() {
    return buffer().substr(gUsed);
}

LineResult readLine(std::string& line, void (*beforeWaiting)()) {
    line.clear();
    bool tooLong = false;
    bool begun = false;
    for (;;) {
        if (gUsed == buffer().size()) {
            beforeWaiting();
            if (!fillBuffer()) {
                break;
            }
        }
        begun = true;
        const char c = buffer()[gUsed++];
        if (c == '\n') {
            break;
        }
        if (line.size() < kLongestInputLine) {
            line += c;
        } else {
            tooLong = true;
        }
    }
    if (gBroken) {
        return LineResult::broken;
    }
    if (!begun) {
        return LineResult::end;
    }
    ++gLines;
    if (tooLong) {
        return LineResult::tooLong;
    }
    if (line.ends_with('\r')) {
        line.pop_back();
    }
    return line.find('\0') == std::string::npos ? LineResult::line : LineResult::badBytes;
}

}  // namespace twin
