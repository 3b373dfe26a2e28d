// What the interleavings campaign explores: acts of other services, and what the camera is doing
// when they come.
#pragma once

#include <span>
#include <string>

#include "interleavings.h"

namespace interleavings {

// A word, set so many seconds before the window opens, or when it does.
struct Scene {
    const char* name;
    const char* key;  // null: the camera is at rest
    const char* word;
    double seconds;
    const char* acts;              // what the names of the acts begin with
    const char* before = nullptr;  // a word that the key has been set to a second earlier
};

std::span<const Act> acts();
std::span<const Scene> scenes();

// KEY=VALUE
std::string nameOf(const Act& act);

// In all scenes but at rest, a request of each kind, too.
bool takesPart(const Scene& scene, const Act& act);

}  // namespace interleavings
