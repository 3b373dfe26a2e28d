#include "twin/page/events.h"

#include <algorithm>

namespace twin {

namespace {

constexpr std::size_t kMostWaiting = std::size_t{256} * 1024;  // bytes of trace for one reader
constexpr std::size_t kRefill = std::size_t{16} * 1024;

void refill(EventQueue& queue) {
    queue.text.clear();
    queue.read = 0;
    if (queue.lost > 0) {
        queue.text = eventText("lost", R"({"count":)" + std::to_string(queue.lost) + "}");
        queue.lost = 0;
    }
    while (!queue.trace.empty() && queue.text.size() < kRefill) {
        queue.text += *queue.trace.front();
        queue.bytes -= queue.trace.front()->size();
        queue.trace.pop_front();
    }
    queue.text += queue.head;
    queue.head.clear();
}

}  // namespace

std::string eventText(const char* event, const std::string& json) {
    return std::string("event: ") + event + "\ndata: " + json + "\n\n";
}

void queueTrace(EventQueue& queue, const std::shared_ptr<const std::string>& event) {
    queue.trace.push_back(event);
    queue.bytes += event->size();
    while (queue.bytes > kMostWaiting) {
        queue.bytes -= queue.trace.front()->size();
        queue.trace.pop_front();
        ++queue.lost;
    }
}

void queueHead(EventQueue& queue, const std::string& event) {
    queue.head = event;
}

std::size_t readEvents(EventQueue& queue, char* buffer, std::size_t most) {
    if (queue.read == queue.text.size()) {
        refill(queue);
    }
    const std::size_t count = std::min(most, queue.text.size() - queue.read);
    std::copy_n(queue.text.data() + queue.read, count, buffer);
    queue.read += count;
    return count;
}

}  // namespace twin
