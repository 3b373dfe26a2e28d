#include "twin/boundary/bus.h"

#include <algorithm>
#include <cstring>
#include <deque>
#include <string_view>
#include <utility>

#include "platform/nbus.h"
#include "twin/boundary/power_cut.h"
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
    Gate delivery;
    bool dispatching = false;
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
    const std::string limit = " bytes, at most " + std::to_string(kLongestBusText) + " are taken";
    if (key.empty()) {
        return "a key needs a name";
    }
    if (key.size() > kLongestBusText) {
        return "key of " + std::to_string(key.size()) + limit;
    }
    if (value.size() > kLongestBusText && !faultActive("bus-overlong")) {
        return "value of " + std::to_string(value.size()) + limit;
    }
    return {};
}

// Stores, queues and tells the console's watch. World lock held.
void store(const char* kind, const std::string& key, const std::string& value) {
    Bus& b = bus();
    trace(kind, "%s %s", key.c_str(), value.c_str());
    b.values[key] = value;
    b.deliveries.push_back({key, value, b.listeners.size()});
    b.delivery.open();
    if (b.watch != nullptr && !b.watch->seen && b.watch->key == key && b.watch->value == value) {
        b.watch->seen = now();
        b.watch->gate.open();
    }
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

// The handler of the index-th listener if it listens to `key`, else null.
nbus_handler handlerFor(std::size_t index, const std::string& key) {
    const WorldLock world;
    const Listener& listener = bus().listeners[index];
    return key.starts_with(listener.prefix) ? listener.handler : nullptr;
}

void dispatch(void*) {
    for (;;) {
        bus().delivery.pass(kNever);
        while (const std::optional<Delivery> delivery = takeDelivery()) {
            for (std::size_t i = 0; i < delivery->listeners; ++i) {
                if (const nbus_handler handler = handlerFor(i, delivery->key)) {
                    handler(delivery->key.c_str(), delivery->value.c_str());
                }
            }
        }
    }
}

// Copies a text into the caller's buffer, cut and terminated.
void copyOut(const std::string& text, char* buffer, int size) {
    const std::size_t length = std::min(text.size(), static_cast<std::size_t>(size) - 1);
    std::memcpy(buffer, text.data(), length);
    buffer[length] = '\0';
}

}  // namespace

void startBus(const std::map<std::string, std::string>& keys) {
    for (const auto& [key, value] : keys) {
        bus().values[canonical(key)] = value;
    }
    if (!std::exchange(bus().dispatching, true)) {
        startActor("bus dispatcher", dispatch, nullptr);
    }
}

std::string setFromOutside(const std::string& key, const std::string& value) {
    const WorldLock world;
    std::string problem = refusal(key, value);
    if (problem.empty()) {
        store("cmd", canonical(key), value);
    }
    return problem;
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

std::optional<Microseconds> waitForSet(const std::string& key, const std::string& value,
                                       Microseconds deadline) {
    Watch watch;
    watch.key = canonical(key);
    watch.value = value;
    {
        const WorldLock world;
        bus().watch = &watch;
    }
    watch.gate.pass(deadline);
    const WorldLock world;
    bus().watch = nullptr;
    return watch.seen;
}

}  // namespace twin

int nbus_initial(void) {
    const twin::WorldLock world;
    return twin::callFails("nbus_initial") ? -1 : 0;
}

int nbus_listen(const char* key, nbus_handler handler) {
    const twin::WorldLock world;
    if (twin::callFails("nbus_listen") || key == nullptr || handler == nullptr) {
        return -1;
    }
    twin::bus().listeners.push_back({twin::canonical(key), handler});
    return 0;
}

int nbus_get(const char* key, char* value, int size) {
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
