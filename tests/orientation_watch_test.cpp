// When the image orientation follows the head's moves, and when that leads to a search.
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "control_state.h"
#include "motion/rotate_requests.h"
#include "orientation/motion_sensor.h"
#include "tests/twin_world.h"

namespace {

class OrientationWatchSteps : public TwinWorld {
protected:
    // The lens loop's part in a head that lies level: the orientation functions that it calls.
    static std::string called(LensLoopState& state) {
        testing::internal::CaptureStdout();
        watchOrientation(state);
        std::string calls;
        for (const std::string& line : linesOf(testing::internal::GetCapturedStdout())) {
            calls += line.starts_with("in RotateMode") ? line.substr(13) + " " : "";
        }
        return calls;
    }
};

TEST_F(OrientationWatchSteps, MovesThatEndAreSeenAndPresetRunsInModeAuto) {
    build(0, {{"rotate.position", "533"}, {"tilt.position", "1280"}});
    GyroOpen();
    constexpr struct {
        int mode;
        const char* moves;  // pan's and rotate's move state, pass by pass
        const char* calls;
    } kRows[] = {
        {1, "00", ""},
        {1, "20 20 00 00", "1RPMode "},
        {1, "04 02 00 00", "1RPMode "},
        {1, "22 20 00", "1RPMode "},
        {1, "10 12 02 00 20 00", "1RPMode 1RPMode "},
        {1, "33 30 30 00 00", "1RPMode "},
        {1, "03 00", "1RPMode "},
        {1, "30 20 00", "1RPMode "},  // a manual move during the run
        {2, "20 20 00 00", "2PanMode "},
        {2, "04 02 00 00", "2RotateMode "},
        {2, "22 00", "2RotateMode 2PanMode "},
        {2, "22 20 00", "2RotateMode 2PanMode "},
        {2, "33 30 30 00 00", ""},
        {2, "30 20 00", "2PanMode "},
        {0, "20 00 02 00", ""},
    };
    for (const auto& row : kRows) {
        for (const int check : {0, -1}) {
            SCOPED_TRACE(testing::Message() << row.mode << " " << row.moves << " " << check);
            giModeRotate = row.mode;
            giGyroCheck = check;
            LensLoopState state;
            std::string calls;
            for (const std::string& states : wordsOf(row.moves)) {
                iPanMove = states[0] - '0';
                iRotateMove = states[1] - '0';
                calls += called(state);
            }
            EXPECT_EQ(calls, check == 0 ? row.calls : "");
        }
    }
    // With the mode off nothing is noted: what ended meanwhile shows when the mode comes on.
    LensLoopState state;
    giGyroCheck = 0;
    for (const auto& [mode, pan, calls] :
         {std::tuple{1, 2, ""}, {0, 0, ""}, {1, 0, "1RPMode "}, {1, 0, ""}}) {
        giModeRotate = mode;
        iPanMove = pan;
        EXPECT_EQ(called(state), calls);
    }
}

TEST_F(OrientationWatchSteps, LevellingAbandonsAPresetRun) {
    build(0, {{"rotate.position", "533"}, {"tilt.position", "3200"}});
    for (const bool ready : {false, true}) {
        giAutoRotate = 1;
        giPoeStatus = ready ? 0 : -1;
        giGyroCheck = 0;
        LensLoopState state;
        state.presetGoal.pan = 5;
        testing::internal::CaptureStdout();
        EXPECT_EQ(serveRotateRequest(state), ready);
        testing::internal::GetCapturedStdout();
        EXPECT_EQ(state.presetGoal.pan, ready ? -1 : 5);
        EXPECT_EQ(giAutoRotate, ready ? 0 : 1);
    }
}

TEST(OrientationWatch, ANewRotateLeadsToOneSearchHoweverSoonTheBusBringsIt) {
    constexpr struct {
        int before;
        std::optional<int> watched;
        int now;
        bool search;
    } kRows[] = {
        {0, {}, 0, false}, {0, {}, 1, true},
        {1, {}, 0, true},  {0, 0, 1, true},  // the bus brought it after the watch
        {0, 1, 1, true},                     // before its end
        {0, 1, 0, true},                     // an older set came in between
        {1, 1, 1, false},
    };
    for (const auto& row : kRows) {
        LensLoopState state;
        rememberRotate(state, row.before);
        if (row.watched) {
            state.watchedRotate = *row.watched;
        }
        giRotate = row.now;
        giAutoRotate = 0;
        requestLevellingOnNewRotate(state);
        EXPECT_EQ(giAutoRotate, row.search ? 1 : 0);
        giAutoRotate = 0;
        requestLevellingOnNewRotate(state);
        EXPECT_EQ(giAutoRotate, 0) << "once";
    }
}

}  // namespace
