// What the lens and the scene make of a focus position.
#pragma once

namespace twin {

enum class Area { a, b, c };
constexpr int kAreaCount = 3;
constexpr Area kAreas[kAreaCount] = {Area::a, Area::b, Area::c};

// Chooses the lens's zoom-to-focus curve.
void makeOptics(bool longLens);

// Whether the scene gives light at all. World lock held.
bool sceneIsLit();

// Edge energy over luminance of one area, without noise; 0 in the dark. World lock held.
double sharpness(Area area, int zoom, int focus);

}  // namespace twin
