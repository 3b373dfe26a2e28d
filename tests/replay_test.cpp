// Replay and comparison as a user has them; tests/session_files_test.cpp replays every session.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <csignal>
#include <string>
#include <vector>

#include "paths.h"
#include "process.h"
#include "session.h"
#include "twin/replay/alignment.h"
#include "twin/replay/recording.h"

namespace {

using testing::ContainsRegex;
using testing::HasSubstr;

// Acts of every kind, on a camera that is not new.
constexpr const char* kActs =
    "run 1\nfault bus-overlong\nset x.k a\\x41\tb\nset x.empty\nfault axis zoom slow 2\nset "
    "lens.camN.zoom r:500\nrun "
    "0.3\nfault set-at 9 lens.camN.pan r:300\nset lens.camN.tilt r:90\nrun 4\nmount desktop\n"
    "counter pan 77\nset lens.camN.pan left:5\nrun 1.1\nset lens.camN.pan stop\nrun 2\n";

TEST(Replay, RepeatsEveryKindOfActAndSaysWhatDiffers) {
    const Camera camera(Positions{});
    // The bus does not take the first one.
    const Session run = camera.run("fault set-at 1 x.k " + std::string(200, 'a') + "\n" + kActs +
                                   "set x.k " + std::string(5000, 'a') + "\npower-cut\n");
    const Session again = camera.replay(run.output, {});
    EXPECT_EQ(again.status, 0) << again.errors;
    EXPECT_EQ(again.recording(), run.recording());
    EXPECT_EQ(again.trace.count("cmd lens.camN.pan r:300"), 1);

    const Session same = camera.replay(run.output + run.output, {"--compare"});
    EXPECT_EQ(same.status, 0);
    EXPECT_THAT(same.output, ContainsRegex("boot 2 of 2\n[0-9]+ texts alike, 0 different\n"));
    std::string other = run.output;
    const std::string line = "bus lens.camN.zoomstatus stop\n";
    other.erase(other.rfind('\n', other.find(line)), line.size() + 9);
    const Session missing = camera.replay(other, {"--compare"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_THAT(missing.output, ContainsRegex("only replayed: [0-9.]+ bus lens.camN.zoomstatus "
                                              "stop\n"));
    EXPECT_THAT(missing.output, HasSubstr(" texts alike, 1 different\n"));
}

TEST(Replay, RefusesWhatIsNoWholeRecordingUnlessAsked) {
    const Camera camera;
    const std::string good = camera.run("run 1\nset x.k 1\nrun 1\n").output;
    const std::string line = "1.000000 cmd x.k 1\n";
    const auto without = [&](const std::string& part, const std::string& instead) {
        std::string text = good;
        return text.replace(text.find(part), part.size(), instead);
    };
    const struct {
        std::string text;
        const char* error;
        bool readable;
    } cases[] = {
        {"", "is no recording: it is empty", false},
        {"PNG\n" + good, "is no recording: it does not begin with", false},
        {without("recording 1", "recording 2"), "accepted: recording 1", false},
        {without("option clock", "option mount roof\n# kestrel-twin option clock"),
         "the recorded camera: unknown mount roof\n", false},
        {without("option clock", "option colour"), "its option colour is unknown", false},
        {without(line, "1.000000 cmx x.k 1\n"), "is damaged: 1.000000 cmx", true},
        {without(line, line + "0.5" + line.substr(3)), "is damaged: 0.500000 cmd", true},
        {good.substr(0, good.find(line) + 12), "breaks off", true},
        {good.substr(0, good.find(line) + line.size()), "it has no end", true},
    };
    for (const auto& row : cases) {
        const Session refused = camera.replay(row.text, {});
        EXPECT_EQ(refused.status, 2);
        EXPECT_THAT(refused.errors, HasSubstr(row.error));
        EXPECT_EQ(camera.replay(row.text, {"--replay-damaged"}).status, row.readable ? 0 : 2)
            << row.error;
    }
    camera.write("/x", "");
    const std::string pipe = camera.pathOf("/pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const std::string& file : {camera.pathOf("/"), pipe, std::string("/dev/zero")}) {
        EXPECT_EQ(twin::readRecording(file).foreign, "it is no regular file");
    }
}

TEST(Replay, PairsWhatIsClosestInTime) {
    std::vector<twin::RecordedEvent> events;
    for (const int second : {0, 1, 10, 11}) {
        events.push_back({second * 1'000'000, "bus", second % 10 == 0 ? "run" : "stop"});
    }
    const auto pairs =
        twin::align({&events[0], &events[1], &events[2], &events[3]}, {&events[2], &events[3]});
    ASSERT_EQ(pairs.size(), 4U);
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        EXPECT_EQ(pairs[i].first, &events[i]);
        EXPECT_EQ(pairs[i].second, i < 2 ? nullptr : &events[i]);
    }
}

TEST(Replay, TakesAPauseBetweenOrdersForNoBeat) {
    const Camera camera;
    // Between the rotate axis's second order, after a pause of seconds, and its third.
    const Session run = camera.run("set lens.camN.action.cmd home1\nrun 9.8\nset x.k 1\nrun 3\n");
    std::string real = run.output;
    real.replace(real.find("clock virtual"), 13, "clock real");
    EXPECT_EQ(camera.replay(real, {}).trace.times("cmd x.k"), run.trace.times("cmd x.k"));
}

TEST(Replay, StopsEachAxisAtItsOwnOrder) {
    const Camera camera(Positions{});
    const std::string stop = "cmd lens.camN.pan stop\n";
    std::string real =
        camera
            .run(
                "run 1\nset lens.camN.pan left:5\nset lens.camN.tilt up:5\nrun 1.25\n"
                "set lens.camN.tilt stop\nrun 0.1\nset lens.camN.pan stop\nrun 3\n")
            .output;
    // As if both words had come at once, when a loop was between the two axes.
    real.erase(real.find("2.350000 " + stop), 9 + stop.size());
    real.insert(real.find("2.250000 cmd"), "2.250000 " + stop);
    real.replace(real.find("clock virtual"), 13, "clock real");
    EXPECT_THAT(camera.replay(real, {"--compare"}).output, HasSubstr(" texts alike, 0 different"));
}

TEST(Replay, EndsWithTheOneWhoIsKilled) {
    const Camera camera;
    camera.write("/recording", camera.run("run 20\nset x.late 1\n").output);
    Process child({kTwinProgram, "--replay", camera.pathOf("/recording"), "--clock", "real"});
    child.readTo(" bus ");
    child.signal(SIGKILL);
    EXPECT_THAT(child.finish(), testing::Not(HasSubstr("x.late")));
}

TEST(Replay, GivesARealClockRunTheSameOrdersAndPlaces) {
    const Camera camera(Positions{});
    const Session run = camera.run(
        "run 1\nset lens.camN.pan left:5\nrun 1.5\nset lens.camN.pan stop\nrun 2\n"
        "set lens.camN.zoom a:1400\nwait lens.camN.zoomstatus stop\nset lens.camN.tilt up\nrun "
        "0.7\n"
        "set lens.camN.tilt stop\nrun 2\nset lens.camN.pan r:300\nrun 3\ncheck\n",
        {"--clock", "real", "--speed", "4", "--trace"});
    EXPECT_EQ(run.status, 0) << run.errors;
    const Session compared = camera.replay(run.output, {"--compare"});
    EXPECT_EQ(compared.status, 0) << compared.output << run.output;
}

}  // namespace
