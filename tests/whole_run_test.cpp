// Long mixed runs: the same input gives the same trace, and real threads give the same facts.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "session.h"

namespace {

constexpr const char* kMixed =
    "run 1\nset lens.camN.zoom a:1500\nset lens.camN.pan left:5\nset lens.camN.tilt up:1\nrun 0.4\n"
    "set lens.camN.focus near\nset lens.camN.rotate backward\nrun 0.213\nset lens.camN.pan stop\n"
    "set lens.camN.action.cmd i30\nset lens.camN.rotate stop\nrun 0.5\nset lens.camN.focus stop\n"
    "set lens.camN.tilt stop\nset demo.ptz.action Z300\nrun 2\nfault axis zoom slip 7\n"
    "set lens.camN.zoom full_in\nrun 3\nset image.camN.exposure.iris_table 20\nrun 5\nhead\n"
    "keys lens.camN.";

TEST(SameInput, GivesTheSameTrace) {
    const Session first = Camera(Positions{}).run(kMixed);
    const Session second = Camera(Positions{}).run(kMixed);
    EXPECT_GT(first.all.events.size(), 100U);
    EXPECT_EQ(first.output, second.output);
    EXPECT_EQ(first.status, 0);
    EXPECT_EQ(first.errors, "");
}

TEST(SameInput, GivesTheSameNewCamera) {
    const Session first = Camera().run("run 30\nhead");
    const Session second = Camera().run("run 30\nhead");
    EXPECT_EQ(first.output, second.output);
}

// The long way of the pan gives the other axes time to end, however slow the machine is.
TEST(WholeRunRealClock, EveryAxisArrives) {
    const Camera camera(Positions{});
    const Session run = camera.run(
        "run 10\nset lens.camN.zoom a:1500\nset lens.camN.focus a:900\nset lens.camN.iris a:40\n"
        "set lens.camN.rotate a:1000\nset lens.camN.tilt a:2500\nset gpio.camN.out.icr night\n"
        "set lens.camN.pan a:44000\nset demo.led.mode 3\nset image.camN.flip on\n"
        "wait lens.camN.panstatus stop 120\nrun 5\n"
        "set lens.camN.pan right:9\nset lens.camN.tilt down:9\nset lens.camN.zoom out\nrun 2\n"
        "set lens.camN.zoom stop\nset lens.camN.tilt stop\nset lens.camN.pan a:300\n"
        "wait lens.camN.panstatus stop 120\nrun 5\nhead\nget lens.camN.position_zoom\n"
        "get lens.camN.position_pan\nget lens.camN.position_tilt",
        {"--clock", "real", "--speed", "20", "--trace"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.errors, "");
    const auto head = run.head();
    EXPECT_EQ(head["pan"]["position"], 300);
    EXPECT_EQ(head["focus"]["position"], 900);
    EXPECT_EQ(head["iris"]["position"], 40);
    EXPECT_EQ(head["rotate"]["position"], 1000);
    EXPECT_EQ(head["icr"], "night");
    // Where a continuous move ended is a matter of time; that it is known is not.
    for (const char* const axis : {"zoom", "pan", "tilt"}) {
        const std::string expected = std::string("lens.camN.position_") + axis + " " +
                                     std::to_string(head[axis]["position"].get<int>());
        EXPECT_THAT(run.answers, testing::Contains(expected));
        EXPECT_EQ(head[axis]["lost"], 0) << axis;
    }
    EXPECT_EQ(wordOf(camera.read(kPositionFile).value_or(""), 16), 300);
}

TEST(WholeRunRealClock, SignalsEndItAtOnce) {
    const Session run =
        Camera(Positions{})
            .run("run 1\nsignal TERM", {"--clock", "real", "--speed", "20", "--trace"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.all.count("log Exit kestrel sigstop"), 1);
    EXPECT_EQ(run.all.count("log Exit kestrel 2"), 0);
}

}  // namespace
