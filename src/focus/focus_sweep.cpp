#include "focus/focus_sweep.h"

#include <cstdio>

#include "focus/focus_search.h"
#include "focus/focus_stats.h"

namespace {

constexpr int kEncoderPollMicroseconds = 100000;
constexpr int kEncoderPolls = 150;
constexpr std::int32_t kApproachLead = 50;
constexpr std::int32_t kFinalLead = 100;
constexpr int kFlushedFrames = 5;
constexpr std::int32_t kCoarseStep = 10;
constexpr std::int32_t kBlurredStep = 40;
constexpr std::int32_t kBlurred = 6999;
constexpr std::int32_t kAreasAgree = 20;
constexpr std::int32_t kSharpB = 8000;

// One sweep's readings: the last ones of each area (kept where a reading fails) and the best.
struct Sweep {
    AreaSharpness areas;
    FocusPeak bestA;
    FocusPeak bestB;
    FocusPeak bestC;
    FocusPeak bestS;
};

bool encoderRuns() {
    for (int polls = 0; giEncodeStarted == 0;) {
        sleepMicroseconds(kEncoderPollMicroseconds);
        // A start seen on the very last poll comes too late; meant so.
        if (++polls == kEncoderPolls) {
            std::puts("Auto Focus Error:Encode not ready");
            return false;
        }
    }
    return true;
}

// Frames from before the approach.
void flushStaleFrames() {
    std::int32_t a = 0;
    std::int32_t b = 0;
    std::int32_t c = 0;
    for (int frame = 0; frame < kFlushedFrames; ++frame) {
        readFocusStats(&a, &b, &c);
        sleepMicroseconds(kFrameMicroseconds);
    }
}

void notePeak(char area, std::int32_t value, std::int32_t position, FocusPeak& best) {
    const bool better = value > best.value;
    if (better) {
        best = {value, position};
    }
    std::printf(better ? "%c:%d* " : "%c:%d ", area, value);
}

// Measures at `position`, which the focus has been ordered to. Returns the combined score.
std::int32_t measure(Sweep& sweep, std::int32_t position) {
    const std::int32_t score = readFocusStats(&sweep.areas.a, &sweep.areas.b, &sweep.areas.c);
    std::printf("Pos:%d Fv:%d ", position, score);
    notePeak('a', sweep.areas.a, position, sweep.bestA);
    notePeak('b', sweep.areas.b, position, sweep.bestB);
    notePeak('c', sweep.areas.c, position, sweep.bestC);
    if (score > sweep.bestS.value) {
        sweep.bestS = {score, position};
        std::printf("s:%d *\n", score);
    } else {
        std::printf("s:%d\n", sweep.bestS.value);
    }
    return score;
}

// Sweeps from `position` down to just above `low`. False if a preset command interrupted.
bool sweepDown(Sweep& sweep, std::int64_t position, std::int32_t low, std::int32_t step) {
    while (low < position) {
        const std::int32_t ordered = saturateToInt32(position);
        moveFocusAndWait(ordered);
        sleepMicroseconds(kTwoFramesMicroseconds);
        if (presetInterrupts()) {
            printInterrupt();
            return false;
        }
        const std::int32_t score = measure(sweep, ordered);
        position -= step == kCoarseStep && score <= kBlurred ? kBlurredStep : step;
    }
    return true;
}

std::int32_t chooseByContrast(const Sweep& sweep) {
    const std::int64_t a = sweep.bestA.value;
    const std::int64_t b = sweep.bestB.value;
    const std::int64_t c = sweep.bestC.value;
    if (b < kSharpB && std::max(10 * b, c) < a) {
        std::puts("Focus A Area");
        return sweep.bestA.position;
    }
    if (b < kSharpB && std::max(10 * b, a) < c) {
        std::puts("Focus C Area");
        return sweep.bestC.position;
    }
    std::puts("Focus B Area");
    return sweep.bestB.position;
}

std::int32_t chooseMiddle(const Sweep& sweep) {
    const auto [low, high] =
        std::minmax({sweep.bestA.position, sweep.bestB.position, sweep.bestC.position});
    return std::int64_t{high} - low < kAreasAgree
               ? static_cast<std::int32_t>((std::int64_t{low} + high) / 2)
               : sweep.bestS.position;
}

std::int32_t choose(const Sweep& sweep, std::int32_t mode) {
    switch (mode) {
        case 2:
        case 3:
            return chooseMiddle(sweep);
        case 4:
            return chooseByContrast(sweep);
        case 5:
            std::puts("Focus A Area");
            return sweep.bestA.position;
        case 6:
            // Says A while it takes C; meant so.
            std::puts("Focus A Area");
            return sweep.bestC.position;
        default:
            return sweep.bestS.position;
    }
}

void approachChosen(std::int32_t chosen) {
    approachFocus(chosen, kFinalLead, kTwoFramesMicroseconds);
    sleepMicroseconds(kTwoFramesMicroseconds);
}

// Has the next publication carry the focus that was found, on both keys.
void markPublicationDue() {
    constexpr auto kFocus = static_cast<std::size_t>(Axis::focus);
    gaLastPublished[kFocus] = axisPosition(Axis::focus);
    gaPublishDue[kFocus] = 1;
}

std::int32_t settle(Sweep& sweep, std::int32_t step, std::int32_t mode) {
    const std::int32_t chosen = choose(sweep, mode);
    const bool known = mode >= 1 && mode <= 6;
    if (known && (mode == 2 || mode == 3 || step <= 4)) {
        approachChosen(chosen);
    }
    if (known) {
        printFocusResult(chosen, sweep.areas);
    }
    markPublicationDue();
    return chosen;
}

}  // namespace

std::int32_t focusSweep(std::int32_t start, std::int32_t end, std::int32_t step,
                        std::int32_t mode) {
    if (!encoderRuns()) {
        return -1;
    }
    if (presetInterrupts()) {
        return axisPosition(Axis::focus);
    }
    const FocusInterval range = focusInterval(start, end);
    std::printf("Start:%d End:%d\n", range.low, range.high);
    approachFocus(range.high, kApproachLead, kFrameMicroseconds);
    const std::int32_t top = axisPosition(Axis::focus);
    flushStaleFrames();
    const std::int64_t first = std::int64_t{top} - step;
    if (range.low >= first) {
        return presetInterrupts() ? axisPosition(Axis::focus) : -1;
    }
    Sweep sweep;
    if (!sweepDown(sweep, first, range.low, step) || presetInterrupts()) {
        return axisPosition(Axis::focus);
    }
    const std::int32_t result = sweep.bestS.position;
    if (result == 0 || result == std::int64_t{top} - 1) {
        return -1;
    }
    return settle(sweep, step, mode);
}
