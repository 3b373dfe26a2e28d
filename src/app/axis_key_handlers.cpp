#include "app/axis_key_handlers.h"

#include <cstdint>

#include "app/command_buffers.h"
#include "app/setting_handlers.h"
#include "axis/axes.h"
#include "axis/marker_files.h"
#include "control_state.h"
#include "words.h"

namespace {

// The axes whose status is tracked; the running bit is that of `giMotorRunning`.
struct KeyRow {
    Axis axis;
    std::int32_t runningBit;
    Mailbox* mailbox;  // of the two, the axis has one
    OverwriteBuffer* buffer;
};

constexpr KeyRow kFocusKey = {Axis::focus, 1, &gszFocusCmd, nullptr};
constexpr KeyRow kZoomKey = {Axis::zoom, 2, nullptr, &gszZoomCmd};
constexpr KeyRow kPanKey = {Axis::pan, 4, nullptr, &gszPanCmd};
constexpr KeyRow kTiltKey = {Axis::tilt, 8, nullptr, &gszTiltCmd};
constexpr KeyRow kRotateKey = {Axis::rotate, 16, nullptr, &gszRotateCmd};

bool isStatusKey(Axis axis, const char* key) {
    return contains(key, axisRow(axis).statusWord);
}

// A failed axis keeps its marker: its position is lost until it has run again.
void takeStatus(const KeyRow& row, const char* value) {
    if (startsWith(value, "run")) {
        giMotorRunning.fetch_or(row.runningBit);
        setMotorFile(row.axis, true);
    } else if (startsWith(value, "stop") || startsWith(value, "done")) {
        giMotorRunning.fetch_and(~row.runningBit);
        setMotorFile(row.axis, false);
    } else if (startsWith(value, "fail")) {
        giMotorRunning.fetch_or(row.runningBit);
    }
}

void takeStatusOrCommand(const KeyRow& row, const char* key, const char* value) {
    if (isStatusKey(row.axis, key)) {
        takeStatus(row, value);
        return;
    }
    // An axis has one of the two.
    if (row.mailbox != nullptr) {
        postCommand(*row.mailbox, value);
    }
    if (row.buffer != nullptr) {
        overwriteCommand(*row.buffer, value);
    }
}

}  // namespace

void handleFocusKey(const char* key, const char* value) {
    if (contains(key, ".focus_after_zoom")) {
        handleFocusAfterZoom(key, value);
    } else {
        takeStatusOrCommand(kFocusKey, key, value);
    }
}

void handleZoomKey(const char* key, const char* value) {
    takeStatusOrCommand(kZoomKey, key, value);
}

void handleIrisKey(const char* key, const char* value) {
    if (!isStatusKey(Axis::iris, key)) {
        postCommand(gszIrisCmd, value);
    }
}

void handlePanKey(const char* key, const char* value) {
    takeStatusOrCommand(kPanKey, key, value);
}

void handleTiltKey(const char* key, const char* value) {
    takeStatusOrCommand(kTiltKey, key, value);
}

void handleRotateKey(const char* key, const char* value) {
    takeStatusOrCommand(kRotateKey, key, value);
}
