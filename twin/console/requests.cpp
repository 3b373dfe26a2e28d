#include "twin/console/requests.h"

#include <sys/eventfd.h>

#include <deque>
#include <mutex>
#include <utility>

#include "twin/console/commands.h"

namespace twin {

namespace {

// Never destroyed: threads outlive main.
struct Queue {
    std::mutex mutex;
    std::deque<std::function<void()>> works;
};

Queue& queue() {
    static auto& instance = *new Queue;
    return instance;
}

std::function<void()> takeWork() {
    const std::lock_guard lock(queue().mutex);
    std::deque<std::function<void()>>& works = queue().works;
    if (works.empty()) {
        return nullptr;
    }
    std::function<void()> work = std::move(works.front());
    works.pop_front();
    // One is counted for each request.
    eventfd_t one = 0;
    eventfd_read(requestDescriptor(), &one);
    return work;
}

void carryOut(const Request& request) {
    bool good = true;
    Answers answers{request.answer, 0};
    for (const std::string& line : request.lines) {
        ++answers.line;
        good = execute(line, answers) && good;
    }
    request.done(good);
}

}  // namespace

void postWork(std::function<void()> work) {
    const std::lock_guard lock(queue().mutex);
    queue().works.push_back(std::move(work));
    eventfd_write(requestDescriptor(), 1);
}

void postCommands(Request request) {
    postWork([request = std::move(request)] { carryOut(request); });
}

int requestDescriptor() {
    static const int descriptor = eventfd(0, EFD_CLOEXEC | EFD_SEMAPHORE);
    return descriptor;
}

void executeRequests() {
    while (const auto work = takeWork()) {
        work();
    }
}

}  // namespace twin
