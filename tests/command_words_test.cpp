// The words of the six axes: what each makes its motor do, and which requests it raises.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "control_state.h"
#include "motion/command_words.h"
#include "session.h"

namespace {

// A word, the motor orders that follow (and the axis's "run" if there is none), and where the axis
// then stands by its published position.
struct Word {
    const char* word;
    std::vector<std::string> orders;
    int position;
};

// Words one after the other on one camera, each given time to end.
struct Axis {
    const char* axis;
    int lensType;
    std::vector<Word> words;
};

const Axis kAxes[] = {
    {"zoom",
     0,
     {{"a:1200", {"setZoom8Backward -1 200 5000"}, 1200},
      {"r:50", {"setZoom8Backward -1 50 5000"}, 1250},
      {"r:-100x", {"setZoom8Forward -1 100 5000"}, 1150},
      {"full_in", {"setZoom8Backward -1 1211 5000"}, 2361},
      {"a:99999", {}, 2361},
      {"a:x", {"setZoom8Forward -1 2361 5000"}, 0},
      {"a:-5", {}, 0},
      {"r:30", {"setZoom8Backward -1 30 5000"}, 30},
      {"full_out", {"setZoom8Forward -1 30 5000"}, 0},
      {"inn", {}, 0},
      {"IN", {}, 0},
      {"full_in ", {}, 0},
      {"a1200", {}, 0},
      {"far", {}, 0}}},
    // The limits of a relative zoom are those of the focus.
    {"zoom",
     10,
     {{"a:2000", {"setZoom8Forward -1 1000 5000"}, 2000},
      {"r:50", {"setZoom8Backward -1 188 5000"}, 1812},
      {"a:9999", {"setZoom8Forward -1 1125 5000"}, 2937}}},
    {"rotate",
     0,
     {{"a:1000", {"setRotatForward -3 467 5000"}, 1000},
      {"r:-200", {"setRotatBackward -3 200 5000"}, 800},
      {"r:5000", {"setRotatForward -3 1633 5000"}, 2433},
      {"full_forward", {"setRotatForward -3 8233 5000"}, 10666},
      {"r:10", {"setRotatBackward -3 8233 5000"}, 2433},
      {"full_backward", {"setRotatBackward -3 2433 5000"}, 0},
      {"a:20000", {"setRotatForward -3 10666 5000"}, 10666},
      {"full_in", {}, 10666}}},
    {"focus",
     0,
     {{"a:900", {"setFocus8Backward -56 100 5000"}, 900},
      {"r:-50", {"setFocus8Forward -56 50 5000"}, 850},
      {"full_near", {"setFocus8Backward -56 1583 5000"}, 2433},
      {"full_far", {"setFocus8Forward -56 2433 5000"}, 0},
      {"r:9999", {"setFocus8Backward -56 2433 5000"}, 2433},
      {"a:", {"setFocus8Forward -56 2433 5000"}, 0},
      {"Near", {}, 0},
      {"near1", {}, 0}}},
    {"pan",
     0,
     {{"a:10600", {"setPanForwardS 2 600 250"}, 10600},
      {"r:-12000", {"setPanBackwardS 2 10600 250"}, 0},
      {"r:99999", {"setPanForwardS 2 44333 250"}, 44333},
      {"a:44000", {"setPanBackwardS 2 333 250"}, 44000},
      {"full_in", {}, 44000},
      {"lef", {}, 44000},
      {"RIGHT", {}, 44000}}},
    {"tilt",
     0,
     {{"a:2100", {"setTiltForwardS 2 100 250"}, 2100},
      {"r:-200", {"setTiltBackwardS 2 200 250"}, 1900},
      {"full_up", {"setTiltForwardS 2 3220 250"}, 5120},
      {"full_down", {"setTiltBackwardS 2 5120 250"}, 0},
      {"r:6000", {"setTiltForwardS 2 5120 250"}, 5120},
      {"a:-1", {"setTiltBackwardS 2 5120 250"}, 0},
      {"dow", {}, 0},
      {"u", {}, 0}}},
    {"iris",
     0,
     {{"a:40", {"setIrisForward -86 40 5000"}, 40},
      {"r:-10", {"setIrisBackward -86 10 5000"}, 30},
      {"full_close", {"setIrisForward -86 66 5000"}, 96},
      {"full_open", {"setIrisBackward -86 96 5000"}, 0},
      {"r:200", {"setIrisForward -86 96 5000"}, 96},
      {"a:-3", {"setIrisBackward -86 96 5000"}, 0},
      {"full_in", {}, 0}}},
    {"iris", 10, {{"full_close", {"setIrisForward -86 118 5000"}, 118}}},
};

TEST(CommandWord, MovesItsAxis) {
    for (const Axis& axis : kAxes) {
        const std::string key = std::string("lens.camN.") + axis.axis;
        std::string script = "run 1\n";
        for (const Word& word : axis.words) {
            script += "set " + key + " " + word.word + "\nrun 8\nget lens.camN.position_" +
                      axis.axis + "\nhead\n";
        }
        const Session run = Camera(Positions{}, axis.lensType).run(script);
        std::size_t index = 0;
        for (const Word& word : axis.words) {
            const std::string name = std::string(axis.axis) + " " + word.word;
            std::string expected = "\n";
            for (const std::string& order : word.orders) {
                expected += "mcu " + order + "\n";
            }
            EXPECT_EQ(run.trace.after("cmd " + key + " " + word.word)
                          .about({"mcu set"})
                          .without({"setPower"})
                          .lines(),
                      expected)
                << name;
            EXPECT_EQ(run.answers.at(2 * index), "lens.camN.position_" + std::string(axis.axis) +
                                                     " " + std::to_string(word.position))
                << name;
            EXPECT_EQ(run.head(index)[axis.axis]["position"], word.position) << name;
            ++index;
        }
        EXPECT_EQ(run.head()[axis.axis]["lost"], axis.axis == std::string("iris") ? 150 : 0)
            << "no order runs into a stop but the iris's first";
    }
}

// A relative zoom beyond the zoom range, but within the focus range, is seen as a move.
TEST(CommandWord, RelativeZoomPastItsRangeReportsAMoveOfNoLength) {
    const Session run =
        Camera(Positions{.zoom = 2361}).run("run 1\nset lens.camN.zoom r:50\nrun 1");
    EXPECT_EQ(run.trace.after("cmd lens.camN.zoom r:50").story(), R"(
0 log Set ZFRPT Power:1
0 mcu setPowerEnable 15
0 bus lens.camN.zoomstatus run
0 bus lens.camN.zoomstatus stop
0 bus lens.camN.action.cmd done
0 log Set ZFRPT Power:0
0 mcu setPowerDisable 0
)");
}

TEST(CommandWord, ManualRotateRemovesTheHomeMarker) {
    struct Case {
        const char* word;
        bool stays;
    };
    constexpr Case kCases[] = {
        {"forward", false}, {"backward", false}, {"full_forward", false}, {"full_backward", false},
        {"a:600", false},   {"r:1", false},      {"stop", true},          {"autoh", true},
        {"autov", true},    {"forwards", true},
    };
    for (const Case& each : kCases) {
        Camera camera{Positions{}};
        camera.fault("sensor-absent");
        camera.write("/mnt/nand/Home.txt", "");
        camera.run(std::string("run 1\nset lens.camN.rotate ") + each.word + "\nrun 0.1");
        EXPECT_EQ(camera.read("/mnt/nand/Home.txt").has_value(), each.stays) << each.word;
    }
}

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
        {focusCommand, "all", giAfRequest, 5, 5},
        {focusCommand, "fullrange", iFocusContinuous, -1, 0},
        {focusCommand, "shortrange", iFocusContinuous, 1, 0},
        {focusCommand, "all", iFocusContinuous, 1, 0},
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
        {zoomCommand, "r:0", iZoomContinuous, 1, 0},
        {zoomCommand, "a:0", iZoomMove, 1, 5},
        {zoomCommand, "full_out", iZoomMove, 0, 5},
        {rotateCommand, "full_backward", iRotateContinuous, 1, 0},
        {rotateCommand, "full_backward", iRotateMove, 0, 4},
        {focusCommand, "full_far", iFocusMove, 0, 4},
        {panCommand, "a:1", iPanContinuous, 9, 0},
        {panCommand, "r:1", iPanMove, 0, 4},
        {tiltCommand, "full_up", iTiltContinuous, 9, 0},
        {tiltCommand, "full_down", iTiltMove, 1, 4},
        {irisCommand, "full_open", iIrisContinuous, 1, 0},
        {irisCommand, "full_open", iIrisMove, 1, 1},
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
