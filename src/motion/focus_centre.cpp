#include "motion/focus_centre.h"

#include "control_state.h"

namespace {

struct ZoomFocus {
    std::int32_t zoom;
    std::int32_t focus;
};

constexpr ZoomFocus gaZoomFocusTable[] = {
    {0, 562},   {61, 554},  {122, 532}, {184, 516}, {245, 498}, {306, 478},
    {367, 456}, {428, 436}, {490, 418}, {551, 400}, {612, 384}, {673, 366},
};

constexpr ZoomFocus gaZoomFocusTableStd[] = {
    {0, 274},   {50, 308},  {100, 436},  {150, 550},  {200, 658},  {250, 756},
    {300, 854}, {350, 944}, {400, 1028}, {450, 1112}, {500, 1186}, {550, 1256},
};

}  // namespace

std::int32_t focusCentre(std::int32_t zoom) {
    const auto& table = giLensVariant == 2 ? gaZoomFocusTable : gaZoomFocusTableStd;
    std::int32_t centre = 0;
    for (const ZoomFocus& row : table) {
        if (row.zoom > zoom) {
            break;
        }
        centre = row.focus;
    }
    return centre;
}
