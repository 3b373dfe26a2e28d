// Homing finds the axes wherever they really stand.
#include <gtest/gtest.h>

#include <string>

#include "session.h"

namespace {

// Where homing leaves the axes; their initials name them in the table below.
constexpr Positions kParked = {
    .pan = 22166, .tilt = 3200, .rotate = 533, .zoom = 0, .focus = 2433, .iris = 0};

struct Request {
    const char* word;
    const char* homed;
    bool leavesMarker;
    bool focuses;
};

constexpr Request kRequests[] = {
    {"lens.camN.action.cmd home1", "ptrzfi", true, false},
    {"lens.camN.pan homeaf", "ptrzfi", true, true},
    {"lens.camN.action.cmd home2", "rzfi", false, false},
    {"lens.camN.action.cmd home3", "pt", false, false},
    {"lens.camN.action.cmd home", "zfi", false, false},
    {"lens.camN.action.cmd home4", "ptr", false, false},
    {"lens.camN.pan homefast", "ptrzfi", false, false},
    {"lens.camN.action.cmd homepos", "ptrzfi", false, true},
};

constexpr Positions kTruths[] = {
    {.pan = 3, .tilt = 5100, .rotate = 12, .zoom = 2350, .focus = 1800, .iris = 90},
    {.pan = 44000, .tilt = 7, .rotate = 10600, .zoom = 0, .focus = 0, .iris = 0},
    {.pan = 31234, .tilt = 2345, .rotate = 6543, .zoom = 1234, .focus = 1357, .iris = 50},
};

void homeFrom(const Positions& truth, const Request& request, int lensType) {
    Camera camera(Positions{}, lensType);
    // Without a motion sensor nothing is levelled after a home.
    camera.fault("sensor-absent");
    const std::string homed = request.homed;
    for (const auto& [axis, position] : kAxisPositions) {
        if (homed.find(axis[0]) != std::string::npos) {
            camera.remember(std::string(axis) + ".position", std::to_string(truth.*position));
        }
    }
    const Session run =
        camera.run("run 1\nset " + std::string(request.word) + "\nrun 30\ncheck\nhead");
    EXPECT_EQ(run.answers.at(0), "ok");
    EXPECT_EQ(camera.read("/mnt/nand/Home.txt").has_value(), request.leavesMarker);
    for (const auto& [axis, position] : kAxisPositions) {
        const bool lens = axis[0] == 'z' || axis[0] == 'f';
        if (homed.find(axis[0]) != std::string::npos && !(lens && request.focuses)) {
            EXPECT_EQ(run.head()[axis]["position"],
                      axis[0] == 'f' && lensType == 10 ? 1812 : kParked.*position);
        }
    }
}

TEST(Homing, CountersAgreeWithTheMechanismAfterwards) {
    for (const int lensType : {0, 10}) {
        for (const Request& request : kRequests) {
            for (const Positions& truth : kTruths) {
                SCOPED_TRACE(request.word + std::string(", lens ") + std::to_string(lensType) +
                             ", pan " + std::to_string(truth.pan));
                homeFrom(truth, request, lensType);
            }
        }
    }
}

}  // namespace
