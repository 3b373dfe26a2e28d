#include "twin/console/line_reader.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>

#include "twin/console/input.h"

namespace twin {

namespace {

std::array<char, 4096> gBuffer;
std::size_t gUsed = 0;
std::size_t gFilled = 0;
bool gBroken = false;

// Waits for input. False at its end.
bool fillBuffer() {
    while (awaitInput()) {
        const ssize_t count = read(STDIN_FILENO, gBuffer.data(), gBuffer.size());
        if (count > 0) {
            gUsed = 0;
            gFilled = static_cast<std::size_t>(count);
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

LineResult readLine(std::string& line, void (*beforeWaiting)()) {
    line.clear();
    bool tooLong = false;
    bool begun = false;
    for (;;) {
        if (gUsed == gFilled) {
            beforeWaiting();
            if (!fillBuffer()) {
                break;
            }
        }
        begun = true;
        const char c = gBuffer[gUsed++];
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
    if (tooLong) {
        return LineResult::tooLong;
    }
    if (line.ends_with('\r')) {
        line.pop_back();
    }
    return line.find('\0') == std::string::npos ? LineResult::line : LineResult::badBytes;
}

}  // namespace twin
