// The HTTP server of the page: connections, their limits and time, answers on their way. One
// thread, the caller's.
#pragma once

#include <string>

namespace twin {

// Where to listen. An empty address is 127.0.0.1; port 0 is any free one.
struct PageAddress {
    std::string address;
    int port = 0;
};

// Listens. Returns an error text, empty on success; `url` is then where the page is found.
std::string openServer(const PageAddress& where, std::string& url);

// Readable when there is something to serve; and after how many milliseconds there is anyway.
int serverDescriptor();
int serverPatience();

// Does what is due.
void serveRequests();

// Events for everyone who looks: a line of the trace, a mark that so many are missing, the head.
void sendTraceEvent(const std::string& line);
void sendLostEvent(const std::string& count);
void sendHeadEvent(const std::string& json);

// Lets answers that are on their way go out, for a moment at most, and closes.
void closeServer();

}  // namespace twin
