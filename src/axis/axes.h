// The six axes as data: one row each, so that what they share is written once.
#pragma once

#include <cstddef>
#include <cstdint>

#include "control_state.h"

// In the order in which positions and statuses are published.
enum class Axis : std::size_t { pan, tilt, rotate, zoom, focus, iris };

inline constexpr std::size_t kAxisCount = 6;

struct AxisRow {
    LensField maximum;
    LensField minimum;
    LensField position;
    SharedInt* target;
    SharedInt* continuous;
    SharedInt* move;
    Axis relativeLimits;  // whose range bounds relative words
    const char* statusKey;
    const char* statusWord;  // what tells the status key's name from the command key's
    const char* positionKey;
    const char* demoPositionKey;
    const char* rangeKey;
    const char* demoRangeKey;
};

// Relative words of rotate and zoom are bounded by the focus range; meant so.
inline constexpr AxisRow kAxes[kAxisCount] = {
    {kPanMaximum, kPanMinimum, kPanPosition, &giPanTarget, &iPanContinuous, &iPanMove, Axis::pan,
     "lens.camN.panstatus", ".panstatus", "lens.camN.position_pan", "demo.ptz.position.pan",
     "lens.camN.range.pan", "demo.ptz.range.pan"},
    {kTiltMaximum, kTiltMinimum, kTiltPosition, &giTiltTarget, &iTiltContinuous, &iTiltMove,
     Axis::tilt, "lens.camN.tiltstatus", ".tiltstatus", "lens.camN.position_tilt",
     "demo.ptz.position.tilt", "lens.camN.range.tilt", "demo.ptz.range.tilt"},
    {kRotateMaximum, kRotateMinimum, kRotatePosition, &giNewRotat, &iRotateContinuous, &iRotateMove,
     Axis::focus, "lens.camN.rotatestatus", ".rotatestatus", "lens.camN.position_rotate",
     "demo.ptz.position.rotate", "lens.camN.range.rotate", "demo.ptz.range.rotate"},
    {kZoomMaximum, kZoomMinimum, kZoomPosition, &giZoomTarget, &iZoomContinuous, &iZoomMove,
     Axis::focus, "lens.camN.zoomstatus", ".zoomstatus", "lens.camN.position_zoom",
     "demo.ptz.position.zoom", "lens.camN.range.zoom", "demo.ptz.range.zoom"},
    {kFocusMaximum, kFocusMinimum, kFocusPosition, &giFocusTarget, &iFocusContinuous, &iFocusMove,
     Axis::focus, "lens.camN.focusstatus", ".focusstatus", "lens.camN.position_focus",
     "demo.ptz.position.focus", "lens.camN.range.focus", "demo.ptz.range.focus"},
    {kIrisMaximum, kIrisMinimum, kIrisPosition, &giIrisTarget, &iIrisContinuous, &iIrisMove,
     Axis::iris, "lens.camN.irisstatus", ".irisstatus", "lens.camN.position_iris",
     "demo.ptz.position.iris", "lens.camN.range.iris", "demo.ptz.range.iris"},
};

constexpr const AxisRow& axisRow(Axis axis) {
    return kAxes[static_cast<std::size_t>(axis)];
}

// The axis's range and position in steps. Any thread.
inline std::int32_t axisMaximum(Axis axis) {
    return gLensRange[axisRow(axis).maximum];
}
inline std::int32_t axisMinimum(Axis axis) {
    return gLensRange[axisRow(axis).minimum];
}
inline std::int32_t axisPosition(Axis axis) {
    return gLensRange[axisRow(axis).position];
}

// Records where the axis is (or will be once its motor has stopped). Lens thread, or start-up.
inline void setAxisPosition(Axis axis, std::int32_t position) {
    gLensRange[axisRow(axis).position] = position;
}

// Whether a word that ends the axis's continuous command and has it move is only half stored. Any
// thread.
inline bool moveIsComing(Axis axis) {
    return gaMoveComing[static_cast<std::size_t>(axis)] != 0;
}

// The value forced into the range: the minimum if it is below it, else the maximum if above.
constexpr std::int32_t clampToRange(std::int32_t maximum, std::int32_t minimum,
                                    std::int64_t value) {
    return value < minimum ? minimum : value > maximum ? maximum : static_cast<std::int32_t>(value);
}

// The value forced into the axis's range.
inline std::int32_t clampToAxis(Axis axis, std::int64_t value) {
    return clampToRange(axisMaximum(axis), axisMinimum(axis), value);
}
