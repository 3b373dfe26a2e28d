#include "motion/presets.h"

#include <algorithm>
#include <cstdio>

#include "axis/axis_driver.h"
#include "control_state.h"
#include "motion/preset_record.h"
#include "motion/publication.h"
#include "motion/rest.h"
#include "platform/clock.h"
#include "platform/nbus.h"

namespace {

constexpr char kPreset1[] = "lens.camN.preset1";
constexpr char kPreset2[] = "lens.camN.preset2";
constexpr char kDeleted[] = "-1,-1,-1,-1,-1,-1,-1,-1";
constexpr std::int32_t kNoGoal = -1;

struct StoreRow {
    std::int32_t request;
    const char* key;
    const char* notice;
    bool keepsFocus;
};

// A locked preset 2 says "lock" and keeps no focus, unlike preset 1; meant so.
constexpr StoreRow kStores[] = {
    {1, kPreset1, "Set Preset1 auto", false},
    {2, kPreset2, "Set Preset2 auto", false},
    {3, kPreset1, "Set Preset1 lock", true},
    {4, kPreset2, "Set Preset2 lock", false},
};

struct DeleteRow {
    std::int32_t request;
    const char* key;
};

constexpr DeleteRow kDeletes[] = {{2001, kPreset1}, {2002, kPreset2}};

void publishPresetDone() {
    nbus_set("lens.camN.act_preset", "done");
}

void store(const StoreRow& row) {
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

void publishOnOff(const char* key, std::int32_t value) {
    if (isOnOff(value)) {
        nbus_set(key, value == 1 ? "on" : "off");
    }
}

// The remembered value follows, so that this change does not lead to levelling.
void takeOrientation(const PresetRecord& record, LensLoopState& state) {
    if (isOnOff(record.imageRotate)) {
        giRotate = record.imageRotate;
        state.rememberedRotate = record.imageRotate;
    }
    publishOnOff("image.camN.rotate", record.imageRotate);
    publishOnOff("image.camN.mirror", record.mirror);
    publishOnOff("image.camN.flip", record.flip);
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

// Preset 1 switches the supply on before it knows whether there is anywhere to go; meant so.
void goToPreset1(LensLoopState& state) {
    setMotorPower(1);
    const PresetRecord record = readPreset(kPreset1);
    if (isUsable(record)) {
        go(record, state);
    } else {
        publishPresetDone();
    }
}

void goToPreset2(LensLoopState& state) {
    const PresetRecord record = readPreset(kPreset2);
    if (isUsable(record)) {
        setMotorPower(1);
        go(record, state);
    } else {
        publishPresetDone();
    }
}

void execute(std::int32_t request, LensLoopState& state) {
    for (const StoreRow& row : kStores) {
        if (row.request == request) {
            store(row);
        }
    }
    if (request == 1001) {
        goToPreset1(state);
    } else if (request == 1002) {
        goToPreset2(state);
    }
    for (const DeleteRow& row : kDeletes) {
        if (row.request == request) {
            nbus_set(row.key, kDeleted);
            publishPresetDone();
        }
    }
}

constexpr int kBusyPollMicroseconds = 10000;
constexpr int kBusyPolls = 3000;
constexpr int kSettleMicroseconds = 100000;
constexpr std::int32_t kPanSpeed = 240;
constexpr std::int32_t kTiltSpeed = 250;
constexpr std::int32_t kPanStep = 256;
constexpr std::int32_t kTiltAndRotateStep = 500;

bool isDue(Axis axis, std::int32_t goal) {
    return goal >= 0 && goal != axisPosition(axis);
}

// A step of at most `length` from the position towards the goal.
std::int32_t stepTowards(Axis axis, std::int32_t goal, std::int32_t length) {
    const std::int64_t position = axisPosition(axis);
    const std::int64_t step = position > goal ? std::max<std::int64_t>(position - length, goal)
                                              : std::min<std::int64_t>(position + length, goal);
    return clampToAxis(axis, step);
}

// Lets the motor run out, and pulses the supply.
void arrive(std::int32_t (*wait)()) {
    sleepMicroseconds(kSettleMicroseconds);
    wait();
    setMotorPower(0);
    sleepMicroseconds(kSettleMicroseconds);
    setMotorPower(1);
}

// Idle on the very last poll counts as still busy too, as in every wait.
bool panBecomesIdle() {
    int polls = 0;
    do {
        sleepMicroseconds(kBusyPollMicroseconds);
        ++polls;
    } while (panIsBusy() != 0 && polls < kBusyPolls);
    return polls < kBusyPolls;
}

void stepPan(std::int32_t goal) {
    if (!panBecomesIdle()) {
        return;
    }
    publishStatus(Axis::pan, "run");
    const std::int32_t target = stepTowards(Axis::pan, goal, kPanStep);
    giPanTarget = target;
    giPanTargetSeen = target;
    setAxisPosition(Axis::pan, panMoveToSpeed(axisPosition(Axis::pan), target, kPanSpeed));
    if (axisPosition(Axis::pan) == goal) {
        arrive(panWaitIdle);
    }
}

void stepTilt(std::int32_t goal) {
    if (tiltIsBusy() != 0) {
        return;
    }
    publishStatus(Axis::tilt, "run");
    const std::int32_t target = stepTowards(Axis::tilt, goal, kTiltAndRotateStep);
    giTiltTarget = target;
    giTiltTargetSeen = target;
    setAxisPosition(Axis::tilt, tiltMoveToSpeed(axisPosition(Axis::tilt), target, kTiltSpeed));
    if (axisPosition(Axis::tilt) == goal) {
        arrive(tiltWaitIdle);
    }
}

// Zoom and focus go the whole way in one move.
void stepLens(Axis axis, std::int32_t goal, std::int32_t (*isReady)(),
              std::int32_t (*moveTo)(std::int32_t current, std::int32_t target),
              std::int32_t (*waitReady)()) {
    if (isReady() != 0) {
        return;
    }
    *axisRow(axis).target = goal;
    publishStatus(axis, "run");
    setAxisPosition(axis, moveTo(axisPosition(axis), clampToAxis(axis, goal)));
    if (axisPosition(axis) == goal) {
        arrive(waitReady);
    }
}

void stepRotate(std::int32_t goal) {
    if (rotateIsReady() != 0) {
        return;
    }
    publishStatus(Axis::rotate, "run");
    const std::int32_t target = stepTowards(Axis::rotate, goal, kTiltAndRotateStep);
    giNewRotat = target;
    setAxisPosition(Axis::rotate, rotateMoveTo(axisPosition(Axis::rotate), target));
    if (axisPosition(Axis::rotate) == goal) {
        sleepMicroseconds(kSettleMicroseconds);
        rotateWaitReady();
        sleepMicroseconds(kSettleMicroseconds);
        setMotorPower(0);
    }
}

constexpr std::initializer_list<Axis> kPresetAxes = {Axis::pan, Axis::rotate, Axis::tilt,
                                                     Axis::zoom, Axis::focus};

void enterPresetRun() {
    setMoveStates(kPresetAxes, 3);
    std::printf("1.iRotateMove=%d\n", 3);
}

void endPresetRun(LensLoopState& state) {
    if (state.presetGoal.focus == kNoGoal) {
        giAfRequest = 1;
    }
    setMoveStates(kPresetAxes, 0);
    resetPresetGoal(state);
    for (const Axis axis : {Axis::pan, Axis::tilt, Axis::rotate, Axis::zoom}) {
        publishStatus(axis, "stop");
    }
    publishPresetDone();
}

}  // namespace

void servePresetRequest(LensLoopState& state) {
    const std::int32_t request = giActPreset;
    if (request < 0) {
        return;
    }
    stopAllAndWait();
    setMoveStates({Axis::pan, Axis::rotate, Axis::tilt, Axis::zoom, Axis::iris}, 0);
    execute(request, state);
    giActPreset = -1;
}

void followPresetGoal(LensLoopState& state) {
    const PresetTargets& goal = state.presetGoal;
    const std::int32_t result = presetStep(goal.pan, goal.tilt, goal.rotate, goal.zoom, goal.focus);
    if (result != state.previousPresetResult) {
        std::printf("Preset mode=%d\n", result);
        if (result == 1) {
            enterPresetRun();
        }
    }
    // Seen without a change, too: a run to where the head already stands ends with "done".
    if (result == 0 && goal.pan >= 0) {
        endPresetRun(state);
    }
    state.previousPresetResult = result;
}

std::int32_t presetStep(std::int32_t pan, std::int32_t tilt, std::int32_t rotate, std::int32_t zoom,
                        std::int32_t focus) {
    if (isDue(Axis::pan, pan)) {
        stepPan(pan);
    } else if (isDue(Axis::tilt, tilt)) {
        stepTilt(tilt);
    } else if (isDue(Axis::zoom, zoom)) {
        stepLens(Axis::zoom, zoom, zoomIsReady, zoomMoveTo, zoomWaitReady);
    } else if (isDue(Axis::focus, focus)) {
        stepLens(Axis::focus, focus, focusIsReady, focusMoveTo, focusWaitReady);
    } else if (isDue(Axis::rotate, rotate)) {
        stepRotate(rotate);
    } else {
        return 0;
    }
    return 1;
}
