// Motors that do not answer or do not come to rest: how long the daemon waits, and what it does
// then.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "axis/axis_driver.h"
#include "control_state.h"
#include "platform/motor_mcu.h"
#include "session.h"
#include "twin/actors.h"
#include "twin/head.h"

namespace {

// One wait on a motor that was given an order of known length, in the test's own process.
struct Wait {
    const char* axis;
    int (*order)(int code, int steps, int speed);
    int code;
    int speed;
    std::int32_t (*wait)();
    int steps;
    int result;
    std::int64_t elapsed;  // microseconds
};

TEST(Wait, CountsItsLastPollAsATimeOut) {
    const Wait waits[] = {
        // 11.72 steps a second, polled every 100 ms: the 499th, the 500th, never.
        {"pan", setPanForwardS, 2, 90, panWaitIdle, 584, 0, 49'900'000},
        {"pan", setPanForwardS, 2, 90, panWaitIdle, 585, -1, 50'000'000},
        {"pan", setPanForwardS, 2, 90, panWaitIdle, 600, -1, 50'000'000},
        // 3.75 steps a second, every 30 ms.
        {"tilt", setTiltForwardS, 2, 106, tiltWaitIdle, 224, 0, 59'760'000},
        {"tilt", setTiltForwardS, 2, 106, tiltWaitIdle, 225, -1, 60'000'000},
        {"tilt", setTiltForwardS, 2, 106, tiltWaitIdle, 300, -1, 60'000'000},
        // 1000 steps a second, at once and every 10 ms: the 499th, the 500th, never.
        {"zoom", setZoom8Forward, -1, 1000, zoomWaitReady, 4980, 0, 4'980'000},
        {"zoom", setZoom8Forward, -1, 1000, zoomWaitReady, 4981, -1, 4'990'000},
        {"zoom", setZoom8Forward, -1, 1000, zoomWaitReady, 4991, -1, 5'000'000},
        {"focus", setFocus8Forward, -56, 1000, focusWaitReady, 4980, 0, 4'980'000},
        {"focus", setFocus8Forward, -56, 1000, focusWaitReady, 4990, -1, 4'990'000},
        {"iris", setIrisForward, -86, 1000, irisWaitReady, 4980, 0, 4'980'000},
        {"iris", setIrisForward, -86, 1000, irisWaitReady, 4990, -1, 4'990'000},
        {"rotate", setRotatForward, -3, 1000, rotateWaitReady, 4980, 0, 4'980'000},
        {"rotate", setRotatForward, -3, 1000, rotateWaitReady, 4990, -1, 4'990'000},
        {"rotate", setRotatForward, -3, 1000, rotateWaitReady, 9000, -1, 5'000'000},
    };
    twin::useVirtualClock();
    for (const Wait& wait : waits) {
        ASSERT_EQ(twin::makeHead({}, {}), "");
        for (SharedInt* const power :
             {&giPanPower, &giTiltPower, &giZoomPower, &giFocusPower, &giRotatePower}) {
            *power = 77;
        }
        wait.order(wait.code, wait.steps, wait.speed);
        const std::int64_t start = twin::now();
        EXPECT_EQ(wait.wait(), wait.result) << wait.axis << " " << wait.steps;
        EXPECT_EQ(twin::now() - start, wait.elapsed) << wait.axis << " " << wait.steps;
        const int drawn = giPanPower + giTiltPower + giZoomPower + giFocusPower + giRotatePower;
        EXPECT_EQ(drawn, (wait.axis == std::string("iris") ? 5 : 4) * 77) << wait.axis;
    }
}

TEST(Wait, StopAllEndsEveryContinuousMove) {
    twin::useVirtualClock();
    ASSERT_EQ(twin::makeHead({}, {}), "");
    SharedInt* const commands[] = {&iPanContinuous,  &iTiltContinuous,  &iRotateContinuous,
                                   &iZoomContinuous, &iFocusContinuous, &iIrisContinuous};
    for (SharedInt* const command : commands) {
        *command = 1;
    }
    setRotatForward(-3, 1000, 1000);
    const std::int64_t start = twin::now();
    stopAllAndWait();
    // 100 ms for pan, 30 ms for tilt; rotate goes on for what is left of its second.
    EXPECT_EQ(twin::now() - start, 1'000'000);
    for (SharedInt* const command : commands) {
        EXPECT_EQ(*command, 0);
    }
}

TEST(IrFilterSwitch, TakesTheWordOnAlone) {
    ASSERT_EQ(twin::makeHead({}, {}), "");
    constexpr std::pair<const char*, bool> kWords[] = {
        {"on", true}, {"ON", false}, {"on", true}, {"on ", false}, {"on", true}, {"", false},
    };
    for (const auto& [word, day] : kWords) {
        EXPECT_EQ(setIcrSwitch(word), 0);
        EXPECT_NE(twin::describeHead().find(day ? R"("icr":"day")" : R"("icr":"night")"),
                  std::string::npos)
            << "'" << word << "'";
    }
}

TEST(NeverReadyMotor, IsTriedAgainAndAgainAndMovesWhenItAnswers) {
    struct Case {
        const char* axis;
        const char* order;
        double waits;  // seconds between two tries
    };
    // Focus waits twice, before its move and in it; rotate likewise.
    constexpr Case kCases[] = {
        {"zoom", "mcu setZoom8Backward -1 200 5000", 5.01},
        {"focus", "mcu setFocus8Backward -56 400 5000", 10.01},
        {"rotate", "mcu setRotatForward -3 667 5000", 10.01},
        {"iris", "mcu setIrisForward -86 96 5000", 5.01},
    };
    for (const Case& each : kCases) {
        const std::string axis = each.axis;
        const Session run = Camera(Positions{})
                                .run("run 1\nfault axis " + axis + " never-ready\nset lens.camN." +
                                     axis + " a:1200\nrun 35\nfault clear\nrun 12\nhead");
        const auto tries = run.trace.between(1, 36).times("bus lens.camN." + axis + "status run");
        ASSERT_GE(tries.size(), 2U) << axis;
        EXPECT_EQ(static_cast<double>(tries[1] - tries[0]) / 1e6, each.waits) << axis;
        EXPECT_EQ(run.trace.between(1, 36).count("bus lens.camN.position_" + axis), 0) << axis;
        EXPECT_EQ(run.trace.between(1, 36).about({"mcu set"}).without({"setPower"}).lines(), "\n")
            << axis;
        EXPECT_EQ(run.trace.between(36, 50).about({"mcu set"}).without({"setPower"}).lines(),
                  std::string("\n") + each.order + "\n");
        EXPECT_EQ(run.trace.between(36, 50).count("bus lens.camN." + axis + "status stop"), 1)
            << axis;
    }
}

TEST(NeverReadyMotor, TakesNoContinuousStepUntilItAnswers) {
    struct Case {
        const char* axis;
        const char* word;
        const char* order;
    };
    constexpr Case kCases[] = {
        {"zoom", "in", "mcu setZoom8Backward -1 30 5000"},
        {"rotate", "forward", "mcu setRotatForward -3 30 5000"},
    };
    for (const Case& each : kCases) {
        const std::string axis = each.axis;
        const Session run = Camera(Positions{})
                                .run("run 1\nfault axis " + axis + " never-ready\nset lens.camN." +
                                     axis + " " + each.word + "\nrun 5\nfault clear\nrun 1");
        EXPECT_EQ(run.trace.between(1, 6).about({"mcu set", "status"}).lines(), "\n") << axis;
        EXPECT_GE(run.trace.between(6, 7).count(each.order), 3) << axis;
    }
}

TEST(NeverIdlePan, IsOrderedAfterItsTimeOutAndHoldsBackItsEnd) {
    const Session run = Camera(Positions{})
                            .run(
                                "run 1\nfault axis pan never-ready\nset lens.camN.pan a:12000\nrun "
                                "60\nfault clear\nrun 2\nhead");
    EXPECT_EQ(run.trace.between(1.001, 63).about({"mcu setPan", "panstatus"}).story(), R"(
0 bus lens.camN.panstatus run
50000 mcu setPanForwardS 2 2000 250
60000 bus lens.camN.panstatus stop
)");
    EXPECT_EQ(run.head()["pan"]["position"], 12000);
}

TEST(FailingProbe, CountsAsBusy) {
    // Ten failures are ten polls of the wait.
    const Session run =
        Camera(Positions{})
            .run(
                "run 1\nfault call getPanBusyStatus 10\nset lens.camN.pan a:12000\nrun 3\n"
                "fault call getZoomStatus 10\nset lens.camN.zoom a:1100\nrun 3\n");
    const Trace pan = run.trace.between(1.001, 4).about({"mcu setPan", "panstatus"});
    ASSERT_EQ(pan.events.size(), 3U);
    EXPECT_EQ(pan.events[1].time - pan.events[0].time, 1'100'000);
    const Trace zoom = run.trace.between(4, 8).about({"mcu setZoom", "zoomstatus"});
    ASSERT_EQ(zoom.events.size(), 3U);
    EXPECT_EQ(zoom.events[1].time - zoom.events[0].time, 100'000);
}

TEST(StuckMotor, IsBelievedToHaveMoved) {
    const Session run = Camera(Positions{})
                            .run(
                                "run 1\nfault axis zoom stuck\nset lens.camN.zoom a:1200\nrun "
                                "1\nhead\nget lens.camN.position_zoom");
    EXPECT_EQ(run.head()["zoom"]["position"], 1000);
    EXPECT_EQ(run.head()["zoom"]["lost"], 200);
    EXPECT_EQ(run.answers.back(), "lens.camN.position_zoom 1200");
    EXPECT_EQ(run.trace.count("bus lens.camN.zoomstatus stop"), 1);
}

TEST(FailingOrder, IsBelievedToHaveBeenTaken) {
    const Session run =
        Camera(Positions{})
            .run(
                "run 1\nfault call setPanForwardS 1\nset lens.camN.pan a:12000\nrun 1\nhead\n"
                "get lens.camN.position_pan");
    EXPECT_EQ(run.head()["pan"]["position"], 10000);
    EXPECT_EQ(run.answers.back(), "lens.camN.position_pan 12000");
    EXPECT_EQ(run.trace.count("mcu setPanForwardS"), 1);
}

}  // namespace
