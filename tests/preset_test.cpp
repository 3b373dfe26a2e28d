// Presets: stored, recalled step by step or at one go, deleted.
#include <gtest/gtest.h>

#include <string>

#include "session.h"

namespace {

// What follows a preset word on its way to its end, without the publication of positions.
std::string storyOf(const Session& run, const std::string& word) {
    return run.trace.after("cmd " + word)
        .without({"log giActPreset=", "position", "Focus Pos=", "Motor.txt", "lens.camN.status",
                  "ZFRPT"})
        .story();
}

std::string go(int preset, const std::string& record) {
    const std::string number = std::to_string(preset);
    return "set lens.camN.preset" + number + " " + record + "\nset lens.camN.act_preset " + number +
           ":go\nrun 20\ncheck\nhead\n";
}

TEST(Preset, StoresThePositionsAndTheOrientation) {
    struct Case {
        std::string word, message, record;
    };
    const Case kCases[] = {
        {"1:set", "Set Preset1 auto:", "10000,2000,1000,-1,533,0,1,0"},
        {"2:setup", "Set Preset2 auto:", "10000,2000,1000,-1,533,0,1,0"},
        {"1:set:lock", "Set Preset1 lock:", "10000,2000,1000,800,533,0,1,0"},
        // A locked preset 2 keeps no focus all the same.
        {"2:set,set:lock", "Set Preset2 lock:", "10000,2000,1000,-1,533,0,1,0"},
        {"1:del", "", "-1,-1,-1,-1,-1,-1,-1,-1"},
        {"2:del", "", "-1,-1,-1,-1,-1,-1,-1,-1"},
    };
    Camera camera{Positions{}};
    camera.setting("image.camN.mirror", "on");
    std::string script = "run 1\n";
    for (const Case& each : kCases) {
        script += "set lens.camN.act_preset " + each.word + "\nrun 1\n";
    }
    const Session run = camera.run(script);
    for (const Case& each : kCases) {
        std::string expected = "\nlog Stop Zoom1\n";
        expected += each.message.empty() ? "" : "log " + each.message + each.record + "\n";
        expected += "bus lens.camN.preset" + each.word.substr(0, 1) + " " + each.record + "\n";
        EXPECT_EQ(run.trace.after("cmd lens.camN.act_preset " + each.word)
                      .without({"log giActPreset="})
                      .lines()
                      .substr(std::string("\nlog Set Preset1").size()),
                  expected + "bus lens.camN.act_preset done\n");
    }
}

TEST(Preset, GoesToALockedPresetAxisByAxis) {
    const Session run =
        Camera(Positions{}).run("run 1\n" + go(1, "11000,2700,1200,850,1100,0,0,1"));
    // Pan steps of 256 take 33 ms; each arrival but rotate's pulses the supply.
    EXPECT_EQ(storyOf(run, "lens.camN.act_preset 1:go"), R"(
0 log Go Preset1
10 log Stop Zoom1
140 mcu setPowerEnable 15
140 log Preset1 go:11000 2700 1200 850 1100 0 0 1
140 bus image.camN.rotate off
140 bus image.camN.mirror off
140 bus image.camN.flip on
140 log giRotate=0
140 log giMirror=0
140 log giFlip=1
150 bus lens.camN.panstatus run
150 mcu setPanForwardS 2 256 240
150 log Preset mode=1
150 log 1.iRotateMove=3
160 bus lens.camN.rotatestatus stop
160 bus lens.camN.action.cmd done
190 bus lens.camN.panstatus run
190 mcu setPanForwardS 2 256 240
230 bus lens.camN.panstatus run
230 mcu setPanForwardS 2 256 240
270 bus lens.camN.panstatus run
270 mcu setPanForwardS 2 232 240
470 mcu setPowerDisable 0
570 mcu setPowerEnable 15
580 bus lens.camN.tiltstatus run
580 mcu setTiltForwardS 2 500 250
850 bus lens.camN.tiltstatus run
850 mcu setTiltForwardS 2 200 250
980 mcu setPowerDisable 0
1080 mcu setPowerEnable 15
1090 bus lens.camN.zoomstatus run
1090 mcu setZoom8Backward -1 200 5000
1190 mcu setPowerDisable 0
1290 mcu setPowerEnable 15
1300 bus lens.camN.focusstatus run
1400 mcu setFocus8Backward -56 50 5000
1500 mcu setPowerDisable 0
1600 mcu setPowerEnable 15
1610 bus lens.camN.rotatestatus run
1610 mcu setRotatForward -3 500 5000
1710 bus lens.camN.rotatestatus run
1710 mcu setRotatForward -3 67 5000
1910 mcu setPowerDisable 0
1920 log Preset mode=0
1920 bus lens.camN.panstatus stop
1920 bus lens.camN.tiltstatus stop
1920 bus lens.camN.rotatestatus stop
1920 bus lens.camN.zoomstatus stop
1920 bus lens.camN.act_preset done
)");
    EXPECT_EQ(run.answers[0], "ok");
    EXPECT_EQ(run.head()["pan"]["position"], 11000);
}

TEST(Preset, EveryAxisStepsDownTooAndStaysInItsRange) {
    struct Case {
        const char* record;
        int pan, tilt, zoom, focus, rotate;
    };
    constexpr Case kCases[] = {
        {"9400,1300,900,700,0,0,0,0", 9400, 1300, 900, 700, 0},
        {"99999,99999,99999,99999,99999,0,0,0", 44333, 5120, 2361, 2433, 10666},
        {"2147483647,0,0,99999999999,0,0,0,0", 44333, 0, 0, 2433, 0},
    };
    for (const Case& each : kCases) {
        const Session run = Camera(Positions{}).run("run 1\n" + go(1, each.record));
        EXPECT_EQ(run.answers[0], "ok") << each.record;
        const auto head = run.head();
        EXPECT_EQ(head["pan"]["position"], each.pan) << each.record;
        EXPECT_EQ(head["tilt"]["position"], each.tilt) << each.record;
        EXPECT_EQ(head["zoom"]["position"], each.zoom) << each.record;
        EXPECT_EQ(head["focus"]["position"], each.focus) << each.record;
        EXPECT_EQ(head["rotate"]["position"], each.rotate) << each.record;
        EXPECT_EQ(run.trace.count("log Auto Focus Range"), 0) << each.record;
    }
}

TEST(Preset, AutoPresetEndsWithFastAutofocus) {
    const Session run = Camera(Positions{}).run("run 1\n" + go(2, "10000,2000,1000,-1,533,0,0,0"));
    EXPECT_EQ(run.trace.after("cmd lens.camN.act_preset 2:go")
                  .about({"Preset2", "Preset1 go", "act_preset", "Auto Focus Range", "focusstatus"})
                  .lines(),
              R"(
log Go Preset2
log Preset1 go:10000 2000 1000 -1 533 0 0 0
bus lens.camN.act_preset done
bus lens.camN.focusstatus run
log Auto Focus Range:856 ~ 1656
bus lens.camN.focusstatus stop
)");
    EXPECT_EQ(run.trace.count("log Fast focus Time:"), 1);
}

TEST(Preset, GoToAnUnusableRecordIsDoneAtOnce) {
    constexpr const char* kRecords[] = {
        "",
        "-1,-1,-1,-1,-1,-1,-1,-1",
        "11000,2700,1200",
        "-1,2700,1200,850,600,0,0,0",
        "1,-2,3,4,5,0,0,0",
        "1,2,-3,4,5,0,0,0",
        "1,2,3,4,-5,0,0,0",
        "-99999999999,2,3,4,5",
    };
    for (const char* const record : kRecords) {
        const Session run = Camera(Positions{}).run("run 1\n" + go(1, record) + go(2, record));
        EXPECT_EQ(storyOf(run, "lens.camN.act_preset 1:go"), R"(
0 log Go Preset1
10 log Stop Zoom1
140 mcu setPowerEnable 15
140 bus lens.camN.act_preset done
140 mcu setPowerDisable 0
)") << record;
        EXPECT_EQ(storyOf(run, "lens.camN.act_preset 2:go"), R"(
0 log Go Preset2
10 log Stop Zoom1
140 bus lens.camN.act_preset done
)") << record;
    }
}

TEST(Preset, OrientationFollowsFieldsOfZeroAndOneWithoutLevelling) {
    // Only zeros and ones count; what is missing counts as -1.
    const Session run =
        Camera(Positions{})
            .run("run 1\n" + go(1, "10000,2000,1000,800,533,1,2,1") +
                 go(2, "10000,2000,1000,800,533,-1,1") + "set image.camN.rotate off\nrun 1\n");
    const auto image = [](const Trace& trace) {
        return trace.about({"image.camN.", "log giRotate=", "Gyro", "status run"}).lines();
    };
    EXPECT_EQ(image(run.trace.after("cmd lens.camN.act_preset 1:go")), R"(
bus image.camN.rotate on
bus image.camN.flip on
log giRotate=1
)");
    EXPECT_EQ(image(run.trace.after("cmd lens.camN.act_preset 2:go")), R"(
bus image.camN.mirror on
)");
    // Said by the handler, and again where it leads to levelling.
    EXPECT_EQ(run.trace.after("cmd image.camN.rotate off").count("log giRotate=0"), 2);
}

TEST(Preset, ManualMoveAbandonsTheRun) {
    for (const char* const move : {"lens.camN.tilt a:2500", "lens.camN.pan left:5"}) {
        const Session run =
            Camera(Positions{})
                .run(
                    "run 1\nset lens.camN.preset1 30000,2000,1000,-1,533,0,0,0\nset "
                    "lens.camN.act_preset 1:go\n"
                    "run 1\nset " +
                    std::string(move) + "\nrun 1\nset lens.camN.pan stop\nrun 20\n" + "check\n" +
                    go(1, "12000,2100,1000,700,533,0,0,0"));
        EXPECT_EQ(run.trace.after("cmd " + std::string(move))
                      .about({"Preset mode", "act_preset", "Auto Focus"})
                      .lines(),
                  "\nlog Preset mode=0\n")
            << move;
        EXPECT_EQ(run.trace.after("cmd lens.camN.pan stop").count("mcu setPan"), 0) << move;
        EXPECT_EQ(run.answers[0], "ok") << move;
        EXPECT_EQ(run.head()["pan"]["position"], 12000) << "the next run, after " << move;
    }
}

TEST(Preset, APanMotorThatStaysBusyIsWaitedForAgainAndAgain) {
    const Session run =
        Camera(Positions{})
            .run(
                "run 1\nset lens.camN.preset1 30000,2000,1000,800,533,0,0,0\n"
                "set lens.camN.act_preset 1:go\nrun 0.5\nfault axis pan never-ready\nrun 65\n"
                "fault clear axis pan\nrun 10\ncheck\nhead\n");
    EXPECT_EQ(run.trace.about({"Preset mode", "act_preset done"}).lines(), R"(
log Preset mode=1
log Preset mode=0
bus lens.camN.act_preset done
)");
    EXPECT_EQ(run.answers[0], "ok");
    EXPECT_EQ(run.head()["pan"]["position"], 30000);
}

TEST(Preset, AnAxisThatIsNotReadyIsSteppedAsSoonAsItIs) {
    struct Case {
        const char* axis;
        const char* order;
        int goal;
    };
    constexpr Case kCases[] = {
        {"tilt", "mcu setTilt", 2600},
        {"zoom", "mcu setZoom8", 1200},
        {"focus", "mcu setFocus8", 900},
        {"rotate", "mcu setRotat", 700},
    };
    for (const Case& each : kCases) {
        const std::string axis = each.axis;
        const Session run =
            Camera(Positions{})
                .run("run 1\nset lens.camN.preset1 10000,2600,1200,900,700,0,0,0\nfault axis " +
                     axis +
                     " never-ready\nset lens.camN.act_preset 1:go\nrun 30\nfault clear\nrun "
                     "90\ncheck\n"
                     "head\n");
        EXPECT_EQ(run.trace.between(1, 31).count(each.order), 0) << axis;
        EXPECT_GE(run.trace.between(31, 121).count(each.order), 1) << axis;
        EXPECT_EQ(run.head()[axis]["position"], each.goal) << axis;
        EXPECT_EQ(run.trace.count("bus lens.camN.act_preset done"), 1) << axis;
    }
}

TEST(Preset, AWordDuringHomingIsServedAfterIt) {
    Camera camera{Positions{}};
    camera.fault("sensor-absent");
    const Session run = camera.run(
        "run 1\nset lens.camN.preset1 12000,2100,1000,700,533,0,0,0\n"
        "set lens.camN.action.cmd home1\nrun 2\n"
        "set lens.camN.act_preset 1:go\nset lens.camN.act_preset 2:go\n"
        "run 30\ncheck\nhead\n");
    EXPECT_EQ(run.trace.after("cmd lens.camN.act_preset 2:go")
                  .about({"Home Pan:", "Preset1 go", "Go Preset", "act_preset"})
                  .lines(),
              R"(
log Home Pan:22166 22166
log Preset1 go:12000 2100 1000 700 533 0 0 0
bus lens.camN.act_preset done
)");
    EXPECT_EQ(run.answers[0], "ok");
    EXPECT_EQ(run.head()["pan"]["position"], 12000);
}

TEST(Preset, FastPresetMovesAllAxesAtOnceAndFocusesByTheTable) {
    const Session run = Camera(Positions{})
                            .run(
                                "run 1\nset lens.camN.preset2 9000,2100,50,1700,633,1,1,1\n"
                                "set lens.camN.action.cmd homeP2\nrun 20\ncheck\nset "
                                "lens.camN.action.cmd homeP1\nrun 20\n");
    const std::string story = storyOf(run, "lens.camN.action.cmd homeP2");
    EXPECT_EQ(story.substr(0, story.find("550 log Stop Zoom1")), R"(
0 mcu setPowerEnable 15
0 mcu setPanBackwardS 2 1000 251
0 log Pan:9000
0 mcu setTiltForwardS 2 100 250
0 log Tilt:2100
0 mcu setZoom8Forward -1 950 5000
190 log Zoom:50
190 mcu setRotatForward -3 100 5000
210 log Rotate:633
310 mcu setFocus8Forward -56 492 5000
540 log Fast Preset:0.540000
540 mcu setPowerDisable 0
)");
    EXPECT_EQ(
        run.trace.after("cmd lens.camN.action.cmd homeP2").count("log Auto Focus Range:-92 ~ 708"),
        1);
    EXPECT_EQ(run.answers[0], "ok");
    // Preset 1 was never stored.
    EXPECT_EQ(storyOf(run, "lens.camN.action.cmd homeP1"), R"(
0 mcu setPowerEnable 15
0 mcu setPowerDisable 0
)");
}

}  // namespace
