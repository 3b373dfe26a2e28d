#include "twin/replay/comparison.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string_view>

#include "twin/replay/alignment.h"

namespace twin {

namespace {

// What goes on beside every move by the beat of the daemon's loops, "KIND TEXT..." : how often, and
// at which instant of a ramp, is not the same in two runs in real time.
constexpr std::array<std::string_view, 6> kBackground = {
    "i2c ",
    "log ",
    "mcu setMuiltLEDs ",
    "mcu setLedMode ",
    "head set-at ",
    "bus system.camN.info.power_consumption ",
};

// At most so many single texts are printed for each key.
constexpr int kMostShown = 10;

struct Sides {
    Events recorded;
    Events replayed;
};

std::string lineOf(const RecordedEvent& event) {
    return event.kind + " " + event.text;
}

// What events are compared by: a key, a function, an axis, or all other acts.
std::string groupOf(const RecordedEvent& event) {
    if (event.kind == "act" || event.kind == "i2c" || event.kind == "log") {
        return event.kind;
    }
    return event.kind + " " + event.text.substr(0, event.text.find(' '));
}

bool isBackground(const RecordedEvent& event) {
    const std::string line = lineOf(event);
    return std::any_of(kBackground.begin(), kBackground.end(),
                       [&](std::string_view begin) { return line.starts_with(begin); });
}

double seconds(Microseconds time) {
    return static_cast<double>(time) / 1e6;
}

// Distances in time between the events of pairs.
struct Distances {
    std::vector<Microseconds> all;
    Microseconds largest = 0;
    Microseconds where = 0;

    void add(const Beside& pair) {
        const Microseconds distance = std::abs(pair.first->time - pair.second->time);
        all.push_back(distance);
        if (distance > largest) {
            largest = distance;
            where = pair.first->time;
        }
    }
    // The distance that the part `share` of them does not exceed.
    double quantile(double share) {
        std::sort(all.begin(), all.end());
        const double count = std::ceil(share * static_cast<double>(all.size()));
        return all.empty() ? 0.0 : seconds(all[static_cast<std::size_t>(count) - 1]);
    }
};

void printAlone(const char* side, const RecordedEvent& event, int count) {
    if (count <= kMostShown) {
        std::printf("  only %s: %.6f %s\n", side, seconds(event.time), lineOf(event).c_str());
    }
}

// Prints what differs in a group. The number of texts that only one side has.
int compareGroup(const std::string& name, const Sides& sides, Distances& all) {
    Distances distances;
    int recorded = 0;
    int replayed = 0;
    const std::vector<Beside> pairs = align(sides.recorded, sides.replayed);
    for (const Beside& pair : pairs) {
        if (pair.first != nullptr && pair.second != nullptr) {
            distances.add(pair);
            all.add(pair);
        }
    }
    const std::size_t alone = pairs.size() - distances.all.size();
    if (alone == 0 && distances.largest == 0) {
        return 0;
    }
    std::printf("%s: %zu alike", name.c_str(), distances.all.size());
    if (!distances.all.empty()) {
        std::printf(", apart by %.6f s (median), %.6f s at most (at %.6f s)",
                    distances.quantile(0.5), seconds(distances.largest), seconds(distances.where));
    }
    std::puts("");
    for (const Beside& pair : pairs) {
        if (pair.second == nullptr) {
            printAlone("recorded", *pair.first, ++recorded);
        } else if (pair.first == nullptr) {
            printAlone("replayed", *pair.second, ++replayed);
        }
    }
    if (recorded > kMostShown || replayed > kMostShown) {
        std::printf("  in all %d only recorded, %d only replayed\n", recorded, replayed);
    }
    return recorded + replayed;
}

}  // namespace

bool printComparison(const RecordedRun& recorded, const RecordedRun& replayed) {
    const bool exact = madeInVirtualTime(recorded);
    std::map<std::string, Sides> groups;
    int background = 0;
    const auto sort = [&](const RecordedRun& run, Events Sides::*side) {
        for (const RecordedEvent& event : run.events) {
            if (!exact && isBackground(event)) {
                ++background;
            } else {
                (groups[groupOf(event)].*side).push_back(&event);
            }
        }
    };
    sort(recorded, &Sides::recorded);
    sort(replayed, &Sides::replayed);
    Distances all;
    int different = 0;
    for (const auto& [name, sides] : groups) {
        different += compareGroup(name, sides, all);
    }
    std::printf("%zu texts alike, %d different\n", all.all.size(), different);
    std::printf(
        "apart by %.6f s (median), 90 %% by at most %.6f s, 99 %% by at most %.6f s, all by "
        "at most %.6f s\n",
        all.quantile(0.5), all.quantile(0.9), all.quantile(0.99), seconds(all.largest));
    if (background > 0) {
        std::printf("not compared, because the loops repeat them by their own beat: %d\n",
                    background);
    }
    return different == 0;
}

}  // namespace twin
