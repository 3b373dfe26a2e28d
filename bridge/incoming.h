// What comes from the broker: sets for the bus, and what strangers put on the head's own topics.
#pragma once

#include <string>
#include <string_view>

#include "bridge/bus.h"

namespace bridge {

// A message on one of the head's topics.
struct Incoming {
    std::string topic;
    std::string_view payload;
    bool retained = false;
    std::string answerTopic;  // empty: nobody waits for an answer
    std::string correlation;
};

// Carries the message out or refuses it. A set reaches the bus in here; what is refused is told as
// an error, and whoever asked for an answer gets one. For the bridge's own thread.
void takeIncoming(const Incoming& message, const Bus& bus);

}  // namespace bridge
