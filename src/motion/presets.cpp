#include "motion/presets.h"

#include <cstdio>

#include "axis/axis_driver.h"
#include "control_state.h"
#include "motion/preset_record.h"
#include "motion/publication.h"
#include "motion/rest.h"
#include "orientation/image_settings.h"
#include "platform/nbus.h"

namespace {

constexpr char kPreset1[] = "lens.camN.preset1";
constexpr char kPreset2[] = "lens.camN.preset2";
constexpr char kDeleted[] = "-1,-1,-1,-1,-1,-1,-1,-1";

struct RequestRow {
    std::int32_t request;
    void (*run)(const RequestRow& row, LensLoopState& state);
    const char* key;
    const char* notice;  // of a store
    bool keepsFocus;     // of a store
    bool powersFirst;    // of a go: before it is known whether there is anywhere to go
};

void store(const RequestRow& row, LensLoopState&) {
    const std::int32_t focus = row.keepsFocus ? axisPosition(Axis::focus) : -1;
    char text[128] = {};
    std::snprintf(text, sizeof text, "%d,%d,%d,%d,%d,%d,%d,%d", axisPosition(Axis::pan),
                  axisPosition(Axis::tilt), axisPosition(Axis::zoom), focus,
                  axisPosition(Axis::rotate), giRotate.load(), giMirror.load(), giFlip.load());
    std::printf("%s:%s\n", row.notice, text);
    nbus_set(row.key, text);
    publishPresetDone();
}

// Orientation fields other than 0 and 1 leave the setting alone.
bool isOnOff(std::int32_t value) {
    return value == 0 || value == 1;
}

void publishIfOnOff(const char* key, std::int32_t value) {
    if (isOnOff(value)) {
        publishImageSetting(key, value == 1);
    }
}

// The remembered value follows, so that this change does not lead to levelling.
void takeOrientation(const PresetRecord& record, LensLoopState& state) {
    if (isOnOff(record.imageRotate)) {
        giRotate = record.imageRotate;
        rememberRotate(state, record.imageRotate);
    }
    publishIfOnOff(kRotateKey, record.imageRotate);
    publishIfOnOff(kMirrorKey, record.mirror);
    publishIfOnOff(kFlipKey, record.flip);
}

// The line names preset 1 for both; meant so.
void go(const PresetRecord& record, LensLoopState& state) {
    std::printf("Preset1 go:%d %d %d %d %d %d %d %d\n", record.pan, record.tilt, record.zoom,
                record.focus, record.rotate, record.imageRotate, record.mirror, record.flip);
    state.presetGoal.pan = clampToAxis(Axis::pan, record.pan);
    state.presetGoal.tilt = clampToAxis(Axis::tilt, record.tilt);
    state.presetGoal.rotate = clampToAxis(Axis::rotate, record.rotate);
    state.presetGoal.zoom = clampToAxis(Axis::zoom, record.zoom);
    state.presetGoal.focus =
        record.focus == kNoGoal ? kNoGoal : clampToAxis(Axis::focus, record.focus);
    takeOrientation(record, state);
}

void goToPreset(const RequestRow& row, LensLoopState& state) {
    if (row.powersFirst) {
        setMotorPower(1);
    }
    const PresetRecord record = readPreset(row.key);
    if (!isUsable(record)) {
        publishPresetDone();
        return;
    }
    setMotorPower(1);
    go(record, state);
}

void remove(const RequestRow& row, LensLoopState&) {
    nbus_set(row.key, kDeleted);
    publishPresetDone();
}

// A locked preset 2 says "lock" and keeps no focus, unlike preset 1; meant so.
constexpr RequestRow kRequests[] = {
    {1, store, kPreset1, "Set Preset1 auto", false, false},
    {2, store, kPreset2, "Set Preset2 auto", false, false},
    {3, store, kPreset1, "Set Preset1 lock", true, false},
    {4, store, kPreset2, "Set Preset2 lock", false, false},
    {1001, goToPreset, kPreset1, nullptr, false, true},
    {1002, goToPreset, kPreset2, nullptr, false, false},
    {2001, remove, kPreset1, nullptr, false, false},
    {2002, remove, kPreset2, nullptr, false, false},
};

}  // namespace

void servePresetRequest(LensLoopState& state) {
    const std::int32_t request = giActPreset;
    if (request < 0) {
        return;
    }
    takeOver({Axis::pan, Axis::rotate, Axis::tilt, Axis::zoom, Axis::iris});
    for (const RequestRow& row : kRequests) {
        if (row.request == request) {
            row.run(row, state);
        }
    }
    giActPreset = -1;
}
