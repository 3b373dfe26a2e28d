// Which events of two runs are the same one.
#pragma once

#include <vector>

#include "twin/replay/recording.h"

namespace twin {

using Events = std::vector<const RecordedEvent*>;

// What stands beside each other in the two lists, both in their order: two events with one text, or
// one that the other side does not have (null).
struct Beside {
    const RecordedEvent* first = nullptr;
    const RecordedEvent* second = nullptr;
};

// Pairs the events so that as many texts as possible meet, close to each other in time.
std::vector<Beside> align(const Events& first, const Events& second);

}  // namespace twin
