// What the camera does and says from power-up to the first passes of its loops.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "session.h"

namespace {

struct Ranges {
    int lensType;
    const char* name;
    int zoom;
    int focus;
    int iris;
};

std::string rangeLines(const Ranges& lens) {
    const std::pair<const char*, int> axes[] = {
        {"pan", 44333},      {"tilt", 5120},        {"rotate", 10666},
        {"zoom", lens.zoom}, {"focus", lens.focus}, {"iris", lens.iris},
    };
    std::string text = std::string("\nlog Lens Type: ") + lens.name + "\n";
    for (const auto& [axis, maximum] : axes) {
        for (const char* const family : {"bus demo.ptz.range.", "bus lens.camN.range."}) {
            text += std::string(family) + axis + " 0~" + std::to_string(maximum) + "\n";
        }
    }
    text += "log Pan Max:44333\nlog Tilt Max:5120\nlog Rotat Max:10666\n";
    text += "log Zoom Max:" + std::to_string(lens.zoom) + "\n";
    text += "log Focus Max:" + std::to_string(lens.focus) + "\n";
    text += "log Iris Max:" + std::to_string(lens.iris) + "\n";
    return text;
}

constexpr std::size_t kRangeLines = 1 + 12 + 6;

TEST(Boot, PublishesTheRangesOfTheLensType) {
    const Ranges lenses[] = {
        {10, "RICOM_9T27", 2937, 1812, 118}, {0, "FL4_10", 2361, 2433, 96},
        {9, "FL4_10", 2361, 2433, 96},       {11, "FL4_10", 2361, 2433, 96},
        {-10, "FL4_10", 2361, 2433, 96},
    };
    for (const Ranges& lens : lenses) {
        const Camera camera({}, lens.lensType);
        const Session run = camera.run("quit");
        EXPECT_EQ(run.trace.after("bus lens.camN.ptzstatus done").first(kRangeLines).lines(),
                  rangeLines(lens))
            << lens.lensType;
    }
}

TEST(Boot, LoadsPositionsThenReadsTheSettings) {
    Camera camera({.pan = 1200, .tilt = 2000, .rotate = 533, .zoom = 100, .focus = 7, .iris = 40});
    camera.write(kPositionFile, positionFile({1200, 2000, 533, 100, 7, 80}));
    camera.remember("pan.counter", "1250");
    camera.remember("tilt.counter", "1990");
    camera.setting("image.camN.flip", "on");
    camera.setting("image.camN.mirror", "ON");
    camera.setting("gpio.camN.out.icr", "night");
    camera.setting("image.camN.exposure.iris_table", "40");
    camera.setting("encode.perspective.mode", "wall");
    camera.setting("lens.camN.light.test_mode", "0");
    const Session run = camera.run("run 0.2\nhead");
    EXPECT_EQ(run.trace.after("log Iris Max:96").first(20).lines(), R"(
log Pan Pos:1200
log Tilt Pos:2000
log Rotate Pos:533
log Zoom Pos:100
log Focus Pos:7
log Iris Pos:80
mcu setIrisBackward -86 150 5000
bus lens.camN.position_pan 1200
bus lens.camN.position_tilt 2000
bus lens.camN.position_zoom 100
bus lens.camN.position_focus 7
bus lens.camN.position_rotate 533
bus lens.camN.position_iris 0
log giTiltOffset=-10 giPanOffset=50
mcu setIcrSwDisable
log giFlip=1
log giMirror=0
log giRotate=0
log Install=2
log LED Test Mode=0
)");
    // The table's word reaches the iris when its motor has come back from the end stop.
    EXPECT_EQ(run.all.count("bus lens.camN.iris a:58"), 1);
    EXPECT_EQ(run.head()["iris"]["position"], 58);
    EXPECT_EQ(run.head()["icr"], "night");
}

TEST(Boot, FirstLensPassPublishesEveryPositionAndSaves) {
    const Camera camera(Positions{.pan = 1, .tilt = 2, .rotate = 3, .zoom = 4, .focus = 5});
    const Session run = camera.run("run 1");
    EXPECT_EQ(run.trace.after("log ChackPowerOffStatus")
                  .about({"ZFRPT", "setPower", "position", "Focus Pos=", "status", "action.cmd"})
                  .lines(),
              R"(
log Set ZFRPT Power:0
mcu setPowerDisable 0
bus demo.ptz.position.pan 1
bus lens.camN.position_pan 1
bus demo.ptz.position.tilt 2
bus lens.camN.position_tilt 2
bus demo.ptz.position.rotate 3
bus lens.camN.position_rotate 3
bus demo.ptz.position.zoom 4
bus lens.camN.position_zoom 4
bus demo.ptz.position.focus 5
bus lens.camN.position_focus 5
log Focus Pos=5
bus demo.ptz.position.iris 0
bus lens.camN.position_iris 0
bus lens.camN.irisstatus stop
bus lens.camN.action.cmd done
)");
    // Ranges are written as they are held; the reserved words stay 0.
    const std::string file = camera.read(kPositionFile).value_or("");
    ASSERT_EQ(file.size(), 120U);
    const std::int32_t expected[30] = {2361, 0,     0, 2433, 0, 96, 0, 44333, 0, 5120,
                                       0,    10666, 0, 4,    0, 5,  1, 2,     3, 0,
                                       0,    0,     0, 0,    0, 0,  0, 0,     0, 0};
    for (std::size_t i = 0; i < 30; ++i) {
        EXPECT_EQ(wordOf(file, i), expected[i]) << "word " << i;
    }
}

TEST(Boot, WithoutAPositionFileNothingIsAdopted) {
    const Session run = Camera().run("quit");
    EXPECT_EQ(run.trace.after("log Iris Max:96").first(2).lines(), R"(
mcu setIcrSwEnalbe
log giFlip=0
)");
}

TEST(Boot, SignalsEndTheProcessAtOnce) {
    for (const char* const signal : {"TERM", "INT", "QUIT"}) {
        const Session run =
            Camera(Positions{}).run(std::string("run 1\nsignal ") + signal + "\nrun 1");
        EXPECT_EQ(run.status, 1);
        ASSERT_FALSE(run.all.events.empty());
        EXPECT_EQ(run.all.events.back().line(), "log Exit kestrel sigstop");
        EXPECT_EQ(run.all.count("log Exit kestrel 2"), 0);
    }
}

}  // namespace
