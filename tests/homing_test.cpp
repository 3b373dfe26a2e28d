// Homing: what each request drives, says and leaves behind, from wherever the axes really stand.
#include <gtest/gtest.h>

#include <string>

#include "session.h"

namespace {

// Each request runs this long at most, its autofocus included.
const std::string kLongEnough = "\nrun 30\n";

// Without a motion sensor nothing is levelled after a home.
void switchLevellingOff(Camera& camera) {
    camera.fault("sensor-absent");
}

Session runWord(const std::string& word, int lensType = 0) {
    Camera camera(Positions{}, lensType);
    switchLevellingOff(camera);
    return camera.run("run 1\nset " + word + kLongEnough + "check");
}

struct Story {
    const char* word;
    const char* story;
};

// Waits end on whole polls: 100 ms for pan, 30 ms for tilt, 10 ms for the others.
constexpr Story kStories[] = {
    {"lens.camN.action.cmd home1", R"(
0 log Stop Zoom1
130 mcu setPowerEnable 15
130 log Ver:513
130 log Home Pan
130 mcu setPanBackwardS 2 45333 250
130 log Home Iris
130 mcu setIrisBackward -86 105 5000
160 log Home Tilt
160 mcu setTiltForwardS 2 5632 250
3100 log Home Focus
3100 mcu setFocus8Backward -1 2676 5000
3640 log Home Zoom
3640 mcu setZoom8Forward -1 2597 5000
4260 log Home Rotat
4260 mcu setRotatBackward -1 11732 5000
6610 log Tilt 5120 to 320
6610 mcu setTiltBackwardS 2 1920 245
7870 log Pan 0 to 22166
7870 mcu setPanForwardS 2 22166 250
9770 log Rotat 0 to 533
9770 mcu setRotatForward -3 533 5000
9880 bus lens.camN.action.cmd done
9880 mcu setPowerDisable 0
9880 log Home Pan:22166 22166
)"},
    {"lens.camN.action.cmd home2", R"(
0 log Stop Zoom1
130 mcu setPowerEnable 15
130 log Home Iris
130 mcu setIrisBackward -1 105 5000
160 log Home Focus
160 mcu setFocus8Backward -1 2676 5000
700 log Home Zoom
700 mcu setZoom8Forward -1 2597 5000
1220 log Home Rotat
1220 mcu setRotatBackward -1 11732 5000
3570 log Rotat 0 to 533
3570 log Focus Pos: 2433 / 2433
3570 mcu setRotatForward -3 533 5000
3680 bus lens.camN.action.cmd done
3680 mcu setPowerDisable 0
)"},
    {"lens.camN.action.cmd home3", R"(
0 log Stop Zoom1
130 log Home Pan
130 mcu setPanBackwardS 2 45333 250
3930 log Home Tilt
3930 mcu setTiltForwardS 2 5632 250
6880 log Tilt 5120 to 320
6880 mcu setTiltBackwardS 2 1920 245
8140 log Pan 0 to 22166
8140 mcu setPanForwardS 2 22166 250
10040 bus lens.camN.action.cmd done
)"},
    {"lens.camN.action.cmd home", R"(
0 log Stop Zoom1
130 mcu setPowerEnable 15
130 log Home Iris
130 mcu setIrisBackward -1 105 5000
160 log Home Focus
160 mcu setFocus8Backward -1 2676 5000
700 log Home Zoom
700 mcu setZoom8Forward -1 2597 5000
1220 bus lens.camN.action.cmd done
1220 mcu setPowerDisable 0
)"},
    {"lens.camN.action.cmd home4", R"(
0 log Stop Zoom1
130 log Home Pan
130 mcu setPanBackwardS 2 45333 250
130 log Home Tilt
130 mcu setTiltForwardS 2 5632 250
130 log Home Rotat
130 mcu setRotatBackward -1 11732 5000
3980 log Tilt 5120 to 320
3980 mcu setTiltBackwardS 2 1920 245
5240 log Pan 0 to 22166
5240 mcu setPanForwardS 2 22166 250
5240 log Rotat 0 to 533
5240 mcu setRotatForward -3 533 5000
7180 bus lens.camN.action.cmd done
)"},
    // Polled every 100 ms from 130 ms on; one transition of each axis a poll.
    {"lens.camN.action.cmd homefast", R"(
0 log Stop Zoom1
130 mcu setPowerEnable 15
130 mcu setPanBackwardS 2 45333 252
130 log Home Pan
130 mcu setTiltForwardS 2 5320 250
130 log Home Tilt
130 mcu setRotatBackward -1 11166 5000
130 log Home Rotate
2530 mcu setRotatForward -3 533 5000
2530 log Rotate to 533
2730 log Rotate Stop
2730 mcu setZoom8Forward -1 2597 5000
2730 log Home Zoom
3030 mcu setTiltBackwardS 2 1920 245
3030 log Tilt to 3200
3330 log Zoom Stop
3330 mcu setFocus8Backward -1 2676 5000
3330 log Home Focus
3730 mcu setPanForwardS 2 22166 250
3730 log Pan to 22166
3930 log Focus Stop
3930 mcu setIrisBackward -1 105 5000
3930 log Home Iris
3960 log Iris Stop
4360 log Tilt Stop
5660 log Pan stop
5660 log Home Finish
5660 bus lens.camN.action.cmd done
5660 mcu setPowerDisable 0
5660 log Fast Home:5.660000
)"},
};

TEST(Homing, DrivesAndParksEachAxisInItsTurn) {
    for (const Story& each : kStories) {
        const Session run = runWord(each.word);
        const Trace trace = run.trace.after("cmd " + std::string(each.word));
        EXPECT_EQ(trace
                      .without({"lens.camN.status", "status ", "position",
                                "Focus Pos=", "Motor.txt", "ZFRPT"})
                      .story(),
                  each.story)
            << each.word;
        EXPECT_EQ(run.status, 0) << each.word;
    }
}

// The axes in the order of their status keys, and where homing leaves them.
struct AxisCase {
    char letter;
    std::string name;
    int Positions::*truth;
    int parked;
};

const AxisCase kAxes[] = {
    {'p', "pan", &Positions::pan, 22166},     {'t', "tilt", &Positions::tilt, 3200},
    {'r', "rotate", &Positions::rotate, 533}, {'z', "zoom", &Positions::zoom, 0},
    {'f', "focus", &Positions::focus, 2433},  {'i', "iris", &Positions::iris, 0},
};

std::string statuses(const std::string& letters, const std::string& status) {
    std::string text;
    for (const AxisCase& axis : kAxes) {
        if (letters.find(axis.letter) != std::string::npos) {
            text += "bus lens.camN." + axis.name + "status " + status + "\n";
        }
    }
    return text;
}

struct Request {
    const char* word;
    const char* homed;
    const char* stopped;  // at its end
    bool leavesMarker;
    bool focuses;
};

constexpr Request kRequests[] = {
    {"lens.camN.action.cmd home1", "ptrzfi", "ptrzfi", true, false},
    {"lens.camN.pan homeaf", "ptrzfi", "ptrzi", true, true},
    {"lens.camN.action.cmd home2", "rzfi", "ptrzfi", false, false},
    {"lens.camN.action.cmd home3", "pt", "ptrzfi", false, false},
    {"lens.camN.action.cmd home", "zfi", "ptrzfi", false, false},
    {"lens.camN.action.cmd home4", "ptr", "ptrzfi", false, false},
    {"lens.camN.pan homefast", "ptrzfi", "ptrzfi", false, false},
    {"lens.camN.action.cmd homepos", "ptrzfi", "ptrzfi", false, true},
};

TEST(Homing, SaysRunForWhatItHomesAndStopForAll) {
    for (const Request& each : kRequests) {
        const Session run = runWord(each.word);
        std::string expected = statuses(each.homed, "run") + statuses(each.stopped, "stop");
        if (each.focuses) {
            expected += statuses("ptrzi", "stop") + statuses("f", "run") + statuses("f", "stop");
        }
        EXPECT_EQ(run.trace.after("cmd " + std::string(each.word))
                      .about({"status run", "status stop"})
                      .lines()
                      .substr(1),
                  expected)
            << each.word;
    }
}

constexpr Positions kTruths[] = {
    {.pan = 3, .tilt = 5100, .rotate = 12, .zoom = 2350, .focus = 1800, .iris = 90},
    {.pan = 44000, .tilt = 7, .rotate = 10600, .zoom = 0, .focus = 0, .iris = 0},
    {.pan = 31234, .tilt = 2345, .rotate = 6543, .zoom = 1234, .focus = 1357, .iris = 50},
};

void homeFrom(const Positions& truth, const Request& request, int lensType) {
    Camera camera(Positions{}, lensType);
    switchLevellingOff(camera);
    const std::string homed = request.homed;
    for (const AxisCase& axis : kAxes) {
        if (homed.find(axis.letter) != std::string::npos) {
            camera.remember(axis.name + ".position", std::to_string(truth.*axis.truth));
        }
    }
    const Session run =
        camera.run("run 1\nset " + std::string(request.word) + kLongEnough + "check\nhead");
    EXPECT_EQ(run.answers.at(0), "ok");
    EXPECT_EQ(camera.read("/mnt/nand/Home.txt").has_value(), request.leavesMarker);
    for (const AxisCase& axis : kAxes) {
        const bool lens = axis.letter == 'z' || axis.letter == 'f';
        if (homed.find(axis.letter) != std::string::npos && !(lens && request.focuses)) {
            EXPECT_EQ(run.head()[axis.name]["position"],
                      axis.letter == 'f' && lensType == 10 ? 1812 : axis.parked);
        }
    }
}

TEST(Homing, CountersAgreeWithTheMechanismAfterwards) {
    for (const int lensType : {0, 10}) {
        for (const Request& request : kRequests) {
            for (const Positions& truth : kTruths) {
                SCOPED_TRACE(request.word + std::string(", lens ") + std::to_string(lensType) +
                             ", pan " + std::to_string(truth.pan));
                homeFrom(truth, request, lensType);
            }
        }
    }
}

TEST(Homing, HomeThenFocusKeepsTheFocusRunningUntilItIsFound) {
    const Session run = runWord("lens.camN.pan homeaf");
    EXPECT_EQ(run.trace.after("cmd lens.camN.pan homeaf")
                  .about({"focusstatus", "Home Pan:", "cmd done", "Auto Focus Range", "act_preset"})
                  .lines(),
              R"(
bus lens.camN.focusstatus run
bus lens.camN.action.cmd done
log Home Pan:22166 22166
bus lens.camN.focusstatus run
log Auto Focus Range:-126 ~ 674
bus lens.camN.focusstatus stop
bus lens.camN.action.cmd done
bus lens.camN.act_preset done
)");
}

TEST(Homing, DefaultLensPositionIsReachedAndPublishedBeforeTheAutofocus) {
    const Session run = runWord("lens.camN.action.cmd homepos");
    EXPECT_EQ(run.trace.after("cmd lens.camN.action.cmd homepos")
                  .about({"Zoom", "Focus Stop", "mcu setFocus", "Fast Home", "cmd done",
                          "position_zoom", "position_focus", "Auto Focus Range"})
                  .first(13)
                  .story(),
              R"(
0 log Stop Zoom1
2730 mcu setZoom8Forward -1 2597 5000
2730 log Home Zoom
3330 mcu setZoom8Backward -1 200 5000
3370 log Zoom Stop
3370 mcu setFocus8Backward -1 2676 5000
4070 mcu setFocus8Forward -56 1283 5000
4330 log Focus Stop
5660 log Fast Home:5.660000
5660 bus lens.camN.position_zoom 200
5660 bus lens.camN.position_focus 1150
5670 log Stop Zoom1
5800 log Auto Focus Range:258 ~ 1058
)");
}

TEST(Homing, NewCameraHomesAtItsFirstBootOnly) {
    for (const char* const seed : {"1", "2", "3"}) {
        const Camera camera;
        const Session first = camera.run(
            "run 120\ncheck\nset lens.camN.zoom a:700\nrun 2\nexpect lens.camN.position_zoom 700",
            {"--clock", "virtual", "--trace", "--seed", seed});
        EXPECT_EQ(first.status, 0);
        EXPECT_EQ(first.trace.count("log Home Pan:22166 22166"), 1);
        EXPECT_EQ(camera.read("/mnt/nand/Home.txt"), "");
        const Session second = camera.run(
            "run 120\ncheck\nset lens.camN.zoom a:900\nrun 2\nexpect lens.camN.position_zoom 900");
        EXPECT_EQ(second.status, 0);
        EXPECT_EQ(second.trace.count("log Home "), 0);
    }
}

TEST(Homing, ARequestDuringHomingIsLost) {
    for (const char* const word : {"home1", "homefast"}) {
        Camera camera{Positions{}};
        switchLevellingOff(camera);
        const Session run = camera.run("run 1\nset lens.camN.action.cmd " + std::string(word) +
                                       "\nrun 2\nset lens.camN.action.cmd home3\nrun 30\n");
        EXPECT_EQ(run.trace.count("log Stop Zoom1"), 1) << word;
        EXPECT_EQ(run.trace.count("bus lens.camN.action.cmd done"), 2) << word << " and the start";
    }
}

TEST(Homing, AMoveThatIsOrderedMeanwhileIsMadeAfterwards) {
    for (const char* const word : {"home1", "homefast", "home2", "home"}) {
        Camera camera{Positions{}};
        switchLevellingOff(camera);
        const Session run = camera.run("run 1\nset lens.camN.action.cmd " + std::string(word) +
                                       "\nrun 1\nset lens.camN.zoom a:1500\nrun 30\ncheck\n"
                                       "expect lens.camN.position_zoom 1500\n");
        EXPECT_EQ(run.status, 0) << word;
    }
}

TEST(Homing, UnknownRequestsAreDropped) {
    for (const char* const word : {"demo.ptz.action h6", "demo.ptz.action h99"}) {
        const Session run = runWord(word);
        EXPECT_EQ(run.trace.after("cmd " + std::string(word)).without({"log Time:"}).lines(),
                  "\nbus demo.ptz.action done\n");
        EXPECT_LE(run.trace.times("bus demo.ptz.action done")[0], 1'220'000);
    }
}

TEST(Homing, GoesOnWhenAMotorNeverReportsReady) {
    Camera camera{Positions{}};
    switchLevellingOff(camera);
    const Session run = camera.run(
        "run 1\nfault axis focus never-ready\nset lens.camN.action.cmd home\nrun 30\n"
        "fault clear axis focus\nrun 1\ncheck");
    EXPECT_EQ(run.status, 0);
    // 5 s before it starts, and for the drive.
    EXPECT_EQ(run.trace.after("cmd lens.camN.action.cmd home")
                  .about({"Stop Zoom1", "log Home", "cmd done"})
                  .story(),
              R"(
0 log Stop Zoom1
5130 log Home Iris
5160 log Home Focus
10160 log Home Zoom
10680 bus lens.camN.action.cmd done
)");
}

}  // namespace
