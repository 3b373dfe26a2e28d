// What the simulated encoder says about a focus position.
#include "platform/encoder.h"
#include "platform/motor_mcu.h"
#include "tests/twin_world.h"

namespace {

using twin::Axis;

class TwinOptics : public TwinWorld {
protected:
    static void look(int lensType, int zoom, int focus) {
        build(lensType,
              {{"zoom.position", std::to_string(zoom)}, {"focus.position", std::to_string(focus)}});
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
        EXPECT_EQ(info.lum_a, 1'000'000U);
        EXPECT_EQ(info.lum_b, 1'000'000U);
        EXPECT_EQ(info.lum_c, 1'000'000U);

        look(each.lensType, each.zoom, each.focus + 60);
        info = read();
        EXPECT_EQ(info.sum_b, 500'000U) << each.zoom;
        EXPECT_GT(info.sum_a, info.sum_b) << "A is sharpest higher up";
        EXPECT_LT(info.sum_c, info.sum_b) << "C is sharpest lower down";
    }
}

TEST_F(TwinOptics, Scenes) {
    struct {
        const char* fault;
        unsigned int sum, light;
    } const cases[] = {
        {"scene flat", 150'000, 1'000'000},      {"scene dark", 0, 0},
        {"scene offset 60", 500'000, 1'000'000}, {"scene offset -60", 500'000, 1'000'000},
        {"scene normal", 1'550'000, 1'000'000},
    };
    look(0, 0, 274);
    for (const auto& each : cases) {
        fault("scene normal");
        fault(each.fault);
        EXPECT_EQ(read().sum_b, each.sum) << each.fault;
        EXPECT_EQ(read().lum_b, each.light) << each.fault;
    }
}

TEST_F(TwinOptics, AReadingIsThatOfTheLatestFrame) {
    // Frames come every 33 ms. The move begins 10 ms after one and lasts 4 ms.
    look(0, 0, 274);
    pass(33'000 - twin::now() % 33'000 + 10'000);
    setFocus8Backward(-56, 20, 5000);
    pass(4'000);
    EXPECT_FALSE(twin::axisTruth(Axis::focus).busy);
    EXPECT_EQ(read().sum_b, 1'550'000U) << "still the old position";
    pass(18'999);
    EXPECT_EQ(read().sum_b, 1'550'000U);
    pass(1);
    EXPECT_EQ(read().sum_b, 1'284'000U) << "150,000 + 1,400,000 / (1 + 1/9)^2";

    // Several orders within one frame hide nothing of the frame's truth, and one that runs across a
    // frame is seen where it stood then.
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

TEST_F(TwinOptics, NoiseIsSmallSeededAndTheSameWithinAFrame) {
    look(0, 0, 274);
    fault("scene noise 0.5");
    double lowest = 2.0;
    double highest = 0.0;
    for (int i = 0; i < 2000; ++i) {
        const unsigned int sum = read().sum_b;
        EXPECT_EQ(read().sum_b, sum);
        lowest = std::min(lowest, sum / 1'550'000.0);
        highest = std::max(highest, sum / 1'550'000.0);
        pass(33'000);
    }
    EXPECT_NEAR(lowest, 0.995, 0.0002);
    EXPECT_NEAR(highest, 1.005, 0.0002);
    EXPECT_GE(lowest, 0.995 - 1e-6);
    EXPECT_LE(highest, 1.005 + 1e-6);
}

TEST_F(TwinOptics, NoStatisticsWithoutTheirConditions) {
    FocusInfo info{};
    build(0, {});
    EXPECT_NE(GutAF_Info(&info, 0), 0) << "nobody attached";
    fault("call PTZShmInit 1");
    EXPECT_NE(PTZShmInit(), 0);
    EXPECT_NE(GutAF_Info(&info, 0), 0);
    EXPECT_EQ(PTZShmInit(), 0);
    EXPECT_EQ(GutAF_Info(&info, 0), 0);
    EXPECT_NE(GutAF_Info(nullptr, 0), 0);
    EXPECT_NE(GutAF_Info(&info, 1), 0);
    fault("statistics-fail");
    EXPECT_NE(GutAF_Info(&info, 0), 0);
    fault("clear statistics-fail");
    EXPECT_EQ(GutAF_Info(&info, 0), 0);
}

}  // namespace
