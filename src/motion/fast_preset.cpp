#include "motion/fast_preset.h"

#include <cstdio>

#include "axis/axis_driver.h"
#include "axis/motor_codes.h"
#include "control_state.h"
#include "motion/focus_centre.h"
#include "motion/preset_record.h"
#include "motion/rest.h"
#include "raw_time.h"

namespace {

void goFast(const PresetRecord& record) {
    setAxisPosition(Axis::pan,
                    panMoveToSpeed(axisPosition(Axis::pan), record.pan, kPanFastPresetSpeed));
    std::printf("Pan:%d\n", axisPosition(Axis::pan));
    setAxisPosition(Axis::tilt,
                    tiltMoveToSpeed(axisPosition(Axis::tilt), record.tilt, kTiltPresetSpeed));
    std::printf("Tilt:%d\n", axisPosition(Axis::tilt));
    setAxisPosition(Axis::zoom, zoomMoveTo(axisPosition(Axis::zoom), record.zoom));
    zoomWaitReady();
    std::printf("Zoom:%d\n", axisPosition(Axis::zoom));
    setAxisPosition(Axis::rotate, rotateMoveTo(axisPosition(Axis::rotate), record.rotate));
    rotateWaitReady();
    std::printf("Rotate:%d\n", axisPosition(Axis::rotate));
    const std::int32_t focus = focusCentre(axisPosition(Axis::zoom));
    setAxisPosition(Axis::focus, focusMoveTo(axisPosition(Axis::focus), focus));
    focusWaitReady();
    panWaitIdle();
    tiltWaitIdle();
    setTargetsToPositions(kAllAxes);
    giAfRequest = 1;
    printTimeSinceMoveStart("Fast Preset");
}

}  // namespace

void fastPreset(const char* key) {
    recordMoveStart();
    setMotorPower(1);
    const PresetRecord record = readPreset(key);
    if (isUsable(record)) {
        goFast(record);
    }
    giHomeRequest = 0;
    setMotorPower(0);
}
