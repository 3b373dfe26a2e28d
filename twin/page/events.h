// The events on their way to those who look at them. One thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>

namespace twin {

// What waits for one reader. Of the trace the oldest is given up where the reader is too slow, and
// a mark says how much; of the head the latest state is enough.
struct EventQueue {
    std::deque<std::shared_ptr<const std::string>> trace;
    std::size_t bytes = 0;
    std::uint64_t lost = 0;
    std::string head;
    std::string text;  // being read
    std::size_t read = 0;
};

// The text of a server-sent event.
std::string eventText(const char* event, const std::string& json);

void queueTrace(EventQueue& queue, const std::shared_ptr<const std::string>& event);
void queueHead(EventQueue& queue, const std::string& event);

// Takes up to `most` bytes of what waits; 0 if nothing does.
std::size_t readEvents(EventQueue& queue, char* buffer, std::size_t most);

}  // namespace twin
