#include "app/calibration_sweep.h"

#include <cstdint>
#include <cstdio>

#include "axis/axes.h"
#include "axis/axis_driver.h"
#include "axis/targets.h"
#include "control_state.h"
#include "platform/clock.h"
#include "platform/files.h"

namespace {

constexpr char kTableFile[] = "/tmp/zf.txt";
constexpr std::int32_t kZoomStride = 50;
constexpr int kPollMicroseconds = 100000;

void focusAt(std::int32_t zoom) {
    orderTarget(Axis::zoom, zoom);
    sleepMicroseconds(kPollMicroseconds);
    zoomWaitReady();
    giAfRequest = 1;
    while (giAfRequest == 1) {
        sleepMicroseconds(kPollMicroseconds);
    }
}

}  // namespace

void runCalibrationSweep() {
    std::FILE* table = std::fopen(devicePath(kTableFile).c_str(), "w");
    if (table == nullptr) {
        return;
    }
    for (std::int32_t zoom = 0; zoom <= axisMaximum(Axis::zoom); zoom += kZoomStride) {
        focusAt(zoom);
        const std::int32_t zoomTarget = orderedTarget(Axis::zoom);
        const std::int32_t focusTarget = orderedTarget(Axis::focus);
        std::printf("%d,%d\n", zoomTarget, focusTarget);
        std::fprintf(table, "%d,%d\n", zoomTarget, focusTarget);
    }
    std::fclose(table);
}
