#include "orientation/attitude.h"

#include <cmath>
#include <cstdio>

#include "axis/axes.h"

namespace {

// The triple and the pairs convert radians by different constants; both are kept.
float degreesOfTriple(double radians) {
    return static_cast<float>(radians * 57.2957795131);
}

float degreesOfPair(double radians) {
    return static_cast<float>(radians * 180.0 / 3.141592653589793);
}

// The sum is formed in single precision with one rounding less: the first square is fused.
double rootOfSquares(float first, float second) {
    return std::sqrt(static_cast<double>(std::fma(first, first, second * second)));
}

double angleOf(float opposite, double adjacent) {
    return std::atan2(static_cast<double>(opposite), adjacent);
}

float fullCircle(float angle) {
    return angle < 0 ? angle + 360 : angle;
}

PitchRoll pairOf(double pitchRadians, double rollRadians) {
    return {degreesOfPair(pitchRadians), degreesOfPair(rollRadians)};
}

bool nearStraightLine(float angle) {
    return std::fabs(angle) < 20 || std::fabs(angle) > 160;
}

}  // namespace

Attitude GyroGetAttitude() {
    GyroOpen();
    return AccelToAngles(GyroReadAccel());
}

Attitude AccelToAngles(const Acceleration& reading) {
    const auto& [x, y, z] = reading;
    Attitude attitude = {};
    attitude.pitch = fullCircle(degreesOfTriple(angleOf(y, rootOfSquares(x, z))));
    attitude.roll = fullCircle(degreesOfTriple(angleOf(-x, z)));
    attitude.yaw = fullCircle(degreesOfTriple(angleOf(x, rootOfSquares(y, z))));
    return attitude;
}

PitchRoll CalcXyzPitchRoll(const Acceleration& reading) {
    const auto& [x, y, z] = reading;
    return pairOf(angleOf(-x, rootOfSquares(y, z)), angleOf(y, z));
}

PitchRoll CalcZyxPitchRoll(const Acceleration& reading) {
    const auto& [x, y, z] = reading;
    return pairOf(angleOf(-y, rootOfSquares(x, z)), angleOf(-x, z));
}

PitchRoll CalcYzxPitchRoll(const Acceleration& reading) {
    const auto& [x, y, z] = reading;
    return pairOf(angleOf(-z, rootOfSquares(x, y)), angleOf(-x, y));
}

// The numerator's own axis stands under the root, and the roll divides by X; meant so.
PitchRoll CalcZxPitchRoll(const Acceleration& reading) {
    const auto& [x, y, z] = reading;
    return pairOf(angleOf(-z, rootOfSquares(x, z)), angleOf(-z, x));
}

bool IsNearLevel(float angle) {
    return nearStraightLine(angle);
}

bool IsNearVertical(float angle) {
    return nearStraightLine(angle > 0 ? angle - 90 : angle + 90);
}

void printAttitude(int place, const Attitude& attitude) {
    std::printf("%d.pan:%d tilt:%d rotate:%d pitch=%.2f roll=%.2f yaw=%.2f\n", place,
                axisPosition(Axis::pan), axisPosition(Axis::tilt), axisPosition(Axis::rotate),
                attitude.pitch, attitude.roll, attitude.yaw);
}
