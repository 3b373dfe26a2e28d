#include "twin/trace/writer.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/types.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <utility>

#include "twin/trace/output.h"

namespace twin {

namespace {

using Clock = std::chrono::steady_clock;

int gDescriptor = -1;
int gArrivals = -1;          // not negative while output is kept
std::atomic<int> gError{0};  // what was wrong when the first text was lost

// How long writing has taken in all, and when a writing that still goes on began, in nanoseconds.
std::atomic<std::int64_t> gWaited{0};
std::atomic<std::int64_t> gSince{0};

std::string& held() {
    static auto& text = *new std::string;
    return text;
}

std::int64_t wallTime() {
    return std::chrono::nanoseconds(Clock::now().time_since_epoch()).count();
}

// The first failure is told; what is printed later is lost, too, and the run goes on. A reader that
// has gone is told by a signal.
void lose(int error) {
    if (int none = 0; gError.compare_exchange_strong(none, error) && error != EPIPE) {
        std::fprintf(stderr, "kestrel-twin: standard output: %s\n", std::strerror(error));
    }
}

void writeAll(std::string_view text) {
    gSince = wallTime();
    while (!text.empty() && gError == 0) {
        const ssize_t count = write(gDescriptor, text.data(), text.size());
        if (count > 0) {
            text.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno == EAGAIN) {
            pollfd room{gDescriptor, POLLOUT, 0};
            poll(&room, 1, -1);
        } else if (errno != EINTR) {
            lose(errno);
        }
    }
    gWaited += wallTime() - gSince.exchange(0);
}

ssize_t take(void*, const char* text, std::size_t length) {
    if (gArrivals >= 0) {
        held().append(text, length);
        eventfd_write(gArrivals, 1);
    } else {
        writeAll({text, length});
    }
    return static_cast<ssize_t>(length);
}

}  // namespace

FILE* openWriter(int descriptor) {
    gDescriptor = dup(descriptor);
    if (gDescriptor < 0) {
        return nullptr;
    }
    cookie_io_functions_t functions{};
    functions.write = take;
    return fopencookie(nullptr, "w", functions);
}

void hold(int arrivals) {
    gArrivals = arrivals;
}

std::string takeHeld() {
    return std::exchange(held(), {});
}

void release() {
    gArrivals = -1;
    writeAll(takeHeld());
}

std::chrono::nanoseconds outputHeldUp() {
    // In this order: a writing that ends meanwhile is counted at the next call, and none twice.
    const std::int64_t waited = gWaited;
    const std::int64_t since = gSince;
    return std::chrono::nanoseconds(waited + (since == 0 ? 0 : wallTime() - since));
}

int outputError() {
    return gError;
}

}  // namespace twin
