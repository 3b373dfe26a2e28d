// libkestrel-nbus: the camera's message bus for a program on a workstation, over a broker.
#include "platform/nbus.h"

#include <signal.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include "bridge/bus.h"
#include "bridge/client/environment.h"
#include "bridge/client/link.h"
#include "bridge/client/state.h"
#include "bridge/topics.h"

namespace {

using bridge::client::Clock;

constexpr std::chrono::seconds kFarewell{2};

std::mutex gInitialMutex;
bool gStarted = false;

// What the program has set last is sent before it ends.
void finish() {
    bridge::client::waitUntilSent(Clock::now() + kFarewell);
    bridge::client::stopLink();
}

void runDispatcher() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
    bridge::client::dispatch();
}

void start(const bridge::Options& options) {
    bridge::client::startLink(options);
    std::thread(runDispatcher).detach();
    std::atexit(finish);
    gStarted = true;
}

void say(const std::string& text) {
    std::fprintf(stderr, "nbus: %s\n", text.c_str());
}

// Waits in small steps, because a refusal ends it, too.
bool waitForCamera() {
    constexpr std::chrono::milliseconds kStep{50};
    const Clock::time_point deadline =
        Clock::now() + std::chrono::seconds(bridge::client::patienceSeconds());
    while (!bridge::client::waitUntilOnline(std::min(deadline, Clock::now() + kStep))) {
        if (bridge::client::hindrance().final || Clock::now() >= deadline) {
            return false;
        }
    }
    return true;
}

int copyOut(const std::optional<std::string>& text, char* buffer, int size) {
    if (!text) {
        return -1;
    }
    const std::size_t length = std::min(text->size(), static_cast<std::size_t>(size) - 1);
    std::memcpy(buffer, text->data(), length);
    buffer[length] = '\0';
    return 0;
}

// Why no camera would take the set; empty if nothing speaks against it.
std::string refusal(const std::string& key, std::string_view value) {
    if (key.empty() || key.size() > bridge::kLongestBusText) {
        return "a key has 1 to 127 bytes, this one " + std::to_string(key.size());
    }
    if (value.size() > bridge::kLongestBusText) {
        return "a value has at most 127 bytes, that for " + bridge::printable(key) + " has " +
               std::to_string(value.size());
    }
    return bridge::fitsTopic(key) ? "" : "no topic can hold the key " + bridge::printable(key);
}

}  // namespace

int nbus_initial(void) {
    const std::lock_guard lock(gInitialMutex);
    if (!gStarted) {
        std::string problem;
        const bridge::Options options = bridge::client::readEnvironment(problem);
        if (!problem.empty()) {
            say(problem);
            return -1;
        }
        start(options);
    }
    if (!waitForCamera()) {
        const std::string reason = bridge::client::hindrance().reason;
        say(reason.empty() ? "the broker does not answer; check KESTREL_MQTT" : reason);
        return -1;
    }
    bridge::client::sayHindrances();
    return 0;
}

int nbus_listen(const char* key, nbus_handler handler) {
    if (key == nullptr || handler == nullptr) {
        return -1;
    }
    bridge::client::addListener(key, handler);
    return 0;
}

int nbus_get(const char* key, char* value, int size) {
    if (key == nullptr || value == nullptr || size <= 0) {
        return -1;
    }
    return copyOut(bridge::client::valueOf(key), value, size);
}

int nbus_set(const char* key, const char* value) {
    if (key == nullptr || value == nullptr) {
        return -1;
    }
    if (const std::string problem = refusal(key, value); !problem.empty()) {
        say("set refused: " + problem);
        return -1;
    }
    return bridge::client::setOwn(key, value) ? 0 : -1;
}

int nbus_get_name(const char* prefix, int index, char* name, int size) {
    if (prefix == nullptr || name == nullptr || size <= 0 || index < 0) {
        return -1;
    }
    return copyOut(bridge::client::nameBelow(prefix, index), name, size);
}
