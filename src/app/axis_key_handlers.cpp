#include "app/axis_key_handlers.h"

#include <cstdint>
#include <cstring>

#include "app/command_buffers.h"
#include "app/setting_handlers.h"
#include "axis/axes.h"
#include "axis/marker_files.h"
#include "control_state.h"

namespace {

enum RunningBit : std::int32_t {
    kFocusBit = 1,
    kZoomBit = 2,
    kPanBit = 4,
    kTiltBit = 8,
    kRotateBit = 16
};

bool startsWith(const char* text, const char* prefix) {
    return std::strncmp(text, prefix, std::strlen(prefix)) == 0;
}

// A failed axis keeps its marker: its position is lost until it has run again.
void takeStatus(Axis axis, RunningBit bit, const char* value) {
    if (startsWith(value, "run")) {
        giMotorRunning.fetch_or(bit);
        setMotorFile(axis, true);
    } else if (startsWith(value, "stop") || startsWith(value, "done")) {
        giMotorRunning.fetch_and(~bit);
        setMotorFile(axis, false);
    } else if (startsWith(value, "fail")) {
        giMotorRunning.fetch_or(bit);
    }
}

// Whether the key was the axis's status key.
bool handledStatus(Axis axis, RunningBit bit, const char* key, const char* value) {
    if (std::strstr(key, axisRow(axis).statusWord) == nullptr) {
        return false;
    }
    takeStatus(axis, bit, value);
    return true;
}

}  // namespace

void handleFocusKey(const char* key, const char* value) {
    if (std::strstr(key, ".focus_after_zoom") != nullptr) {
        handleFocusAfterZoom(key, value);
    } else if (!handledStatus(Axis::focus, kFocusBit, key, value)) {
        postCommand(gszFocusCmd, value);
    }
}

void handleZoomKey(const char* key, const char* value) {
    if (!handledStatus(Axis::zoom, kZoomBit, key, value)) {
        overwriteCommand(gszZoomCmd, value);
    }
}

void handleIrisKey(const char* key, const char* value) {
    if (std::strstr(key, axisRow(Axis::iris).statusWord) == nullptr) {
        postCommand(gszIrisCmd, value);
    }
}

void handlePanKey(const char* key, const char* value) {
    if (!handledStatus(Axis::pan, kPanBit, key, value)) {
        overwriteCommand(gszPanCmd, value);
    }
}

void handleTiltKey(const char* key, const char* value) {
    if (!handledStatus(Axis::tilt, kTiltBit, key, value)) {
        overwriteCommand(gszTiltCmd, value);
    }
}

void handleRotateKey(const char* key, const char* value) {
    if (!handledStatus(Axis::rotate, kRotateBit, key, value)) {
        overwriteCommand(gszRotateCmd, value);
    }
}
