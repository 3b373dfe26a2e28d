#include "twin/world/gravity.h"

#include <cmath>
#include <numbers>

namespace twin {
namespace {

constexpr double kGravity = 9.80665;
constexpr double kRadians = std::numbers::pi / 180.0;

// Up, in the frame of the mount: the third axis is its normal into the room.
constexpr struct {
    const char* mount;
    Vector up;
} kMounts[] = {
    {"ceiling", {0.0, 0.0, -1.0}}, {"desktop", {0.0, 0.0, 1.0}},  {"wall0", {1.0, 0.0, 0.0}},
    {"wall90", {0.0, 1.0, 0.0}},   {"wall180", {-1.0, 0.0, 0.0}}, {"wall270", {0.0, -1.0, 0.0}},
};

const auto* gMount = &kMounts[0];

Vector combine(double first, const Vector& a, double second, const Vector& b) {
    return {first * a.x + second * b.x, first * a.y + second * b.y, first * a.z + second * b.z};
}

double product(const Vector& a, const Vector& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

}  // namespace

bool mountCamera(const std::string& mount) {
    for (const auto& row : kMounts) {
        if (mount == row.mount) {
            gMount = &row;
            return true;
        }
    }
    return false;
}

const char* mountName() {
    return gMount->mount;
}

Vector gravityReading(int pan, int tilt, int rotate) {
    const double heading = 360.0 * kRadians * pan / 44333.0;
    const double drop = (130.0 - tilt / 32.0) * kRadians;
    const double roll = (rotate - 533) * 180.0 / 10133.0 * kRadians;

    const Vector normal = {0.0, 0.0, 1.0};
    const Vector ahead = {std::cos(heading), std::sin(heading), 0.0};
    const Vector right = {std::sin(heading), -std::cos(heading), 0.0};
    const Vector view = combine(std::cos(drop), ahead, std::sin(drop), normal);
    const Vector below = combine(std::sin(drop), ahead, -std::cos(drop), normal);
    const Vector x = combine(std::cos(roll), right, std::sin(roll), below);
    const Vector y = combine(-std::sin(roll), right, std::cos(roll), below);
    const Vector& up = gMount->up;
    return {kGravity * product(x, up), kGravity * product(y, up), kGravity * product(view, up)};
}

}  // namespace twin
