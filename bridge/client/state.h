// What a service knows of the camera's bus, and what it has set and the camera has not told yet.
// Filled by the connection's thread and by the program's, read by the program's; every function may
// be called from any thread.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "platform/nbus.h"

namespace bridge::client {

using Clock = std::chrono::steady_clock;

// A set of the program's on its way to the camera.
struct OwnSet {
    unsigned number = 0;
    std::string key;
    std::string value;
};

// The most sets that wait for the broker.
inline constexpr std::size_t kMostOwnSets = 4096;
// The most sets that wait for the program's handlers.
inline constexpr std::size_t kMostDeliveries = 65536;

// For the functions of the bus; keys may say cam1.

void addListener(std::string_view prefix, nbus_handler handler);
// The program's own latest set that has not come back yet, else what the camera told last.
std::optional<std::string> valueOf(std::string_view key);
std::optional<std::string> nameBelow(std::string_view prefix, int index);
// Returns false, and does nothing, if the camera is not there or too many sets wait.
bool setOwn(std::string_view key, std::string_view value);
// Waits until the camera is there with its whole state; false if that takes too long.
bool waitUntilOnline(Clock::time_point deadline);
// Waits until the broker has every own set, or the link is down.
void waitUntilSent(Clock::time_point deadline);

// For the connection.

// The next own set to be sent.
std::optional<OwnSet> nextOwn();
// The broker has it. Where no answer of the camera follows, it is believed to have gone through.
void confirmOwn(unsigned number);
// The camera has taken it, and tells it any moment.
void acceptOwn(unsigned number);
// It will not come back. Returns its key; empty if that has been known.
std::string refuseOwn(unsigned number);
// The camera has told a value. From the first endState on the listeners hear it; between beginState
// and endState they hear what differs from what they know.
void hear(std::string_view key, std::string_view value);
// The camera tells its whole state from here on. What is on its way is given up.
void beginState();
// It has told everything: what it does not hold any more is empty.
void endState();
// The link is down, or the camera is away. Returns how many own sets the broker had not confirmed.
std::size_t leave();

// Calls the handlers, for ever. For the one thread that does so.
[[noreturn]] void dispatch();

}  // namespace bridge::client
