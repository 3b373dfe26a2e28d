// The fault that cuts the power at a change of the camera's state: where it cuts, and what stays.
#include <gtest/gtest.h>

#include <string>

#include "session.h"

namespace {

constexpr const char* kMove = "set lens.camN.zoom a:1200\nrun 2";

std::string underCut(int point, const std::string& script) {
    return "run 1\nfault power-cut " + std::to_string(point) + "\n" + script;
}

TEST(PowerCutFault, ReachesEveryChangeOfAMoveInItsOrder) {
    std::string points = "\n";
    for (int point = 1;; ++point) {
        const Session run = Camera(Positions{}).run(underCut(point, kMove));
        EXPECT_EQ(run.status, 0) << run.errors;
        if (run.answers.back() == "ok") {
            break;
        }
        points += run.answers.back() + "\n";
    }
    EXPECT_EQ(points, R"(
power cut: mcu setPowerEnable
power cut: bus lens.camN.zoomstatus
power cut: mcu setZoom8Backward
power cut: bus demo.ptz.position.zoom
power cut: bus lens.camN.position_zoom
power cut: file /mnt/nand/Pos.bin
power cut: file /mnt/nand/ZoomMotor.txt
power cut: bus system.camN.info.power_consumption
power cut: bus lens.camN.zoomstatus
power cut: bus lens.camN.action.cmd
power cut: mcu setPowerDisable
power cut: file /mnt/nand/ZoomMotor.txt
power cut: bus system.camN.info.power_consumption
)");
}

TEST(PowerCutFault, CutsBeforeTheChangeTakesEffect) {
    const Camera camera(Positions{});
    camera.run(underCut(3, kMove));
    EXPECT_EQ(camera.remembered("zoom.position"), "1000");
    camera.run(underCut(6, kMove));
    EXPECT_EQ(camera.remembered("zoom.position"), "1000");
    EXPECT_EQ(wordOf(camera.read(kPositionFile).value_or(""), 13), 1000);
    camera.run(underCut(7, kMove));
    EXPECT_EQ(wordOf(camera.read(kPositionFile).value_or(""), 13), 1200);
    EXPECT_FALSE(camera.read("/mnt/nand/ZoomMotor.txt"));
}

TEST(PowerCutFault, CountsOnOverBootsAndHitsOnce) {
    Camera camera(Positions{});
    camera.fault("power-cut 1000000");
    const Session first = camera.run("run 1\nfault");
    const std::string active = "active: power-cut ";
    ASSERT_TRUE(first.answers.back().starts_with(active)) << first.answers.back();
    const int points = 1'000'000 - std::stoi(first.answers.back().substr(active.size()));
    EXPECT_GT(points, 12);
    Camera other(Positions{});
    other.fault("power-cut " + std::to_string(points + 1));
    EXPECT_EQ(other.run("run 1\nfault").answers.back(), "active: power-cut 1");
    EXPECT_EQ(other.run("run 1\nfault").answers.back(), "power cut: file /etc/mcu_ver_mb.info");
    EXPECT_EQ(other.run("run 1\nfault").answers.back(), "none active");
}

TEST(PowerCutFault, LeavesAFailedExpectationInTheExitStatus) {
    EXPECT_EQ(Camera(Positions{}).run(underCut(2, std::string("expect x y\n") + kMove)).status, 1);
}

}  // namespace
