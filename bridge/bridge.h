// The bus on an MQTT broker, both ways, for as long as the process runs.
#pragma once

#include <string>

#include "bridge/bus.h"
#include "bridge/options.h"

namespace bridge {

// The program that the bridge runs in.
struct Program {
    const char* name;
    const char* version;
    const char* kind;  // what others are told that the head is: "camera" or "twin"
    Bus bus;
    void (*report)(const std::string& line);  // one line for the person who runs it; any thread
};

// Listens to the bus, takes over what it holds and starts the bridge's own thread, which connects
// to the broker, again and again. Returns why that is not possible; empty on success. Once.
std::string startBridge(const Options& options, const Program& program);

// Ends the connection in good order, with `offline`, and gives up after two seconds. At most once,
// after startBridge.
void stopBridge();

}  // namespace bridge
