// Angles from readings of the acceleration.
#include <gtest/gtest.h>

#include <cmath>

#include "orientation/attitude.h"
#include "orientation/install_detection.h"

namespace {

constexpr float kG = 9.80665F;

TEST(OrientationAngles, TheAttitudeLiesInAFullCircle) {
    const float c30 = kG * std::sqrt(0.75F);
    const float s30 = kG / 2;
    struct {
        Acceleration reading;
        float pitch, yaw, roll;
    } const cases[] = {
        {{0, 0, kG}, 0, 0, 0},        {{0, 0, -kG}, 0, 0, 180},
        {{0, kG, 0}, 90, 0, 0},       {{0, -kG, 0}, 270, 0, 0},
        {{kG, 0, 0}, 0, 90, 270},     {{-kG, 0, 0}, 0, 270, 90},
        {{0, c30, -s30}, 60, 0, 180}, {{s30, -c30, 0}, 300, 30, 270},
        {{-s30, 0, c30}, 0, 330, 30}, {{0, -kG * std::sin(0.0174533F), kG}, 359, 0, 0},
    };
    for (const auto& each : cases) {
        const Attitude attitude = AccelToAngles(each.reading);
        SCOPED_TRACE(testing::Message()
                     << each.reading.x << " " << each.reading.y << " " << each.reading.z);
        EXPECT_NEAR(attitude.pitch, each.pitch, 0.001);
        EXPECT_NEAR(attitude.yaw, each.yaw, 0.001);
        EXPECT_NEAR(attitude.roll, each.roll, 0.001);
    }
}

TEST(OrientationAngles, EachSignedPairHasItsOwnOrderOfTheAxes) {
    // (1, 2, 3): every axis differs, so that a swapped one shows. In the last pair the numerator's
    // own axis stands under the root.
    const Acceleration reading = {1, 2, 3};
    const auto degrees = [](double y, double x) { return std::atan2(y, x) * 180.0 / M_PI; };
    struct {
        PitchRoll pair;
        double pitch, roll;
    } const cases[] = {
        {CalcXyzPitchRoll(reading), degrees(-1, std::sqrt(13)), degrees(2, 3)},
        {CalcZyxPitchRoll(reading), degrees(-2, std::sqrt(10)), degrees(-1, 3)},
        {CalcYzxPitchRoll(reading), degrees(-3, std::sqrt(5)), degrees(-1, 2)},
        {CalcZxPitchRoll(reading), degrees(-3, std::sqrt(10)), degrees(-3, 1)},
    };
    for (const auto& each : cases) {
        EXPECT_NEAR(each.pair.pitch, each.pitch, 1e-5);
        EXPECT_NEAR(each.pair.roll, each.roll, 1e-5);
    }
}

TEST(OrientationAngles, NoReadingGivesZeros) {
    const Attitude attitude = AccelToAngles({0, 0, 0});
    EXPECT_EQ(attitude.pitch, 0);
    EXPECT_EQ(attitude.yaw, 0);
    EXPECT_EQ(attitude.roll, 0);
    EXPECT_TRUE(std::signbit(attitude.roll)) << "shown as -0.00";
    EXPECT_EQ(mountAngles({0, 0, 0}).xzRoll, 0);
}

TEST(OrientationAngles, NearLevelNearVerticalAndNearEachOther) {
    struct {
        float angle;
        bool level, vertical;
    } const cases[] = {
        {0, true, false},    {19.9F, true, false},  {20, false, false},   {75, false, true},
        {70, false, false},  {70.1F, false, true},  {110, false, false},  {109.9F, false, true},
        {160, false, false}, {160.1F, true, false}, {-170, true, false},  {-100, false, true},
        {-70, false, false}, {-70.1F, false, true}, {-110, false, false}, {180, true, false},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(IsNearLevel(each.angle), each.level) << each.angle;
        EXPECT_EQ(IsNearVertical(each.angle), each.vertical) << each.angle;
    }
    EXPECT_TRUE(AngleNear(350, 10, 20));
    EXPECT_TRUE(AngleNear(10, 350, 20));
    EXPECT_FALSE(AngleNear(0, 21, 20));
    EXPECT_FALSE(AngleNear(349.9F, 10, 20));
}

}  // namespace
