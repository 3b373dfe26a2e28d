// Levelling: the search for an upright picture and its servos, on cameras mounted in different
// ways.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <sstream>
#include <string>
#include <vector>

#include "axis/axes.h"
#include "control_state.h"
#include "orientation/auto_search.h"
#include "session.h"
#include "tests/twin_world.h"

namespace {

constexpr const char* kHomeFile = "/mnt/nand/Home.txt";

auto runMounted(const Camera& camera, const char* mount, const std::string& script) {
    return camera.run(script, {"--clock", "virtual", "--trace", "--mount", mount});
}

// How far the picture is from upright, in degrees: the direction that its settings take for up
// against gravity's part in the picture's plane. With rotate on, up is along x instead of y.
double degreesFromUpright(const nlohmann::json& gravity, bool flip, bool rotate) {
    const double x = flip ? -gravity[0].get<double>() : gravity[0].get<double>();
    const double y = flip ? -gravity[1].get<double>() : gravity[1].get<double>();
    return std::abs(rotate ? std::atan2(-y, x) : std::atan2(x, y)) * 180.0 / M_PI;
}

TEST(OrientationLevelling, TheSearchStepByStep) {
    const Camera camera(Positions{.tilt = 3200, .rotate = 533});
    const auto run = camera.run("run 0.1\nset lens.camN.rotate auto\nrun 1\n");
    EXPECT_EQ(run.trace.after("cmd lens.camN.rotate auto").story(), R"(
0 bus lens.camN.rotatestatus run
0 log Set ZFRPT Power:1
0 mcu setPowerEnable 15
0 log in AutoSearch
0 mcu setRotatBackward -3 533 5000
110 log 3.pan:10000 tilt:3200 rotate:0 pitch=58.67 roll=164.10 yaw=351.81
110 bus image.camN.flip off
110 bus image.camN.mirror off
110 log target_angle=360.00
110 mcu setRotatForward -3 163 5000
110 log giFlip=0
110 log giMirror=0
183 log target_angle=360.00,fYaw=354.31,last_angle=351.81 Step:163 angle_difference=8.19 new_angle_difference=5.69 *
183 mcu setRotatForward -3 113 5000
246 log target_angle=360.00,fYaw=356.05,last_angle=354.31 Step:276 angle_difference=5.69 new_angle_difference=3.95 *
246 mcu setRotatForward -3 79 5000
299 log target_angle=360.00,fYaw=357.26,last_angle=356.05 Step:355 angle_difference=3.95 new_angle_difference=2.74 *
299 mcu setRotatForward -3 54 5000
352 log target_angle=360.00,fYaw=358.09,last_angle=357.26 Step:409 angle_difference=2.74 new_angle_difference=1.91 *
352 mcu setRotatForward -3 38 5000
395 log target_angle=360.00,fYaw=358.68,last_angle=358.09 Step:447 angle_difference=1.91 new_angle_difference=1.32 *
395 mcu setRotatForward -3 26 5000
438 log target_angle=360.00,fYaw=359.08,last_angle=358.68 Step:473 angle_difference=1.32 new_angle_difference=0.92 *
438 mcu setRotatForward -3 18 5000
481 log target_angle=360.00,fYaw=359.35,last_angle=359.08 Step:491 angle_difference=0.92 new_angle_difference=0.65 *
481 mcu setRotatForward -3 18 5000
524 log target_angle=360.00,fYaw=359.63,last_angle=359.08 Step:509 angle_difference=0.92 new_angle_difference=0.37 *
557 log Reached target angle: 359.63 degrees.
557 log 1212121212
557 bus lens.camN.rotatestatus stop
557 bus lens.camN.action.cmd done
557 log Set ZFRPT Power:0
557 mcu setPowerDisable 0
557 bus demo.ptz.position.rotate 509
557 bus lens.camN.position_rotate 509
)");
    EXPECT_EQ(camera.read(kHomeFile), "");
}

// The case found and where the search ends, worked out from the mount's geometry beside the daemon.
constexpr struct {
    const char* mount;
    int pan, tilt;
    const char* mode;  // image rotate
    const char* marker;
    const char* flip;
    int rotate;
} kSearches[] = {
    {"ceiling", 10000, 0, "off", "000000", "on", 534},
    {"ceiling", 10000, 4000, "off", "555555555", "off", 569},  // three wrong directions
    {"ceiling", 10000, 5120, "off", "22222222", "off", 509},
    {"ceiling", 10000, 0, "on", "99999", "on", 5599},
    {"ceiling", 10000, 3200, "on", "1111111", "off", 5624},
    {"ceiling", 10000, 4800, "on", "888888", "off", 5610},
    {"desktop", 10000, 1900, "off", "13131313", "on", 537},
    {"desktop", 10000, 4800, "off", "000000", "on", 533},
    {"desktop", 10000, 3200, "on", "33333333", "on", 5592},
    {"wall0", 10000, 1400, "off", "7777777", "on", 6090},
    {"wall90", 10000, 1400, "on", "555555555", "off", 6093},
    {"wall180", 10000, 3200, "on", "1111111", "off", 10666},  // no upright within the range
    {"wall90", 10000, 5120, "off", "13131313", "on", 0},      // nor here
    {"wall90", 0, 3200, "on", "6666666", "on", 526},          // upwards, after another search
};

TEST(OrientationLevelling, EveryCaseOfBothTables) {
    for (const auto& each : kSearches) {
        SCOPED_TRACE(testing::Message() << each.mount << " " << each.tilt << " " << each.mode);
        const std::string marker = each.marker;
        const Camera camera(Positions{.pan = each.pan, .tilt = each.tilt});
        camera.setting("image.camN.rotate", each.mode);
        std::string script = "run 0.1\n";
        if (marker == "6666666") {
            script +=
                "set lens.camN.rotate auto\nwait lens.camN.rotatestatus stop\n"
                "set lens.camN.rotate a:500\nwait lens.camN.rotatestatus stop\n";
        }
        script += "set lens.camN.rotate autov\nwait lens.camN.rotatestatus stop\nhead\n";
        const auto run = runMounted(camera, each.mount, script);
        const auto search = run.trace.after("cmd lens.camN.rotate autov");
        EXPECT_EQ(search.about({"log " + marker, "bus image", "log +", "log -"}).lines(),
                  std::string("\nbus image.camN.flip ") + each.flip + "\nbus image.camN.mirror " +
                      each.flip + "\n" + (each.rotate == 0 ? "log ------\n" : "") + "log " +
                      marker + "\n");
        EXPECT_EQ(run.head()["rotate"]["position"], each.rotate);
        // One case alone prints its marker before its servo runs.
        const bool early = marker == "555555555" && std::string(each.mode) == "on";
        EXPECT_EQ(search.about({"log " + marker, "log Reached"}).events.front().text == marker,
                  early);
    }
}

// From several starts, mostly by a search like the one before, which begins at the nearer end.
TEST(OrientationLevelling, ThePictureComesUprightOnCeilingAndDesktop) {
    for (const std::string mount : {"ceiling", "desktop"}) {
        for (const bool rotate : {false, true}) {
            std::string script = "run 0.1\n";
            std::vector<int> starts;
            for (const int tilt : {0, 600, 1900, 2600, 3200, 4000, 4500, 5120}) {
                script += "set lens.camN.tilt a:" + std::to_string(tilt) +
                          "\nwait lens.camN.tiltstatus stop\n";
                // With rotate on, some searches from the lower end turn away; meant so.
                for (const int start : {10666, 5400, 300}) {
                    if (!rotate || start > 5333) {
                        starts.push_back(start);
                        script += "set lens.camN.rotate a:" + std::to_string(start) +
                                  "\nwait lens.camN.rotatestatus stop\nset lens.camN.rotate auto\n"
                                  "wait lens.camN.rotatestatus stop\nhead\nget image.camN.flip\n";
                    }
                }
            }
            const Camera camera(Positions{.rotate = 8000});
            camera.setting("image.camN.rotate", rotate ? "on" : "off");
            const auto run = runMounted(camera, mount.c_str(), script);
            EXPECT_EQ(run.status, 0);
            std::vector<std::string> flips;
            std::copy_if(run.answers.begin(), run.answers.end(), std::back_inserter(flips),
                         [](const std::string& text) { return text.starts_with("image"); });
            ASSERT_EQ(flips.size(), starts.size());
            for (std::size_t i = 0; i < starts.size(); ++i) {
                const auto head = run.head(i);
                EXPECT_LT(degreesFromUpright(head["gravity"], flips[i].ends_with("on"), rotate), 5)
                    << mount << " from " << starts[i] << " at " << head;
            }
        }
    }
}

TEST(OrientationLevelling, WaitsForTheSupplyAndForRunningOrFailedMotors) {
    const Camera camera(Positions{.tilt = 3200});
    camera.write("/mnt/nand/ZoomMotor.txt", "");
    camera.setting("system.info.poe_status", "not_ready");
    const auto run = camera.run(R"(run 0.1
set lens.camN.rotate autoh
run 5
set lens.camN.zoom a:1100
wait lens.camN.zoomstatus stop
run 5
set system.info.poe_status ready
run 1
set lens.camN.pan a:30000
run 0.5
set lens.camN.rotate auto
run 0.2
set lens.camN.rotatestatus fail
wait lens.camN.panstatus stop
run 5
set lens.camN.rotatestatus done
run 1
)");
    const std::vector<std::string> about = {"in AutoSearch", "rotatestatus", "panstatus stop",
                                            "zoomstatus", "poe_status"};
    EXPECT_EQ(run.trace.about(about).lines(), R"(
bus lens.camN.zoomstatus fail
bus lens.camN.zoomstatus run
bus lens.camN.zoomstatus stop
cmd system.info.poe_status ready
bus lens.camN.rotatestatus run
log in AutoSearch
bus lens.camN.rotatestatus stop
cmd lens.camN.rotatestatus fail
bus lens.camN.panstatus stop
cmd lens.camN.rotatestatus done
bus lens.camN.rotatestatus run
log in AutoSearch
bus lens.camN.rotatestatus stop
)");
}

// What becomes of a search that the sensor misleads: it ends all the same.
TEST(OrientationLevelling, SensorFaultsDuringTheSearch) {
    constexpr struct {
        const char* fault;
        const char* mode;
        const char* ending;
        int farthest;  // steps from where a good sensor leads
    } kRows[] = {
        {"sensor-absent", "off", "22222222", 10666},
        {"sensor-absent", "on", "888888", 10666},
        {"sensor-frozen", "off", "1212121212", 10666},
        {"sensor-noise 30", "off", "1212121212", 60},
        {"sensor-noise 30", "on", "1111111", 60},
        {"call transferI2c 6", "off", "1212121212", 0},
        {"call transferI2c 12", "off", "22222222", 60},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(testing::Message() << row.fault << " " << row.mode);
        const Camera camera(Positions{.tilt = 3200});
        camera.setting("image.camN.rotate", row.mode);
        const auto run = camera.run(std::string("run 0.1\nset lens.camN.rotate auto\nfault ") +
                                    row.fault + "\nwait lens.camN.rotatestatus stop\nhead\n");
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.trace.count(std::string("log ") + row.ending), 1);
        const int rotate = run.head()["rotate"]["position"];
        EXPECT_NEAR(rotate, std::string(row.mode) == "on" ? 5624 : 509, row.farthest);
    }
    // Transfers that fail at any point of a search.
    std::string script = "run 0.1\n";
    for (int moment = 0; moment < 60; ++moment) {
        script += "set lens.camN.rotate auto\nrun 0." + std::to_string(100 + 9 * moment) +
                  "\nfault call transferI2c " + std::to_string(1 + moment % 13) + "\nrun 3\n";
    }
    const Camera shaken(Positions{.tilt = 3200});
    const auto shakenRun = shaken.run(script);
    EXPECT_EQ(shakenRun.status, 0);
    EXPECT_EQ(shakenRun.trace.count("log Reached target angle"), 60);
    // Nothing changes: small steps in one direction to the end of the range, and back to the first.
    const Camera camera(Positions{.tilt = 3200});
    const auto run = camera.run(
        "run 0.1\nfault sensor-absent\nset lens.camN.rotate auto\n"
        "wait lens.camN.rotatestatus stop\nhead\n");
    EXPECT_EQ(run.trace.count("mcu setRotatForward -3 16 5000"), 666);
    EXPECT_EQ(run.trace.count("log ++++++"), 1);
    EXPECT_EQ(run.head()["rotate"]["position"], 16);
}

TEST(OrientationLevelling, TheHomeMarkerLeadsToLevellingAtTheNextBoot) {
    Camera camera(Positions{.tilt = 3200, .rotate = 509});
    const std::string boot = "run 3\n";
    EXPECT_EQ(camera.run(boot).trace.count("log in AutoSearch"), 0);
    camera.write(kHomeFile, "");
    EXPECT_EQ(camera.run(boot).trace.count("log in AutoSearch"), 1);
    EXPECT_EQ(camera.run(boot).trace.count("log in AutoSearch"), 1) << "the marker stays";
    for (const std::string word :
         {"forward", "backward", "full_forward", "full_backward", "a:600", "r:10"}) {
        EXPECT_TRUE(camera.read(kHomeFile)) << word;
        camera.run("run 3\nset lens.camN.rotate " + word +
                   "\nrun 0.1\nset lens.camN.rotate stop\n"
                   "run 3\n");
        EXPECT_FALSE(camera.read(kHomeFile)) << "after " << word;
        EXPECT_EQ(camera.run("run 1\nset lens.camN.rotate auto\nrun 9\n")
                      .trace.count("log in AutoSearch"),
                  1);
    }
    // Without a sensor, only a rotate mode leads to the request, which is then dropped.
    camera.fault("sensor-absent");
    EXPECT_EQ(camera.run(boot).trace.count("log Gyro not ready"), 0);
    camera.setting("lens.camN.mode_rotate", "auto");
    EXPECT_EQ(camera.run(boot).trace.count("log Gyro not ready"), 1);
}

TEST(OrientationLevelling, ACommandInTheMiddleIsCarriedOutAfterwards) {
    // In the sweep's first move and in the servo.
    for (const std::string moment : {"0.05", "0.3"}) {
        const Camera camera(Positions{.tilt = 3200, .rotate = 533});
        const auto run = camera.run("run 0.1\nset lens.camN.rotate auto\nrun " + moment +
                                    "\nset lens.camN.rotate a:3000\nrun 3\nhead\n");
        EXPECT_EQ(run.trace.about({"rotatestatus", "1212121212", "iRotateMove"}).lines(),
                  "\nbus lens.camN.rotatestatus run\nlog 1212121212\n"
                  "bus lens.camN.rotatestatus stop\nlog 2.iRotateMove=2 509 3000 \n"
                  "bus lens.camN.rotatestatus run\nbus lens.camN.rotatestatus stop\n")
            << moment;
        EXPECT_EQ(run.head()["rotate"]["position"], 3000);
    }
}

TEST(OrientationLevelling, AMotorThatIsNeverReadyHoldsTheSearchUp) {
    const Camera camera(Positions{.tilt = 3200, .rotate = 533});
    const auto run = camera.run(
        "run 0.1\nfault axis rotate never-ready\n"
        "set lens.camN.rotate auto\nrun 300\nfault clear\n"
        "wait lens.camN.rotatestatus stop\nhead\n");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.trace.between(0, 300).count("mcu setRotat"), 0);
    EXPECT_GT(run.trace.between(0, 300).count("log target_angle=360.00,"), 10);
    EXPECT_LT(degreesFromUpright(run.head()["gravity"], false, false), 5);
}

class OrientationSweep : public TwinWorld {};

// The sensor is frozen in an attitude that matches no case of the mode.
TEST_F(OrientationSweep, VisitsTheRangeFromItsEndAndGivesUp) {
    const struct {
        int mode, maximum, start;
        std::string visited;
    } kRows[] = {
        {0, 450, 300, "0 200 400 450 "},
        {0, 450, 226, "450 250 50 0 "},
        {0, 450, 225, "0 200 400 450 "},
        {1, 450, 0, "450 250 50 0 "},
        {1, 450, 225, "0 200 400 450 "},
        {2, 450, 450, "0 200 400 450 "},
        {0, 0, 0, "0 "},
        {1, 0, 0, "0 "},
    };
    for (const auto& row : kRows) {
        build(0, {{"rotate.position", row.mode == 0 ? "5599" : "533"}, {"tilt.position", "3200"}});
        fault("sensor-frozen");
        gLensRange[kRotateMaximum] = row.maximum;
        setAxisPosition(Axis::rotate, row.start);
        testing::internal::CaptureStdout();
        AutoSearch(row.mode);
        std::istringstream lines(testing::internal::GetCapturedStdout());
        std::string visited;
        for (std::string word; lines >> word;) {
            visited += word.starts_with("rotate:") ? word.substr(7) + " " : "";
        }
        EXPECT_EQ(visited, row.visited) << row.mode << " from " << row.start;
    }
}

// A step that an end cuts short still counts, however little it changes.
TEST_F(OrientationSweep, TheServoJudgesTheStepThatEndsAtALimit) {
    build(0, {{"pan.position", "0"}, {"tilt.position", "640"}, {"rotate.position", "100"}});
    gLensRange[kRotateMaximum] = 10666;
    setAxisPosition(Axis::rotate, 100);
    RotateDrive drive = {100};
    testing::internal::CaptureStdout();
    RotateToPitch(drive, 270);
    std::string turns;
    std::istringstream lines(testing::internal::GetCapturedStdout());
    for (std::string line; std::getline(lines, line);) {
        turns += line.starts_with("Wrong") ? line.substr(line.find("...") + 3) + " " : "";
    }
    EXPECT_EQ(turns, "-1 1 -1 ");

    // Not worse: no second look, which would take 100 ms. 25 steps and the way back to the first.
    fault("sensor-frozen");
    gLensRange[kRotateMaximum] = 450;
    setAxisPosition(Axis::rotate, 400);
    drive.target = 400;
    const twin::Microseconds start = twin::now();
    RotateToYaw(drive, 360);
    EXPECT_EQ(twin::now() - start, 25 * 43'000 + 83'000);
}

}  // namespace
