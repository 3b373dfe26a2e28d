// The diagnostic drive that looks for lost tilt steps.
#include "axis/axis_driver.h"
#include "tests/twin_world.h"

namespace {

using twin::Axis;

class StepLossCheck : public TwinWorld {
protected:
    // How long the check takes, in seconds.
    static double check() {
        const twin::Microseconds start = twin::now();
        tiltStepLossCheck();
        return static_cast<double>(twin::now() - start) / 1e6;
    }
};

TEST_F(StepLossCheck, EndsAfterAHundredCyclesOrAtTheFirstWrongCounter) {
    build(0, {{"tilt.position", "4000"}, {"tilt.counter", "4000"}});
    const double whole = check();
    EXPECT_EQ(position(Axis::tilt), 4000);
    EXPECT_EQ(lost(Axis::tilt), 0);
    // Without its first reading the check starts from 0, and the next one is different.
    EXPECT_EQ(fault("call getTiltnPos 1"), "ok");
    const double once = check();
    EXPECT_GT(once, 3);
    EXPECT_NEAR(whole, 100 * once, 1);
}

}  // namespace
