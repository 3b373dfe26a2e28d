// A service's connection to the broker, on a thread of its own.
#pragma once

#include <string>

#include "bridge/options.h"

namespace bridge::client {

// Starts the thread, which connects again and again. Once.
void startLink(const Options& options);

// Why the camera is not there.
struct Hindrance {
    std::string reason;
    bool final = false;  // waiting does not help: the broker refuses
};

// Any thread.
Hindrance hindrance();

// From here on every new hindrance, and its end, is a line on standard error. Any thread.
void sayHindrances();

// Ends the connection in good order and gives up after a second. Once, after startLink.
void stopLink();

}  // namespace bridge::client
