#include "twin/replay/alignment.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <span>

namespace twin {

namespace {

// What it costs to leave an event alone; two that are further apart than twice that are not the
// same. A match costs its distance in time. Microseconds.
constexpr std::int64_t kAlone = 10'000'000;

// Two alike in front that are so close are one event, whatever follows. Microseconds.
constexpr std::int64_t kAtOnce = 100'000;

// Where the lists differ, so many events of each are weighed against each other at once.
constexpr std::size_t kWindow = 256;

using Part = std::span<const RecordedEvent* const>;

std::int64_t distance(const RecordedEvent& a, const RecordedEvent& b) {
    return std::abs(a.time - b.time);
}

bool sameEvent(const RecordedEvent& a, const RecordedEvent& b) {
    return distance(a, b) < 2 * kAlone && a.text == b.text;
}

// The least costs of aligning what is left from (i, j) on.
class Costs {
public:
    Costs(Part first, Part second)
        : width_(second.size() + 1), costs_((first.size() + 1) * width_) {
        for (std::size_t i = first.size() + 1; i-- > 0;) {
            for (std::size_t j = second.size() + 1; j-- > 0;) {
                costs_[i * width_ + j] = cost(first, second, i, j);
            }
        }
    }
    std::int64_t at(std::size_t i, std::size_t j) const {
        return costs_[i * width_ + j];
    }

private:
    std::int64_t cost(Part first, Part second, std::size_t i, std::size_t j) const {
        const bool leftFirst = i < first.size();
        const bool leftSecond = j < second.size();
        if (!leftFirst && !leftSecond) {
            return 0;
        }
        std::int64_t least = INT64_MAX;
        if (leftFirst) {
            least = std::min(least, kAlone + at(i + 1, j));
        }
        if (leftSecond) {
            least = std::min(least, kAlone + at(i, j + 1));
        }
        if (leftFirst && leftSecond && sameEvent(*first[i], *second[j])) {
            least = std::min(least, distance(*first[i], *second[j]) + at(i + 1, j + 1));
        }
        return least;
    }

    std::size_t width_;
    std::vector<std::int64_t> costs_;
};

// Aligns two parts and adds the pairs, at most `most` of them where more events follow behind the
// parts: their ends would be aligned wrongly. Leaves what is behind the pairs in the parts.
void alignPart(Part& first, Part& second, std::size_t most, std::vector<Beside>& pairs) {
    const Costs costs(first, second);
    std::size_t i = 0;
    std::size_t j = 0;
    for (std::size_t count = 0; count < most && (i < first.size() || j < second.size()); ++count) {
        const std::int64_t cost = costs.at(i, j);
        if (i < first.size() && j < second.size() && sameEvent(*first[i], *second[j]) &&
            cost == distance(*first[i], *second[j]) + costs.at(i + 1, j + 1)) {
            pairs.push_back({first[i++], second[j++]});
        } else if (i < first.size() && cost == kAlone + costs.at(i + 1, j)) {
            pairs.push_back({first[i++], nullptr});
        } else {
            pairs.push_back({nullptr, second[j++]});
        }
    }
    first = first.subspan(i);
    second = second.subspan(j);
}

}  // namespace

std::vector<Beside> align(const Events& first, const Events& second) {
    std::vector<Beside> pairs;
    Part a(first);
    Part b(second);
    while (!a.empty() || !b.empty()) {
        if (!a.empty() && !b.empty() && distance(*a[0], *b[0]) < kAtOnce &&
            sameEvent(*a[0], *b[0])) {
            pairs.push_back({a[0], b[0]});
            a = a.subspan(1);
            b = b.subspan(1);
            continue;
        }
        Part left = a.first(std::min(a.size(), kWindow));
        Part right = b.first(std::min(b.size(), kWindow));
        const bool whole = left.size() == a.size() && right.size() == b.size();
        const std::size_t sizes = left.size() + right.size();
        alignPart(left, right, whole ? sizes : kWindow / 2, pairs);
        const std::size_t fromA = std::min(a.size(), kWindow) - left.size();
        a = a.subspan(fromA);
        b = b.subspan(sizes - left.size() - right.size() - fromA);
    }
    return pairs;
}

}  // namespace twin
