// One connection to the broker after the other. For the bridge's own thread.
#pragma once

#include <string>

#include "bridge/bus.h"
#include "bridge/options.h"

namespace bridge {

// How a connection ended.
struct Ending {
    bool wasOnline = false;  // the head was told to be there, with its whole state
    bool rival = false;      // another head has the same name
    std::string reason;      // empty after an end that was asked for
};

// Connects, and stays connected as long as possible: publishes what waits in outgoing.h, takes what
// comes in. Returns at the end of the connection, or if there was none. `online` is called when the
// head is there; `rival` tells that another head has used the name since this one was last there.
Ending serveConnection(const Options& options, const Bus& bus, void (*online)(bool rival));

}  // namespace bridge
