#include "twin/clock/real_clock.h"

#include <algorithm>
#include <atomic>
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

// How the run's time follows the wall's: from this pair of moments on.
struct Pace {
    Wall::time_point wall;
    double run = 0.0;  // microseconds
    double speed = 1.0;
    const Pace* former = nullptr;  // kept: somebody may be reading it

    double runAt(Wall::time_point moment) const {
        const std::chrono::duration<double, std::micro> passed = moment - wall;
        return run + passed.count() * speed;
    }
};

std::atomic<const Pace*> gPace{nullptr};

const Pace& pace() {
    const Pace* const present = gPace.load(std::memory_order_acquire);
    if (present != nullptr) {
        return *present;
    }
    // Nobody has chosen a speed: the run begins now.
    static const Pace first{Wall::now(), 0.0, 1.0, nullptr};
    return first;
}

// Those who sleep. Never destroyed: threads outlive main.
struct Sleepers {
    std::mutex mutex;
    std::condition_variable changed;
};

Sleepers& sleepers() {
    static auto& all = *new Sleepers;
    return all;
}

EventQueue& eventQueue();

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
    const Wall::time_point moment = Wall::now();
    const Pace* const former = gPace;
    gPace = new Pace{moment, former == nullptr ? 0.0 : former->runAt(moment), speed, former};
    if (former == nullptr) {
        return;
    }
    {
        const std::lock_guard lock(sleepers().mutex);
        sleepers().changed.notify_all();
    }
    const std::lock_guard lock(eventQueue().mutex);
    eventQueue().changed.notify_one();
}

double speed() {
    return pace().speed;
}

Microseconds now() {
    return static_cast<Microseconds>(pace().runAt(Wall::now()));
}

Wall::time_point wallTime(Microseconds when) {
    const Pace& present = pace();
    const std::chrono::duration<double, std::micro> left((static_cast<double>(when) - present.run) /
                                                         present.speed);
    return present.wall + std::chrono::ceil<Wall::duration>(left);
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
    std::unique_lock lock(sleepers().mutex);
    while (now() < when) {
        sleepers().changed.wait_until(lock, wallTime(when));
    }
}

}  // namespace twin::real_clock
