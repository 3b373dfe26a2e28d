// What every connection of ours to a broker has in common: how it is set up, and the one loop that
// serves it. For the thread that serves the connection, but where something else is said.
#pragma once

#include <mosquitto.h>

#include <functional>
#include <string>

#include "bridge/options.h"

namespace bridge {

// The most messages that the broker has not confirmed yet.
inline constexpr int kMostUnconfirmed = 100;

// Gives a new client protocol, limits, account and certificates. Returns libmosquitto's code;
// `problem` says what else is wrong, and is empty if nothing is.
int prepareClient(mosquitto* client, const Options& options, std::string& problem);

// Connects. Returns libmosquitto's code, with errno beside it.
int connectClient(mosquitto* client, const Options& options);

// Waits for the broker, for wake() or for a second, and receives and sends what there is. Returns
// libmosquitto's code, with errno beside it.
int exchange(mosquitto* client);

// Something waits to be sent, or requestEnd was called. Any thread; does not block.
void wake();

// Has the connection that is there end in good order, and none begin. Any thread.
void requestEnd();

// Whether requestEnd was called. Any thread.
bool endRequested();

// Has `serve` make one connection after the other until requestEnd is called, with growing pauses
// between. It returns how often it has failed in a row. For a thread that does nothing else.
void serveConnections(const std::function<int()>& serve);

}  // namespace bridge
