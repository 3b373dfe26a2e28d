// The image orientation following the head's moves, in the modes "auto" and "rotate".
#include <gtest/gtest.h>

#include <optional>
#include <sstream>
#include <string>

#include "control_state.h"
#include "motion/rotate_requests.h"
#include "orientation/motion_sensor.h"
#include "session.h"
#include "tests/twin_world.h"

namespace {

// What follows a short pan (or rotate) move, up to the first line of a search.
constexpr struct {
    const char* mode;
    const char* mount;
    int tilt, rotate;
    const char* word;
    const char* lines;
} kMoves[] = {
    {"auto", "ceiling", 3200, 533, "pan a:10100", R"(
log in RotateMode1RPMode
log x:0.00 y:8.49 z:-4.90
log 3.Pos:10100 xyzPitch: -0.00, zyxPitch: -60.00, yzxPitch: 30.00, yzRoll: 120.00, xzRoll: -180.00, xyRoll: -0.00, zxRoll: 90.00
log 11111111 Ceiling filp=0 mirror=0 rotate=0
bus image.camN.mirror off
bus image.camN.flip off
bus image.camN.rotate off
)"},
    {"auto", "desktop", 3200, 433, "rotate a:533", R"(
log in RotateMode1RPMode
log x:0.00 y:-8.49 z:4.90
log 3.Pos:10000 xyzPitch: -0.00, zyxPitch: 60.00, yzxPitch: -30.00, yzRoll: -60.00, xzRoll: -0.00, xyRoll: -180.00, zxRoll: -90.00
log 2222222222 desktop filp=1 mirror=1 rotate=0
bus image.camN.mirror on
bus image.camN.flip on
bus image.camN.rotate off
)"},
    {"auto", "ceiling", 1280, 533, "pan a:10100", R"(
log in RotateMode1RPMode
log x:0.00 y:0.00 z:-9.81
log 3.Pos:10100 xyzPitch: -0.00, zyxPitch: -0.00, yzxPitch: 90.00, yzRoll: 180.00, xzRoll: -180.00, xyRoll: -0.00, zxRoll: 90.00
log [kestrl] roll is 90 degree, noting to do
)"},
    // A new choice of rotate leads to a search; the first of the two lines is the bus handler's.
    {"auto", "ceiling", 3200, 5600, "pan a:10100", R"(
log in RotateMode1RPMode
log x:8.49 y:-0.00 z:-4.90
log 3.Pos:10100 xyzPitch: -60.00, zyxPitch: 0.01, yzxPitch: 30.00, yzRoll: -179.99, xzRoll: -120.00, xyRoll: -90.01, zxRoll: 30.00
log [marlin] !!!! xyz+yzx
log 
log [marlin] !!!! xyz+yzx pitch_sum=-30.00 xyz_pitch_360:300.00 yzx_pitch_360:150.00
log [marlin] !!!! xyz+yzx wall flimping down cccccccccc
log all mode:3
log cccccccccc 16:9->9:16 filp=0 mirror=0 rotate=1
bus image.camN.mirror off
bus image.camN.flip off
bus image.camN.rotate on
log giRotate=1
log giRotate=1
bus lens.camN.rotatestatus run
log in AutoSearch
)"},
    {"auto", "wall90", 3200, 533, "pan a:10100", R"(
log in RotateMode1RPMode
log x:-1.36 y:4.86 z:8.41
log 3.Pos:10100 xyzPitch: 7.98, zyxPitch: -29.68, yzxPitch: -59.05, yzRoll: 30.00, xzRoll: 9.20, xyRoll: 15.67, zxRoll: -99.20
log [marlin] !!!! zyx+yzx
log 
log [marlin] !!!! zyx+yzx pitch_sum=-88.73 zyx_pitch_360:330.32 yzx_pitch_360:239.05
log [marlin] !!!! zyx+yzx wall flimping up aaaaaaaaaaa
log all mode:2
log bbbbbbbbbbb filp=0 mirror=0 rotate=0
bus image.camN.mirror off
bus image.camN.flip off
bus image.camN.rotate off
)"},
    // Not classified: what was before.
    {"auto", "wall90", 3200, 5600, "pan a:10100", R"(
log in RotateMode1RPMode
log x:4.86 y:1.36 z:8.41
log 3.Pos:10100 xyzPitch: -29.68, zyxPitch: -7.98, yzxPitch: -59.05, yzRoll: 9.20, xzRoll: -30.00, xyRoll: -74.34, zxRoll: -60.00
log [marlin] !!!! xyz+yzx
log 
log [marlin] !!!! xyz+yzx pitch_sum=-88.73 xyz_pitch_360:330.32 yzx_pitch_360:239.05
log all mode:0
bus image.camN.mirror off
bus image.camN.flip on
bus image.camN.rotate off
)"},
    {"rotate", "ceiling", 3200, 533, "rotate a:600", R"(
log iRotateMove=4 0
bus lens.camN.rotatestatus run
log iRotateMove=2 4
bus lens.camN.rotatestatus stop
log iRotateMove=0 2
log in RotateMode2RotateMode
log 1.pan:10000 tilt:3200 rotate:600 pitch=59.98 roll=182.06 yaw=1.03
)"},
    {"rotate", "ceiling", 3200, 5400, "rotate a:5600", R"(
log iRotateMove=4 0
bus lens.camN.rotatestatus run
log iRotateMove=2 4
bus lens.camN.rotatestatus stop
log iRotateMove=0 2
log in RotateMode2RotateMode
log 1.pan:10000 tilt:3200 rotate:5600 pitch=359.99 roll=240.00 yaw=60.00
bus image.camN.flip off
bus image.camN.mirror off
bus image.camN.rotate on
log 1111111
log giRotate=1
log giRotate=1
bus lens.camN.rotatestatus run
log in AutoSearch
)"},
    {"rotate", "ceiling", 1280, 533, "pan a:10100", R"(
log in RotateMode2PanMode
log 2.pan:10100 tilt:1280 rotate:533 pitch=0.00 roll=180.00 yaw=0.00
log The sensor is level with the ground and not moving
)"},
    {"rotate", "ceiling", 3200, 5600, "pan a:10100", R"(
log in RotateMode2PanMode
log 2.pan:10100 tilt:3200 rotate:5600 pitch=359.99 roll=240.00 yaw=60.00
bus lens.camN.rotatestatus run
log in AutoSearch
)"},
    // No supply, status or action here.
    {"rotate", "desktop", 3200, 400, "pan a:10100", R"(
log in RotateMode2PanMode
log 2.pan:10100 tilt:3200 rotate:400 pitch=300.09 roll=355.92 yaw=2.05
bus image.camN.flip on
bus image.camN.mirror on
log target_angle=360.00
log target_angle=360.00,fYaw=1.43,last_angle=2.05 Step:440 angle_difference=-2.05 new_angle_difference=-1.43 *
log target_angle=360.00,fYaw=1.00,last_angle=1.43 Step:468 angle_difference=-1.43 new_angle_difference=-1.00 *
log target_angle=360.00,fYaw=0.71,last_angle=1.00 Step:487 angle_difference=-1.00 new_angle_difference=-0.71 *
log target_angle=360.00,fYaw=0.42,last_angle=1.00 Step:506 angle_difference=-1.00 new_angle_difference=-0.42 *
log target_angle=360.00,fYaw=0.17,last_angle=0.42 Step:522 angle_difference=-0.42 new_angle_difference=-0.17 *
log target_angle=360.00,fYaw=359.92,last_angle=0.42 Step:538 angle_difference=-0.42 new_angle_difference=0.08 *
log Reached target angle: 359.92 degrees.
log P13131313
)"},
};

TEST(OrientationWatch, EachModeFollowsAPanOrARotateMoveOnce) {
    for (const auto& move : kMoves) {
        SCOPED_TRACE(std::string(move.mode) + " " + move.mount + " " + move.word);
        const Camera camera(Positions{.tilt = move.tilt, .rotate = move.rotate});
        camera.setting("lens.camN.mode_rotate", move.mode);
        camera.setting("image.camN.flip", "on");
        const auto run =
            camera.run(std::string("run 0.1\nset lens.camN.") + move.word + "\nrun 3\n",
                       {"--clock", "virtual", "--trace", "--mount", move.mount});
        const std::string lines =
            run.trace.after(std::string("cmd lens.camN.") + move.word)
                .without({"mcu ", "Pan Run", "PanMotor", "Pan Stop", "panstatus", "action",
                          "position", "Power", "2.iRotate", "giFlip", "giMirror"})
                .lines();
        const std::string expected = move.lines;
        const std::size_t begin = lines.find(expected.substr(0, expected.find('\n', 1)));
        ASSERT_NE(begin, std::string::npos) << lines;
        EXPECT_EQ(lines.substr(begin, expected.size()), expected);
        EXPECT_EQ(run.trace.count("log in RotateMode"), 1);
    }
}

class OrientationWatchSteps : public TwinWorld {
protected:
    // The lens loop's part in a head that lies level: the orientation functions that it calls.
    static std::string called(LensLoopState& state) {
        testing::internal::CaptureStdout();
        giRotate = 0;
        watchOrientation(state);
        std::istringstream lines(testing::internal::GetCapturedStdout());
        std::string calls;
        for (std::string line; std::getline(lines, line);) {
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
            std::istringstream passes(row.moves);
            for (std::string states; passes >> states;) {
                iPanMove = states[0] - '0';
                iRotateMove = states[1] - '0';
                calls += called(state);
            }
            EXPECT_EQ(calls, check == 0 ? row.calls : "");
            // A turned picture, chosen without waiting for the bus.
            if (calls == "2RotateMode ") {
                EXPECT_EQ(state.watchedRotate, 1);
            }
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
