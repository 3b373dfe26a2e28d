// The message bus behind the daemon's boundary, as the other services of the camera and the console
// see it.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/nbus.h"
#include "twin/clock/timeline.h"

namespace twin {

// The longest key and the longest value, in bytes, that the bus takes.
constexpr std::size_t kLongestBusText = 127;

// The name of the actor on which the daemon's handlers run.
constexpr const char* kDispatcher = "bus dispatcher";

// Fills the bus with what it holds when the camera is powered up, without telling anyone, and
// starts the dispatcher. Once, before the daemon uses the bus.
void startBus(const std::map<std::string, std::string>& keys);

// What is called, with the world lock held, when a key has got a value that it did not have. Once,
// before startBus.
void onNewValue(void (*note)(const std::string& key, const std::string& value));

// Another service sets a key. Returns an error text, empty on success.
std::string setFromOutside(const std::string& key, const std::string& value);

// The same from the console: a wait counts from this set on.
std::string setFromConsole(const std::string& key, const std::string& value);

// The same as the fault set-at makes it before the daemon calls `function`, which the trace tells
// if the bus takes the set.
std::string setFromFault(const char* function, const std::string& key, const std::string& value);

// Another service listens: `handler` hears every later set of every key that begins with `prefix`,
// as platform/nbus.h has it. Real clock only. Returns 0.
int listenFromOutside(const char* prefix, nbus_handler handler);

// Waits until the listeners have heard every set that has been made so far, at most until
// `deadline`. Not by two at a time.
void waitUntilDelivered(Microseconds deadline);

// The key's value; none if there is no such key.
std::optional<std::string> busValue(const std::string& key);

// All keys that begin with `prefix` and are longer than it, in byte order.
std::map<std::string, std::string> busKeysBelow(const std::string& prefix);

// The console's waits. For the console only, as is setFromConsole. A wait counts the sets since the
// console last changed the world or let time pass, so that nothing is missed between two commands,
// however long that takes; some ten thousand at most are looked back on.

// A wait counts from now on: what the console does next changes the world.
void countWaitsFromNow();

// How a wait ended: with the set (when it was made), broken off, or at its deadline.
struct WaitEnd {
    std::optional<Microseconds> seen;
    bool brokenOff = false;
};

// Lets time pass until `deadline`.
WaitEnd letTimePass(Microseconds deadline);

// Waits until somebody sets `key` to `value`, which may have happened already, at most until
// `deadline`.
WaitEnd waitForSet(const std::string& key, const std::string& value, Microseconds deadline);

// Breaks off the wait that the console is in, and those that it begins later, until it is called
// with false. With the real clock for any thread.
void breakWaitsOff(bool broken);

}  // namespace twin
