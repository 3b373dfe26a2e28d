// Absolute moves: what each axis is told, in which order and when, and what the bus hears of it.
#include <gtest/gtest.h>

#include <string>

#include "session.h"

namespace {

struct Move {
    const char* command;
    const char* story;
    const char* axis;
    int position;
};

// One after the other on the same camera, from the default positions.
constexpr Move kMoves[] = {
    {"lens.camN.zoom a:1200", R"(
0 log Set ZFRPT Power:1
0 mcu setPowerEnable 15
0 bus lens.camN.zoomstatus run
0 mcu setZoom8Backward -1 200 5000
0 bus demo.ptz.position.zoom 1200
0 bus lens.camN.position_zoom 1200
40 bus lens.camN.zoomstatus stop
40 bus lens.camN.action.cmd done
40 log Set ZFRPT Power:0
40 mcu setPowerDisable 0
)",
     "zoom", 1200},
    // The first focus move pauses, as does each change of direction.
    {"lens.camN.focus a:900", R"(
0 log Set ZFRPT Power:1
0 mcu setPowerEnable 15
0 bus lens.camN.focusstatus run
100 mcu setFocus8Backward -56 100 5000
100 bus demo.ptz.position.focus 900
100 bus lens.camN.position_focus 900
100 log Focus Pos=900
120 bus lens.camN.focusstatus stop
120 bus lens.camN.action.cmd done
120 log Set ZFRPT Power:0
120 mcu setPowerDisable 0
)",
     "focus", 900},
    {"lens.camN.focus a:950", R"(
0 log Set ZFRPT Power:1
0 mcu setPowerEnable 15
0 bus lens.camN.focusstatus run
0 mcu setFocus8Backward -56 50 5000
0 bus demo.ptz.position.focus 950
0 bus lens.camN.position_focus 950
0 log Focus Pos=950
10 bus lens.camN.focusstatus stop
10 bus lens.camN.action.cmd done
10 log Set ZFRPT Power:0
10 mcu setPowerDisable 0
)",
     "focus", 950},
    {"lens.camN.focus a:850", R"(
0 log Set ZFRPT Power:1
0 mcu setPowerEnable 15
0 bus lens.camN.focusstatus run
100 mcu setFocus8Forward -56 100 5000
100 bus demo.ptz.position.focus 850
100 bus lens.camN.position_focus 850
100 log Focus Pos=850
120 bus lens.camN.focusstatus stop
120 bus lens.camN.action.cmd done
120 log Set ZFRPT Power:0
120 mcu setPowerDisable 0
)",
     "focus", 850},
    {"lens.camN.iris a:40", R"(
0 bus lens.camN.irisstatus run
0 log move iris Forward 40
0 mcu setIrisForward -86 40 5000
0 bus demo.ptz.position.iris 40
0 bus lens.camN.position_iris 40
10 bus lens.camN.irisstatus stop
10 bus lens.camN.action.cmd done
)",
     "iris", 40},
    {"lens.camN.rotate a:1000",
     "\n"
     "0 log Set ZFRPT Power:1\n"
     "0 mcu setPowerEnable 15\n"
     "0 log 2.iRotateMove=2 533 1000 \n"
     "0 bus lens.camN.rotatestatus run\n"
     "0 mcu setRotatForward -3 467 5000\n"
     "0 bus demo.ptz.position.rotate 1000\n"
     "0 bus lens.camN.position_rotate 1000\n"
     "100 bus lens.camN.rotatestatus stop\n"
     "100 bus lens.camN.action.cmd done\n"
     "100 log Set ZFRPT Power:0\n"
     "100 mcu setPowerDisable 0\n",
     "rotate", 1000},
    {"lens.camN.pan a:12000", R"(
0 log Pan Run 10000 -> 12000
0 bus lens.camN.panstatus run
0 log Set PanMotor.txt
100 mcu setPanForwardS 2 2000 250
100 bus demo.ptz.position.pan 12000
100 bus lens.camN.position_pan 12000
270 bus lens.camN.panstatus stop
270 bus lens.camN.action.cmd done
270 log Pan Stop
270 log Clean PanMotor.txt
)",
     "pan", 12000},
    {"lens.camN.tilt a:1900", R"(
0 bus lens.camN.tiltstatus run
30 mcu setTiltBackwardS 2 100 250
90 bus lens.camN.tiltstatus stop
90 bus lens.camN.action.cmd done
90 bus demo.ptz.position.tilt 1900
90 bus lens.camN.position_tilt 1900
)",
     "tilt", 1900},
    // Asked to stay where it is, an axis only reports its end.
    {"lens.camN.pan r:0", R"(
0 bus lens.camN.panstatus stop
0 bus lens.camN.action.cmd done
0 log Pan Stop
)",
     "pan", 12000},
    {"lens.camN.zoom r:0", R"(
0 bus lens.camN.zoomstatus stop
0 bus lens.camN.action.cmd done
)",
     "zoom", 1200},
};

TEST(AbsoluteMove, TakesTheHeadToItsTarget) {
    std::string script = "run 1\n";
    for (const Move& move : kMoves) {
        script += std::string("set ") + move.command + "\nrun 1\nhead\n";
    }
    const Session run = Camera(Positions{}).run(script);
    EXPECT_EQ(run.status, 0);
    std::size_t index = 0;
    for (const Move& move : kMoves) {
        EXPECT_EQ(run.trace.after(std::string("cmd ") + move.command).story(), move.story)
            << move.command;
        const auto axis = run.head(index++)[move.axis];
        EXPECT_EQ(axis["position"], move.position) << move.command;
        EXPECT_EQ(axis["busy"], false) << move.command;
    }
}

TEST(AbsoluteMove, StartsWithinTwoPassesOfItsWord) {
    const Session run = Camera(Positions{}).run("run 1\nset lens.camN.zoom a:1200\nrun 1");
    const auto ordered = run.trace.times("mcu setZoom8Backward");
    ASSERT_EQ(ordered.size(), 1U);
    EXPECT_GT(ordered[0], 1'000'000);
    EXPECT_LE(ordered[0], 1'020'000);
}

TEST(AbsoluteMove, LongLensTurnsTheZoomMotorTheOtherWay) {
    const Camera camera(Positions{}, 10);
    const Session run = camera.run(
        "run 1\nset lens.camN.zoom a:1200\nrun 1\nset lens.camN.zoom a:900\nrun 1\n"
        "set lens.camN.focus a:810\nrun 1\nhead");
    EXPECT_EQ(run.trace.between(1, 4).about({"mcu set"}).without({"Power"}).lines(), R"(
mcu setZoom8Forward -1 200 5000
mcu setZoom8Backward -1 300 5000
mcu setFocus8Backward -56 10 5000
)");
    EXPECT_EQ(run.head()["zoom"]["position"], 900);
    EXPECT_EQ(run.head()["focus"]["position"], 810);
}

TEST(AbsoluteMove, AxesOfOnePassStartInAFixedOrder) {
    const Session run = Camera(Positions{})
                            .run(
                                "run 1\nset lens.camN.tilt a:2100\nset lens.camN.pan a:10100\nset "
                                "lens.camN.rotate a:600\n"
                                "set lens.camN.iris a:5\nset lens.camN.focus a:900\nset "
                                "lens.camN.zoom a:1100\nrun 2");
    EXPECT_EQ(run.trace.between(1, 3).about({"status run", "Power", "mcu set"}).lines(), R"(
log Set ZFRPT Power:1
mcu setPowerEnable 15
bus lens.camN.zoomstatus run
mcu setZoom8Backward -1 100 5000
bus lens.camN.focusstatus run
mcu setFocus8Backward -56 100 5000
bus lens.camN.irisstatus run
mcu setIrisForward -86 5 5000
bus lens.camN.rotatestatus run
mcu setRotatForward -3 67 5000
bus lens.camN.panstatus run
mcu setPanForwardS 2 100 250
bus lens.camN.tiltstatus run
mcu setTiltForwardS 2 100 250
log Set ZFRPT Power:0
mcu setPowerDisable 0
)");
}

TEST(AbsoluteMove, SupplyStaysOnUntilTheLastOfZoomFocusAndRotateRests) {
    const Session run = Camera(Positions{})
                            .run(
                                "run 1\nset lens.camN.pan a:40000\nset lens.camN.zoom a:2000\n"
                                "set lens.camN.rotate a:3033\nrun 3");
    // 200 ms of zoom, 500 ms of rotate, which both start before the pan has waited its 100 ms; the
    // pan's 2.5 s keep no supply on.
    EXPECT_EQ(run.trace.between(1, 3).about({"Power", "status stop"}).story(), R"(
0 log Set ZFRPT Power:1
0 mcu setPowerEnable 15
200 bus lens.camN.zoomstatus stop
500 bus lens.camN.rotatestatus stop
500 log Set ZFRPT Power:0
500 mcu setPowerDisable 0
)");
}

TEST(AbsoluteMove, ANewTargetReplacesTheOldOneWhenTheMotorIsReady) {
    const Session run =
        Camera(Positions{})
            .run(
                "run 1\nset lens.camN.zoom a:2000\nrun 0.05\nset lens.camN.zoom a:500\nrun "
                "1\nhead\n"
                "set lens.camN.tilt a:4000\nrun 0.2\nset lens.camN.tilt a:100\nrun 5\nhead");
    EXPECT_EQ(run.trace.between(1, 9).about({"mcu setZoom", "mcu setTilt"}).lines(), R"(
mcu setZoom8Backward -1 1000 5000
mcu setZoom8Forward -1 1500 5000
mcu setTiltForwardS 2 2000 250
mcu setTiltBackwardS 2 3900 250
)");
    EXPECT_EQ(run.head(1)["zoom"]["position"], 500);
    EXPECT_EQ(run.head(1)["tilt"]["position"], 100);
    for (const char* const axis : {"zoom", "tilt"}) {
        EXPECT_EQ(run.head(1)[axis]["lost"], 0) << axis;
    }
}

}  // namespace
