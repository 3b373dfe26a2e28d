#include "twin/boundary/bus.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <deque>
#include <string_view>
#include <utility>

#include "platform/nbus.h"
#include "twin/boundary/changes.h"
#include "twin/boundary/library_calls.h"
#include "twin/clock/actors.h"
#include "twin/trace/output.h"
#include "twin/trace/trace.h"
#include "twin/world/faults.h"

namespace twin {

namespace {

struct Listener {
    std::string prefix;
    nbus_handler handler;
};

// One set on its way to the listeners that there were when it was made.
struct Delivery {
    std::string key;
    std::string value;
    std::size_t listeners;
};

// A set that a later wait of the console may ask for.
struct PastSet {
    std::string key;
    std::string value;
    Microseconds time;
};

// The most of them; the oldest go first.
constexpr std::size_t kMostPastSets = 10'000;

// What the console waits for.
struct Watch {
    std::string key;
    std::string value;
    std::optional<Microseconds> seen;
    Gate gate;
};

// Guarded by the world's lock; never destroyed.
struct Bus {
    std::map<std::string, std::string, std::less<>> values;
    std::vector<Listener> listeners;
    std::deque<Delivery> deliveries;
    Watch* watch = nullptr;
    bool brokenOff = false;  // the console's command is to end
    // The sets that the console's next wait counts: those later than `quietUntil`.
    std::deque<PastSet> pastSets;
    Microseconds quietUntil = 0;
    Gate delivery;
    bool dispatching = false;
    std::uint64_t sets = 0;       // that were ever made
    std::uint64_t delivered = 0;  // of them
    std::uint64_t awaited = 0;    // how many have to be before `caughtUp` opens
    Gate caughtUp;
    void (*note)(const std::string&, const std::string&) = nullptr;
};

Bus& bus() {
    static auto& instance = *new Bus;
    return instance;
}

// The daemon's own camera is number 1, and its keys are known under the name camN.
std::string canonical(std::string_view key) {
    constexpr std::string_view kOwnCamera = "cam1";
    std::string result(key);
    for (std::size_t begin = 0; begin < result.size();) {
        const std::size_t end = std::min(result.find('.', begin), result.size());
        if (std::string_view(result).substr(begin, end - begin) == kOwnCamera) {
            result.replace(begin, kOwnCamera.size(), "camN");
        }
        begin = end + 1;
    }
    return result;
}

using Values = std::map<std::string, std::string, std::less<>>;

// From here on come the keys that begin with the prefix and are longer, and then the others.
Values::const_iterator firstBelow(const std::string& prefix) {
    return bus().values.upper_bound(prefix);
}

// Why the bus does not take the set; empty if it does. World lock held.
std::string refusal(std::string_view key, std::string_view value) {
    if (key.empty()) {
        return "a key needs a name";
    }
    const bool longKey = key.size() > kLongestBusText;
    if (longKey || (value.size() > kLongestBusText && !faultActive("bus-overlong"))) {
        return (longKey ? "key of " + std::to_string(key.size())
                        : "value of " + std::to_string(value.size())) +
               " bytes, at most " + std::to_string(kLongestBusText) + " are taken";
    }
    return {};
}

// The console's next wait counts the sets that are made later than `time`. World lock held.
void countSetsLaterThan(Microseconds time) {
    bus().pastSets.clear();
    bus().quietUntil = time;
}

// Before any time of the run: every set from here on counts.
constexpr Microseconds kAlready = -1;

// Tells the console's watch, or keeps the set for its next wait. World lock held.
void noteSet(const std::string& key, const std::string& value) {
    Bus& b = bus();
    const Microseconds time = now();
    if (b.watch != nullptr && !b.watch->seen && b.watch->key == key && b.watch->value == value) {
        b.watch->seen = time;
        b.watch->gate.open();
        countSetsLaterThan(kAlready);
    } else if (time > b.quietUntil) {
        b.pastSets.push_back({key, value, time});
        if (b.pastSets.size() > kMostPastSets) {
            b.pastSets.pop_front();
        }
    }
}

// Stores, queues and tells the console. World lock held.
void store(const char* kind, const std::string& key, const std::string& value) {
    Bus& b = bus();
    trace(kind, "%s %s", key.c_str(), value.c_str());
    const auto [kept, fresh] = b.values.try_emplace(key);
    if (b.note != nullptr && (fresh || kept->second != value)) {
        b.note(key, value);
    }
    kept->second = value;
    b.deliveries.push_back({key, value, b.listeners.size()});
    ++b.sets;
    b.delivery.open();
    noteSet(key, value);
}

// Returns why the bus does not take it; empty if it does. World lock held.
std::string storeFromOutside(const std::string& key, const std::string& value) {
    std::string problem = refusal(key, value);
    if (problem.empty()) {
        store("cmd", canonical(key), value);
    }
    return problem;
}

// Takes the first set of `key` to `value` that the console's next wait counts, and those before it.
// World lock held.
std::optional<Microseconds> takePastSet(const std::string& key, const std::string& value) {
    std::deque<PastSet>& sets = bus().pastSets;
    const auto found = std::find_if(sets.begin(), sets.end(), [&](const PastSet& set) {
        return set.key == key && set.value == value;
    });
    if (found == sets.end()) {
        return std::nullopt;
    }
    const Microseconds time = found->time;
    sets.erase(sets.begin(), found + 1);
    return time;
}

// Waits for the watch's set, or for the deadline.
WaitEnd waitFor(Watch& watch, Microseconds deadline) {
    Bus& b = bus();
    {
        const WorldLock world;
        if (b.brokenOff) {
            return {{}, true};
        }
        if (const auto past = takePastSet(watch.key, watch.value)) {
            return {past, false};
        }
        countSetsLaterThan(deadline);
        b.watch = &watch;
    }
    watch.gate.pass(deadline);
    const WorldLock world;
    b.watch = nullptr;
    if (b.brokenOff && !watch.seen) {
        b.quietUntil = std::min(b.quietUntil, now());
    }
    return {watch.seen, b.brokenOff && !watch.seen};
}

// Takes the oldest set that was not delivered yet.
std::optional<Delivery> takeDelivery() {
    const WorldLock world;
    Bus& b = bus();
    if (b.deliveries.empty()) {
        return std::nullopt;
    }
    Delivery delivery = std::move(b.deliveries.front());
    b.deliveries.pop_front();
    return delivery;
}

// The handler of the first listener to the delivery's key from the `next`-th on, null if there is
// none. `next` moves behind it.
nbus_handler nextHandler(const Delivery& delivery, std::size_t& next) {
    const WorldLock world;
    while (next < delivery.listeners) {
        const Listener& listener = bus().listeners[next++];
        if (listener.handler != nullptr && delivery.key.starts_with(listener.prefix)) {
            return listener.handler;
        }
    }
    return nullptr;
}

void countDelivery() {
    const WorldLock world;
    if (++bus().delivered == bus().awaited) {
        bus().caughtUp.open();
    }
}

void dispatch(void*) {
    for (;;) {
        bus().delivery.pass(kNever);
        while (const std::optional<Delivery> delivery = takeDelivery()) {
            std::size_t next = 0;
            while (const nbus_handler handler = nextHandler(*delivery, next)) {
                handler(delivery->key.c_str(), delivery->value.c_str());
            }
            countDelivery();
        }
    }
}

void enterBus(const char* name) {
    checkLockFree(name);
    enterLibrary(name);
}

// Copies a text into the caller's buffer, cut and terminated.
void copyOut(const std::string& text, char* buffer, int size) {
    const std::size_t length = std::min(text.size(), static_cast<std::size_t>(size) - 1);
    std::memcpy(buffer, text.data(), length);
    buffer[length] = '\0';
}

}  // namespace

void onNewValue(void (*note)(const std::string& key, const std::string& value)) {
    bus().note = note;
}

void startBus(const std::map<std::string, std::string>& keys) {
    for (const auto& [key, value] : keys) {
        bus().values[canonical(key)] = value;
    }
    if (!std::exchange(bus().dispatching, true)) {
        startActor(kDispatcher, dispatch, nullptr);
    }
}

std::string setFromOutside(const std::string& key, const std::string& value) {
    const WorldLock world;
    return storeFromOutside(key, value);
}

std::string setFromFault(const char* function, const std::string& key, const std::string& value) {
    const WorldLock world;
    std::string problem = refusal(key, value);
    if (problem.empty()) {
        trace("head", "set-at %s", function);
        store("cmd", canonical(key), value);
    }
    return problem;
}

std::string setFromConsole(const std::string& key, const std::string& value) {
    const WorldLock world;
    std::string problem = storeFromOutside(key, value);
    if (problem.empty()) {
        countSetsLaterThan(kAlready);
    }
    return problem;
}

int listenFromOutside(const char* prefix, nbus_handler handler) {
    const WorldLock world;
    bus().listeners.push_back({canonical(prefix), handler});
    return 0;
}

void waitUntilDelivered(Microseconds deadline) {
    Bus& b = bus();
    {
        const WorldLock world;
        if (b.delivered == b.sets) {
            return;
        }
        b.awaited = b.sets;
    }
    b.caughtUp.pass(deadline);
}

std::optional<std::string> busValue(const std::string& key) {
    const WorldLock world;
    const auto found = bus().values.find(canonical(key));
    return found == bus().values.end() ? std::nullopt : std::optional(found->second);
}

std::map<std::string, std::string> busKeysBelow(const std::string& prefix) {
    const WorldLock world;
    const std::string begin = canonical(prefix);
    std::map<std::string, std::string> result;
    for (auto i = firstBelow(begin); i != bus().values.end() && i->first.starts_with(begin); ++i) {
        result.insert(*i);
    }
    return result;
}

void countWaitsFromNow() {
    const WorldLock world;
    countSetsLaterThan(kAlready);
}

WaitEnd letTimePass(Microseconds deadline) {
    Watch nothing;
    return waitFor(nothing, deadline);
}

WaitEnd waitForSet(const std::string& key, const std::string& value, Microseconds deadline) {
    Watch watch;
    watch.key = canonical(key);
    watch.value = value;
    return waitFor(watch, deadline);
}

void breakWaitsOff(bool broken) {
    const WorldLock world;
    Bus& b = bus();
    b.brokenOff = broken;
    if (broken && b.watch != nullptr) {
        b.watch->gate.open();
    }
}

}  // namespace twin

int nbus_initial(void) {
    twin::enterBus("nbus_initial");
    const twin::WorldLock world;
    return twin::callFails("nbus_initial") ? -1 : 0;
}

int nbus_listen(const char* key, nbus_handler handler) {
    twin::enterBus("nbus_listen");
    const twin::WorldLock world;
    if (twin::callFails("nbus_listen") || key == nullptr || handler == nullptr) {
        return -1;
    }
    twin::bus().listeners.push_back({twin::canonical(key), handler});
    return 0;
}

int nbus_get(const char* key, char* value, int size) {
    twin::enterBus("nbus_get");
    const twin::WorldLock world;
    if (twin::callFails("nbus_get") || key == nullptr || value == nullptr || size <= 0) {
        return -1;
    }
    const auto found = twin::bus().values.find(twin::canonical(key));
    if (found == twin::bus().values.end()) {
        return -1;
    }
    twin::copyOut(found->second, value, size);
    return 0;
}

int nbus_set(const char* key, const char* value) {
    twin::beforeChange("bus", key == nullptr ? "" : key);
    twin::enterBus("nbus_set");
    const twin::WorldLock world;
    const bool fails = twin::callFails("nbus_set") || twin::faultActive("bus-refuse");
    if (fails || key == nullptr || value == nullptr) {
        return -1;
    }
    if (const std::string problem = twin::refusal(key, value); !problem.empty()) {
        twin::complain("the bus refuses a set of the daemon: " + problem);
        return -1;
    }
    twin::store("bus", twin::canonical(key), value);
    return 0;
}

int nbus_get_name(const char* prefix, int index, char* name, int size) {
    twin::enterBus("nbus_get_name");
    const twin::WorldLock world;
    if (twin::callFails("nbus_get_name") || prefix == nullptr || name == nullptr || size <= 0) {
        return -1;
    }
    const std::string begin = twin::canonical(prefix);
    auto key = twin::firstBelow(begin);
    const auto end = twin::bus().values.cend();
    for (int i = 0; i < index && key != end && key->first.starts_with(begin); ++i) {
        ++key;
    }
    if (index < 0 || key == end || !key->first.starts_with(begin)) {
        return -1;
    }
    twin::copyOut(key->first, name, size);
    return 0;
}
