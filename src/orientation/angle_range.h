// Conditions on one angle in degrees, as the case tables state them. A value exactly on a bound
// meets none of them.
#pragma once

#include <limits>

struct AngleRange {
    float low;
    float high;
    bool outside;  // of the two bounds instead of between them
};

inline constexpr float kNoBound = std::numeric_limits<float>::infinity();

constexpr AngleRange between(float low, float high) {
    return {low, high, false};
}

constexpr AngleRange beyond(float low, float high) {
    return {low, high, true};
}

constexpr AngleRange below(float high) {
    return between(-kNoBound, high);
}

constexpr AngleRange above(float low) {
    return between(low, kNoBound);
}

inline constexpr AngleRange kAnyAngle = between(-kNoBound, kNoBound);

constexpr bool meets(float angle, const AngleRange& range) {
    return range.outside ? angle < range.low || angle > range.high
                         : angle > range.low && angle < range.high;
}
