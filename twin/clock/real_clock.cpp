#include "twin/clock/real_clock.h"

#include <algorithm>
#include <condition_variable>
#include <map>
#include <mutex>
#include <system_error>
#include <thread>

namespace twin::real_clock {

namespace {

using Wall = std::chrono::steady_clock;

struct Event {
    void (*action)(std::int64_t);
    std::int64_t argument;
};

// What the event thread shares with those who schedule. Never destroyed: threads outlive main.
struct EventQueue {
    std::mutex mutex;
    std::condition_variable changed;
    std::multimap<Microseconds, Event> events;  // equal times in the order of scheduling
};

double gSpeed = 1.0;

EventQueue& eventQueue();

Wall::time_point startOfRun() {
    static const Wall::time_point start = Wall::now();
    return start;
}

[[noreturn]] void runEvents(EventQueue& queue) {
    std::unique_lock lock(queue.mutex);
    for (;;) {
        if (queue.events.empty()) {
            queue.changed.wait(lock);
            continue;
        }
        const auto first = queue.events.begin();
        if (first->first > now()) {
            queue.changed.wait_until(lock, wallTime(first->first));
            continue;
        }
        const Event event = first->second;
        queue.events.erase(first);
        lock.unlock();
        {
            const WorldLock world;
            event.action(event.argument);
        }
        lock.lock();
    }
}

EventQueue& eventQueue() {
    static EventQueue& queue = *[] {
        auto* const created = new EventQueue;
        std::thread([created] { runEvents(*created); }).detach();
        return created;
    }();
    return queue;
}

}  // namespace

void setSpeed(double speed) {
    gSpeed = speed;
    startOfRun();
}

Microseconds now() {
    const std::chrono::duration<double, std::micro> passed = Wall::now() - startOfRun();
    return static_cast<Microseconds>(passed.count() * gSpeed);
}

Wall::time_point wallTime(Microseconds when) {
    const std::chrono::duration<double, std::micro> passed(static_cast<double>(when) / gSpeed);
    return startOfRun() + std::chrono::ceil<Wall::duration>(passed);
}

void scheduleEvent(Microseconds when, void (*action)(std::int64_t), std::int64_t argument) {
    EventQueue& queue = eventQueue();
    const std::lock_guard lock(queue.mutex);
    queue.events.emplace(std::max(when, now()), Event{action, argument});
    queue.changed.notify_one();
}

bool startActor(void (*entry)(void*), void* argument) {
    try {
        std::thread(entry, argument).detach();
        return true;
    } catch (const std::system_error&) {
        return false;
    }
}

void sleepUntil(Microseconds when) {
    std::this_thread::sleep_until(wallTime(when));
}

}  // namespace twin::real_clock
