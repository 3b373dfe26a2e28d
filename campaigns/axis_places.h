// Where the campaigns send the axes to see that they move.
#pragma once

#include <cstddef>
#include <string>

struct AxisPlaces {
    const char* name;
    std::size_t word;  // of the position file
    // Two places in every lens's range: at least one of them is a move.
    int somewhere;
    int elsewhere;
};

// Rotate comes after the axes whose markers are reported: levelling waits for those.
inline constexpr AxisPlaces kAxisPlaces[] = {
    {"pan", 16, 9000, 9500}, {"tilt", 17, 2000, 2300}, {"zoom", 13, 600, 700},
    {"focus", 15, 600, 700}, {"rotate", 18, 800, 900}, {"iris", 20, 20, 30},
};

// The key of the axis's command words.
inline std::string commandKey(const AxisPlaces& axis) {
    return std::string("lens.camN.") + axis.name;
}

// The word that sends an axis there.
inline std::string wordTo(int place) {
    return "a:" + std::to_string(place);
}
