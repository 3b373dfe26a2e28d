// The rotate axis's test run.
#include <gtest/gtest.h>

#include "session.h"

namespace {

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
