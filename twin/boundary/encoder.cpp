#include "twin/boundary/encoder.h"

#include <cmath>

#include "platform/encoder.h"
#include "twin/boundary/library_calls.h"
#include "twin/clock/timeline.h"
#include "twin/world/fault_values.h"
#include "twin/world/faults.h"
#include "twin/world/mechanism.h"
#include "twin/world/optics.h"
#include "twin/world/random.h"

namespace {

using twin::Area;

constexpr double kLuminance = 1'000'000.0;
constexpr double kNoiseUnit = 1e-5;  // a thousandth of a percent

bool gAttached = false;
std::uint64_t gSeed = 0;

// One area's edge energy in the latest frame. All readings of one frame are alike.
unsigned int edgeEnergy(Area area) {
    const auto frame = static_cast<std::uint64_t>(twin::now() / twin::kFramePeriod);
    const double noise = kNoiseUnit * twin::faultValue(twin::Fault::sceneNoise) *
                         twin::noiseAt(gSeed, static_cast<std::uint64_t>(area), frame);
    const double ratio = twin::sharpness(area, twin::framePosition(twin::Axis::zoom),
                                         twin::framePosition(twin::Axis::focus));
    return static_cast<unsigned int>(std::lround(kLuminance * ratio * (1.0 + noise)));
}

}  // namespace

namespace twin {

void makeEncoder(std::uint64_t seed) {
    gAttached = false;
    gSeed = seed;
}

}  // namespace twin

int PTZShmInit(void) {
    twin::enterLibrary("PTZShmInit");
    const twin::WorldLock lock;
    if (twin::callFails("PTZShmInit")) {
        return -1;
    }
    gAttached = true;
    return 0;
}

int GutAF_Info(struct FocusInfo* info, int channel) {
    twin::enterLibrary("GutAF_Info");
    const twin::WorldLock lock;
    if (info == nullptr || channel != 0 || !gAttached || twin::callFails("GutAF_Info") ||
        twin::faultValue(twin::Fault::statisticsFail) != 0) {
        return -1;
    }
    const unsigned int light = twin::sceneIsLit() ? static_cast<unsigned int>(kLuminance) : 0;
    *info = {edgeEnergy(Area::a), edgeEnergy(Area::b), edgeEnergy(Area::c), light, light, light};
    return 0;
}
