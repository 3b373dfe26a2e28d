#include "app/bus_keys.h"

#include <cstddef>

#include "app/axis_key_handlers.h"
#include "app/light_handlers.h"
#include "app/request_handlers.h"
#include "app/setting_handlers.h"

namespace {

using enum InitialRead;

constexpr BusKey kBusKeys[] = {
    {"demo.ptz.mode", none, handleDemoPtzMode},
    {"demo.ptz.action", none, handleDemoAction},
    {"demo.led.mode", none, handleDemoLedMode},
    {"demo.led.manual.r", together, handleDemoLedR},
    {"demo.led.manual.g", together, handleDemoLedG},
    {"demo.led.manual.b", together, handleDemoLedB},
    {"demo.led.manual.w", together, handleDemoLedW},
    {"lens.camN.focus_after_zoom", getOnly, handleFocusAfterZoom},
    {"lens.camN.focus", none, handleFocusKey},
    {"lens.camN.zoom", none, handleZoomKey},
    {"lens.camN.iris", none, handleIrisKey},
    {"lens.camN.pan", none, handlePanKey},
    {"lens.camN.tilt", none, handleTiltKey},
    {"lens.camN.rotate", none, handleRotateKey},
    {"lens.camN.act_preset", none, handleActPreset},
    {"lens.camN.preset", none, handlePreset},
    {"lens.camN.action.cmd", none, handleActionCommand},
    {"gpio.camN.out.icr", get, handleIcr},
    {"image.camN.exposure.iris_table", get, handleIrisTable},
    {"image.camN.flip", get, handleFlip},
    {"image.camN.mirror", get, handleMirror},
    {"image.camN.rotate", get, handleRotate},
    {"event.camN.light", names, handleEventLight},
    {"encode.perspective.mode", get, handlePerspectiveMode},
    {"system.camN.action.fwupdate", none, handleFwUpdate},
    {"image.camN.exposure.current_gain", get, handleCurrentGain},
    {"system.info.slave_cameras", get, handleSlaveCameras},
    {"lens.camN.light", names, handleLensLight},
    {"lens.global.led_power", get, handleLedPower},
    {"lens.global.led_ctrl", get, handleLedCtrl},
    {"encode.camN.status", get, handleEncodeStatus},
    {"encode.camN.denoise_status", get, handleDenoiseStatus},
    {"image.camN.exposure.wdr", get, handleWdr},
    {"lens.camN.mode_rotate", get, handleModeRotate},
    {"system.info.poe_status", get, handlePoeStatus},
};

constexpr int kValueSize = 128;

// A read that fails is not told from one that succeeds: the handler gets the zeroed buffer.
void handOver(const BusKey& row, const char* name) {
    char value[kValueSize] = {};
    nbus_get(row.key, value, sizeof value);
    row.handler(name, value);
}

void handOverNames(const BusKey& row) {
    for (int index = 0;; ++index) {
        char name[kValueSize] = {};
        char value[kValueSize] = {};
        if (nbus_get_name(row.key, index, name, sizeof name) == -1) {
            return;
        }
        if (nbus_get(name, value, sizeof value) == 0) {
            row.handler(name, value);
        }
    }
}

// One buffer for all of them, cleared once: a read that fails hands on the text of the key before;
// meant so.
void handOverTogether() {
    char value[kValueSize] = {};
    for (const BusKey& row : kBusKeys) {
        if (row.initial == together) {
            nbus_get(row.key, value, sizeof value);
            row.handler(nullptr, value);
        }
    }
}

void registerKey(const BusKey& row) {
    if (row.initial == getOnly) {
        handOver(row, row.key);
        return;
    }
    if (row.initial == get) {
        handOver(row, nullptr);
    } else if (row.initial == names) {
        handOverNames(row);
    }
    nbus_listen(row.key, row.handler);
}

}  // namespace

std::span<const BusKey> busKeys() {
    return kBusKeys;
}

void registerBusKeys() {
    const BusKey* previous = nullptr;
    for (const BusKey& row : kBusKeys) {
        // The keys that are read together are read when the last of them is listened to.
        if (previous != nullptr && previous->initial == together && row.initial != together) {
            handOverTogether();
        }
        registerKey(row);
        previous = &row;
    }
}
