#include "motion/rotate_requests.h"

#include <cstdio>

#include "axis/axis_driver.h"
#include "control_state.h"
#include "motion/publication.h"
#include "motion/rotate_test.h"

bool serveRotateRequest() {
    const std::int32_t request = giAutoRotate;
    if (request != 3) {
        return false;
    }
    runRotateTest();
    replaceIfUnchanged(giAutoRotate, request, 0);
    return true;
}

void completePresetRotate() {
    if (iRotateMove != 3) {
        return;
    }
    rotateWaitReady();
    publishMoveEnd(Axis::rotate);
    replaceIfUnchanged(iRotateMove, 3, 0);
}

void requestLevellingOnNewRotate(LensLoopState& state) {
    const std::int32_t rotate = giRotate;
    if (rotate != state.rememberedRotate) {
        giAutoRotate = 1;
        std::printf("giRotate=%d\n", rotate);
    }
    state.rememberedRotate = rotate;
}
