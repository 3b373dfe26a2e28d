// The simulated motion sensor on its bus.
#include <gtest/gtest.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>

#include <cmath>
#include <cstdint>

#include "platform/i2c.h"
#include "platform/motor_mcu.h"
#include "session.h"
#include "tests/twin_world.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

class TwinGravity : public TwinWorld {
protected:
    static int write(Bytes bytes) {
        i2c_msg message = {0x6A, 0, static_cast<std::uint16_t>(bytes.size()), bytes.data()};
        return transfer(&message, 1);
    }
    static int read(std::uint8_t first, Bytes& bytes, std::uint16_t address = 0x6A) {
        i2c_msg messages[] = {
            {address, 0, 1, &first},
            {address, I2C_M_RD, static_cast<std::uint16_t>(bytes.size()), bytes.data()}};
        return transfer(messages, 2);
    }
    static int transfer(i2c_msg* messages, unsigned int count) {
        i2c_rdwr_ioctl_data request = {messages, count};
        return transferI2c(bus(), &request);
    }
    static int bus() {
        return openI2cBus("/dev/i2c-1");
    }

    static std::uint8_t readOne(std::uint8_t number) {
        Bytes one(1);
        EXPECT_GE(read(number, one), 0);
        return one[0];
    }

    // The three outputs in counts.
    static std::vector<int> counts() {
        Bytes bytes(6);
        EXPECT_GE(read(0x28, bytes), 0);
        std::vector<int> result;
        for (std::size_t i = 0; i < 6; i += 2) {
            result.push_back(static_cast<std::int16_t>(bytes[i] | bytes[i + 1] << 8));
        }
        return result;
    }

    static void stand(const char* mount, int pan, int tilt, int rotate) {
        build(0, memoryOf({.pan = pan, .tilt = tilt, .rotate = rotate}), mount);
    }
};

// Rounded to the nearest count: the last bit of a sine reads 0.
TEST_F(TwinGravity, TheReadingFollowsTheTruePositionsAndTheMount) {
    // One g is 16393 counts. Tilt 4160 looks straight ahead (0 degrees), 1280 along the normal
    // (90), 3200 between (30); rotate 533 is upright, and 5066 steps more are 89.99 degrees.
    constexpr int kG = 16393;
    constexpr int kHalf = 8197;
    constexpr int kMost = 14197;  // cos 30 degrees
    struct {
        const char* mount;
        int pan, tilt, rotate;
        std::vector<int> counts;
    } const cases[] = {
        {"ceiling", 0, 4160, 533, {0, kG, 0}},
        {"ceiling", 31234, 3200, 533, {0, kMost, -kHalf}},
        {"desktop", 0, 3200, 533, {0, -kMost, kHalf}},
        {"ceiling", 0, 4160, 5599, {kG, 3, 0}},
        {"wall0", 0, 3200, 533, {0, kHalf, kMost}},
        {"wall0", 22166, 3200, 533, {1, -kHalf, -kMost}},
        {"wall180", 0, 1280, 533, {0, -kG, 0}},
        {"wall90", 0, 1280, 533, {-kG, 0, 0}},
        {"wall270", 0, 1280, 533, {kG, 0, 0}},
        {"wall90", 11083, 1280, 533, {-1, kG, 0}},
    };
    for (const auto& each : cases) {
        stand(each.mount, each.pan, each.tilt, each.rotate);
        EXPECT_EQ(counts(), each.counts) << each.mount << each.pan << " " << each.tilt;
    }
}

TEST_F(TwinGravity, RegistersAnswerOneByOneAndInRows) {
    stand("ceiling", 0, 3200, 533);
    EXPECT_EQ(write({0x17, 0xE0, 0xE2}), 1);
    EXPECT_EQ(readOne(0x17), 0xE0);
    EXPECT_EQ(readOne(0x18), 0xE2);
    EXPECT_EQ(write({0x0F, 0x00}), 1);
    EXPECT_EQ(write({0x2B, 0x11}), 1);
    EXPECT_EQ(readOne(0x0F), 0x6B) << "the identity cannot be written";
    EXPECT_EQ(readOne(0x2B) << 8 | readOne(0x2A), 14197);
}

TEST_F(TwinGravity, WrongRequestsFail) {
    stand("ceiling", 0, 3200, 533);
    EXPECT_LT(openI2cBus("/dev/i2c-2"), 0);
    Bytes one(1);
    EXPECT_LT(read(0x0F, one, 0x6B), 0);
    std::vector<i2c_msg> many(43, {0x6A, 0, 1, one.data()});
    EXPECT_EQ(transfer(many.data(), 42), 42);
    EXPECT_LT(transfer(many.data(), 43), 0);
    many[0].len = 0;
    EXPECT_LT(transfer(many.data(), 1), 0);
}

TEST_F(TwinGravity, SensorFaults) {
    stand("ceiling", 0, 4160, 533);
    const std::vector<int> level = counts();
    fault("sensor-frozen");
    setTiltBackwardS(2, 960, 250);
    pass(2'000'000);
    EXPECT_EQ(counts(), level);
    fault("clear sensor-frozen");
    EXPECT_NE(counts(), level);
    fault("sensor-identity 6a");
    EXPECT_EQ(readOne(0x0F), 0x6A);
    fault("call transferI2c 1");
    Bytes one = {0x77};
    EXPECT_LT(read(0x0F, one), 0);
    EXPECT_EQ(one[0], 0x77);
    EXPECT_GE(read(0x0F, one), 0);
    fault("sensor-absent");
    EXPECT_GT(bus(), 0) << "the bus is there";
    EXPECT_LT(read(0x0F, one), 0);
}

TEST_F(TwinGravity, NoiseStaysWithinItsAmplitude) {
    stand("ceiling", 0, 3200, 533);
    const std::vector<int> still = counts();
    fault("sensor-noise 20");
    int farthest = 0;
    for (int i = 0; i < 1000; ++i) {
        pass(10'000);
        const std::vector<int> read = counts();
        EXPECT_EQ(counts(), read) << "one sample";
        for (std::size_t axis = 0; axis < 3; ++axis) {
            farthest = std::max(farthest, std::abs(read[axis] - still[axis]));
        }
    }
    EXPECT_GE(farthest, 19);
    EXPECT_LE(farthest, 21);
}

}  // namespace
