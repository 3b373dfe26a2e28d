// The simulated head in the place of the camera's C libraries: a new camera on the real clock,
// there as soon as the library is loaded, without a console.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "twin/boundary/bus.h"
#include "twin/camera/head.h"
#include "twin/camera/settings.h"

namespace {

__attribute__((constructor)) void powerUp() {
    const std::string problem = twin::makeHead({}, {});
    if (!problem.empty()) {
        std::fprintf(stderr, "%s\n", problem.c_str());
        std::exit(1);
    }
    twin::startBus(twin::factorySettings());
}

}  // namespace
