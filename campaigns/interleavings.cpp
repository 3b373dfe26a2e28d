#include "interleavings.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "shared.h"
#include "twin/boundary/bus.h"
#include "twin/boundary/library_calls.h"
#include "twin/clock/actors.h"

namespace interleavings {

namespace {

// As the twin calls the daemon's threads, in the order of `Other`.
constexpr const char* kDispatcher = "bus dispatcher";
constexpr const char* kActors[] = {kDispatcher, "main", "thread 1", "main"};

constexpr int kMillisecond = 1000;
constexpr int kPassMilliseconds = 10;
// A schedule takes about a millisecond; one that takes longer stands still.
constexpr unsigned kLongestSeconds = 20;

// Where a copy leaves its outcome.
constexpr std::size_t kLongestOutcome = 65536;
char* gOutcome = nullptr;

Hooks gHooks;

// Copies that startCopy has made and nobody has waited for.
int gCopies = 0;

void mapOutcome() {
    void* const memory =
        mmap(nullptr, kLongestOutcome, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        std::perror("mmap");
        std::abort();
    }
    gOutcome = static_cast<char*>(memory);
}

pid_t copyProcess() {
    const pid_t child = fork();
    if (child < 0) {
        std::perror("fork");
        std::abort();
    }
    return child;
}

// True in a copy of this process, which has to end by leave(). False in this one, once the copy has
// ended; `outcome` is then what it left.
bool becomeCopy(std::string& outcome) {
    const pid_t child = copyProcess();
    if (child == 0) {
        alarm(kLongestSeconds);
        gHooks.begin();
        return true;
    }
    int status = 0;
    waitpid(child, &status, 0);
    outcome = WIFSIGNALED(status)
                  ? "wrong: ended by signal " + std::to_string(WTERMSIG(status)) + "\n"
                  : std::string(gOutcome);
    return false;
}

[[noreturn]] void leave(const std::string& outcome) {
    const std::size_t length = std::min(outcome.size(), kLongestOutcome - 1);
    std::memcpy(gOutcome, outcome.data(), length);
    gOutcome[length] = '\0';
    _exit(0);
}

void set(const Act& act) {
    twin::setFromOutside(act.key, act.value);
}

void pass(int milliseconds) {
    twin::sleepUntil(twin::now() + static_cast<twin::Microseconds>(milliseconds) * kMillisecond);
}

// What this process does at the steps that are taken while its window is open.
struct Course {
    bool open = false;
    std::vector<Placement> placements;
    std::size_t placed = 0;
    std::uint64_t steps = 0;  // since the last placement
    // Not null: a copy is made at every step, places there, and this is told of its outcome.
    bool (*see)(std::uint64_t step, const std::string& outcome) = nullptr;
    std::uint64_t stride = 1;
    bool counting = false;  // nothing is placed
};

Course gCourse;

void atStep();

// Whether the act comes at the step, and not before.
bool comesThen(const Placement& placement) {
    return placement.other == Other::dispatcher || placement.other == Other::handedOver;
}

void openWindow(bool open) {
    gCourse.open = open;
    gBeforeSharedStep = open ? atStep : nullptr;
}

void place(const Placement& placement) {
    ++gCourse.placed;
    gCourse.steps = 0;
    openWindow(gCourse.placed < gCourse.placements.size());
    if (comesThen(placement)) {
        set(placement.act);
    }
    if (placement.other == Other::handedOver) {
        twin::letGoOn(kDispatcher);
    }
    twin::letGoOn(kActors[static_cast<std::size_t>(placement.other)]);
}

void atStep() {
    Course& course = gCourse;
    if (!course.open) {
        return;
    }
    const char* const running = twin::runProgress().running;
    if (running == nullptr || std::strcmp(running, "event") == 0) {
        return;
    }
    const Placement& next = course.placements[course.placed];
    if (std::strcmp(running, kActors[static_cast<std::size_t>(next.other)]) == 0 ||
        (comesThen(next) && std::strcmp(running, kDispatcher) == 0)) {
        return;
    }
    ++course.steps;
    if (course.counting) {
        return;
    }
    if (course.see == nullptr) {
        if (course.steps == next.step) {
            place(next);
        }
        return;
    }
    if (course.steps % course.stride != 0) {
        return;
    }
    std::string outcome;
    if (becomeCopy(outcome)) {
        course.see = nullptr;
        place(next);
        return;
    }
    if (!course.see(course.steps, outcome)) {
        leave("0");
    }
}

Late gLate = Late::none;

// Called first in a pass: that thread has waited until now.
void beLate() {
    const Other late = gLate == Late::main ? Other::main : Other::lens;
    const Other other = gLate == Late::main ? Other::lens : Other::main;
    const char* const running = twin::runProgress().running;
    if (running != nullptr && std::strcmp(running, kActors[static_cast<std::size_t>(late)]) == 0) {
        gBeforeSharedStep = nullptr;
        twin::letGoOn(kActors[static_cast<std::size_t>(other)]);
    }
}

void atCall(const char*) {
    atStep();
}

// From the opening of the window to the end; the outcome.
std::string run(const Window& window) {
    twin::onLibraryCall(atCall);
    for (const Act& act : window.opening) {
        set(act);
    }
    for (const Placement& placement : gCourse.placements) {
        if (!comesThen(placement)) {
            set(placement.act);
        }
    }
    openWindow(true);
    pass(window.milliseconds);
    openWindow(false);
    for (std::size_t i = gCourse.placed; i < gCourse.placements.size(); ++i) {
        if (comesThen(gCourse.placements[i])) {
            set(gCourse.placements[i].act);
        }
    }
    return gHooks.outcome();
}

}  // namespace

void useHooks(const Hooks& hooks) {
    gHooks = hooks;
}

void waitForCopies(int left) {
    for (; gCopies > left && wait(nullptr) > 0; --gCopies) {
    }
}

void startCopy(void (*body)(const void* argument), const void* argument) {
    ++gCopies;
    if (copyProcess() == 0) {
        mapOutcome();
        gHooks.begin();
        body(argument);
        _exit(0);
    }
}

std::string outcomeOf(const Window& window, Late late, const std::vector<Timed>& acts) {
    std::string outcome;
    if (!becomeCopy(outcome)) {
        return outcome;
    }
    for (const Act& act : window.opening) {
        set(act);
    }
    gLate = late;
    gBeforeSharedStep = late == Late::none ? nullptr : beLate;
    int time = 0;
    for (const Timed& timed : acts) {
        pass(timed.milliseconds - time);
        time = timed.milliseconds;
        set(timed.act);
        if (timed.late != Late::none) {
            gLate = timed.late;
            gBeforeSharedStep = beLate;
        }
    }
    pass(std::max(window.milliseconds - time, 2 * kPassMilliseconds));
    gBeforeSharedStep = nullptr;
    leave(gHooks.outcome());
}

std::string outcomeOf(const Window& window, const std::vector<Placement>& placements) {
    std::string outcome;
    if (becomeCopy(outcome)) {
        leave(play(window, placements));
    }
    return outcome;
}

std::string play(const Window& window, const std::vector<Placement>& placements) {
    gCourse.placements = placements;
    return run(window);
}

std::uint64_t countSteps(const Window& window, Other other) {
    std::string outcome;
    if (becomeCopy(outcome)) {
        gCourse.placements = {{{"", ""}, other, 0}};
        gCourse.counting = true;
        run(window);
        leave(std::to_string(gCourse.steps));
    }
    return std::strtoull(outcome.c_str(), nullptr, 10);
}

std::uint64_t placeEverywhere(const Window& window, const Act& act, Other other,
                              std::uint64_t stride,
                              bool (*see)(std::uint64_t step, const std::string& outcome)) {
    std::string outcome;
    if (!becomeCopy(outcome)) {
        return std::strtoull(outcome.c_str(), nullptr, 10);
    }
    alarm(0);
    gCourse.placements = {{act, other, 0}};
    gCourse.see = see;
    gCourse.stride = stride;
    const std::string last = run(window);
    // In a copy of this copy, made at a step, or in this one.
    leave(gCourse.placed != 0 ? last : std::to_string(gCourse.steps));
}

}  // namespace interleavings
