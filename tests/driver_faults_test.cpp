// Driver calls that no console command reaches alone: waits for a motor, the filter switch, the
// diagnostic drive that looks for lost tilt steps, and who comes while another calls.
#include <array>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "app/demo_actions.h"
#include "app/setting_handlers.h"
#include "axis/axis_driver.h"
#include "axis/end_stop_drives.h"
#include "control_state.h"
#include "lighting/led_apply.h"
#include "platform/motor_mcu.h"
#include "tests/twin_world.h"
#include "twin/boundary/library_calls.h"
#include "twin/clock/locks.h"

namespace {

class DriverCalls : public TwinWorld {};

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

TEST_F(DriverCalls, WaitsCountTheirLastPollAsATimeOut) {
    const Wait waits[] = {
        // 11.72 steps a second, polled every 100 ms: the 499th and the 500th.
        {"pan", setPanForwardS, 2, 90, panWaitIdle, 584, 0, 49'900'000},
        {"pan", setPanForwardS, 2, 90, panWaitIdle, 585, -1, 50'000'000},
        // 3.75 steps a second, every 30 ms.
        {"tilt", setTiltForwardS, 2, 106, tiltWaitIdle, 224, 0, 59'760'000},
        {"tilt", setTiltForwardS, 2, 106, tiltWaitIdle, 225, -1, 60'000'000},
        // 1000 steps a second, at once and every 10 ms: the 499th, the 500th, never.
        {"zoom", setZoom8Forward, -1, 1000, zoomWaitReady, 4980, 0, 4'980'000},
        {"zoom", setZoom8Forward, -1, 1000, zoomWaitReady, 4991, -1, 5'000'000},
        {"focus", setFocus8Forward, -56, 1000, focusWaitReady, 4980, 0, 4'980'000},
        {"focus", setFocus8Forward, -56, 1000, focusWaitReady, 4990, -1, 4'990'000},
        {"iris", setIrisForward, -86, 1000, irisWaitReady, 4980, 0, 4'980'000},
        {"iris", setIrisForward, -86, 1000, irisWaitReady, 4990, -1, 4'990'000},
        {"rotate", setRotatForward, -3, 1000, rotateWaitReady, 4980, 0, 4'980'000},
        {"rotate", setRotatForward, -3, 1000, rotateWaitReady, 4990, -1, 4'990'000},
    };
    for (const Wait& wait : waits) {
        build(0, {});
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

TEST_F(DriverCalls, StopAllEndsEveryContinuousMove) {
    build(0, {});
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

TEST_F(DriverCalls, TheFilterSwitchTakesTheWordOnAlone) {
    build(0, {});
    for (const std::string word : {"on", "ON", "on", "on ", "on", ""}) {
        EXPECT_EQ(setIcrSwitch(word.c_str()), 0);
        const std::string state = word == "on" ? R"("icr":"day")" : R"("icr":"night")";
        EXPECT_NE(twin::describeHead().find(state), std::string::npos) << "'" << word << "'";
    }
}

TEST_F(DriverCalls, TheStepLossCheckEndsAfterAHundredCyclesOrAtTheFirstWrongCounter) {
    build(0, {{"tilt.position", "4000"}, {"tilt.counter", "4000"}});
    twin::onLibraryCall([](const char* name) {
        EXPECT_TRUE(twin::holdsALock() || !std::string_view(name).starts_with("setTilt")) << name;
    });
    const auto check = [] {
        const twin::Microseconds start = twin::now();
        tiltStepLossCheck();
        return static_cast<double>(twin::now() - start) / 1e6;
    };
    const double whole = check();
    EXPECT_EQ(position(twin::Axis::tilt), 4000);
    EXPECT_EQ(lost(twin::Axis::tilt), 0);
    // Without its first reading the check starts from 0, and the next one is different.
    fault("call getTiltnPos 1");
    const double once = check();
    EXPECT_NEAR(once, 6.07, 0.001);
    EXPECT_NEAR(whole, 100 * once, 1);
    twin::onLibraryCall(nullptr);
}

// Who calls the motor library.
std::vector<std::function<void()>> everyCaller() {
    std::vector<std::function<void()>> list = {
        [] { panMoveToSpeed(1, 0, 9); }, [] { tiltMoveToSpeed(1, 0, 9); },
        [] { drivePanForward(1); },      [] { applyLeds(std::array<LedWord, 4>{}); },
        [] { handleIcr("", "day"); },    [] { handleIcr("", "night"); },
        [] { runDemoAction("N1"); }};
    for (auto* const probe :
         {panIsBusy, tiltIsBusy, zoomIsReady, focusIsReady, irisIsReady, rotateIsReady, panWaitIdle,
          tiltWaitIdle, zoomWaitReady, focusWaitReady, irisWaitReady, rotateWaitReady}) {
        list.emplace_back(probe);
    }
    for (auto* const move :
         {panMoveTo, tiltMoveTo, zoomMoveTo, focusMoveTo, irisMoveTo, rotateMoveTo}) {
        list.emplace_back([move] { move(1, 0); });
    }
    for (int drive = 0; drive <= static_cast<int>(EndStopDrive::rotateFast); ++drive) {
        list.emplace_back([drive] { driveToEndStop(static_cast<EndStopDrive>(drive)); });
    }
    return list;
}

bool gHolds = false;  // the next call is held open
bool gOpen = false;   // until the other caller can go no further
std::size_t gMade = 0;
std::string gWrong;  // an expectation that fails prints, and that is watched, too

void watchCalls(const char* name) {
    if (name == std::string_view("log") || name == std::string_view("get_lenstype")) {
        return;
    }
    if (std::exchange(gHolds, false)) {
        gOpen = true;
        while (twin::letGoOn("caller")) {
        }
        gOpen = false;
        return;
    }
    ++gMade;
    gWrong += gOpen || !twin::holds(twin::heldLocks(), &gMotorLock) ? std::string(name) + " " : "";
}

TEST_F(DriverCalls, EveryCallerWaitsWhileAnothersCallIsHeldOpen) {
    static const auto callers = everyCaller();
    static const auto atEveryHour = [](auto turn) {
        for (const auto& caller : callers) {
            twin::sleepUntil((twin::now() / 3'600'000'000 + 1) * 3'600'000'000);
            turn(caller);
        }
    };
    const auto hold = [](void*) {
        atEveryHour([](const auto&) {
            gHolds = true;
            panIsBusy();
        });
    };
    const auto call = [](void*) {
        atEveryHour([](const auto& caller) {
            const std::size_t before = gMade;
            caller();
            gWrong += gMade == before ? "none " : "";
        });
    };
    build(0, {});
    twin::onLibraryCall(watchCalls);
    twin::startActor("holder", hold, nullptr);
    twin::startActor("caller", call, nullptr);
    pass(static_cast<twin::Microseconds>(callers.size() + 1) * 3'600'000'000);
    twin::onLibraryCall(nullptr);
    EXPECT_EQ(gWrong, "");
    EXPECT_GE(gMade, callers.size());
}

}  // namespace
