// What another service sets in the midst of what the daemon does: nothing is lost, nothing is done
// twice, and the latest word wins, wherever it comes.
#include <gtest/gtest.h>

#include <regex>
#include <string>

#include "session.h"

namespace {

// A set that meets a short session, in every library call and after every line of it.
struct Meeting {
    const char* name;
    const char* session;
    const char* set;  // "KEY VALUE"
    // In the end: where the axis stands, and what the trace holds once.
    const char* axis;
    int position;
    const char* line;
    int rest = 3;  // seconds after which all is over
};

constexpr Meeting kMeetings[] = {
    {"LatestZoom", "set lens.camN.zoom a:1100\nrun 0.1", "lens.camN.zoom a:900", "zoom", 900,
     "mcu setZoom8Forward -1 "},
    {"LatestPan", "set lens.camN.pan a:10020\nrun 0.2", "lens.camN.pan a:9990", "pan", 9990,
     "mcu setPanBackwardS 2 "},
    {"LatestTilt", "set lens.camN.tilt a:2010\nrun 0.2", "lens.camN.tilt a:1990", "tilt", 1990,
     "mcu setTiltBackwardS 2 "},
    {"LatestRotate", "set lens.camN.rotate a:560\nrun 0.1", "lens.camN.rotate a:500", "rotate", 500,
     "mcu setRotatBackward -3 "},
    {"MoveAfterPanRun", "set lens.camN.pan left\nrun 0.1", "lens.camN.pan a:9990", "pan", 9990,
     "mcu setPanBackwardS 2 "},
    {"MoveAfterRun", "set lens.camN.zoom in\nrun 0.06", "lens.camN.zoom full_out", "zoom", 0,
     "mcu setZoom8Forward -1 "},
    {"OtherAxis", "set lens.camN.zoom a:1100\nrun 0.1", "lens.camN.iris a:30", "iris", 30,
     "mcu setIrisForward "},
    {"Filter", "set lens.camN.pan a:10020\nrun 0.2", "gpio.camN.out.icr night", "pan", 10020,
     "mcu setIcrSwDisable"},
    {"Store", "set lens.camN.zoom a:1100\nrun 0.2", "lens.camN.act_preset 2:set", "zoom", 1100,
     "bus lens.camN.preset2 "},
    {"PresetRun", "set lens.camN.act_preset 1:go\nrun 2", "lens.camN.action.cmd AF", "rotate", 1100,
     "log Auto Focus Range:", 8},
    {"FastFocus", "set lens.camN.focus fullrange\nrun 4", "lens.camN.pan a:10020", "focus", 1256,
     "mcu setPanForwardS 2 20 "},
    {"ContrastFocus", "set lens.camN.action.cmd AF\nrun 5", "lens.camN.tilt a:2010", "focus", 1257,
     "mcu setTiltForwardS 2 10 "},
    {"Levelling", "set lens.camN.rotate auto\nrun 1", "lens.camN.zoom a:900", "rotate", 483,
     "mcu setZoom8Forward -1 100 "},
    {"Homing", "set lens.camN.action.cmd home\nrun 1.3", "lens.camN.iris a:30", "zoom", 0,
     "mcu setIrisForward -86 30 "},
};

class SetAt : public testing::TestWithParam<Meeting> {};

TEST_P(SetAt, IsServedOnceInEveryCall) {
    constexpr int kMostRuns = 60;
    const Meeting& meeting = GetParam();
    const Camera camera(Positions{});
    camera.setting("lens.camN.preset1", "10300,2300,1200,850,1100,0,0,0");
    const auto script = [&meeting](int call) {
        return "run 1\nfault set-at " + std::to_string(call) + " " + meeting.set + "\n" +
               meeting.session + "\n";
    };
    // What is left of very many says how many calls there are.
    constexpr int kMany = 1'000'000;
    const std::string active = "active: set-at ";
    const std::string left = Camera(camera).run(script(kMany) + "fault").answers.back();
    ASSERT_TRUE(left.starts_with(active)) << left;
    const int calls = kMany - std::stoi(left.substr(active.size()));
    EXPECT_GT(calls, 10);
    for (int call = 1; call <= calls; call += calls / kMostRuns + 1) {
        const Session run =
            Camera(camera).run(script(call) + "run " + std::to_string(meeting.rest) + "\nhead");
        const auto axis = run.head()[meeting.axis];
        EXPECT_EQ(run.status, 0) << call << run.errors;
        EXPECT_EQ(axis["position"], meeting.position) << call << axis;
        EXPECT_EQ(run.trace.count(meeting.line), 1) << call << run.trace.story();
        EXPECT_EQ(run.trace.count("cmd"), 2) << call;
    }
}

INSTANTIATE_TEST_SUITE_P(Every, SetAt, testing::ValuesIn(kMeetings),
                         [](const auto& each) { return std::string(each.param.name); });

// A run that keeps the lens loop busy.
struct BusyRun {
    const char* name;
    const char* before;
    const char* start;  // "KEY VALUE"
    const char* end;    // the last line that begins so ends it
    int instants;       // of these, at equal distances within the run, at which a request comes
    int every = 1;      // every so many-th of their meetings with requests is tried
    int seconds = 20;   // it ends within
};

constexpr BusyRun kBusyRuns[] = {
    {"Preset",
     "set lens.camN.act_preset 1:set:lock\nrun 1\nset lens.camN.pan a:10600\n"
     "set lens.camN.zoom a:900\nset lens.camN.focus a:900\nrun 1\nset lens.camN.tilt a:2700\n"
     "set lens.camN.rotate a:1200\nrun 3\n",
     "lens.camN.act_preset 1:go", "bus lens.camN.act_preset done", 9},
    {"EnterPreset", "set lens.camN.act_preset 1:set:lock\nrun 1\n", "lens.camN.act_preset 1:go",
     "log Preset1 go:", 2},
    {"Levelling", "", "lens.camN.rotate auto", "bus lens.camN.rotatestatus stop", 4},
    {"RotateTest", "", "lens.camN.rotate test", "mcu setRotatBackward", 4, 3, 460},
    {"FastFocus", "", "lens.camN.focus all", "bus lens.camN.focusstatus stop", 4},
    {"ContrastFocus", "", "lens.camN.action.cmd AF", "bus lens.camN.focusstatus stop", 4},
    {"HomeAndLevelling", "", "lens.camN.action.cmd home1", "bus lens.camN.rotatestatus stop", 4},
    {"FastHome", "", "lens.camN.action.cmd homefast", "log Fast Home:", 4},
    // Itself a request of the kinds of homing and autofocus.
    {"FastPresetHomeFocus", "", "lens.camN.action.cmd homeP2", "log Fast Preset:", 4},
};

// A request, and the line that tells that it is served. While a run is on that serves the same
// kind, another of the kind is not taken, nor is a demo action while one homes or focuses; meant
// so.
struct RaisedRequest {
    const char* set;  // "KEY VALUE"
    const char* line;
    const char* notDuring;  // of the run's name
};

constexpr RaisedRequest kRequests[] = {
    {"lens.camN.action.cmd home", "log Home Iris", "Home"},
    {"lens.camN.action.cmd AF", "log Zoom Pos:", "Focus"},
    {"lens.camN.act_preset 2:set", "bus lens.camN.preset2 ", "Enter"},
    {"lens.camN.act_preset 2:go", "log Preset1 go:", "Enter"},
    {"lens.camN.rotate auto", "log in AutoSearch", "Levelling"},
    {"lens.camN.rotate r:50", "log 2.iRotateMove=2 ", "-"},
    {"lens.camN.pan a:7000", "log Pan Run", "-"},
    {"lens.camN.iris a:30", "bus lens.camN.position_iris 30", "-"},
    {"demo.ptz.action Z1200", "bus lens.camN.position_zoom 1200", "Home|Focus"},
};

class Raised : public testing::TestWithParam<BusyRun> {};

TEST_P(Raised, IsServedOnceAfterwards) {
    const BusyRun& busy = GetParam();
    const Camera camera(Positions{});
    camera.setting("lens.camN.preset2", "9800,2100,1100,850,600,0,0,0");
    const std::string begin = std::string("run 1\n") + busy.before + "set " + busy.start + "\n";
    const Session alone = Camera(camera).run(begin + "run " + std::to_string(busy.seconds));
    const auto begins = alone.trace.times(std::string("cmd ") + busy.start);
    const auto ends = alone.trace.times(busy.end);
    ASSERT_TRUE(!begins.empty() && !ends.empty() && begins[0] + 100'000 < ends.back());
    const double length = static_cast<double>(ends.back() - begins[0]) / 1e6;
    int meetings = 0;
    for (const RaisedRequest& request : kRequests) {
        for (int instant = 1; instant <= busy.instants; ++instant) {
            if (std::regex_search(busy.name, std::regex(request.notDuring)) ||
                ++meetings % busy.every != 0) {
                continue;
            }
            const double time = length * instant / (busy.instants + 1);
            const Session run =
                Camera(camera).run(begin + "run " + std::to_string(time) + "\nset " + request.set +
                                   "\nrun " + std::to_string(length - time + 30));
            EXPECT_EQ(run.status, 0) << run.errors;
            EXPECT_EQ(run.trace.count(request.line), alone.trace.count(request.line) + 1)
                << request.set << " after " << time << run.trace.story();
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Every, Raised, testing::ValuesIn(kBusyRuns),
                         [](const auto& each) { return std::string(each.param.name); });

}  // namespace
