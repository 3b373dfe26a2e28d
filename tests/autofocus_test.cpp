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
// The sharpest focus of area B there.
constexpr int kPeak = 1256;

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
    // With detail in one area of three only, the score stays low even at the peak.
    for (const bool soft : {false, true}) {
        SCOPED_TRACE(soft ? "soft" : "sharp");
        const auto samples = samplesOf(focusOn(
            kContrast, soft ? "fault area a flat\nfault area c flat" : "fault scene normal"));
        ASSERT_GT(samples.size(), 30U);
        EXPECT_EQ(samples.front().position, 1646);
        std::size_t i = 1;
        int strides[2] = {0, 0};
        for (; samples[i - 1].position > 896; ++i) {
            const bool blurred = samples[i - 1].score <= 6999;
            EXPECT_EQ(samples[i - 1].position - samples[i].position, blurred ? 40 : 10);
            ++strides[blurred ? 0 : 1];
        }
        EXPECT_GT(strides[0], 5);
        EXPECT_EQ(strides[1] > 5, !soft);
        // The second pass covers what the first one found, 30 steps either way, in steps of 2.
        EXPECT_NEAR(samples[i].position, kPeak + 28, soft ? 20 : 10);
        EXPECT_EQ(samples.size() - i, 29U);
        while (++i < samples.size()) {
            EXPECT_EQ(samples[i - 1].position - samples[i].position, 2);
        }
        for (const Sample& s : samples) {
            EXPECT_NEAR(s.score, (s.a + s.b + s.c) / 3, 1);
        }
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
    const Session run = focusOn(kFast);
    // The last approach is from above, and the picture settles after it.
    const auto events = run.trace.about({"mcu setFocus", "ponsition"}).events;
    ASSERT_GT(events.size(), 2U);
    EXPECT_EQ((events.end() - 2)->line(), "mcu setFocus8Forward -56 50 5000");
    EXPECT_EQ(events.back().time - (events.end() - 2)->time, 43'000);
    expectAdaptiveSteps(samplesOf(run));
    for (const Sample& s : samplesOf(run)) {
        EXPECT_EQ(s.a > s.c, s.position > kPeak) << s.position;
    }
    // The peak is near the first position; two areas are blurred throughout.
    for (const char* const scene :
         {"fault scene offset 366", "fault area a flat\nfault area c flat"}) {
        expectAdaptiveSteps(samplesOf(focusOn(kFast, scene)));
    }
}

TEST(CalibrationSweep, WritesTheLensCurve) {
    constexpr int kCurve[] = {274, 308, 436, 550, 658, 756, 854, 944, 1028, 1112, 1186, 1256};
    const Camera camera(kZoomedIn);
    const std::string sweep = "set demo.ptz.action c\nwait demo.ptz.action done 600\n";
    const Session run = camera.run("run 1\n" + sweep + sweep);
    EXPECT_EQ(run.status, 0);
    std::istringstream table(camera.read("/tmp/zf.txt").value_or(""));
    int expectedZoom = 0;
    int zoom = 0;
    int focus = 0;
    for (char comma = 0; table >> zoom >> comma >> focus; expectedZoom += 50) {
        EXPECT_EQ(zoom, expectedZoom);
        EXPECT_NEAR(focus, kCurve[std::min(zoom / 50, 11)], 8) << zoom;
        EXPECT_EQ(run.trace.count("log " + std::to_string(zoom) + "," + std::to_string(focus)), 2);
    }
    EXPECT_EQ(expectedZoom, 2400);
}

}  // namespace
