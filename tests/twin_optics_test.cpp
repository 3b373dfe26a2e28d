// What the simulated encoder says about a focus position.
#include <cmath>

#include "platform/encoder.h"
#include "platform/motor_mcu.h"
#include "session.h"
#include "tests/twin_world.h"

namespace {

class TwinOptics : public TwinWorld {
protected:
    static void look(int lensType, int zoom, int focus) {
        build(lensType, memoryOf({.zoom = zoom, .focus = focus}));
        EXPECT_EQ(PTZShmInit(), 0);
    }

    static FocusInfo read() {
        FocusInfo info{};
        EXPECT_EQ(GutAF_Info(&info, 0), 0);
        return info;
    }
};

TEST_F(TwinOptics, SharpnessFollowsTheLensCurve) {
    // At the sharpest focus of area B its ratio is 1.55; A's and C's peaks lie 6 above, 5 below.
    struct {
        int lensType, zoom, focus;
    } const cases[] = {
        {0, 0, 274},     {0, 50, 308}, {0, 75, 372},   {0, 325, 899},  {0, 550, 1256},
        {0, 2361, 1256}, {10, 0, 562}, {10, 153, 524}, {10, 673, 366}, {10, 2937, 366},
    };
    for (const auto& each : cases) {
        look(each.lensType, each.zoom, each.focus);
        FocusInfo info = read();
        EXPECT_EQ(info.sum_a, 1'522'414U) << each.zoom;
        EXPECT_EQ(info.sum_b, 1'550'000U) << each.zoom;
        EXPECT_EQ(info.sum_c, 1'530'756U) << each.zoom;
        look(each.lensType, each.zoom, each.focus + 60);
        info = read();
        EXPECT_EQ(info.sum_b, 500'000U) << each.zoom;
    }
}

TEST_F(TwinOptics, AReadingIsThatOfTheLatestFrame) {
    // Frames come every 33 ms. The move begins 10 ms after one and lasts 4 ms.
    look(0, 0, 274);
    pass(33'000 - twin::now() % 33'000 + 10'000);
    setFocus8Backward(-56, 20, 5000);
    pass(4'000);
    EXPECT_EQ(read().sum_b, 1'550'000U) << "still the old position";
    pass(19'000);
    EXPECT_EQ(read().sum_b, 1'284'000U) << "150,000 + 1,400,000 / (1 + 1/9)^2";

    // An order that runs across a frame is seen where it stood then.
    pass(10'000);
    setFocus8Backward(-56, 5, 5000);
    pass(2'000);
    setFocus8Forward(-56, 10, 5000);
    pass(3'000);
    setFocus8Forward(-56, 1000, 1000);
    EXPECT_EQ(read().sum_b, 1'284'000U);
    pass(20'000);
    const double distance = (15.0 - 18.0) / 60.0;
    const double fall = 1.0 + distance * distance;
    EXPECT_NEAR(read().sum_b, 150'000 + 1'400'000 / (fall * fall), 1.0);
}

TEST_F(TwinOptics, NoiseIsSmallAndTheSameWithinAFrame) {
    look(0, 0, 274);
    fault("scene noise 0.5");
    double farthest = 0.0;
    for (int i = 0; i < 2000; ++i) {
        const unsigned int sum = read().sum_b;
        EXPECT_EQ(read().sum_b, sum);
        farthest = std::max(farthest, std::abs(sum / 1'550'000.0 - 1.0));
        pass(33'000);
    }
    EXPECT_NEAR(farthest, 0.005, 0.0002);
    EXPECT_LE(farthest, 0.005 + 1e-6);
}

TEST_F(TwinOptics, NoStatisticsWithoutTheirConditions) {
    FocusInfo info{};
    build(0, {});
    fault("call PTZShmInit 1");
    EXPECT_NE(PTZShmInit(), 0);
    EXPECT_NE(GutAF_Info(&info, 0), 0) << "nobody attached";
    EXPECT_EQ(PTZShmInit(), 0);
    EXPECT_EQ(GutAF_Info(&info, 0), 0);
    EXPECT_NE(GutAF_Info(nullptr, 0), 0);
    EXPECT_NE(GutAF_Info(&info, 1), 0);
    fault("scene dark");
    EXPECT_EQ(read().lum_b, 0U);
    fault("statistics-fail");
    EXPECT_NE(GutAF_Info(&info, 0), 0);
}

}  // namespace
