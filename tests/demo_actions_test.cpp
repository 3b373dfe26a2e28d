// Demo actions: a letter and a number that move one axis, wait for it and tell the time it took.
#include <gtest/gtest.h>

#include <string>

#include "session.h"

namespace {

struct Action {
    const char* word;
    const char* story;
};

// What is seen of an action besides the move itself.
Trace seen(const Session& run, const std::string& word) {
    return run.trace.after("cmd demo.ptz.action " + word)
        .about({"mcu set", "Pos:", "Time:", "busy", "Mode", "demo.ptz.action"})
        .without({"setPower"});
}

// One after the other on the same camera, from the default positions.
constexpr Action kActions[] = {
    {"P10600", R"(
0 mcu setPanForwardS 2 600 250
100 log Time:0.100000
100 bus demo.ptz.action done
)"},
    {"p-500", R"(
0 mcu setPanBackwardS 2 500 250
100 log Time:0.100000
100 bus demo.ptz.action done
)"},
    // A number of nought: no move, and the time since the last one.
    {"px", R"(
0 log Time:3.100000
0 bus demo.ptz.action done
)"},
    {"T2100", R"(
0 mcu setTiltForwardS 2 100 250
100 log Time:0.040000
100 bus demo.ptz.action done
)"},
    {"t-96", R"(
0 mcu setTiltBackwardS 2 96 250
100 log Time:0.040000
100 bus demo.ptz.action done
)"},
    // The way ends at the end of the range, and so does the wait; it ends before the lens loop's
    // own, which takes the time of the start.
    {"T9999", R"(
0 mcu setTiltForwardS 2 3116 250
1630 log Time:4.570000
1630 bus demo.ptz.action done
)"},
    {"Z1400", R"(
0 mcu setZoom8Backward -1 400 5000
100 log Time:0.100000
100 bus demo.ptz.action done
)"},
    {"z600", R"(
0 mcu setZoom8Backward -1 600 5000
120 log Time:0.120000
120 bus demo.ptz.action done
)"},
    {"R1533", R"(
0 mcu setRotatForward -3 1000 5000
200 log Time:0.200000
200 bus demo.ptz.action done
)"},
    {"r-1000", R"(
0 mcu setRotatBackward -3 1000 5000
200 log Time:0.200000
200 bus demo.ptz.action done
)"},
    // The second focus move in a direction has no pause before it.
    {"f10", nullptr},
    {"F900", R"(
0 mcu setFocus8Backward -56 90 5000
100 log Time:0.100000
100 bus demo.ptz.action done
)"},
    {"I40", R"(
0 bus demo.ptz.action done
0 mcu setIrisForward -86 40 5000
)"},
    {"i-10", R"(
0 bus demo.ptz.action done
0 mcu setIrisBackward -86 10 5000
)"},
    {"p", "\n0 log Pan Pos:10100\n0 bus demo.ptz.action done\n"},
    {"T", "\n0 log Tilt Pos:5120\n0 bus demo.ptz.action done\n"},
    {"r", "\n0 log Rotat Pos:533\n0 bus demo.ptz.action done\n"},
    {"Z", "\n0 log Zoom Pos:2000\n0 bus demo.ptz.action done\n"},
    {"F", "\n0 log Focus Pos:900\n0 bus demo.ptz.action done\n"},
    {"i", "\n0 log Iris Pos:30\n0 bus demo.ptz.action done\n"},
    {"n0", "\n0 mcu setIcrSwDisable\n0 log ICR Night Mode\n0 bus demo.ptz.action done\n"},
    {"N7", "\n0 mcu setIcrSwEnalbe\n0 log ICR Day Mode\n0 bus demo.ptz.action done\n"},
    {"nx", "\n0 mcu setIcrSwDisable\n0 log ICR Night Mode\n0 bus demo.ptz.action done\n"},
    {"n", "\n0 bus demo.ptz.action done\n"},
    // No letters, or none of the actions.
    {"C5", "\n0 bus demo.ptz.action done\n"},
    {"Q5", "\n0 bus demo.ptz.action done\n"},
    {"5", "\n0 bus demo.ptz.action done\n"},
    {"@5", "\n0 bus demo.ptz.action done\n"},
    {"{5", "\n0 bus demo.ptz.action done\n"},
    {"done", "\n"},
    {"", "\n"},
};

TEST(DemoAction, MovesWaitsAndTells) {
    std::string script = "run 1\n";
    for (const Action& action : kActions) {
        script += std::string("set demo.ptz.action ") + action.word + "\nrun 3\n";
    }
    const Session run = Camera(Positions{}).run(script);
    for (const Action& action : kActions) {
        if (action.story != nullptr) {
            EXPECT_EQ(seen(run, action.word).story(), action.story) << action.word;
        }
    }
}

TEST(DemoAction, WithNumberNoughtForHomingReturnsAtOnce) {
    const Session run =
        Camera(Positions{})
            .run("run 1\nset demo.ptz.action Z1100\nrun 1\nset demo.ptz.action h0\nrun 1");
    // The zoom move started at 1.01 s.
    EXPECT_EQ(seen(run, "h0").lines(), "\nlog Time:1.000000\nbus demo.ptz.action done\n");
}

TEST(DemoAction, IsRefusedWhilePanOrTiltRuns) {
    const Session run =
        Camera(Positions{})
            .run(
                "run 1\nset lens.camN.pan a:40000\nrun 0.5\nset demo.ptz.action P500\nrun 0.1\n"
                "set demo.ptz.action T500\nrun 0.1\nset demo.ptz.action p\nrun 0.1\n"
                "set demo.ptz.action z100\nrun 0.5");
    for (const char* const word : {"P500", "T500"}) {
        EXPECT_EQ(seen(run, word).lines(), "\nlog Pan/Tilt motor busy\nbus demo.ptz.action done\n");
    }
    EXPECT_EQ(seen(run, "p").lines(), "\nlog Pan Pos:40000\nbus demo.ptz.action done\n");
    EXPECT_EQ(seen(run, "z100").count("mcu setZoom8Backward -1 100 5000"), 1);
}

TEST(DemoAction, IsDroppedWhileAnotherIsExecuted) {
    const Session run =
        Camera(Positions{})
            .run(
                "run 1\nset demo.ptz.action Z2000\nrun 0.05\nset demo.ptz.action Z0\nrun 2\nhead\n"
                "set demo.ptz.action Z100\nrun 2\nhead");
    EXPECT_EQ(run.head(0)["zoom"]["position"], 2000);
    EXPECT_EQ(run.head(1)["zoom"]["position"], 100);
    EXPECT_EQ(run.trace.count("bus demo.ptz.action done"), 2);
}

TEST(DemoAction, IsDroppedWhileHomingOrAutofocusIsWanted) {
    for (const char* const request : {"A", "a", "H"}) {
        const Session run = Camera(Positions{})
                                .run(std::string("run 1\nset demo.ptz.action ") + request +
                                     "\nrun 0.02\nset demo.ptz.action n0\nrun 0.05");
        EXPECT_EQ(run.trace.after(std::string("cmd demo.ptz.action ") + request)
                      .count("bus demo.ptz.action done"),
                  1)
            << request;
        EXPECT_EQ(seen(run, "n0").lines(), "\nbus demo.ptz.action done\n") << request;
    }
}

TEST(DemoAction, CalibrationSweepStartsAtTheLowestZoomAndKeepsAFile) {
    const Camera camera(Positions{});
    const Session run = camera.run("run 1\nset demo.ptz.action c\nrun 0.25");
    EXPECT_EQ(seen(run, "c").lines(), "\nmcu setZoom8Forward -1 1000 5000\n");
    EXPECT_TRUE(camera.read("/tmp/zf.txt"));

    camera.remove("/tmp/zf.txt");
    camera.write("/tmp/zf.txt/directory", "");
    const Session without = camera.run("run 1\nset demo.ptz.action c\nrun 0.25");
    EXPECT_EQ(seen(without, "c").lines(), "\nbus demo.ptz.action done\n");
}

}  // namespace
