#include "motion/focus_after_zoom.h"

#include <cstdio>

#include "axis/axis_driver.h"
#include "control_state.h"
#include "platform/clock.h"

namespace {

bool restAfterZoom() {
    if (giFocusAfterZoom != 1) {
        return false;
    }
    setMotorPower(0);
    sleepMicroseconds(100000);
    return true;
}

}  // namespace

void focusAfterContinuousZoom() {
    if (restAfterZoom()) {
        giAfRequest = 1;
        std::puts("Run Auto Focus1");
    }
}

void focusAfterAbsoluteZoom() {
    if (restAfterZoom()) {
        std::puts("Run Auto Focus2");
        giAfRequest = 1;
    }
}
