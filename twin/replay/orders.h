// The orders to the motors between the acts of a run that was recorded in real time.
#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "twin/clock/timeline.h"
#include "twin/replay/recording.h"

namespace twin {

// How far an act may come from its own time for the sake of its order.
constexpr Microseconds kMostMoved = 3'000'000;

// The axis of an order to a motor, "setPanForwardS ..." as "setPan"; empty for everything else.
std::string axisOf(const std::string& kind, const std::string& text);

// The orders of an axis since the last act that concerned it.
struct Orders {
    bool endless = false;  // that act began a move without an end
    bool over = false;     // the axis has come to rest behind them
    int count = 0;
    Microseconds last = 0;  // of the act itself where there is none
    Microseconds before = 0;
    Microseconds longest = 0;  // between two of them

    void add(Microseconds time) {
        longest = count == 0 ? 0 : std::max(longest, time - last);
        ++count;
        over = false;
        before = last;
        last = time;
    }
};
using OrdersOfAxes = std::map<std::string, Orders, std::less<>>;

// Begins to count anew for the axes that the act, given at `time`, concerns.
void countFrom(const RecordedEvent& act, Microseconds time, OrdersOfAxes& orders);

// Counts the event if it is an order.
void take(const RecordedEvent& event, OrdersOfAxes& orders);

// The time between the last two orders where a loop gave one after the other; 0: a pause, or not
// known.
Microseconds beatOf(const Orders& orders);

// The order that an act followed closely: the `count`-th of the axis since the last act that
// concerned it. `past` is the time between them, `period` that from this order to the axis's next
// one; 0: not known.
struct Anchor {
    std::string axis;
    int count = 0;
    Microseconds past = 0;
    Microseconds period = 0;
};

// What the act at `index` is anchored at, with the orders before it; nothing if none was close.
std::optional<Anchor> anchorOf(const RecordedRun& run, std::size_t index,
                               const OrdersOfAxes& orders);

// The end of an endless move: the word for it comes behind the `count`-th order of the axis.
struct Stop {
    std::size_t index = 0;
    std::string axis;
    int count = 0;
};

// The ends of such moves that come together from the act at *act on, each of another axis.
std::vector<Stop> stopsFrom(const RecordedRun& run, std::vector<std::size_t>::const_iterator act,
                            std::vector<std::size_t>::const_iterator end, OrdersOfAxes orders);

}  // namespace twin
