#include "twin/boundary/power_cut.h"

#include <string>

#include "twin/clock/timeline.h"
#include "twin/trace/output.h"
#include "twin/world/fault_values.h"

namespace twin {

namespace {

void (*gEnd)() = nullptr;

}  // namespace

void onPowerCut(void (*end)()) {
    gEnd = end;
}

void beforeChange(const char* kind, const char* name) {
    {
        const WorldLock world;
        if (!takeFault(Fault::powerCut, 0) || faultValue(Fault::powerCut) != 0) {
            return;
        }
    }
    answer(std::string("power cut: ") + kind + " " + name);
    gEnd();
}

}  // namespace twin
