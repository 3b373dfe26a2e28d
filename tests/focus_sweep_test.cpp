// The fixed-step sweep called with each of its modes, and the diagnostic score.
#include "focus/focus_sweep.h"

#include "app/lens_type.h"
#include "control_state.h"
#include "focus/focus_search.h"
#include "focus/focus_stats.h"
#include "focus/focus_sweep_adaptive.h"
#include "platform/encoder.h"
#include "session.h"
#include "tests/twin_world.h"

namespace {

using twin::Axis;

// Sharpest focus of the areas at this zoom: A, B between, C.
constexpr int kZoom = 550;
constexpr int kPeakOfA = 1262;
constexpr int kPeak = 1256;
constexpr int kPeakOfC = 1251;

class FocusSweep : public TwinWorld {
protected:
    static void standAt(int focus) {
        build(0, memoryOf({.zoom = kZoom, .focus = focus}));
        ASSERT_EQ(PTZShmInit(), 0);
        selectLensType();
        setAxisPosition(::Axis::focus, focus);
        giEncodeStarted = 1;
    }
};

TEST_F(FocusSweep, TheModeChoosesTheAreaAndTheStepWhetherItGoesThere) {
    struct {
        int mode, step, result;
        bool goesThere;
    } const cases[] = {
        {1, 2, kPeak, true},      {1, 4, kPeak, true},      {1, 5, kPeak, false},
        {2, 2, kPeak, true},      {2, 10, kPeak, true},     {3, 2, kPeak, true},
        {3, 10, kPeak, true},     {4, 2, kPeak, true},      {4, 10, kPeak, false},
        {5, 2, kPeakOfA, true},   {5, 10, kPeakOfA, false}, {6, 2, kPeakOfC, true},
        {6, 10, kPeakOfC, false}, {0, 2, kPeak, false},     {7, 2, kPeak, false},
    };
    // Mode 6 says A while it takes C.
    const std::string says[] = {"", "", "", "", "Focus B Area", "Focus A Area", "Focus A Area", ""};
    for (const auto& each : cases) {
        const std::string name =
            "mode " + std::to_string(each.mode) + " step " + std::to_string(each.step);
        standAt(1400);
        testing::internal::CaptureStdout();
        const int result = focusSweep(kPeak - 60, kPeak + 60, each.step, each.mode);
        const std::string said = testing::internal::GetCapturedStdout();
        const std::size_t at = said.find("Focus ");
        EXPECT_EQ(at == std::string::npos ? "" : said.substr(at, 12), says[each.mode]) << name;
        EXPECT_NEAR(result, each.result, each.step / 2 + 1) << name;
        EXPECT_EQ(position(Axis::focus) == result, each.goesThere) << name;
        EXPECT_EQ(position(Axis::focus), axisPosition(::Axis::focus)) << name;
        AreaSharpness seen;
        const int score = readFocusStats(&seen.a, &seen.b, &seen.c);
        const auto end = testing::Message()
                         << "Auto focus ponsition " << result << ' ' << position(Axis::focus)
                         << " \nS:" << score << " A:" << seen.a << " B:" << seen.b
                         << " C:" << seen.c << '\n';
        EXPECT_EQ(said.ends_with(end.GetString()), each.mode >= 1 && each.mode <= 6) << name;
    }
}

TEST_F(FocusSweep, ASmallIntervalOrAPresetWordLeavesNothingToSearch) {
    standAt(1400);
    EXPECT_EQ(focusSweep(kPeak, kPeak + 2, 2, 1), -1);
    EXPECT_EQ(focusSweepAdaptive(kPeak, kPeak + 2), 0);
    standAt(1400);
    giActPreset = 5;
    EXPECT_EQ(focusSweep(kPeak - 60, kPeak + 60, 2, 1), 1400);
    EXPECT_EQ(focusSweepAdaptive(kPeak - 60, kPeak + 60), 1400);
    EXPECT_EQ(position(Axis::focus), 1400);
}

TEST_F(FocusSweep, TheWeightedScoreIsMostlyThatOfAreaA) {
    standAt(kPeakOfA);
    testing::internal::CaptureStdout();
    const int atA = focusScoreWeighted();
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "sum_a:1550000 lum_a:1000000 a:1.55000 sum_b:1522414 lum_b:1000000 b:1.52241 "
              "sum_c:1460430 lum_c:1000000 c:1.46043\n");
    EXPECT_NEAR(atA, 1.55e8 / 5 + 1.5e4 * 3 / 5, 2000);
    standAt(kPeakOfC);
    EXPECT_LT(focusScoreWeighted(), atA);
    EXPECT_EQ(fault("statistics-fail"), "ok");
    EXPECT_EQ(focusScoreWeighted(), 0);
}

}  // namespace
