#include "twin/clock/virtual_clock.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <vector>

#include "twin/clock/fiber.h"
#include "twin/clock/locks.h"

namespace twin {

struct Actor {
    const char* name = nullptr;
    Fiber* fiber = nullptr;
    Microseconds wake = kNever;
    bool standsBack = false;  // others that are due at the same time go first
    HeldLocks locks{};
    const pthread_mutex_t* awaited = nullptr;
};

namespace virtual_clock {

namespace {

struct Event {
    Microseconds when;
    std::uint64_t number;  // order of scheduling
    void (*action)(std::int64_t);
    std::int64_t argument;

    bool operator>(const Event& other) const {
        return when != other.when ? when > other.when : number > other.number;
    }
};

std::array<Actor, 16> gActors;
HeldLocks gConsoleLocks;
std::size_t gActorCount = 0;
std::size_t gAwaiting = 0;  // actors that wait for a mutex
Actor* gRunning = nullptr;
std::uint64_t gEventsScheduled = 0;

// How far the console lets time go at present, and what makes it stop earlier.
Microseconds gLimit = 0;
const bool* gStop = nullptr;

// Read by the watching thread too.
std::atomic<Microseconds> gNow{0};
std::atomic<std::uint64_t> gTurns{0};
std::atomic<const char*> gRunningName{nullptr};
std::atomic<void (*)()> gInterrupt{nullptr};

// A heap with the earliest event in front; never destroyed.
std::vector<Event>& events() {
    static auto& heap = *new std::vector<Event>;
    return heap;
}

Microseconds nextEventTime() {
    return events().empty() ? kNever : events().front().when;
}

void advanceTo(Microseconds when) {
    if (when > now()) {
        gNow.store(when, std::memory_order_relaxed);
    }
}

// Whether `a` goes on before `b`, which was started earlier.
bool goesFirst(const Actor& a, const Actor& b) {
    return a.wake != b.wake ? a.wake < b.wake : b.standsBack && !a.standsBack;
}

// The actor with the earliest wake-up, the first started among equals; null if none will wake.
Actor* nextActor() {
    Actor* next = nullptr;
    for (std::size_t i = 0; i < gActorCount; ++i) {
        if (gActors[i].wake != kNever && (next == nullptr || goesFirst(gActors[i], *next))) {
            next = &gActors[i];
        }
    }
    return next;
}

void runFirstEvent() {
    std::vector<Event>& heap = events();
    const Event event = heap.front();
    std::pop_heap(heap.begin(), heap.end(), std::greater<>());
    heap.pop_back();
    advanceTo(event.when);
    gRunningName.store("event", std::memory_order_relaxed);
    event.action(event.argument);
}

void runActor(Actor& actor) {
    advanceTo(actor.wake);
    actor.wake = kNever;
    actor.standsBack = false;
    gRunning = &actor;
    gRunningName.store(actor.name, std::memory_order_relaxed);
    resumeFiber(*actor.fiber);
    gRunning = nullptr;
}

bool stopped() {
    return gStop != nullptr && *gStop;
}

// Lets time pass until `limit`, or until `*stop` becomes true.
void passTime(Microseconds limit, const bool* stop) {
    gLimit = limit;
    gStop = stop;
    gTurns.fetch_add(1, std::memory_order_relaxed);
    while (!stopped()) {
        takeInterrupt();
        Actor* const actor = nextActor();
        const Microseconds actorTime = actor == nullptr ? kNever : actor->wake;
        const Microseconds eventTime = nextEventTime();
        if (std::min(actorTime, eventTime) > limit) {
            advanceTo(limit);
            break;
        }
        if (eventTime <= actorTime) {
            runFirstEvent();
        } else {
            runActor(*actor);
        }
    }
    gRunningName.store(nullptr, std::memory_order_relaxed);
}

// Whether the running actor may go on at `when` without a switch: nothing else is due until then.
bool aloneUntil(Microseconds when) {
    const Actor* const next = nextActor();
    return when <= gLimit && !stopped() && when < nextEventTime() &&
           (next == nullptr || when < next->wake) &&
           gInterrupt.load(std::memory_order_relaxed) == nullptr;
}

}  // namespace

Microseconds now() {
    return gNow.load(std::memory_order_relaxed);
}

void scheduleEvent(Microseconds when, void (*action)(std::int64_t), std::int64_t argument) {
    std::vector<Event>& heap = events();
    heap.push_back({std::max(when, now()), gEventsScheduled++, action, argument});
    std::push_heap(heap.begin(), heap.end(), std::greater<>());
}

bool startActor(const char* name, void (*entry)(void*), void* argument) {
    if (gActorCount == gActors.size()) {
        return false;
    }
    Actor& actor = gActors[gActorCount++];
    actor = {name, makeFiber(entry, argument), now()};
    return true;
}

void suspend(Microseconds when, const bool* stop) {
    if (gRunning == nullptr) {
        passTime(when, stop);
        return;
    }
    if (when != kNever && aloneUntil(when)) {
        advanceTo(when);
        return;
    }
    gRunning->wake = when;
    yieldFiber(*gRunning->fiber);
}

Actor* runningActor() {
    return gRunning;
}

void wake(Actor& actor) {
    actor.wake = now();
}

bool letGoOn(const char* name) {
    Actor* const self = gRunning;
    for (std::size_t i = 0; i < gActorCount && self != nullptr; ++i) {
        const Actor& other = gActors[i];
        if (&other != self && std::strcmp(other.name, name) == 0 && other.wake != kNever) {
            self->wake = other.wake;
            self->standsBack = true;
            yieldFiber(*self->fiber);
            return true;
        }
    }
    return false;
}

HeldLocks& locksOfActor() {
    return gRunning == nullptr ? gConsoleLocks : gRunning->locks;
}

bool heldByAnother(const pthread_mutex_t* mutex) {
    for (std::size_t i = 0; i < gActorCount; ++i) {
        if (&gActors[i] != gRunning && holds(gActors[i].locks, mutex)) {
            return true;
        }
    }
    return false;
}

void waitForRelease(const pthread_mutex_t* mutex) {
    Actor* const self = gRunning;
    self->awaited = mutex;
    ++gAwaiting;
    self->wake = kNever;
    yieldFiber(*self->fiber);
}

void released(const pthread_mutex_t* mutex) {
    for (std::size_t i = 0; i < gActorCount && gAwaiting > 0; ++i) {
        if (gActors[i].awaited == mutex) {
            gActors[i].awaited = nullptr;
            --gAwaiting;
            wake(gActors[i]);
        }
    }
}

Progress progress() {
    return {gRunningName.load(std::memory_order_relaxed), now(),
            gTurns.load(std::memory_order_relaxed)};
}

void interrupt(void (*action)()) {
    gInterrupt.store(action, std::memory_order_relaxed);
}

void takeInterrupt() {
    if (gInterrupt.load(std::memory_order_relaxed) == nullptr) {
        return;
    }
    if (void (*const action)() = gInterrupt.exchange(nullptr)) {
        action();
    }
}

}  // namespace virtual_clock
}  // namespace twin
