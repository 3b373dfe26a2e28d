// A whole run on real threads: the facts are those of the virtual clock.
#include <gmock/gmock.h>

#include <algorithm>
#include <string>

#include "session.h"

namespace {

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
    EXPECT_TRUE(std::is_sorted(run.all.events.begin(), run.all.events.end(),
                               [](const Event& a, const Event& b) { return a.time < b.time; }));
}

}  // namespace
