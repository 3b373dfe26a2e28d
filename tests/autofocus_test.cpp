// Autofocus: what asks for it, the two searches on the simulated lens, and what ends them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "control_state.h"
#include "motion/focus_centre.h"
#include "session.h"

namespace {

constexpr Positions kZoomedIn = {.zoom = 1000, .focus = 800};
// The sharpest focus of area B there, and how far the areas' own ones lie from it.
constexpr int kPeak = 1256;
constexpr int kPeakOfA = kPeak + 6;
constexpr int kPeakOfC = kPeak - 5;

const std::string kFast = "lens.camN.focus fullrange";
const std::string kContrast = "lens.camN.action.cmd AF";

Session focusOn(const std::string& word, const std::string& scene = "fault scene normal") {
    return Camera(kZoomedIn).run("run 1\n" + scene + "\nset " + word + "\nrun 20\ncheck\nhead\n");
}

TEST(FocusCentre, IsThatOfTheLastRowNotAboveTheZoom) {
    struct Case {
        int variant, zoom, focus;
    };
    constexpr Case kCases[] = {
        {1, 0, 274},    {1, 49, 274},   {1, 50, 308},   {1, 100, 436},   {1, 150, 550},
        {1, 200, 658},  {1, 250, 756},  {1, 300, 854},  {1, 350, 944},   {1, 400, 1028},
        {1, 450, 1112}, {1, 500, 1186}, {1, 550, 1256}, {1, 2361, 1256}, {1, -1, 0},
        {2, 0, 562},    {2, 61, 554},   {2, 122, 532},  {2, 184, 516},   {2, 245, 498},
        {2, 306, 478},  {2, 367, 456},  {2, 428, 436},  {2, 490, 418},   {2, 551, 400},
        {2, 612, 384},  {2, 672, 384},  {2, 673, 366},  {2, 2937, 366},
    };
    for (const Case& each : kCases) {
        giLensVariant = each.variant;
        EXPECT_EQ(focusCentre(each.zoom), each.focus) << each.variant << ", zoom " << each.zoom;
    }
}

struct Word {
    const char* word;
    int sharpest;
    int tolerance;
    const char* messages;
};

constexpr const char* kFastMessages = "\nlog Auto Focus Range:856 ~ 1656\nlog Start:856 End:1656\n";
constexpr const char* kContrastMessages =
    "\nlog Auto Focus Range:856 ~ 1656\nlog Zoom Pos:1000\nlog Start:856 End:1656\n";

// The area of the last message; a search for area C says A.
constexpr Word kWords[] = {
    {"lens.camN.focus fullrange", kPeak, 8, kFastMessages},
    {"lens.camN.focus all", kPeak, 8, kFastMessages},
    {"demo.ptz.action a", kPeak, 8, kFastMessages},
    {"lens.camN.focus shortrange", kPeak, 2, kContrastMessages},
    {"lens.camN.action.cmd AF", kPeak, 2, kContrastMessages},
    {"lens.camN.action.cmd aaf", kPeakOfA, 2, kContrastMessages},
    {"lens.camN.action.cmd Caf", kPeakOfC, 2, kContrastMessages},
    {"lens.camN.action.cmd test_af", kPeak, 2, kContrastMessages},
    {"demo.ptz.action A", kPeak, 2, kContrastMessages},
};

TEST(Autofocus, EachWordFindsItsPeak) {
    for (const Word& each : kWords) {
        const Session run = focusOn(each.word);
        const Trace trace = run.trace.after("cmd " + std::string(each.word));
        const std::string messages = each.messages;
        const auto lines =
            static_cast<std::size_t>(std::count(messages.begin(), messages.end(), '\n'));
        EXPECT_EQ(trace.about({"Auto Focus Range", "Zoom Pos", "Start:"}).first(lines - 1).lines(),
                  messages)
            << each.word;
        EXPECT_NEAR(run.head()["focus"]["position"], each.sharpest, each.tolerance) << each.word;
        EXPECT_EQ(run.answers[0], "ok") << each.word;
        const bool byArea = each.sharpest != kPeak;
        EXPECT_EQ(trace.count("log Focus A Area"), byArea ? 2 : 0) << each.word;
        EXPECT_EQ(trace.count("log Focus "), (byArea ? 2 : 0) + 1)
            << each.word << " and the position";
    }
}

TEST(Autofocus, StopsTheOtherAxesAndEndsWithDone) {
    const std::string stops =
        "bus lens.camN.panstatus stop\nbus lens.camN.tiltstatus stop\n"
        "bus lens.camN.rotatestatus stop\nbus lens.camN.zoomstatus stop\n"
        "bus lens.camN.irisstatus stop\n";
    const std::string run = "bus lens.camN.focusstatus run\n";
    const std::string rest = R"(log Set ZFRPT Power:1
mcu setPowerEnable 15
log Auto Focus Range:856 ~ 1656
bus lens.camN.focusstatus stop
bus lens.camN.action.cmd done
bus lens.camN.act_preset done
log Set ZFRPT Power:0
mcu setPowerDisable 0
)";
    const auto told = [&](const std::string& word) {
        return focusOn(word)
            .trace.after("cmd " + word)
            .about({"status ", "Power", "Auto Focus", "cmd done", "act_preset done"})
            .without({"giActPreset", "N.status"})
            .lines()
            .substr(1);
    };
    EXPECT_EQ(told(kFast), stops + run + rest);
    EXPECT_EQ(told(kContrast), run + stops + rest);
}

struct Sample {
    int position = 0, score = 0, a = 0, b = 0, c = 0, step = 0, mean = 0, rise = -1;
};

// The steps of a search as it prints them.
std::vector<Sample> samplesOf(const Session& run) {
    std::vector<Sample> samples;
    for (const Event& event : run.trace.about({"log Pos:"}).events) {
        Sample s;
        const char* const text = event.text.c_str();
        if (std::sscanf(text, "Pos:%d Fv:%d A:%d B:%d C:%d Step=%d sum=%d %d *", &s.position,
                        &s.score, &s.a, &s.b, &s.c, &s.step, &s.mean, &s.rise) >= 7 ||
            std::sscanf(text, "Pos:%d Fv:%d a:%d%*[* ]b:%d%*[* ]c:%d", &s.position, &s.score, &s.a,
                        &s.b, &s.c) == 5) {
            samples.push_back(s);
        }
    }
    return samples;
}

TEST(FixedSweep, TakesLongStepsWhileThePictureIsBlurred) {
    const auto samples = samplesOf(focusOn(kContrast));
    ASSERT_GT(samples.size(), 30U);
    EXPECT_EQ(samples.front().position, 1646);
    int strides[2] = {0, 0};
    for (std::size_t i = 1; samples[i - 1].position > 896; ++i) {
        const bool blurred = samples[i - 1].score <= 6999;
        EXPECT_EQ(samples[i - 1].position - samples[i].position, blurred ? 40 : 10);
        ++strides[blurred ? 0 : 1];
    }
    EXPECT_GT(strides[0], 5);
    EXPECT_GT(strides[1], 5);
    // The second pass covers what the first one found, 30 steps either way, in steps of 2.
    const auto second = std::find_if(samples.begin() + 1, samples.end(), [&](const Sample& s) {
        return s.position > (&s - 1)->position;
    });
    ASSERT_NE(second, samples.end());
    EXPECT_NEAR(second->position, kPeak + 28, 10);
    EXPECT_EQ(second->position - samples.back().position, 56);
    for (const Sample& s : samples) {
        EXPECT_NEAR(s.score, (s.a + s.b + s.c) / 3, 1);
    }
}

// Whether the search may stop with its index-th step: past the peak, and after ten scores.
bool mayStop(const std::vector<Sample>& samples, std::size_t index) {
    const Sample& s = samples[index];
    return s.rise < 0 && index + 2 > 10 && s.score < s.mean;
}

void expectAdaptiveSteps(const std::vector<Sample>& samples) {
    ASSERT_GT(samples.size(), 9U);
    EXPECT_EQ(samples.front().position, 1656 - 24);
    int best = 0;
    int step = 24;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const Sample& s = samples[i];
        EXPECT_EQ(s.score, (s.a + 10 * s.b + s.c) / 12) << s.position;
        EXPECT_EQ(s.step, step) << s.position;
        EXPECT_EQ(s.rise >= 0, i == 0 || s.score > best) << s.position;
        if (s.rise >= (step > 20 ? 21 : 11)) {
            step = 2;
        } else if (step == 2 && s.score < samples[i - 1].score) {
            step = 16;
        }
        best = std::max(best, s.score);
        const bool last = i + 1 == samples.size();
        EXPECT_EQ(mayStop(samples, i), last) << s.position;
        if (!last) {
            EXPECT_EQ(s.position - samples[i + 1].position, step);
        }
    }
}

TEST(AdaptiveSweep, ShortensItsStepOnASteepRiseAndStopsPastThePeak) {
    expectAdaptiveSteps(samplesOf(focusOn(kFast)));
    // The peak is near the first position.
    expectAdaptiveSteps(samplesOf(focusOn(kFast, "fault scene offset 366")));
}

TEST(Autofocus, ApproachesFromAboveAndReadsSettledPictures) {
    const auto orders = [](const Session& run) {
        return run.trace.about({"Start:", "mcu setFocus", "ponsition"});
    };
    // The pauses: 100 ms before each change of direction, 33 ms a frame, 10 ms for a short move.
    const Trace fast = orders(focusOn(kFast));
    EXPECT_EQ(fast.first(5).story(), R"(
0 log Start:856 End:1656
100 mcu setFocus8Backward -56 906 5000
423 mcu setFocus8Forward -56 50 5000
499 mcu setFocus8Forward -56 24 5000
542 mcu setFocus8Forward -56 24 5000
)");
    const Trace contrast = orders(focusOn(kContrast));
    EXPECT_EQ(contrast.first(5).story(), R"(
0 log Start:856 End:1656
100 mcu setFocus8Backward -56 906 5000
423 mcu setFocus8Forward -56 50 5000
598 mcu setFocus8Forward -56 10 5000
674 mcu setFocus8Forward -56 40 5000
)");
    const auto lastMove = [](const Trace& trace) {
        return Trace{{trace.events.end() - 2, trace.events.end()}}.without({"ponsition"}).lines() +
               std::to_string(trace.events.back().time - (trace.events.end() - 2)->time);
    };
    EXPECT_EQ(lastMove(fast), "\nmcu setFocus8Forward -56 50 5000\n43000");
    EXPECT_EQ(lastMove(contrast), "\nmcu setFocus8Forward -56 100 5000\n86000");
}

TEST(Autofocus, PublishesTheFocusThatWasFound) {
    // The second word asks for the same search again.
    struct Case {
        std::string word, again;
        bool publishesAgain;
    };
    const Case cases[] = {{kFast, "lens.camN.focus all", false},
                          {kContrast, "lens.camN.focus shortrange", true}};
    for (const Case& each : cases) {
        const Camera camera(kZoomedIn);
        const Session run = camera.run("run 1\nset " + each.word + "\nrun 20\nhead\nset " +
                                       each.again + "\nrun 20\nhead\n");
        const std::string found = std::to_string(run.head()["focus"]["position"].get<int>());
        EXPECT_EQ(run.head(1)["focus"]["position"], run.head()["focus"]["position"]);
        const std::string lines = "\nbus demo.ptz.position.focus " + found +
                                  "\nbus lens.camN.position_focus " + found + "\n";
        const auto published = [&run](const std::string& word) {
            return run.trace.after("cmd " + word).about({"n.focus ", "n_focus"}).lines();
        };
        EXPECT_EQ(published(each.word), lines);
        EXPECT_EQ(published(each.again), each.publishesAgain ? lines : "\n");
        EXPECT_EQ(wordOf(camera.read(kPositionFile).value_or(""), 15), std::stoi(found));
    }
}

TEST(Autofocus, FollowsAMovedScene) {
    for (const int offset : {-300, -100, 200, 300}) {
        const std::string scene =
            "fault scene noise 0.5\nfault scene offset " + std::to_string(offset);
        for (const auto& [word, tolerance] : {std::pair{kFast, 8}, {kContrast, 2}}) {
            EXPECT_NEAR(focusOn(word, scene).head()["focus"]["position"], kPeak + offset, tolerance)
                << word;
        }
    }
}

TEST(Autofocus, EndsWhereThereIsNothingToFocusOn) {
    struct Case {
        const char* scene;
        const std::string* word;
        int focus;
    };
    // A flat scene is sharpest at the first position of each contrast sweep. Without light or
    // statistics nothing beats 0, and the focus stays where the search ended.
    const Case cases[] = {
        {"fault scene flat", &kFast, 864},      {"fault scene flat", &kContrast, 1674},
        {"fault scene dark", &kFast, 864},      {"fault scene dark", &kContrast, 886},
        {"fault statistics-fail", &kFast, 864}, {"fault statistics-fail", &kContrast, 886},
    };
    for (const Case& each : cases) {
        const Session run = focusOn(*each.word, each.scene);
        EXPECT_EQ(run.trace.after("cmd " + *each.word).about({"focusstatus", "cmd done"}).lines(),
                  R"(
bus lens.camN.focusstatus run
bus lens.camN.focusstatus stop
bus lens.camN.action.cmd done
)") << each.scene;
        EXPECT_EQ(run.answers[0], "ok") << each.scene;
        EXPECT_EQ(run.head()["focus"]["position"], each.focus) << each.scene << ", " << *each.word;
    }
}

TEST(Autofocus, ContrastSearchWaitsForTheEncoder) {
    struct Case {
        const char* script;
        bool found;
    };
    // Polled every 100 ms from 140 ms after the word on; the 150th poll comes too late.
    constexpr Case kCases[] = {
        {"run 40", false},
        {"run 15.03\nset encode.camN.status start\nrun 20", true},
        {"run 15.13\nset encode.camN.status start\nrun 20", false},
    };
    for (const Case& each : kCases) {
        const Session run =
            Camera(kZoomedIn).run("run 1\nset encode.camN.status stop\nrun 1\nset " + kContrast +
                                  "\n" + each.script + "\nhead\n");
        EXPECT_EQ(run.trace.count("log Auto Focus Error:Encode not ready"), each.found ? 0 : 1);
        EXPECT_NEAR(run.head()["focus"]["position"], each.found ? kPeak : 800, each.found ? 2 : 0);
        EXPECT_EQ(run.trace.times("bus lens.camN.focusstatus stop").size(), 1U);
    }
    // The fast search does not ask.
    const Session fast = focusOn(kFast, "set encode.camN.status stop");
    EXPECT_NEAR(fast.head()["focus"]["position"], kPeak, 8);
}

TEST(Autofocus, APresetWordInterruptsIt) {
    for (const std::string& word : {kFast, kContrast}) {
        const Session run = Camera(kZoomedIn).run(
            "run 1\nset " + word + "\nrun 1\nset lens.camN.act_preset 1:set:lock\nrun 20\nhead\n");
        const std::string focus = std::to_string(run.head()["focus"]["position"].get<int>());
        const std::string record = "10000,2000,1000," + focus + ",533,0,0,0\n";
        std::string expected = "\nlog  ########## interrupt focus ###########\n";
        expected += word == kFast ? "log Set Focus status to stop\n" : "";
        expected +=
            "bus lens.camN.focusstatus stop\nbus lens.camN.action.cmd done\n"
            "log Set Preset1 lock:" +
            record + "bus lens.camN.preset1 " + record + "bus lens.camN.act_preset done\n";
        EXPECT_EQ(run.trace.after("cmd lens.camN.act_preset 1:set:lock")
                      .about({"####", "Set Focus", "focusstatus", "cmd done", "Preset1 lock",
                              "bus lens.camN.preset1", "act_preset done"})
                      .lines(),
                  expected);
        EXPECT_GT(run.head()["focus"]["position"], kPeak) << "it stays where it was interrupted";
        EXPECT_LE(run.trace.after("cmd lens.camN.act_preset 1:set:lock").count("mcu setFocus"), 1)
            << "the step under way";
    }
}

TEST(Autofocus, FollowsAZoomMoveWhereWanted) {
    const Session run = Camera(kZoomedIn).run(
        "run 1\nset lens.camN.zoom a:600\nrun 1\nset lens.camN.focus_after_zoom on\n"
        "set lens.camN.zoom a:500\nrun 20\nset lens.camN.zoom in\nrun 0.1\nset lens.camN.zoom "
        "stop\nrun 20\n"
        "set lens.camN.zoom r:0\nrun 20\nhead\n");
    const auto told = [&run](const std::string& word) {
        return run.trace.after("cmd lens.camN.zoom " + word)
            .about({"Run Auto", "Focus Range", "zoomstatus stop"});
    };
    EXPECT_EQ(told("a:600").lines(), "\nbus lens.camN.zoomstatus stop\n");
    // 100 ms for the supply; the search begins in the next pass and first waits for all motors.
    EXPECT_EQ(told("a:500").story(), R"(
0 bus lens.camN.zoomstatus stop
100 log Run Auto Focus2
240 bus lens.camN.zoomstatus stop
240 log Auto Focus Range:786 ~ 1586
)");
    EXPECT_EQ(told("stop").story(), R"(
0 bus lens.camN.zoomstatus stop
100 log Run Auto Focus1
240 bus lens.camN.zoomstatus stop
240 log Auto Focus Range:856 ~ 1656
)");
    // A move of no length ends without it.
    EXPECT_EQ(told("r:0").lines(), "\nbus lens.camN.zoomstatus stop\n");
    EXPECT_NEAR(run.head()["focus"]["position"], kPeak, 8);
}

TEST(Autofocus, AWordDuringASearchIsDropped) {
    const Session run = focusOn(kFast + "\nrun 1\nset " + kContrast);
    EXPECT_EQ(run.trace.count("log Auto Focus Range"), 1);
}

TEST(CalibrationSweep, WritesTheLensCurve) {
    constexpr int kCurve[] = {274, 308, 436, 550, 658, 756, 854, 944, 1028, 1112, 1186, 1256};
    const Camera camera(kZoomedIn);
    const Session run = camera.run("run 1\nset demo.ptz.action c\nwait demo.ptz.action done 600");
    EXPECT_EQ(run.status, 0);
    std::istringstream table(camera.read("/tmp/zf.txt").value_or(""));
    int expectedZoom = 0;
    int zoom = 0;
    int focus = 0;
    for (char comma = 0; table >> zoom >> comma >> focus; expectedZoom += 50) {
        EXPECT_EQ(zoom, expectedZoom);
        EXPECT_NEAR(focus, kCurve[std::min(zoom / 50, 11)], 8) << zoom;
        EXPECT_EQ(run.trace.count("log " + std::to_string(zoom) + "," + std::to_string(focus)), 1);
    }
    EXPECT_EQ(expectedZoom, 2400);
}

}  // namespace
