#include "twin/console/line_reader.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>

#include "twin/camera/watch.h"
#include "twin/clock/actors.h"

namespace twin {

namespace {

std::array<char, 4096> gBuffer;
std::size_t gUsed = 0;
std::size_t gFilled = 0;

// Waits for input; signals that arrive meanwhile are delivered. False at the end of input.
bool fillBuffer() {
    for (;;) {
        std::array<pollfd, 2> sources = {
            {{STDIN_FILENO, POLLIN, 0}, {signalDescriptor(), POLLIN, 0}}};
        if (poll(sources.data(), sources.size(), -1) < 0 && errno != EINTR) {
            return false;
        }
        takeInterrupt();
        if (sources[0].revents == 0) {
            continue;
        }
        const ssize_t count = read(STDIN_FILENO, gBuffer.data(), gBuffer.size());
        if (count > 0) {
            gUsed = 0;
            gFilled = static_cast<std::size_t>(count);
            return true;
        }
        if (count == 0 || (errno != EINTR && errno != EAGAIN)) {
            return false;
        }
    }
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
