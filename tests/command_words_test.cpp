// What the axes' words leave behind besides a move: requests, a test run.
#include <gtest/gtest.h>

#include <string>

#include "control_state.h"
#include "motion/command_words.h"
#include "session.h"

namespace {

// Words that leave a request are read by their interpreter alone, in the test's own process.
TEST(CommandWord, RaisesRequests) {
    struct Request {
        void (*interpret)(const char* word);
        const char* word;
        SharedInt& request;
        int before;
        int after;
    };
    const Request requests[] = {
        {focusCommand, "fullrange", giAfRequest, 0, 1},
        {focusCommand, "all", giAfRequest, 0, 1},
        {focusCommand, "shortrange", giAfRequest, 0, 2},
        {focusCommand, "shortrange", giAfRequest, 1, 1},
        {focusCommand, "fullrange", giAfRequest, 6, 6},
        {focusCommand, "shortrange", iFocusContinuous, 1, 0},
        {focusCommand, "home", giHomeRequest, 0, 1},
        {zoomCommand, "home", giHomeRequest, 2, 1},
        {rotateCommand, "home", giHomeRequest, 0, 1},
        {panCommand, "home", giHomeRequest, 0, 1},
        {panCommand, "homeaf", giHomeRequest, 0, 10},
        {panCommand, "homefast", giHomeRequest, 0, 11},
        {panCommand, "homepos", giHomeRequest, 0, 0},
        {tiltCommand, "home", giHomeRequest, 0, 1},
        {irisCommand, "home", giHomeRequest, 0, 1},
        {irisCommand, "Home", giHomeRequest, 0, 0},
        {rotateCommand, "auto", giAutoRotate, 0, 1},
        {rotateCommand, "autoh", giAutoRotate, 0, 1},
        {rotateCommand, "autov", giAutoRotate, 0, 2},
        {rotateCommand, "test", giAutoRotate, 0, 3},
        {rotateCommand, "autox", giAutoRotate, 0, 0},
        // Words that end a continuous move, and those that leave the move state alone.
        {zoomCommand, "full_in", iZoomContinuous, 1, 0},
        {zoomCommand, "a:0", iZoomMove, 1, 5},
        {zoomCommand, "full_out", iZoomMove, 0, 5},
        {rotateCommand, "full_backward", iRotateContinuous, 1, 0},
        {focusCommand, "full_far", iFocusMove, 0, 4},
        {panCommand, "a:1", iPanContinuous, 9, 0},
        {panCommand, "r:1", iPanMove, 0, 4},
        {tiltCommand, "full_up", iTiltContinuous, 9, 0},
        {tiltCommand, "full_down", iTiltMove, 1, 4},
        {irisCommand, "full_open", iIrisContinuous, 1, 0},
        {irisCommand, "full_close", iIrisMove, 0, 0},
        {irisCommand, "a:1", iIrisMove, 0, 4},
    };
    for (const Request& each : requests) {
        each.request = each.before;
        each.interpret(each.word);
        EXPECT_EQ(each.request, each.after) << each.word << " before " << each.before;
    }
}

TEST(RotateRequest, TestRunSweepsFiftyTimesAndReturns) {
    const Session run = Camera(Positions{}).run("run 1\nset lens.camN.rotate test\nrun 600\nhead");
    const Trace test = run.trace.after("cmd lens.camN.rotate test");
    EXPECT_EQ(test.count("mcu setRotatForward -3 16 5000"), 50 * 29);
    EXPECT_EQ(test.count("mcu setRotatBackward -3 464 5000"), 50);
    EXPECT_EQ(test.count("mcu setRotat"), 50 * 30);
    EXPECT_EQ(test.about({"log"}).first(3).lines(),
              "\nlog Set ZFRPT Power:1\nlog Test Count=0\nlog Test Count=1\n");
    // A step takes twice 100 ms and its way; a cycle ends with three seconds of rest.
    const auto steps = test.times("mcu setRotatForward");
    ASSERT_GE(steps.size(), 2U);
    EXPECT_EQ(steps[1] - steps[0], 200'000);
    const auto counts = test.times("log Test Count=");
    ASSERT_EQ(counts.size(), 50U);
    EXPECT_EQ(test.times("mcu setRotatBackward")[0] - counts[0], 3'000'000);
    EXPECT_EQ(test.times("mcu setPowerDisable 0").size(), 1U);
    EXPECT_EQ(run.head()["rotate"]["position"], 533);
}

}  // namespace
