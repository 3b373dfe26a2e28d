// The motion sensor as the daemon drives it, and what it makes of one that fails.
#include <gtest/gtest.h>

#include <cmath>

#include "orientation/motion_sensor.h"
#include "tests/twin_world.h"

namespace {

class OrientationReading : public TwinWorld {};

TEST_F(OrientationReading, FailedTransfersReadAsZeroHighByteFirst) {
    build(0, {{"pan.position", "4000"}, {"tilt.position", "3000"}, {"rotate.position", "2000"}},
          "wall90");
    ASSERT_EQ(GyroOpen(), 0);
    constexpr double kCount = 0.061 * 9.80665 / 1000;
    const auto counts = [](float value) { return static_cast<int>(std::lround(value / kCount)); };
    const Acceleration all = GyroReadAccel();
    EXPECT_NEAR(std::hypot(all.x, all.y, all.z), 9.80665, 0.001);
    const int x = counts(all.x);
    const int y = counts(all.y);
    const int z = counts(all.z);
    ASSERT_LT(std::min({x, y, z}), 0);
    const auto low = [](int value) { return value & 0xFF; };
    const int read[][3] = {{x, y, z}, {low(x), y, z}, {0, y, z}, {0, low(y), z},
                           {0, 0, z}, {0, 0, low(z)}, {0, 0, 0}};
    for (int failing = 0; failing <= 6; ++failing) {
        if (failing > 0) {
            fault("call transferI2c " + std::to_string(failing));
        }
        const Acceleration reading = GyroReadAccel();
        EXPECT_EQ(counts(reading.x), read[failing][0]) << failing;
        EXPECT_EQ(counts(reading.y), read[failing][1]) << failing;
        EXPECT_EQ(counts(reading.z), read[failing][2]) << failing;
    }
}

}  // namespace
