// Packets on their way from the camera's process to the page's. A thread of their own sends them,
// so that nobody in the camera waits for a page that is slow. Any thread.
#pragma once

#include "twin/page/link.h"

namespace twin {

// Starts the sending thread. `idle` is called by it about every 40 ms. Once.
void openOutbox(int link, void (*idle)());

// Sends a packet in its turn.
void post(PacketKind kind, std::uint32_t number, std::string text);

// Sends a line of the trace in its turn. Where too many wait the oldest are given up, and a packet
// says how many; with the virtual clock, which does not mind, the caller waits instead.
void postTrace(const std::string& line);

// Sends the last packet, and waits until it and all before it are sent.
void closeOutbox(const Packet& last);

}  // namespace twin
