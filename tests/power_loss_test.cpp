// Marker files: made while a motor runs, left behind by a loss of power, reported at the next boot.
#include <gtest/gtest.h>

#include <string>

#include "session.h"

namespace {

struct Motor {
    const char* axis;
    const char* word;
    const char* marker;
    bool reported;
};

constexpr Motor kMotors[] = {
    {"focus", "a:2400", "/mnt/nand/FocusMotor.txt", true},
    {"zoom", "a:2300", "/mnt/nand/ZoomMotor.txt", true},
    {"rotate", "a:2000", "/mnt/nand/RotatrMotor.txt", false},
    {"pan", "a:40000", "/mnt/nand/PanMotor.txt", true},
    {"tilt", "a:5000", "/mnt/nand/TiltMotor.txt", true},
};

TEST(MarkerFile, LeftBehindItIsReportedUntilTheMotorHasRunAgain) {
    for (const Motor& motor : kMotors) {
        const Camera camera(Positions{});
        const std::string status = std::string("lens.camN.") + motor.axis + "status";
        const std::string set = std::string("set lens.camN.") + motor.axis + " ";
        EXPECT_EQ(camera.run("run 1\n" + set + motor.word + "\nrun 0.15\npower-cut").status, 0);
        EXPECT_EQ(camera.read(motor.marker), "") << motor.axis;
        // A word that moves nothing ends with "stop", which leaves the marker; a move removes it.
        const Session again = camera.run("run 1\n" + set + "r:0\nrun 1");
        EXPECT_EQ(again.trace.between(0, 1).count("bus " + status + " fail"),
                  motor.reported ? 1 : 0)
            << motor.axis;
        EXPECT_EQ(again.trace.about({"fail", "Chack"}).events.back().line(),
                  "log ChackPowerOffStatus");
        EXPECT_EQ(again.trace.count("bus " + status + " stop"), 1) << motor.axis;
        EXPECT_TRUE(camera.read(motor.marker)) << motor.axis;
        camera.run("run 1\n" + set + "a:600\nrun 8");
        EXPECT_FALSE(camera.read(motor.marker)) << motor.axis;
        EXPECT_EQ(camera.run("run 1").trace.count("bus " + status), 0) << motor.axis;
    }
}

TEST(MarkerFile, ItsContentDecidesWhetherItCounts) {
    const std::string zeros(130, '0');
    const std::pair<std::string, bool> contentsAndCounts[] = {
        {"", true},
        {"1", true},
        {" 1\n", true},
        {"0", false},
        {"2", false},
        {"11", false},
        {"x", true},
        {"-1", false},
        {zeros, false},
        {zeros + "1", true},
        {"+" + zeros + "1", true},
        {"1" + zeros, false},
    };
    for (const auto& [content, counts] : contentsAndCounts) {
        const Camera camera(Positions{});
        camera.write("/mnt/nand/TiltMotor.txt", content);
        EXPECT_EQ(camera.run("run 1").trace.count("bus lens.camN.tiltstatus fail"), counts ? 1 : 0)
            << "'" << content << "'";
    }
}

TEST(MarkerFile, AllAreReportedInAFixedOrder) {
    const Camera camera(Positions{});
    for (const char* const name :
         {"FocusMotor", "ZoomMotor", "RotatrMotor", "RotateMotor", "PanMotor", "TiltMotor"}) {
        camera.write(std::string("/mnt/nand/") + name + ".txt", "");
    }
    // The rotate marker is written under one name and looked for under another.
    EXPECT_EQ(camera.run("run 1").trace.about({" fail", "Chack"}).lines(), R"(
bus lens.camN.focusstatus fail
bus lens.camN.zoomstatus fail
bus lens.camN.rotatestatus fail
bus lens.camN.panstatus fail
bus lens.camN.tiltstatus fail
log ChackPowerOffStatus
)");
}

}  // namespace
