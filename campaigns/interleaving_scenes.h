// What the interleavings campaign explores: acts of other services, and what the camera is doing
// when they come.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "interleavings.h"

namespace interleavings {

// An act, and how long after it the next one comes, or else the window opens. With 0 seconds it
// comes as the window opens.
struct Step {
    Act act;
    double seconds;
};

struct Scene {
    const char* name;
    const char* acts;         // what the names of the acts begin with
    std::vector<Step> steps;  // none: the camera is at rest
};

std::span<const Act> acts();
std::span<const Scene> scenes();

// KEY=VALUE
std::string nameOf(const Act& act);

// In all scenes but at rest, a request of each kind, too.
bool takesPart(const Scene& scene, const Act& act);

}  // namespace interleavings
