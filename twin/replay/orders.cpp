#include "twin/replay/orders.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace twin {

namespace {

// Orders of one axis that are no further apart than this may belong to one move.
constexpr Microseconds kOneMove = 200'000;

// So long behind the last order of a move its stop is given.
constexpr Microseconds kBehind = 1'000;

// The key of each axis's words, and what the orders to its motor begin with.
struct AxisNames {
    std::string_view key;
    std::string_view orders;
};
constexpr std::array<AxisNames, 6> kAxes = {{
    {"lens.camN.pan", "setPan"},
    {"lens.camN.tilt", "setTilt"},
    {"lens.camN.rotate", "setRotat"},
    {"lens.camN.zoom", "setZoom8"},
    {"lens.camN.focus", "setFocus8"},
    {"lens.camN.iris", "setIris"},
}};

std::string_view keyOf(const RecordedEvent& event) {
    return std::string_view(event.text).substr(0, event.text.find(' '));
}

std::string_view valueOf(const RecordedEvent& event) {
    return std::string_view(event.text)
        .substr(std::min(keyOf(event).size() + 1, event.text.size()));
}

// The axis, as axisOf has it, whose word the set is; empty if it is none.
std::string_view axisOfWord(const RecordedEvent& event) {
    const auto* const row = std::find_if(kAxes.begin(), kAxes.end(), [&](const AxisNames& names) {
        return event.kind == "cmd" && names.key == keyOf(event);
    });
    return row == kAxes.end() ? "" : row->orders;
}

// Whether the set is a word of an axis that begins a move without an end.
bool beginsEndlessMove(const RecordedEvent& event) {
    constexpr std::array<std::string_view, 12> kWords = {"left",    "right",    "up",   "down",
                                                         "near",    "far",      "in",   "out",
                                                         "forward", "backward", "open", "close"};
    const std::string_view value = valueOf(event);
    return !axisOfWord(event).empty() &&
           std::find(kWords.begin(), kWords.end(), value.substr(0, value.find(':'))) !=
               kWords.end();
}

bool stopsAxis(const RecordedEvent& event) {
    return !axisOfWord(event).empty() && valueOf(event) == "stop";
}

// Whether the act may begin or end orders of the axis.
bool concerns(const RecordedEvent& event, std::string_view axis) {
    if (const std::string_view own = axisOfWord(event); !own.empty()) {
        return own == axis;
    }
    return event.kind == "cmd" &&
           (event.text.starts_with("lens.camN.") || event.text.starts_with("demo."));
}

// Whether the daemon tells that the axis has come to rest.
bool tellsRest(const RecordedEvent& event, std::string_view axis) {
    return event.kind == "bus" && event.text.ends_with("status stop") &&
           std::any_of(kAxes.begin(), kAxes.end(), [&](const AxisNames& names) {
               return names.orders == axis && event.text.starts_with(names.key);
           });
}

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

// How many orders of the axis still come behind the event at `index`, where or soon after which it
// is stopped: where a loop had begun its pass or was late, the last ones come behind the word.
int ordersBehind(const RecordedRun& run, std::size_t index, const std::string& axis,
                 Microseconds last) {
    int count = 0;
    last = std::max(last, run.events[index].time);
    for (std::size_t i = index + 1; i < run.events.size(); ++i) {
        const RecordedEvent& event = run.events[i];
        const bool other = concerns(event, axis) && !stopsAxis(event);
        if (event.time > last + kOneMove || other || tellsRest(event, axis)) {
            break;
        }
        if (axisOf(event.kind, event.text) == axis) {
            ++count;
            last = event.time;
        }
    }
    return count;
}

}  // namespace

std::string axisOf(const std::string& kind, const std::string& text) {
    const std::size_t way = std::min(text.find("Forward"), text.find("Backward"));
    return kind == "mcu" && way != std::string::npos ? text.substr(0, way) : "";
}

void countFrom(const RecordedEvent& act, Microseconds time, OrdersOfAxes& orders) {
    std::erase_if(orders, [&](const auto& entry) { return concerns(act, entry.first); });
    if (beginsEndlessMove(act)) {
        Orders& begun = orders[std::string(axisOfWord(act))];
        begun.endless = true;
        begun.last = time;
    }
}

void take(const RecordedEvent& event, OrdersOfAxes& orders) {
    if (const std::string axis = axisOf(event.kind, event.text); !axis.empty()) {
        orders[axis].add(event.time);
    }
    for (auto& [axis, given] : orders) {
        given.over = given.over || tellsRest(event, axis);
    }
}

Microseconds beatOf(const Orders& orders) {
    const Microseconds period = orders.count > 1 ? orders.last - orders.before : 0;
    return period <= kOneMove ? period : 0;
}

std::optional<Anchor> anchorOf(const RecordedRun& run, std::size_t index,
                               const OrdersOfAxes& orders) {
    const RecordedEvent& act = run.events[index];
    const std::string* axis = nullptr;
    const Orders* latest = nullptr;
    for (const auto& [name, given] : orders) {
        if (given.count > 0 && act.time - given.last < kOneMove &&
            (latest == nullptr || given.last > latest->last)) {
            axis = &name;
            latest = &given;
        }
    }
    if (latest == nullptr) {
        return std::nullopt;
    }
    if (act.text.ends_with(" stop")) {
        return Anchor{*axis, latest->count + ordersBehind(run, index, *axis, latest->last), kBehind,
                      0};
    }
    Anchor anchor{*axis, latest->count, act.time - latest->last, 0};
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

std::vector<Stop> stopsFrom(const RecordedRun& run, std::vector<std::size_t>::const_iterator act,
                            std::vector<std::size_t>::const_iterator end, OrdersOfAxes orders) {
    std::vector<Stop> stops;
    for (const auto first = act; act != end; ++act) {
        const RecordedEvent& event = run.events[*act];
        const auto moving = orders.find(axisOfWord(event));
        if (!stopsAxis(event) || event.time - run.events[*first].time > kOneMove ||
            moving == orders.end() || !moving->second.endless || moving->second.over) {
            break;
        }
        const auto& [axis, given] = *moving;
        const int count = given.count + ordersBehind(run, *first, axis, given.last);
        if (count == 0 && event.time - given.last > kMostMoved) {
            break;
        }
        stops.push_back({*act, axis, count});
        orders.erase(moving);
    }
    return stops;
}

}  // namespace twin
