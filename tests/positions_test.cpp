// Positions across restarts: the position file, when it is written, and what a damaged one does.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <tuple>

#include "session.h"

namespace {

TEST(PositionFile, HoldsRangesAndPositions) {
    const Camera camera({.pan = 1, .tilt = 2, .rotate = 3, .zoom = 4, .focus = 5});
    camera.run("run 1\nset lens.camN.iris a:40\nrun 1");
    const std::string file = camera.read(kPositionFile).value_or("");
    EXPECT_EQ(file.size(), 120U);
    const std::int32_t expected[30] = {2361, 0,     0, 2433, 0, 96, 0, 44333, 0, 5120,
                                       0,    10666, 0, 4,    0, 5,  1, 2,     3, 0,
                                       40,   0,     0, 0,    0, 0,  0, 0,     0, 0};
    for (std::size_t i = 0; i < 30; ++i) {
        EXPECT_EQ(wordOf(file, i), expected[i]) << "word " << i;
    }
}

constexpr std::size_t kZoomWord = 13;
constexpr std::size_t kPanWord = 16;

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
    constexpr std::tuple<const char*, std::size_t, int> kMoments[] = {
        {"set lens.camN.zoom a:2000\nrun 0.05", kZoomWord, 2000},
        {"set lens.camN.pan a:20000\nrun 0.5", kPanWord, 10000},
        {"set lens.camN.pan a:20000\nrun 1.5", kPanWord, 20000},
        {"set lens.camN.pan left:1\nset lens.camN.zoom a:2000\nrun 3", kZoomWord, 1000},
        {"set lens.camN.pan a:40000\nrun 0.2\nset lens.camN.zoom a:2000\nrun 0.5", kZoomWord, 1000},
    };
    for (const auto& [words, word, saved] : kMoments) {
        const Camera camera(Positions{});
        camera.run(std::string("run 1\n") + words + "\npower-cut");
        EXPECT_EQ(wordOf(camera.read(kPositionFile).value_or(""), word), saved) << words;
    }
}

TEST(PositionFile, DamagedOnesGiveWhatTheyHold) {
    const std::tuple<std::size_t, const char*> sizesAndPositions[] = {
        {0, "\nlog Pan Pos:0\nlog Tilt Pos:0\nlog Rotate Pos:0\nlog Zoom Pos:0\n"},
        {56, "\nlog Pan Pos:0\nlog Tilt Pos:0\nlog Rotate Pos:0\nlog Zoom Pos:1000\n"},
        {74, "\nlog Pan Pos:10000\nlog Tilt Pos:2000\nlog Rotate Pos:533\nlog Zoom Pos:1000\n"},
        {500, "\nlog Pan Pos:10000\nlog Tilt Pos:2000\nlog Rotate Pos:533\nlog Zoom Pos:1000\n"},
    };
    for (const auto& [size, positions] : sizesAndPositions) {
        const Camera camera(Positions{});
        std::string content = positionFile(Positions{});
        content.resize(size, 'x');
        camera.write(kPositionFile, content);
        const Session run = camera.run("run 1");
        EXPECT_EQ(run.trace.after("log Iris Max:96").about({" Pos:"}).first(4).lines(), positions);
        EXPECT_EQ(run.trace.count("mcu setIrisBackward -86 150 5000"), 1);
        EXPECT_EQ(camera.read(kPositionFile).value_or("").size(), 120U) << size;
    }
}

TEST(PositionFile, MissingOrUnreadableNothingIsAdopted) {
    const Camera camera(Positions{});
    camera.remove(kPositionFile);
    for (const bool unreadable : {false, true}) {
        if (unreadable) {
            camera.remove(kPositionFile);
            std::filesystem::create_symlink("Pos.bin", camera.pathOf(kPositionFile));
        }
        const Session run = camera.run("quit");
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.trace.after("log Iris Max:96").first(1).lines(), "\nmcu setIcrSwEnalbe\n");
    }
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
