#include "platform/motor_mcu.h"

#include <algorithm>
#include <atomic>
#include <cstddef>

#include "twin/boundary/changes.h"
#include "twin/boundary/library_calls.h"
#include "twin/boundary/model.h"
#include "twin/clock/actors.h"
#include "twin/clock/timeline.h"
#include "twin/trace/trace.h"
#include "twin/world/board.h"
#include "twin/world/faults.h"
#include "twin/world/firmware.h"
#include "twin/world/mechanism.h"

namespace twin {

constinit Board gBoard;

namespace {

constexpr int kHead = 2;
constexpr std::size_t kLedCount = 8;
constexpr std::size_t kGroupWords = 4;

// The motor call in progress, null between calls.
std::atomic<const char*> gRunningCall;

// A call that must not overlap another one. On real threads it is drawn out a little: a simulated
// call would be over too soon for a caller without the motor lock to be caught.
class Entry {
public:
    explicit Entry(const char* name) {
        checkSerialised(name);
        const char* other = nullptr;
        owner_ = gRunningCall.compare_exchange_strong(other, name);
        if (!owner_) {
            reportViolation("two motor calls at the same time: %s during %s", name, other);
        }
        enterLibrary(name);
        for (int i = 0; i < 2000 && !clockIsVirtual(); ++i) {
            std::atomic_signal_fence(std::memory_order_seq_cst);
        }
    }
    ~Entry() {
        if (owner_) {
            gRunningCall = nullptr;
        }
    }
    Entry(const Entry&) = delete;
    Entry& operator=(const Entry&) = delete;

private:
    bool owner_ = false;
};

struct MotorCall {
    explicit MotorCall(const char* name) : entry(name) {}

    // In this order: the world is free again before the call counts as over.
    Entry entry;
    WorldLock lock;
};

bool refused(const char* name) {
    return callFails(name) || mcuSilent(Mcu::mainBoard);
}

bool orderRefused(const char* name) {
    const bool refusal = refused(name);
    if (refusal) {
        trace("head", "%s failed", name);
    }
    return refusal;
}

int order(const char* name, Axis axis, int direction, int code, int steps, int speed) {
    beforeChange("mcu", name);
    const MotorCall call(name);
    trace("mcu", "%s %d %d %d", name, code, steps, speed);
    if (orderRefused(name)) {
        return -1;
    }
    orderMove(axis, direction, steps, speed);
    return 0;
}

// Pan and tilt orders: no other head answers.
int orderHead(const char* name, Axis axis, int direction, int device, int steps, int speed) {
    return device == kHead ? order(name, axis, direction, device, steps, speed) : -1;
}

int readStatus(const char* name, Axis axis, int device, unsigned char* status) {
    const MotorCall call(name);
    if (device != kHead || status == nullptr || refused(name)) {
        return -1;
    }
    *status = statusByte(axis);
    return 0;
}

int readCounter(const char* name, Axis axis, int device, int* position) {
    const MotorCall call(name);
    if (device != kHead || position == nullptr || refused(name)) {
        return -1;
    }
    *position = controllerCounter(axis);
    return 0;
}

int switchIcr(const char* name, bool day) {
    beforeChange("mcu", name);
    const MotorCall call(name);
    trace("mcu", "%s", name);
    if (orderRefused(name)) {
        return -1;
    }
    gBoard.icrDay = day;
    return 0;
}

int switchSupply(const char* name, int mask, int supply) {
    beforeChange("mcu", name);
    enterLibrary(name);
    const WorldLock lock;
    trace("mcu", "%s %d", name, mask);
    if (orderRefused(name)) {
        return -1;
    }
    gBoard.supply = supply;
    return 0;
}

// The long lens's zoom motor is mounted the other way round.
int zoomSense() {
    return lensIsLong() ? 1 : -1;
}

}  // namespace
}  // namespace twin

using twin::Axis;

int setPanForwardS(int device, int steps, int speed) {
    return twin::orderHead("setPanForwardS", Axis::pan, 1, device, steps, speed);
}

int setPanBackwardS(int device, int steps, int speed) {
    return twin::orderHead("setPanBackwardS", Axis::pan, -1, device, steps, speed);
}

int setTiltForwardS(int device, int steps, int speed) {
    return twin::orderHead("setTiltForwardS", Axis::tilt, 1, device, steps, speed);
}

int setTiltBackwardS(int device, int steps, int speed) {
    return twin::orderHead("setTiltBackwardS", Axis::tilt, -1, device, steps, speed);
}

int setZoom8Forward(int code, int steps, int speed) {
    return twin::order("setZoom8Forward", Axis::zoom, twin::zoomSense(), code, steps, speed);
}

int setZoom8Backward(int code, int steps, int speed) {
    return twin::order("setZoom8Backward", Axis::zoom, -twin::zoomSense(), code, steps, speed);
}

// The focus motor is mounted the other way round with every lens.
int setFocus8Forward(int code, int steps, int speed) {
    return twin::order("setFocus8Forward", Axis::focus, -1, code, steps, speed);
}

int setFocus8Backward(int code, int steps, int speed) {
    return twin::order("setFocus8Backward", Axis::focus, 1, code, steps, speed);
}

int setIrisForward(int code, int steps, int speed) {
    return twin::order("setIrisForward", Axis::iris, 1, code, steps, speed);
}

int setIrisBackward(int code, int steps, int speed) {
    return twin::order("setIrisBackward", Axis::iris, -1, code, steps, speed);
}

int setRotatForward(int code, int steps, int speed) {
    return twin::order("setRotatForward", Axis::rotate, 1, code, steps, speed);
}

int setRotatBackward(int code, int steps, int speed) {
    return twin::order("setRotatBackward", Axis::rotate, -1, code, steps, speed);
}

int getPanBusyStatus(int device, unsigned char* status) {
    return twin::readStatus("getPanBusyStatus", Axis::pan, device, status);
}

int getTiltBusyStatus(int device, unsigned char* status) {
    return twin::readStatus("getTiltBusyStatus", Axis::tilt, device, status);
}

int getZoomStatus(unsigned char* status) {
    return twin::readStatus("getZoomStatus", Axis::zoom, twin::kHead, status);
}

int getFocusStatus(unsigned char* status) {
    return twin::readStatus("getFocusStatus", Axis::focus, twin::kHead, status);
}

int getIrisStatus(unsigned char* status) {
    return twin::readStatus("getIrisStatus", Axis::iris, twin::kHead, status);
}

int getRotatStatus(unsigned char* status) {
    return twin::readStatus("getRotatStatus", Axis::rotate, twin::kHead, status);
}

int getPanPos(int device, int* position) {
    return twin::readCounter("getPanPos", Axis::pan, device, position);
}

int getTiltnPos(int device, int* position) {
    return twin::readCounter("getTiltnPos", Axis::tilt, device, position);
}

int setPowerEnable(int mask) {
    return twin::switchSupply("setPowerEnable", mask, mask);
}

int setPowerDisable(int mask) {
    return twin::switchSupply("setPowerDisable", mask, 0);
}

int setIcrSwEnalbe(void) {
    return twin::switchIcr("setIcrSwEnalbe", true);
}

int setIcrSwDisable(void) {
    return twin::switchIcr("setIcrSwDisable", false);
}

int setLedMode(int led, int mode) {
    twin::beforeChange("mcu", "setLedMode");
    twin::enterLibrary("setLedMode");
    const twin::WorldLock lock;
    twin::trace("mcu", "setLedMode %d %d", led, mode);
    if (led < 0 || led >= static_cast<int>(twin::kLedCount) || twin::orderRefused("setLedMode")) {
        return -1;
    }
    twin::gBoard.ledModes[led] = mode;
    return 0;
}

int setMuiltLEDs(const unsigned int* groupA, const unsigned int* groupB) {
    twin::beforeChange("mcu", "setMuiltLEDs");
    const twin::MotorCall call("setMuiltLEDs");
    if (groupA == nullptr || groupB == nullptr) {
        return -1;
    }
    twin::trace("mcu", "setMuiltLEDs %08x %08x %08x %08x %08x %08x %08x %08x", groupA[0], groupA[1],
                groupA[2], groupA[3], groupB[0], groupB[1], groupB[2], groupB[3]);
    if (twin::orderRefused("setMuiltLEDs")) {
        return -1;
    }
    std::copy_n(groupA, twin::kGroupWords, twin::gBoard.leds);
    std::copy_n(groupB, twin::kGroupWords, twin::gBoard.leds + twin::kGroupWords);
    return 0;
}

int getVersion_mb(unsigned int* version) {
    twin::enterLibrary("getVersion_mb");
    const twin::WorldLock lock;
    if (version == nullptr || twin::refused("getVersion_mb")) {
        return -1;
    }
    *version = twin::mcuVersion(twin::Mcu::mainBoard);
    return 0;
}

int mcuReInitall(void) {
    twin::beforeChange("mcu", "mcuReInitall");
    twin::enterLibrary("mcuReInitall");
    const twin::WorldLock lock;
    twin::trace("mcu", "mcuReInitall");
    return twin::callFails("mcuReInitall") ? -1 : 0;
}

int msp430fr2433BslWrite(const char* path) {
    twin::beforeChange("mcu", "msp430fr2433BslWrite");
    twin::enterLibrary("msp430fr2433BslWrite");
    const twin::WorldLock lock;
    twin::trace("mcu", "msp430fr2433BslWrite %s", twin::cameraPath(path));
    return twin::callFails("msp430fr2433BslWrite") ? -1
                                                   : twin::loadFirmware(twin::Mcu::mainBoard, path);
}
