// Positions across restarts: the position file, when it is written, and what a damaged one does.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "session.h"

namespace {

constexpr std::size_t kZoomWord = 13;
constexpr std::size_t kPanWord = 16;

TEST(PositionFile, IsAdoptedAfterARestart) {
    const Camera camera(Positions{});
    const Session first = camera.run(
        "run 1\nset lens.camN.zoom a:1200\nset lens.camN.pan a:12345\nset lens.camN.tilt a:3000\n"
        "set lens.camN.focus a:900\nset lens.camN.rotate a:1000\nset lens.camN.iris a:40\nrun "
        "5\nhead");
    const std::string file = camera.read(kPositionFile).value_or("");
    EXPECT_EQ(file.size(), 120U);
    EXPECT_EQ(wordOf(file, 13), 1200);
    EXPECT_EQ(wordOf(file, 15), 900);
    EXPECT_EQ(wordOf(file, 16), 12345);
    EXPECT_EQ(wordOf(file, 17), 3000);
    EXPECT_EQ(wordOf(file, 18), 1000);
    EXPECT_EQ(wordOf(file, 20), 40);

    const Session second = camera.run("run 5\nhead");
    EXPECT_EQ(second.trace.about({"mcu set"}).without({"Power", "Icr"}).lines(),
              "\nmcu setIrisBackward -86 150 5000\n")
        << "nothing moves but the iris";
    EXPECT_EQ(second.trace.after("log Iris Max:96").about({"Pos:"}).lines(), R"(
log Pan Pos:12345
log Tilt Pos:3000
log Rotate Pos:1000
log Zoom Pos:1200
log Focus Pos:900
log Iris Pos:40
)");
    for (const char* const axis : {"pan", "tilt", "rotate", "zoom", "focus"}) {
        EXPECT_EQ(second.head()[axis], first.head()[axis]) << axis;
    }
    EXPECT_EQ(second.head()["iris"]["position"], 0);
}

TEST(PositionFile, FollowsTheLensTypeInItsRangesOnly) {
    const Camera camera(Positions{}, 10);
    std::string content = positionFile(Positions{});
    content.replace(0, 12, 12, '\x11');   // the zoom range and a reserved word
    content.replace(84, 36, 36, '\x22');  // reserved words
    camera.write(kPositionFile, content);
    const Session run = camera.run("run 1\nset lens.camN.zoom a:99999\nrun 2");
    const std::string file = camera.read(kPositionFile).value_or("");
    EXPECT_EQ(wordOf(file, 0), 2937);
    EXPECT_EQ(wordOf(file, 1), 0);
    EXPECT_EQ(wordOf(file, 2), 0);
    EXPECT_EQ(wordOf(file, kZoomWord), 2937);
    EXPECT_EQ(wordOf(file, 21), 0);
    EXPECT_EQ(wordOf(file, 29), 0);
}

// Zoom is saved as soon as it is ordered; pan when it has come to rest.
TEST(PositionFile, WaitsForPanAndTiltToRest) {
    struct Moment {
        const char* words;
        std::size_t word;
        int saved;
    };
    constexpr Moment kMoments[] = {
        {"set lens.camN.zoom a:2000\nrun 0.05", kZoomWord, 2000},
        {"set lens.camN.pan a:20000\nrun 0.5", kPanWord, 10000},
        {"set lens.camN.pan a:20000\nrun 1.5", kPanWord, 20000},
        {"set lens.camN.pan left:1\nset lens.camN.zoom a:2000\nrun 3", kZoomWord, 1000},
        {"set lens.camN.pan a:40000\nrun 0.2\nset lens.camN.zoom a:2000\nrun 0.5", kZoomWord, 1000},
    };
    for (const Moment& moment : kMoments) {
        const Camera camera(Positions{});
        camera.run(std::string("run 1\n") + moment.words + "\npower-cut");
        const std::string file = camera.read(kPositionFile).value_or("");
        EXPECT_EQ(file.size(), 120U);
        EXPECT_EQ(wordOf(file, moment.word), moment.saved) << moment.words;
    }
}

TEST(PositionFile, MovingOnlyTheIrisSavesIt) {
    const Camera camera(Positions{});
    camera.run("run 1\nset lens.camN.iris a:40\nrun 1");
    EXPECT_EQ(wordOf(camera.read(kPositionFile).value_or(""), 20), 40);
}

TEST(PositionFile, DamagedOnesGiveWhatTheyHold) {
    struct Damage {
        const char* name;
        std::size_t size;
        const char* positions;
    };
    constexpr Damage kDamages[] = {
        {"empty", 0, "\nlog Pan Pos:0\nlog Tilt Pos:0\nlog Rotate Pos:0\nlog Zoom Pos:0\n"},
        {"cut after zoom", 56,
         "\nlog Pan Pos:0\nlog Tilt Pos:0\nlog Rotate Pos:0\nlog Zoom Pos:1000\n"},
        {"cut in rotate", 74,
         "\nlog Pan Pos:10000\nlog Tilt Pos:2000\nlog Rotate Pos:533\nlog Zoom Pos:1000\n"},
        {"too long", 500,
         "\nlog Pan Pos:10000\nlog Tilt Pos:2000\nlog Rotate Pos:533\nlog Zoom Pos:1000\n"},
    };
    for (const Damage& damage : kDamages) {
        const Camera camera(Positions{});
        std::string content = positionFile(Positions{});
        content.resize(damage.size, 'x');
        camera.write(kPositionFile, content);
        const Session run = camera.run("run 1");
        EXPECT_EQ(run.trace.after("log Iris Max:96").about({" Pos:"}).first(4).lines(),
                  damage.positions)
            << damage.name;
        EXPECT_EQ(run.trace.count("mcu setIrisBackward -86 150 5000"), 1);
        EXPECT_EQ(camera.read(kPositionFile).value_or("").size(), 120U) << damage.name;
    }
}

TEST(PositionFile, OneThatCannotBeOpenedCountsAsMissing) {
    const Camera camera(Positions{});
    camera.remove(kPositionFile);
    std::filesystem::create_symlink("Pos.bin", camera.pathOf(kPositionFile));
    const Session run = camera.run("quit");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.trace.count("log Pan Pos:"), 0);
    EXPECT_EQ(run.trace.after("log Iris Max:96").first(1).lines(), "\nmcu setIcrSwEnalbe\n");
}

TEST(PositionFile, AnyStoredNumberIsTakenWithoutHarm) {
    const Camera camera(Positions{});
    std::string content(120, '\xff');
    content.replace(64, 4, std::string("\xff\xff\xff\x7f", 4));  // pan: the largest number
    content.replace(68, 4, std::string("\0\0\0\x80", 4));        // tilt: the smallest
    camera.write(kPositionFile, content);
    const Session run = camera.run(
        "run 1\nset lens.camN.pan r:5\nset lens.camN.tilt r:-5\nset lens.camN.zoom r:5\nrun 200");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.trace.after("log Iris Max:96").first(4).lines(), R"(
log Pan Pos:2147483647
log Tilt Pos:-2147483648
log Rotate Pos:-1
log Zoom Pos:-1
)");
    EXPECT_EQ(run.trace.after("cmd lens.camN.zoom r:5").count("bus lens.camN.position_pan 44333"),
              1);
    EXPECT_EQ(run.trace.after("cmd lens.camN.zoom r:5").count("bus lens.camN.position_zoom 4"), 1);
}

}  // namespace
