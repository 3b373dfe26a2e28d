#include "twin/boundary/model.h"

#include "platform/model.h"
#include "twin/boundary/library_calls.h"
#include "twin/clock/timeline.h"
#include "twin/world/faults.h"

namespace {

constexpr int kLongLensType = 10;

// Fixed before the daemon starts.
int gLensType = 0;

}  // namespace

namespace twin {

void setLensType(int type) {
    gLensType = type;
}

int lensType() {
    return gLensType;
}

bool lensIsLong() {
    return gLensType == kLongLensType;
}

}  // namespace twin

int get_lenstype(void) {
    twin::enterLibrary("get_lenstype");
    const twin::WorldLock lock;
    return twin::callFails("get_lenstype") ? -1 : twin::lensType();
}
