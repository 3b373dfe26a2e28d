#include "twin/replay/player.h"

#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "twin/boundary/bus.h"
#include "twin/boundary/readiness.h"
#include "twin/camera/place.h"
#include "twin/clock/actors.h"
#include "twin/console/commands.h"
#include "twin/replay/orders.h"
#include "twin/trace/output.h"
#include "twin/trace/trace.h"

namespace twin {

namespace {

constexpr Microseconds kLongestStart = 60'000'000;

// The steps in which the replay looks for an order.
constexpr Microseconds kLook = 1'000;

bool writeFile(const std::string& path, const std::string& content) {
    std::error_code error;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), error);
    std::ofstream stream(path, std::ios::binary | std::ios::trunc);
    stream << content << std::flush;
    return stream.good();
}

// Whether the path stays below the directory that it is added to.
bool staysBelow(const std::string& path) {
    const std::filesystem::path inside(path);
    return inside.is_absolute() && inside.lexically_normal() == inside;
}

// Where a failed act is told.
void complainOf(const RecordedEvent& event, const std::string& problem) {
    if (!problem.empty()) {
        complain("the recorded " + event.kind + " " + event.text + ": " + problem);
    }
}

std::string set(const RecordedEvent& event) {
    const std::size_t blank = std::min(event.text.find(' '), event.text.size());
    return setFromOutside(event.text.substr(0, blank),
                          event.text.substr(std::min(blank + 1, event.text.size())));
}

// Lays the run's camera into the place that has been taken (place.h). An error text, empty on
// success.
std::string layCamera(const RecordedRun& run) {
    const std::string& place = placeOfCamera();
    bool good = true;
    if (!run.head.empty()) {
        good = writeFile(place + "/head", textLines(run.head));
    }
    if (!run.bus.empty()) {
        good = writeFile(place + "/bus", textLines(run.bus)) && good;
    }
    for (const auto& [path, content] : run.files) {
        if (!staysBelow(path)) {
            return "the recorded file '" + path + "' is none of a camera's";
        }
        good = writeFile(place + "/root" + path, content) && good;
    }
    return good ? "" : failureOf(place, "cannot be written");
}

void perform(const RecordedEvent& event) {
    std::string problem;
    if (event.kind == "cmd") {
        problem = set(event);
        settle();
    } else if (event.text.starts_with("speed ")) {
        // The replay has a clock of its own.
        trace("act", "%s", event.text.c_str());
    } else {
        execute(event.text, {[&](const std::string& answer) {
                                 problem = answer.starts_with("error ") ? answer : problem;
                             },
                             0});
    }
    complainOf(event, problem);
}

// The same of the replay; the trace tells of them.
OrdersOfAxes& givenOrders() {
    static auto& orders = *new OrdersOfAxes;
    return orders;
}

const RunWatcher* gWatcher = nullptr;

void noteOrder(const std::string& line) {
    const std::size_t kind = line.find(' ') + 1;
    const std::size_t text = line.find(' ', kind) + 1;
    const std::string axis = axisOf(line.substr(kind, text - kind - 1), line.substr(text));
    if (!axis.empty()) {
        givenOrders()[axis].add(now());
    }
}

void takeLine(const std::string& line) {
    noteOrder(line);
    if (gWatcher != nullptr) {
        gWatcher->trace(line);
    }
}

// Lets time pass, and the watcher look meanwhile.
void passUntil(Microseconds when) {
    while (gWatcher != nullptr && now() / kWatchPeriod < when / kWatchPeriod) {
        sleepUntil((now() / kWatchPeriod + 1) * kWatchPeriod);
        gWatcher->look();
    }
    sleepUntil(when);
}

// Lets time pass until the replay's act should come: `time`, or the same order's turn.
void passUntilOrder(const Anchor& anchor, Microseconds time) {
    const Orders& given = givenOrders()[anchor.axis];
    passUntil(time - kMostMoved);
    while (given.count < anchor.count && now() < time + kMostMoved) {
        passUntil(now() + kLook);
    }
    if (given.count != anchor.count) {
        passUntil(time);
        return;
    }
    Microseconds past = anchor.past;
    if (const Microseconds period = beatOf(given); anchor.period != 0 && period != 0) {
        // Before the next order, however late that was when the run was recorded.
        past = std::min(past * period / anchor.period, period * 9 / 10);
    }
    passUntil(std::min(given.last + past, time + kMostMoved));
}

void give(const RecordedEvent& act) {
    countFrom(act, now(), givenOrders());
    perform(act);
}

// Gives each of them at its order's turn: where one loop gives the orders of several axes at an
// instant, it was between two of them when the run was recorded, and the later word may be the
// first one here.
void giveStops(const RecordedRun& run, std::vector<Stop> stops) {
    const Microseconds time = run.events[stops.front().index].time;
    passUntil(time - kMostMoved);
    for (;;) {
        std::erase_if(stops, [&](const Stop& stop) {
            const bool due = givenOrders()[stop.axis].count >= stop.count;
            if (due || now() >= time + kMostMoved) {
                give(run.events[stop.index]);
                return true;
            }
            return false;
        });
        if (stops.empty()) {
            return;
        }
        passUntil(now() + kLook);
    }
}

void playActs(const RecordedRun& run, bool anchored) {
    OrdersOfAxes recorded;
    const std::vector<std::size_t> acts = actsOf(run);
    auto next = acts.cbegin();
    for (std::size_t i = 0; i < run.events.size() && next != acts.end(); ++i) {
        const RecordedEvent& event = run.events[i];
        take(event, recorded);
        if (i != *next) {
            continue;
        }
        const auto stops =
            anchored ? stopsFrom(run, next, acts.cend(), recorded) : std::vector<Stop>{};
        if (!stops.empty()) {
            giveStops(run, stops);
            for (const Stop& stop : stops) {
                countFrom(run.events[stop.index], event.time, recorded);
            }
            next += static_cast<std::ptrdiff_t>(stops.size());
            continue;
        }
        ++next;
        if (const auto anchor = anchorOf(run, i, recorded); anchor && anchored) {
            passUntilOrder(*anchor, event.time);
        } else {
            passUntil(event.time);
        }
        countFrom(event, event.time, recorded);
        give(event);
    }
}

}  // namespace

pid_t forkPlayer() {
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        // It may have died before.
        if (getppid() != parent) {
            _exit(128 + SIGTERM);
        }
    }
    return child;
}

void play(const RecordedRun& run, const SessionOptions& options, int (*daemon)(),
          const RunWatcher* watcher) {
    std::string problem = takePlace("");
    if (problem.empty()) {
        problem = layCamera(run);
    }
    if (!problem.empty()) {
        complain(problem);
        leavePlace();
        _exit(2);
    }
    const bool tellsOrders =
        std::any_of(run.events.begin(), run.events.end(),
                    [](const RecordedEvent& event) { return event.kind == "mcu"; });
    const bool anchored = options.virtualClock && !madeInVirtualTime(run) && tellsOrders;
    gWatcher = watcher;
    if (anchored || watcher != nullptr) {
        tapTrace(takeLine);
    }
    SessionOptions session = options;
    session.refusal = 2;
    powerUp(session, daemon);
    if (watcher != nullptr) {
        watcher->look();
    }
    if (!clockIsVirtual()) {
        waitUntilReady(kLongestStart);
    }
    playActs(run, anchored);
    passUntil(run.end);
    if (watcher != nullptr) {
        watcher->over();
    }
    endRun(0);
}

}  // namespace twin
