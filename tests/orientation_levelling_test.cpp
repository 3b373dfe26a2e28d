// Levelling: the search for an upright picture and its servos, on cameras mounted in different
// ways.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>

#include "axis/axes.h"
#include "control_state.h"
#include "orientation/auto_search.h"
#include "session.h"
#include "tests/twin_world.h"

namespace {

constexpr const char* kHomeFile = "/mnt/nand/Home.txt";

// How far the picture is from upright, in degrees: the direction that its settings take for up
// against gravity's part in the picture's plane. With rotate on, up is along x instead of y.
double degreesFromUpright(const nlohmann::json& gravity, bool flip, bool rotate) {
    const double x = flip ? -gravity[0].get<double>() : gravity[0].get<double>();
    const double y = flip ? -gravity[1].get<double>() : gravity[1].get<double>();
    return std::abs(rotate ? std::atan2(-y, x) : std::atan2(x, y)) * 180.0 / M_PI;
}

// From several starts, mostly by a search like the one before, which begins at the nearer end.
TEST(OrientationLevelling, ThePictureComesUprightOnCeilingAndDesktop) {
    for (const std::string mount : {"ceiling", "desktop"}) {
        for (const bool rotate : {false, true}) {
            std::string script = "run 0.1\n";
            for (const int tilt : {0, 600, 1900, 2600, 3200, 4000, 4500, 5120}) {
                script += "set lens.camN.tilt a:" + std::to_string(tilt) +
                          "\nwait lens.camN.tiltstatus stop\n";
                // With rotate on, some searches from the lower end turn away, meant so; and further
                // down the view those from the upper end, where the picture lies exactly across,
                // hang on the sign of nothing.
                for (const int start : {10666, 5400, 300}) {
                    if (!rotate || (start > 5333 && tilt >= 3200)) {
                        script += "set lens.camN.rotate a:" + std::to_string(start) +
                                  "\nwait lens.camN.rotatestatus stop\nset lens.camN.rotate auto\n"
                                  "wait lens.camN.rotatestatus stop\nhead\nget image.camN.flip\n";
                    }
                }
            }
            const Camera camera(Positions{.rotate = 8000});
            camera.setting("image.camN.rotate", rotate ? "on" : "off");
            const auto run =
                camera.run(script, {"--clock", "virtual", "--trace", "--mount", mount});
            EXPECT_EQ(run.status, 0);
            int searches = 0;
            for (std::size_t i = 0; i + 1 < run.answers.size(); ++i) {
                if (run.answers[i].starts_with("{")) {
                    const auto head = nlohmann::json::parse(run.answers[i]);
                    const bool flip = run.answers[i + 1].ends_with("on");
                    EXPECT_LT(degreesFromUpright(head["gravity"], flip, rotate), 5) << head;
                    ++searches;
                }
            }
            EXPECT_EQ(searches, rotate ? 8 : 24);
        }
    }
}

// What becomes of a search that the sensor misleads: it ends all the same.
TEST(OrientationLevelling, SensorFaultsDuringTheSearch) {
    constexpr struct {
        const char* fault;
        const char* mode;
        const char* ending;
        int farthest;  // steps from where a good sensor leads
    } kRows[] = {
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
    const auto searchesAtBoot = [&] {
        return camera.run("run 3").trace.count("log in AutoSearch");
    };
    EXPECT_EQ(searchesAtBoot(), 0);
    const std::string kMoves[] = {"forward",       "backward", "full_forward",
                                  "full_backward", "a:600",    "r:10"};
    for (const std::string& word : kMoves) {
        camera.run("run 1\nset lens.camN.rotate auto\nrun 9\n");
        EXPECT_EQ(camera.read(kHomeFile), "");
        EXPECT_EQ(searchesAtBoot(), 1);
        EXPECT_EQ(searchesAtBoot(), 1) << "the marker stays";
        camera.run("run 3\nset lens.camN.rotate " + word +
                   "\nrun 0.1\nset lens.camN.rotate stop\nrun 3\n");
        EXPECT_FALSE(camera.read(kHomeFile)) << "after " << word;
        camera.run("run 1\nset lens.camN.rotate auto\nrun 0.2\nset lens.camN.rotate " + word +
                   "\nrun 5\nset lens.camN.rotate stop\nrun 5\n");
        EXPECT_FALSE(camera.read(kHomeFile)) << "after " << word << " that waited";
        camera.run(
            "run 41\nset lens.camN.action.cmd home2\nrun 1\nset lens.camN.rotate auto\nrun 0.5\n"
            "set lens.camN.rotate " +
            word + "\nrun 20\nset lens.camN.rotate stop\nrun 3\n");
        EXPECT_FALSE(camera.read(kHomeFile)) << "after " << word << " in which it levelled";
    }
    camera.run(
        "run 3\nset lens.camN.rotate r:0\nrun 0.1\nset lens.camN.rotate auto\nrun 9\n"
        "set demo.ptz.action r50\nrun 1\n");
    EXPECT_EQ(camera.read(kHomeFile), "") << "no word's move, whatever word led nowhere before";
    // Without a sensor, only a rotate mode leads to the request, which is then dropped.
    camera.fault("sensor-absent");
    camera.write(kHomeFile, "");
    for (const std::string word : {"stop", "autoh", "autov", "forwards"}) {
        camera.run("run 1\nset lens.camN.rotate " + word + "\nrun 0.1");
        EXPECT_EQ(camera.read(kHomeFile), "") << word << " moves nothing";
    }
    EXPECT_EQ(camera.run("run 3").trace.count("log Gyro not ready"), 0);
    for (const std::string& word : kMoves) {
        camera.write(kHomeFile, "");
        camera.run("run 1\nset lens.camN.tilt full_up\nrun 0.1\nset lens.camN.rotate " + word +
                   "\nrun 0.1");
        EXPECT_FALSE(camera.read(kHomeFile)) << word << " while tilt holds up the lens loop";
    }
    camera.write(kHomeFile, "");
    camera.setting("lens.camN.mode_rotate", "auto");
    EXPECT_EQ(camera.run("run 3").trace.count("log Gyro not ready"), 1);
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
        std::string visited;
        for (const std::string& word : wordsOf(testing::internal::GetCapturedStdout())) {
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
    giNewRotat = 100;
    testing::internal::CaptureStdout();
    RotateToPitch(270);
    std::string turns;
    for (const std::string& line : linesOf(testing::internal::GetCapturedStdout())) {
        turns += line.starts_with("Wrong") ? line.substr(line.find("...") + 3) + " " : "";
    }
    EXPECT_EQ(turns, "-1 1 -1 ");

    // Not worse: no second look, which would take 100 ms. 25 steps and the way back to the first.
    fault("sensor-frozen");
    gLensRange[kRotateMaximum] = 450;
    setAxisPosition(Axis::rotate, 400);
    giNewRotat = 400;
    const twin::Microseconds start = twin::now();
    RotateToYaw(360);
    EXPECT_EQ(twin::now() - start, 25 * 43'000 + 83'000);
    // From 340 degrees it is nearer to 90 upwards.
    testing::internal::CaptureStdout();
    RotateToPitch(90);
    EXPECT_NE(testing::internal::GetCapturedStdout().find(" angle_difference=110.00 "),
              std::string::npos);
}

}  // namespace
