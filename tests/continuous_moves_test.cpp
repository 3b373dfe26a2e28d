// Continuous moves: their steps, speeds and directions, and how they end.
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "session.h"

namespace {

TEST(ContinuousPan, StepsFromTargetToTargetUntilItsStop) {
    const Session run =
        Camera(Positions{})
            .run("run 1\nset lens.camN.pan left\nrun 0.05\nset lens.camN.pan stop\nrun 1\nhead");
    EXPECT_EQ(run.trace.between(1.001, 3).without({"cmd lens"}).story(), R"(
0 log iPanContinuous=9 iTiltContinuous=0
0 bus lens.camN.panstatus run
0 mcu setPanForwardS 2 128 240
0 log Set PanMotor.txt
20 mcu setPanForwardS 2 128 240
40 mcu setPanForwardS 2 128 240
150 log iPanContinuous=stop
150 bus lens.camN.panstatus stop
150 bus lens.camN.action.cmd done
150 bus demo.ptz.position.pan 10384
150 bus lens.camN.position_pan 10384
150 log Clean PanMotor.txt
)");
    EXPECT_EQ(run.head()["pan"]["position"], 10384);
}

TEST(ContinuousTilt, StepsFromItsPositionUntilItsStop) {
    const Session run =
        Camera(Positions{})
            .run(
                "run 1\nset lens.camN.tilt down:9\nrun 0.05\nset lens.camN.tilt stop\nrun 1\nhead");
    EXPECT_EQ(run.trace.between(1.001, 3).without({"cmd lens"}).story(), R"(
0 log iTiltContinuous=-9
0 bus lens.camN.tiltstatus run
0 log iTiltContinuous=1968/2000 speed=250
0 mcu setTiltBackwardS 2 32 250
20 log iTiltContinuous=1936/1968 speed=250
20 mcu setTiltBackwardS 2 32 250
40 log iTiltContinuous=1904/1936 speed=250
40 mcu setTiltBackwardS 2 32 250
80 log iTiltContinuous=stop
80 bus lens.camN.tiltstatus stop
80 bus lens.camN.action.cmd done
80 bus demo.ptz.position.tilt 1904
80 bus lens.camN.position_tilt 1904
)");
    EXPECT_EQ(run.head()["tilt"]["position"], 1904);
}

// The words are given one after the other; the end comes two passes after the first step.
struct Lens {
    const char* key;
    const char* word;
    const char* order;
    int positions[2];
};

constexpr Lens kLens[] = {
    {"zoom", "in", "setZoom8Backward", {1030, 1060}},
    {"zoom", "out", "setZoom8Forward", {1030, 1000}},
    {"rotate", "forward", "setRotatForward", {563, 593}},
    {"rotate", "backward", "setRotatBackward", {563, 533}},
    {"iris", "close", "setIrisForward", {1, 2}},
    {"iris", "open", "setIrisBackward", {1, 0}},
};

std::string lensStory(const Lens& lens) {
    const std::string key = lens.key;
    const bool iris = key == "iris";
    std::ostringstream text;
    text << '\n';
    if (!iris) {
        text << "0 log Set ZFRPT Power:1\n0 mcu setPowerEnable 15\n";
    }
    text << "0 bus lens.camN." << key << "status run\n";
    for (int step = 0; step < 2; ++step) {
        const int time = 10 * step;
        if (iris) {
            text << time << " log move iris " << lens.order + 7 << " 1\n";
        }
        text << time << " mcu " << lens.order
             << (iris            ? " -86 1"
                 : key == "zoom" ? " -1 30"
                                 : " -3 30")
             << " 5000\n";
        for (const char* const family : {"demo.ptz.position.", "lens.camN.position_"}) {
            text << time << " bus " << family << key << ' ' << lens.positions[step] << '\n';
        }
    }
    if (iris) {
        // The iris knows no stop; a relative move of nothing ends it, a pass later.
        text << "30 bus lens.camN.irisstatus stop\n30 bus lens.camN.action.cmd done\n";
        return text.str();
    }
    text << (key == "zoom" ? "20 log Stop Zoom\n" : "") << "20 bus lens.camN." << key
         << "status stop\n20 bus lens.camN.action.cmd done\n20 log Set ZFRPT Power:0\n"
         << "20 mcu setPowerDisable 0\n";
    return text.str();
}

TEST(ContinuousLensMove, StepsEachPassUntilItsStop) {
    std::string script = "run 1\n";
    for (const Lens& lens : kLens) {
        const std::string set = std::string("set lens.camN.") + lens.key + " ";
        const char* const end = lens.key == std::string("iris") ? "r:0" : "stop";
        script += set + lens.word + "\nrun 0.02\n" + set + end + "\nrun 0.98\n";
    }
    const Session run = Camera(Positions{}).run(script);
    double start = 1.001;
    for (const Lens& lens : kLens) {
        EXPECT_EQ(run.trace.between(start, start + 1).without({"cmd lens"}).story(),
                  lensStory(lens))
            << lens.key << " " << lens.word;
        start += 1;
    }
}

TEST(ContinuousLensMove, FocusPausesBeforeItsFirstStepAndAtEachTurn) {
    const Session run =
        Camera(Positions{})
            .run(
                "run 1\nset lens.camN.focus near\nrun 0.12\nset lens.camN.focus far\nrun 0.12\n"
                "set lens.camN.focus stop\nrun 1");
    EXPECT_EQ(run.trace.between(1.001, 3)
                  .about({"focus", "Focus", "Power"})
                  .without({"cmd lens"})
                  .story(),
              R"(
0 log Set ZFRPT Power:1
0 mcu setPowerEnable 15
0 bus lens.camN.focusstatus run
100 mcu setFocus8Backward -56 10 5000
100 bus demo.ptz.position.focus 810
100 bus lens.camN.position_focus 810
100 log Focus Pos=810
110 mcu setFocus8Backward -56 10 5000
110 bus demo.ptz.position.focus 820
110 bus lens.camN.position_focus 820
110 log Focus Pos=820
220 mcu setFocus8Forward -56 10 5000
220 bus demo.ptz.position.focus 810
220 bus lens.camN.position_focus 810
220 log Focus Pos=810
230 mcu setFocus8Forward -56 10 5000
230 bus demo.ptz.position.focus 800
230 bus lens.camN.position_focus 800
230 log Focus Pos=800
240 bus lens.camN.focusstatus stop
240 log Set ZFRPT Power:0
240 mcu setPowerDisable 0
)");
}

TEST(ContinuousMove, SpeedFollowsTheNumberInTheWord) {
    struct Speed {
        const char* number;
        const char* pan;
        const char* tilt;
    };
    constexpr Speed kSpeeds[] = {
        {"", "setPanForwardS 2 128 240", "setTiltForwardS 2 32 250"},
        {":1", "setPanForwardS 2 128 160", "setTiltForwardS 2 32 170"},
        {":2", "setPanForwardS 2 128 170", "setTiltForwardS 2 32 180"},
        {":3", "setPanForwardS 2 128 180", "setTiltForwardS 2 32 190"},
        {":4", "setPanForwardS 2 128 190", "setTiltForwardS 2 32 200"},
        {":5", "setPanForwardS 2 128 200", "setTiltForwardS 2 32 210"},
        {":6", "setPanForwardS 2 128 210", "setTiltForwardS 2 32 220"},
        {":7", "setPanForwardS 2 128 220", "setTiltForwardS 2 32 230"},
        {":8", "setPanForwardS 2 128 230", "setTiltForwardS 2 32 240"},
        {":9", "setPanForwardS 2 128 240", "setTiltForwardS 2 32 250"},
        {":12x", "setPanForwardS 2 128 240", "setTiltForwardS 2 32 250"},
        {":-5", "setPanBackwardS 2 128 200", "setTiltBackwardS 2 32 210"},
        {"over", "setPanForwardS 2 128 240", "setTiltForwardS 2 32 250"},
        {":x", nullptr, nullptr},
        {":0", nullptr, nullptr},
    };
    std::string script = "run 1\n";
    for (const Speed& speed : kSpeeds) {
        for (const auto& [axis, word] : {std::pair("pan ", "left"), std::pair("tilt ", "up")}) {
            const std::string set = std::string("set lens.camN.") + axis;
            script += set + word + speed.number + "\nrun 0.02\n" + set + "stop\nrun 2\n";
        }
    }
    const Session run = Camera(Positions{}).run(script);
    const auto first = [&](const char* word, const Speed& speed) {
        const Trace move = run.trace.after(std::string("cmd lens.camN.") + word + speed.number);
        const Trace orders = move.about({"mcu set"});
        return orders.events.empty() ? std::string() : orders.events.front().text;
    };
    for (const Speed& speed : kSpeeds) {
        EXPECT_EQ(first("pan left", speed), speed.pan == nullptr ? "" : speed.pan) << speed.number;
        EXPECT_EQ(first("tilt up", speed), speed.tilt == nullptr ? "" : speed.tilt) << speed.number;
    }
    EXPECT_EQ(run.trace.after("cmd lens.camN.tilt up:3").first(1).lines(),
              "\nlog iTiltContinuous=3 3\n");
    EXPECT_EQ(run.trace.after("cmd lens.camN.tilt up:12x").first(1).lines(),
              "\nlog iTiltContinuous=12 12x\n");
    EXPECT_EQ(run.trace.after("cmd lens.camN.pan left:0").lines(),
              "\nlog iPanContinuous=0 iTiltContinuous=0\n");
}

TEST(ContinuousMove, MirrorFlipAndRotateTurnTheDirections) {
    struct Case {
        const char* rotate;
        const char* mirror;
        const char* flip;
        bool panTurned;
        bool tiltTurned;
    };
    constexpr Case kCases[] = {
        {"off", "off", "off", false, false}, {"off", "on", "off", true, false},
        {"off", "off", "on", false, true},   {"on", "off", "on", true, false},
        {"on", "on", "off", false, true},    {"on", "off", "off", true, true},
    };
    for (const Case& each : kCases) {
        Camera camera{Positions{}};
        camera.setting("image.camN.rotate", each.rotate);
        camera.setting("image.camN.mirror", each.mirror);
        camera.setting("image.camN.flip", each.flip);
        const Session run = camera.run(
            "run 1\nset lens.camN.pan left:5\nrun 0.02\nset lens.camN.pan stop\nrun 1\n"
            "set lens.camN.pan right:5\nrun 0.02\nset lens.camN.pan stop\nrun 1\n"
            "set lens.camN.tilt up\nrun 0.02\nset lens.camN.tilt stop\nrun 1\n"
            "set lens.camN.tilt down:5\nrun 0.02\nset lens.camN.tilt stop\nrun 1\n");
        const char* const left = each.panTurned ? "Backward" : "Forward";
        const char* const right = each.panTurned ? "Forward" : "Backward";
        const char* const up = each.tiltTurned ? "Backward" : "Forward";
        const char* const down = each.tiltTurned ? "Forward" : "Backward";
        EXPECT_EQ(run.trace.between(1, 6).about({"mcu set"}).lines(),
                  std::string("\nmcu setPan") + left + "S 2 128 200\nmcu setPan" + right +
                      "S 2 128 200\nmcu setTilt" + up + "S 2 32 250\nmcu setTilt" + down +
                      "S 2 32 210\n")
            << each.rotate << each.mirror << each.flip;
        EXPECT_EQ(run.trace.after("cmd lens.camN.pan left:5").first(1).lines(),
                  std::string("\nlog iPanContinuous=") + (each.panTurned ? "-5" : "5") +
                      " iTiltContinuous=0\n");
    }
}

TEST(ContinuousMove, EndsByItselfAtTheEndOfItsRange) {
    struct End {
        const char* word;
        Positions from;
        const char* story;
    };
    const End ends[] = {
        {"pan left", {.pan = 44300}, R"(
0 mcu setPanForwardS 2 33 240
100 log iPanContinuous=stop
100 bus lens.camN.panstatus stop
)"},
        {"pan right", {.pan = 100}, R"(
0 mcu setPanBackwardS 2 100 240
100 log iPanContinuous=stop
100 bus lens.camN.panstatus stop
)"},
        // A step that lands on the limit does not end the move; the next one does.
        {"pan left", {.pan = 44333 - 128}, R"(
0 mcu setPanForwardS 2 128 240
120 log iPanContinuous=stop
120 bus lens.camN.panstatus stop
)"},
        {"tilt up", {.tilt = 5110}, R"(
0 mcu setTiltForwardS 2 10 250
30 log iTiltContinuous=stop
30 bus lens.camN.tiltstatus stop
)"},
        {"tilt down", {.tilt = 32}, R"(
0 mcu setTiltBackwardS 2 32 250
50 log iTiltContinuous=stop
50 bus lens.camN.tiltstatus stop
)"},
        {"zoom in", {.zoom = 2331}, R"(
0 mcu setZoom8Backward -1 30 5000
10 log Stop Zoom2
10 bus lens.camN.zoomstatus stop
)"},
        {"zoom in", {.zoom = 2350}, R"(
0 log Stop Zoom2
0 mcu setZoom8Backward -1 11 5000
10 bus lens.camN.zoomstatus stop
)"},
        {"zoom out", {.zoom = 10}, R"(
0 log Stop Zoom3
0 mcu setZoom8Forward -1 10 5000
10 bus lens.camN.zoomstatus stop
)"},
        {"focus near", {.focus = 2430}, R"(
0 mcu setFocus8Backward -56 3 5000
10 bus lens.camN.focusstatus stop
)"},
        {"focus far", {.focus = 10}, R"(
0 mcu setFocus8Forward -56 10 5000
10 bus lens.camN.focusstatus stop
)"},
        {"rotate forward", {.rotate = 10660}, R"(
0 mcu setRotatForward -3 6 5000
10 bus lens.camN.rotatestatus stop
)"},
        {"rotate backward", {.rotate = 5}, R"(
0 mcu setRotatBackward -3 5 5000
10 bus lens.camN.rotatestatus stop
)"},
        {"iris open", {}, R"(
0 bus lens.camN.irisstatus stop
)"},
    };
    for (const End& end : ends) {
        const Session run =
            Camera(end.from).run(std::string("run 1\nset lens.camN.") + end.word + "\nrun 2\nhead");
        EXPECT_EQ(run.trace.after(std::string("cmd lens.camN.") + end.word)
                      .about({"mcu set", "=stop", "status stop", "Stop Zoom"})
                      .without({"setPower"})
                      .story(),
                  end.story)
            << end.word;
        EXPECT_EQ(run.trace.after(std::string("cmd lens.camN.") + end.word)
                      .count("bus lens.camN.action.cmd done"),
                  1);
    }
}

TEST(ContinuousMove, RunsTheIrisThroughItsRange) {
    const Session run = Camera(Positions{}).run("run 1\nset lens.camN.iris close\nrun 5\nhead");
    EXPECT_EQ(run.trace.after("cmd lens.camN.iris close").count("mcu setIrisForward -86 1 5000"),
              96);
    EXPECT_EQ(run.head()["iris"]["position"], 96);
}

TEST(ContinuousMove, TwoSlowestSpeedsTogetherMakeTheLoopQuick) {
    struct Pair {
        const char* pan;
        const char* tilt;
        std::int64_t distance;  // between two steps of the pan, in microseconds
    };
    // A step at speed 160 takes 526.4 ms, at speed 170 341.3 ms.
    constexpr Pair kPairs[] = {
        {"left:1", "up:1", 527'000},  {"left:1", "up:2", 530'000},      {"left:2", "up:1", 350'000},
        {"right:1", "up:1", 530'000}, {"right:-1", "down:-1", 527'000},
    };
    for (const Pair& pair : kPairs) {
        const Session run = Camera(Positions{})
                                .run(std::string("run 1\nset lens.camN.pan ") + pair.pan +
                                     "\nset lens.camN.tilt " + pair.tilt + "\nrun 3");
        const auto steps = run.trace.between(1, 4).times("mcu setPan");
        ASSERT_GE(steps.size(), 2U);
        EXPECT_EQ(steps[1] - steps[0], pair.distance) << pair.pan << " " << pair.tilt;
        EXPECT_EQ(run.trace.between(1, 4).count("bus lens.camN.position_"), 0)
            << "positions wait for the end of the move";
    }
}

TEST(ContinuousMove, KeepsItsSupplyAndItsWordWhileAnotherAxisEnds) {
    const Session run =
        Camera(Positions{})
            .run(
                "run 1\nset lens.camN.rotate forward\nset lens.camN.zoom a:1100\nrun 0.5\n"
                "set lens.camN.rotate stop\nrun 1\nhead");
    EXPECT_EQ(run.trace.between(1, 3).about({"Power", "status"}).story(), R"(
0 log Set ZFRPT Power:1
0 mcu setPowerEnable 15
0 bus lens.camN.rotatestatus run
0 bus lens.camN.zoomstatus run
20 bus lens.camN.zoomstatus stop
500 bus lens.camN.rotatestatus stop
500 log Set ZFRPT Power:0
500 mcu setPowerDisable 0
)");
    EXPECT_EQ(run.head()["rotate"]["position"], 533 + 50 * 30);
}

TEST(FocusAfterZoom, IsStartedWhenAZoomMoveEnds) {
    struct Case {
        const char* word;
        const char* message;
    };
    constexpr Case kCases[] = {
        {"a:1200", "Run Auto Focus2"},
        {"in", "Run Auto Focus1"},
        // Nothing was moved.
        {"r:0", nullptr},
    };
    for (const Case& each : kCases) {
        Camera camera{Positions{.zoom = 2300}};
        camera.setting("lens.camN.focus_after_zoom", "on");
        const Session run =
            camera.run(std::string("run 1\nset lens.camN.zoom ") + each.word + "\nrun 1");
        const Trace end = run.trace.after("cmd lens.camN.zoom " + std::string(each.word))
                              .about({"zoomstatus stop", "Power:0", "Run Auto"});
        if (each.message == nullptr) {
            EXPECT_EQ(end.count("log Run Auto"), 0) << each.word;
            continue;
        }
        EXPECT_EQ(end.first(3).story(), std::string("\n0 bus lens.camN.zoomstatus stop\n"
                                                    "0 log Set ZFRPT Power:0\n100 log ") +
                                            each.message + "\n")
            << each.word;
    }
}

}  // namespace
