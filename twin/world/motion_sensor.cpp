#include "twin/world/motion_sensor.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "twin/clock/timeline.h"
#include "twin/world/fault_values.h"
#include "twin/world/gravity.h"
#include "twin/world/mechanism.h"
#include "twin/world/random.h"

namespace twin {
namespace {

constexpr unsigned int kAddress = 0x6A;
constexpr std::uint8_t kIdentityRegister = 0x0F;
constexpr std::uint8_t kIdentity = 0x6B;
constexpr std::uint8_t kFirstOutput = 0x28;
constexpr std::uint8_t kLastOutput = 0x2D;
// From here on registers are not the program's to write.
constexpr std::uint8_t kFirstStatus = 0x1A;

// m/s² in one count of 0.061 thousandths of the standard gravity.
constexpr double kCount = 0.061 * 9.80665 / 1000.0;

// The sensor takes 104 samples a second: noise is the same within one.
constexpr Microseconds kSamplePeriod = 9'615;

using Counts = std::array<int, 3>;

std::array<std::uint8_t, 256> gRegisters;
bool gFrozen = false;
Counts gHeld = {};
std::uint64_t gSeed = 0;

Counts sample() {
    const Vector reading =
        gravityReading(axisTruth(Axis::pan).position, axisTruth(Axis::tilt).position,
                       axisTruth(Axis::rotate).position);
    const auto index = static_cast<std::uint64_t>(now() / kSamplePeriod);
    const double amplitude = faultValue(Fault::sensorNoise);
    const auto count = [&](double acceleration, std::uint64_t axis) {
        const double noise = amplitude * noiseAt(gSeed, axis, index);
        return static_cast<int>(
            std::clamp<long>(std::lround(acceleration / kCount + noise), -32768, 32767));
    };
    return {count(reading.x, 0), count(reading.y, 1), count(reading.z, 2)};
}

}  // namespace

void makeMotionSensor(std::uint64_t seed) {
    gRegisters.fill(0);
    gFrozen = false;
    gSeed = seed;
}

bool sensorAnswers(unsigned int address) {
    return address == kAddress && faultValue(Fault::sensorAbsent) == 0;
}

std::uint8_t readSensorRegister(std::uint8_t number) {
    if (number == kIdentityRegister) {
        const int wrong = faultValue(Fault::sensorIdentity);
        return wrong != 0 ? static_cast<std::uint8_t>(wrong & 0xFF) : kIdentity;
    }
    if (number >= kFirstOutput && number <= kLastOutput) {
        const Counts counts = gFrozen ? gHeld : sample();
        const unsigned int output = number - unsigned{kFirstOutput};
        const auto bits = static_cast<unsigned int>(counts[output / 2]);
        return static_cast<std::uint8_t>(output % 2 == 0 ? bits & 0xFF : bits >> 8 & 0xFF);
    }
    return gRegisters[number];
}

void writeSensorRegister(std::uint8_t number, std::uint8_t value) {
    if (number < kFirstStatus) {
        gRegisters[number] = value;
    }
}

void refreshMotionSensor() {
    const bool frozen = faultValue(Fault::sensorFrozen) != 0;
    if (frozen && !gFrozen) {
        gHeld = sample();
    }
    gFrozen = frozen;
}

}  // namespace twin
