// The motion sensor as the daemon drives it, and what it makes of one that fails.
#include <gtest/gtest.h>

#include <cmath>

#include "orientation/motion_sensor.h"
#include "session.h"
#include "tests/twin_world.h"

namespace {

// What boot prints of the sensor, then what a levelling request leads to.
constexpr struct {
    const char* fault;
    const char* lines;
} kBoots[] = {
    {nullptr, R"(
i2c write 17 e0
log Reg:0x17 val:0xe0 iRet:1
i2c write 18 e2
log Reg:0x18 val:0xe2 iRet:1
i2c write 10 72
log Reg:0x10 val:0x72 iRet:1
i2c write 11 70
log Reg:0x11 val:0x70 iRet:1
i2c write 10 40
i2c write 11 40
log Gyro ID:6b
log in AutoSearch
)"},
    {"sensor-identity 6a", R"(
i2c write 17 e0
log Reg:0x17 val:0xe0 iRet:1
i2c write 18 e2
log Reg:0x18 val:0xe2 iRet:1
i2c write 10 72
log Reg:0x10 val:0x72 iRet:1
i2c write 11 70
log Reg:0x11 val:0x70 iRet:1
i2c write 10 40
i2c write 11 40
log Gyro ID:6a
log Gyro not ready
)"},
    {"sensor-absent", R"(
log Reg:0x17 val:0xe0 iRet:-1
log Reg:0x18 val:0xe2 iRet:-1
log Reg:0x10 val:0x72 iRet:-1
log Reg:0x11 val:0x70 iRet:-1
log Gyro ID:0
log Gyro not ready
)"},
    {"call transferI2c 5", R"(
log Reg:0x17 val:0xe0 iRet:-1
log Reg:0x18 val:0xe2 iRet:-1
log Reg:0x10 val:0x72 iRet:-1
log Reg:0x11 val:0x70 iRet:-1
i2c write 11 40
log Gyro ID:6b
log in AutoSearch
)"},
    // The lens loop tries again.
    {"call openI2cBus always", R"(
log open /dev/i2c-1 error
log Gyro ID:0
log open /dev/i2c-1 error
log Gyro not ready
)"},
};

TEST(OrientationSensor, BootProgramsItOnceAndLevellingNeedsItsIdentity) {
    for (const auto& boot : kBoots) {
        SCOPED_TRACE(boot.fault == nullptr ? "" : boot.fault);
        Camera camera(Positions{.tilt = 3200});
        if (boot.fault != nullptr) {
            camera.fault(boot.fault);
        }
        const auto run = camera.run("run 0.1\nset lens.camN.rotate auto\nrun 2\n");
        EXPECT_EQ(run.all.about({"i2c ", "log open", "log Reg", "log Gyro", "log in Auto"}).lines(),
                  boot.lines);
        // The request is dropped, not kept.
        EXPECT_EQ(run.trace.count("bus lens.camN.rotatestatus run"),
                  run.trace.count("log in AutoSearch"));
    }
}

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
