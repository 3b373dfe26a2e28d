#include "motion/autofocus_requests.h"

#include <cstdio>
#include <cstring>

#include "axis/axis_driver.h"
#include "control_state.h"
#include "focus/focus_search.h"
#include "focus/focus_sweep.h"
#include "focus/focus_sweep_adaptive.h"
#include "motion/focus_centre.h"
#include "motion/publication.h"
#include "motion/rest.h"
#include "platform/nbus.h"

namespace {

constexpr std::int32_t kHalfRange = 400;
constexpr std::int32_t kRefineHalfRange = 30;
constexpr std::int32_t kCoarseStep = 10;
constexpr std::int32_t kFineStep = 2;
constexpr std::int32_t kRefineModeOfFast = 4;

void stopOtherAxes() {
    const auto others = {Axis::pan, Axis::tilt, Axis::rotate, Axis::zoom, Axis::iris};
    takeOver(others);
    publishStatuses(others, "stop");
}

void enterFocusRun() {
    iFocusMove = kMovePreset;
    publishStatus(Axis::focus, "run");
}

void refine(std::int32_t around, std::int32_t mode) {
    focusSweep(around - kRefineHalfRange, around + kRefineHalfRange, kFineStep, mode);
}

std::int32_t announceCentre() {
    const std::int32_t centre = focusCentre(axisPosition(Axis::zoom));
    std::printf("Auto Focus Range:%d ~ %d\n", centre - kHalfRange, centre + kHalfRange);
    return centre;
}

void searchFast() {
    stopOtherAxes();
    enterFocusRun();
    setMotorPower(1);
    const std::int32_t centre = announceCentre();
    const std::int32_t found = focusSweepAdaptive(centre - kHalfRange, centre + kHalfRange);
    if (found >= 1 && !presetInterrupts()) {
        refine(found, kRefineModeOfFast);
    }
    if (giActPreset >= 0) {
        std::puts("Set Focus status to stop");
    }
}

void searchByContrast(std::int32_t mode) {
    enterFocusRun();
    stopOtherAxes();
    setMotorPower(1);
    const std::int32_t centre = announceCentre();
    std::printf("Zoom Pos:%d\n", axisPosition(Axis::zoom));
    const std::int32_t found =
        focusSweep(centre - kHalfRange, centre + kHalfRange, kCoarseStep, mode);
    if (found >= 0 && !presetInterrupts()) {
        refine(found, mode);
    }
}

// An arrival has written "done" itself; this reaches a request that was given up, or none at all.
void endPresetOnBus() {
    char value[128] = {};
    nbus_get("lens.camN.act_preset", value, sizeof value);
    if (std::strcmp(value, "done") != 0) {
        publishPresetDone();
    }
}

// Whatever has been asked for meanwhile is served by this search, too.
void endSearch() {
    publishMoveEnd(Axis::focus);
    if (!presetInterrupts()) {
        endPresetOnBus();
    }
    setTargetsToPositions({Axis::focus});
    replaceIfUnchanged(iFocusMove, kMovePreset, kMoveIdle);
    giAfRequest = 0;
}

struct SearchRow {
    std::int32_t request;
    std::int32_t mode;
};

constexpr SearchRow kContrastSearches[] = {{2, 2}, {5, 5}, {6, 6}, {3, 2}};

}  // namespace

void serveAutofocusRequest(std::int32_t request) {
    if (request == 1) {
        searchFast();
        endSearch();
        return;
    }
    for (const SearchRow& row : kContrastSearches) {
        if (row.request == request) {
            searchByContrast(row.mode);
            endSearch();
        }
    }
}
