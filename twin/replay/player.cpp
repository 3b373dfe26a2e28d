#include "twin/replay/player.h"

#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <string>

#include "twin/boundary/bus.h"
#include "twin/boundary/readiness.h"
#include "twin/camera/place.h"
#include "twin/clock/actors.h"
#include "twin/console/commands.h"
#include "twin/trace/output.h"
#include "twin/trace/trace.h"

namespace twin {

namespace {

constexpr Microseconds kLongestStart = 60'000'000;

// Orders of one axis that are no further apart than this may belong to one move.
constexpr Microseconds kOneMove = 200'000;

// How far an act may come from its own time for the sake of its order, and in which steps the
// replay looks for that.
constexpr Microseconds kMostMoved = 3'000'000;
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

// The axis of an order to a motor, "setPanForwardS ..." as "setPan"; empty for everything else.
std::string axisOf(const std::string& kind, const std::string& text) {
    const std::size_t way = std::min(text.find("Forward"), text.find("Backward"));
    return kind == "mcu" && way != std::string::npos ? text.substr(0, way) : "";
}

// The latest orders of an axis since the last act.
struct Orders {
    int count = 0;
    Microseconds last = 0;
    Microseconds before = 0;
    Microseconds longest = 0;  // between two of them

    void add(Microseconds time) {
        longest = count == 0 ? 0 : std::max(longest, time - last);
        ++count;
        before = last;
        last = time;
    }
};
using OrdersOfAxes = std::map<std::string, Orders>;

// The time between the last two orders where a loop gave one after the other; 0: a pause, or not
// known.
Microseconds beatOf(const Orders& orders) {
    const Microseconds period = orders.count > 1 ? orders.last - orders.before : 0;
    return period <= kOneMove ? period : 0;
}

// The order that an act followed closely: the `count`-th of the axis since the act before. `past`
// is the time between them, `period` that from this order to the axis's next one; 0: not known.
struct Anchor {
    std::string axis;
    int count = 0;
    Microseconds past = 0;
    Microseconds period = 0;
};

// The order of the axis behind the one at `last`, if there is one soon.
std::optional<Microseconds> nextOrder(const RecordedRun& run, std::size_t from,
                                      const std::string& axis, Microseconds last) {
    for (std::size_t i = from; i < run.events.size(); ++i) {
        const RecordedEvent& event = run.events[i];
        if (event.time > last + kOneMove) {
            break;
        }
        if (axisOf(event.kind, event.text) == axis) {
            return event.time;
        }
    }
    return std::nullopt;
}

// How many orders of the axis come between the act at `index` and the next one, without a pause
// since the one at `last`.
int ordersBehind(const RecordedRun& run, std::size_t index, const std::string& axis,
                 Microseconds last) {
    int count = 0;
    for (std::size_t i = index + 1; i < run.events.size(); ++i) {
        const RecordedEvent& event = run.events[i];
        if (event.kind == "cmd" || event.kind == "act") {
            break;
        }
        if (axisOf(event.kind, event.text) == axis) {
            if (event.time > last + kOneMove) {
                break;
            }
            ++count;
            last = event.time;
        }
    }
    return count;
}

// What the act at `index` is anchored at, with the orders since the act before it.
std::optional<Anchor> anchorOf(const RecordedRun& run, std::size_t index,
                               const OrdersOfAxes& orders) {
    const Microseconds time = run.events[index].time;
    const std::string* axis = nullptr;
    const Orders* latest = nullptr;
    for (const auto& [name, given] : orders) {
        if (given.count > 0 && time - given.last < kOneMove &&
            (latest == nullptr || given.last > latest->last)) {
            axis = &name;
            latest = &given;
        }
    }
    if (latest == nullptr) {
        return std::nullopt;
    }
    if (run.events[index].text.ends_with(" stop")) {
        // Where a loop had begun its pass or was late, the last orders of the move came behind the
        // word.
        return Anchor{*axis, latest->count + ordersBehind(run, index, *axis, latest->last), kLook,
                      0};
    }
    Anchor anchor{*axis, latest->count, time - latest->last, 0};
    const auto next = nextOrder(run, index, *axis, latest->last);
    if (next) {
        anchor.period = *next - latest->last;
    } else {
        anchor.period = beatOf(*latest);
    }
    // The move had ended.
    const bool over = !next && anchor.period != 0 && anchor.past > 2 * latest->longest;
    return over ? std::nullopt : std::optional(anchor);
}

// The orders that the replay has given since its last act; the trace tells of them.
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
        return;
    }
    Microseconds past = anchor.past;
    if (const Microseconds period = beatOf(given); anchor.period != 0 && period != 0) {
        // Before the next order, however late that was when the run was recorded.
        past = std::min(past * period / anchor.period, period * 9 / 10);
    }
    passUntil(std::min(given.last + past, time + kMostMoved));
}

void playActs(const RecordedRun& run, bool anchored) {
    OrdersOfAxes recorded;
    const std::vector<std::size_t> acts = actsOf(run);
    auto next = acts.begin();
    for (std::size_t i = 0; i < run.events.size() && next != acts.end(); ++i) {
        const RecordedEvent& event = run.events[i];
        if (const std::string axis = axisOf(event.kind, event.text); !axis.empty()) {
            recorded[axis].add(event.time);
        }
        if (i != *next) {
            continue;
        }
        ++next;
        if (const auto anchor = anchorOf(run, i, recorded); anchor && anchored) {
            passUntilOrder(*anchor, event.time);
        } else {
            passUntil(event.time);
        }
        recorded.clear();
        givenOrders().clear();
        perform(event);
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
    const bool anchored = options.virtualClock && !madeInVirtualTime(run);
    gWatcher = watcher;
    if (anchored || watcher != nullptr) {
        tapTrace(takeLine);
    }
    powerUp(options, daemon);
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
