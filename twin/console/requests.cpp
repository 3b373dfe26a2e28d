#include "twin/console/requests.h"

#include <sys/eventfd.h>

#include <deque>
#include <mutex>
#include <optional>
#include <utility>

#include "twin/console/commands.h"

namespace twin {

namespace {

// Never destroyed: threads outlive main.
struct Queue {
    std::mutex mutex;
    std::deque<Request> requests;
};

Queue& queue() {
    static auto& instance = *new Queue;
    return instance;
}

std::optional<Request> takeRequest() {
    const std::lock_guard lock(queue().mutex);
    std::deque<Request>& requests = queue().requests;
    if (requests.empty()) {
        return std::nullopt;
    }
    Request request = std::move(requests.front());
    requests.pop_front();
    // One is counted for each request.
    eventfd_t one = 0;
    eventfd_read(requestDescriptor(), &one);
    return request;
}

}  // namespace

void postCommands(Request request) {
    const std::lock_guard lock(queue().mutex);
    queue().requests.push_back(std::move(request));
    eventfd_write(requestDescriptor(), 1);
}

int requestDescriptor() {
    static const int descriptor = eventfd(0, EFD_CLOEXEC | EFD_SEMAPHORE);
    return descriptor;
}

void executeRequests() {
    while (const std::optional<Request> request = takeRequest()) {
        bool good = true;
        Answers answers{request->answer, 0};
        for (const std::string& line : request->lines) {
            ++answers.line;
            good = execute(line, answers) && good;
        }
        request->done(good);
    }
}

}  // namespace twin
