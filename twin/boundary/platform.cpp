// The daemon's clock and threads.
#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>

#include "platform/clock.h"
#include "platform/thread.h"
#include "twin/boundary/library_calls.h"
#include "twin/boundary/readiness.h"
#include "twin/clock/actors.h"
#include "twin/clock/timeline.h"

namespace {

// The raw clock counts from the camera's power-up, which lies this long before the run.
constexpr time_t kRawClockStart = 1000;

constexpr twin::Microseconds kSecond = 1'000'000;

// The daemon may start this many threads; the guard names them so.
constexpr std::array kThreadNames = {"thread 1", "thread 2", "thread 3", "thread 4"};

void runThread(void* argument) {
    const auto entry = reinterpret_cast<void* (*)(void*)>(argument);
    entry(nullptr);
}

}  // namespace

void sleepMicroseconds(int microseconds) {
    twin::checkLockFree("a sleep");
    if (microseconds > 0) {
        twin::sleepUntil(twin::now() + microseconds);
    }
}

timespec readRawClock() {
    const twin::Microseconds time = twin::now();
    timespec result{};
    result.tv_sec = kRawClockStart + static_cast<time_t>(time / kSecond);
    result.tv_nsec = static_cast<long>(time % kSecond) * 1000;
    return result;
}

int startThread(pthread_t* thread, void* (*entry)(void*)) {
    static std::atomic<std::size_t> started{0};
    if (thread == nullptr || entry == nullptr) {
        return EINVAL;
    }
    const std::size_t index = started++;
    if (index >= kThreadNames.size() ||
        !twin::startActor(kThreadNames[index], runThread, reinterpret_cast<void*>(entry))) {
        return EAGAIN;
    }
    twin::noteThreadStart();
    *thread = static_cast<pthread_t>(index + 1);
    return 0;
}
