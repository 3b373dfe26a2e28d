#include "twin/world/optics.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "twin/world/fault_values.h"

namespace twin {
namespace {

struct CurvePoint {
    int zoom;
    int focus;
};

using Curve = std::array<CurvePoint, 12>;

constexpr Curve kStandardCurve = {{{0, 274},
                                   {50, 308},
                                   {100, 436},
                                   {150, 550},
                                   {200, 658},
                                   {250, 756},
                                   {300, 854},
                                   {350, 944},
                                   {400, 1028},
                                   {450, 1112},
                                   {500, 1186},
                                   {550, 1256}}};

constexpr Curve kLongCurve = {{{0, 562},
                               {61, 554},
                               {122, 532},
                               {184, 516},
                               {245, 498},
                               {306, 478},
                               {367, 456},
                               {428, 436},
                               {490, 418},
                               {551, 400},
                               {612, 384},
                               {673, 366}}};

constexpr double kFlat = 0.15;
constexpr double kContrast = 1.4;
constexpr double kPeakWidth = 60.0;
// Each area's own distance lies a little beside the middle one's.
constexpr double kAreaOffsets[kAreaCount] = {6.0, 0.0, -5.0};

const Curve* gCurve = &kStandardCurve;

// Interpolated between the points, constant beyond the ends.
double focusFor(int zoom) {
    const auto above = std::find_if(gCurve->begin(), gCurve->end(),
                                    [&](const CurvePoint& point) { return point.zoom > zoom; });
    if (above == gCurve->begin()) {
        return above->focus;
    }
    const auto below = std::prev(above);
    if (above == gCurve->end()) {
        return below->focus;
    }
    const double part =
        static_cast<double>(zoom - below->zoom) / static_cast<double>(above->zoom - below->zoom);
    return below->focus + part * (above->focus - below->focus);
}

}  // namespace

void makeOptics(bool longLens) {
    gCurve = longLens ? &kLongCurve : &kStandardCurve;
}

bool sceneIsLit() {
    return faultValue(Fault::sceneDark) == 0;
}

double sharpness(Area area, int zoom, int focus) {
    if (!sceneIsLit()) {
        return 0.0;
    }
    if (faultValue(Fault::sceneFlat) != 0 ||
        faultValue(Fault::areaFlat, static_cast<int>(area)) != 0) {
        return kFlat;
    }
    const double sharpest =
        focusFor(zoom) + faultValue(Fault::sceneOffset) + kAreaOffsets[static_cast<int>(area)];
    const double distance = (focus - sharpest) / kPeakWidth;
    const double fall = 1.0 + distance * distance;
    return kFlat + kContrast / (fall * fall);
}

}  // namespace twin
