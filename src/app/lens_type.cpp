#include "app/lens_type.h"

#include <array>
#include <cstdio>

#include "axis/axes.h"
#include "axis/motor_codes.h"
#include "control_state.h"
#include "platform/model.h"
#include "platform/nbus.h"

namespace {

using LensRecord = std::array<std::int32_t, kLensFieldCount>;

// The lenses differ in zoom, focus and iris only; every minimum is 0.
constexpr LensRecord lensRecord(std::int32_t zoom, std::int32_t focus, std::int32_t iris) {
    LensRecord record = {};
    record[kZoomMaximum] = zoom;
    record[kFocusMaximum] = focus;
    record[kIrisMaximum] = iris;
    record[kPanMaximum] = 44333;
    record[kTiltMaximum] = 5120;
    record[kRotateMaximum] = 10666;
    return record;
}

// The first is never selected.
constexpr LensRecord kLensTypes[] = {
    LensRecord{},
    lensRecord(2361, 2433, 96),
    lensRecord(2937, 1812, 118),
};

void adopt(const LensRecord& record) {
    for (std::size_t field = 0; field < record.size(); ++field) {
        gLensRange[field] = record[field];
    }
}

}  // namespace

void selectLensType() {
    if (get_lenstype() == kLongLens) {
        adopt(kLensTypes[2]);
        std::puts("Lens Type: RICOM_9T27");
    } else {
        adopt(kLensTypes[1]);
        std::puts("Lens Type: FL4_10");
    }
}

void publishRanges() {
    for (std::size_t index = 0; index < kAxisCount; ++index) {
        const Axis axis = static_cast<Axis>(index);
        char text[128] = {};
        std::snprintf(text, sizeof text, "%d~%d", axisMinimum(axis), axisMaximum(axis));
        nbus_set(axisRow(axis).demoRangeKey, text);
        nbus_set(axisRow(axis).rangeKey, text);
    }
}

void printRanges() {
    std::printf("Pan Max:%d\n", axisMaximum(Axis::pan));
    std::printf("Tilt Max:%d\n", axisMaximum(Axis::tilt));
    // Spelt so, on purpose.
    std::printf("Rotat Max:%d\n", axisMaximum(Axis::rotate));
    std::printf("Zoom Max:%d\n", axisMaximum(Axis::zoom));
    std::printf("Focus Max:%d\n", axisMaximum(Axis::focus));
    std::printf("Iris Max:%d\n", axisMaximum(Axis::iris));
}
