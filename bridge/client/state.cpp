#include "bridge/client/state.h"

#include <algorithm>
#include <condition_variable>
#include <cstdio>
#include <deque>
#include <map>
#include <mutex>
#include <set>
#include <utility>
#include <vector>

#include "bridge/topics.h"
#include "bridge/transport.h"

namespace bridge::client {

namespace {

// How long an own set is believed in that does not come back: a camera behind a slow link passes
// values over. The first is for a set that the camera has answered, the second for one that only
// the broker has confirmed.
constexpr std::chrono::seconds kAfterAnswer{1};
constexpr std::chrono::seconds kAfterConfirmation{10};

struct Pending {
    unsigned number;
    std::string value;
    Clock::time_point until;
    bool accepted;
};

struct Entry {
    std::optional<std::string> heard;
    std::deque<Pending> own;  // in the order of the sets
    bool told = false;        // since beginState
};

struct Listener {
    std::string prefix;
    nbus_handler handler;
};

// A set for the listeners that there were when it was heard.
struct Delivery {
    std::string key;
    std::string value;
    std::size_t listeners;
};

// Guarded by the mutex; never destroyed, because the threads outlive main. No handler is called
// with the mutex held.
struct State {
    std::mutex mutex;
    std::condition_variable delivered;
    std::condition_variable changed;  // what waitUntil... wait for
    std::map<std::string, Entry, std::less<>> entries;
    std::vector<Listener> listeners;
    std::deque<Delivery> deliveries;
    std::deque<OwnSet> outgoing;
    std::set<unsigned> unconfirmed;        // own sets that the broker does not have yet
    std::map<unsigned, std::string> keys;  // of the own sets that wait for their answer
    unsigned lastNumber = 0;
    bool online = false;
    bool everOnline = false;
    bool overflowed = false;
};

State& state() {
    static auto& instance = *new State;
    return instance;
}

// The functions down to the end of this namespace are called with the mutex held.

void dropOutdated(Entry& entry) {
    while (!entry.own.empty() && entry.own.front().until < Clock::now()) {
        state().keys.erase(entry.own.front().number);
        entry.own.pop_front();
    }
}

void deliver(const std::string& key, const std::string& value) {
    State& s = state();
    if (s.deliveries.size() >= kMostDeliveries) {
        if (!std::exchange(s.overflowed, true)) {
            std::fputs("nbus: the program's handlers are too slow; sets are lost\n", stderr);
        }
        return;
    }
    s.overflowed = false;
    s.deliveries.push_back({key, value, s.listeners.size()});
    s.delivered.notify_one();
}

// Takes back what `value` shows to have come back: the oldest own set if it is that one, or a later
// one where all before it have been accepted, and were passed over then.
void matchOwn(Entry& entry, std::string_view value) {
    for (auto own = entry.own.begin(); own != entry.own.end(); ++own) {
        if (own->value == value) {
            for (auto past = entry.own.begin(); past != own + 1; ++past) {
                state().keys.erase(past->number);
            }
            entry.own.erase(entry.own.begin(), own + 1);
            return;
        }
        if (!own->accepted) {
            return;
        }
    }
}

Pending* pendingOf(unsigned number) {
    State& s = state();
    const auto key = s.keys.find(number);
    if (key == s.keys.end()) {
        return nullptr;
    }
    std::deque<Pending>& own = s.entries[key->second].own;
    const auto found = std::find_if(own.begin(), own.end(), [number](const Pending& pending) {
        return pending.number == number;
    });
    return found == own.end() ? nullptr : &*found;
}

bool isThere(const Entry& entry) {
    return entry.heard.has_value() || !entry.own.empty();
}

}  // namespace

void addListener(std::string_view prefix, nbus_handler handler) {
    const std::lock_guard lock(state().mutex);
    state().listeners.push_back({canonical(prefix), handler});
}

std::optional<std::string> valueOf(std::string_view key) {
    const std::lock_guard lock(state().mutex);
    const auto found = state().entries.find(canonical(key));
    if (found == state().entries.end()) {
        return std::nullopt;
    }
    Entry& entry = found->second;
    dropOutdated(entry);
    return entry.own.empty() ? entry.heard : entry.own.back().value;
}

std::optional<std::string> nameBelow(std::string_view prefix, int index) {
    const std::lock_guard lock(state().mutex);
    const std::string begin = canonical(prefix);
    const auto end = state().entries.end();
    for (auto i = state().entries.upper_bound(begin); i != end && i->first.starts_with(begin);
         ++i) {
        dropOutdated(i->second);
        if (isThere(i->second) && index-- == 0) {
            return i->first;
        }
    }
    return std::nullopt;
}

bool setOwn(std::string_view key, std::string_view value) {
    State& s = state();
    {
        const std::lock_guard lock(s.mutex);
        if (!s.online || s.outgoing.size() >= kMostOwnSets) {
            return false;
        }
        const unsigned number = ++s.lastNumber;
        const std::string name = canonical(key);
        s.entries[name].own.push_back(
            {number, std::string(value), Clock::time_point::max(), false});
        s.keys[number] = name;
        s.unconfirmed.insert(number);
        s.outgoing.push_back({number, name, std::string(value)});
    }
    wake();
    return true;
}

bool waitUntilOnline(Clock::time_point deadline) {
    std::unique_lock lock(state().mutex);
    return state().changed.wait_until(lock, deadline, [] { return state().online; });
}

void waitUntilSent(Clock::time_point deadline) {
    std::unique_lock lock(state().mutex);
    state().changed.wait_until(lock, deadline, [] { return state().unconfirmed.empty(); });
}

std::optional<OwnSet> nextOwn() {
    const std::lock_guard lock(state().mutex);
    if (!state().online || state().outgoing.empty()) {
        return std::nullopt;
    }
    OwnSet set = std::move(state().outgoing.front());
    state().outgoing.pop_front();
    return set;
}

void confirmOwn(unsigned number) {
    const std::lock_guard lock(state().mutex);
    state().unconfirmed.erase(number);
    Pending* const pending = pendingOf(number);
    if (pending != nullptr && !pending->accepted) {
        pending->until = Clock::now() + kAfterConfirmation;
    }
    state().changed.notify_all();
}

void acceptOwn(unsigned number) {
    const std::lock_guard lock(state().mutex);
    if (Pending* const pending = pendingOf(number); pending != nullptr) {
        pending->until = Clock::now() + kAfterAnswer;
        pending->accepted = true;
    }
}

std::string refuseOwn(unsigned number) {
    State& s = state();
    const std::lock_guard lock(s.mutex);
    s.unconfirmed.erase(number);
    s.changed.notify_all();
    const auto key = s.keys.find(number);
    if (key == s.keys.end()) {
        return {};
    }
    std::string name = std::move(key->second);
    s.keys.erase(key);
    std::erase_if(s.entries[name].own,
                  [number](const Pending& pending) { return pending.number == number; });
    return name;
}

void hear(std::string_view key, std::string_view value) {
    State& s = state();
    const std::lock_guard lock(s.mutex);
    const std::string name = canonical(key);
    Entry& entry = s.entries[name];
    dropOutdated(entry);
    matchOwn(entry, value);
    const bool differs = entry.heard != value;
    entry.heard = std::string(value);
    entry.told = true;
    if (s.online || (s.everOnline && differs)) {
        deliver(name, *entry.heard);
    }
}

void beginState() {
    const std::lock_guard lock(state().mutex);
    for (auto& [key, entry] : state().entries) {
        entry.told = false;
    }
}

void endState() {
    State& s = state();
    const std::lock_guard lock(s.mutex);
    for (auto& [key, entry] : s.entries) {
        if (!entry.told && !isMomentary(key) && entry.heard && !entry.heard->empty()) {
            entry.heard = "";
            deliver(key, "");
        }
    }
    s.online = true;
    s.everOnline = true;
    s.changed.notify_all();
}

std::size_t leave() {
    State& s = state();
    const std::lock_guard lock(s.mutex);
    const std::size_t lost = s.unconfirmed.size();
    for (auto& [key, entry] : s.entries) {
        entry.own.clear();
    }
    s.keys.clear();
    s.outgoing.clear();
    s.unconfirmed.clear();
    s.online = false;
    s.changed.notify_all();
    return lost;
}

void dispatch() {
    State& s = state();
    std::unique_lock lock(s.mutex);
    for (;;) {
        s.delivered.wait(lock, [&s] { return !s.deliveries.empty(); });
        const Delivery delivery = std::move(s.deliveries.front());
        s.deliveries.pop_front();
        for (std::size_t i = 0; i < delivery.listeners; ++i) {
            if (delivery.key.starts_with(s.listeners[i].prefix)) {
                const nbus_handler handler = s.listeners[i].handler;
                lock.unlock();
                handler(delivery.key.c_str(), delivery.value.c_str());
                lock.lock();
            }
        }
    }
}

}  // namespace bridge::client
