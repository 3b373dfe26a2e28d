#include "focus/focus_sweep_adaptive.h"

#include <cstdio>

#include "focus/focus_search.h"
#include "focus/focus_stats.h"
#include "raw_time.h"

namespace {

constexpr std::int32_t kLead = 50;
constexpr std::int32_t kFirstStep = 24;
constexpr std::int32_t kFineStep = 2;
constexpr std::int32_t kStepAfterFall = 16;
constexpr std::int32_t kLongStep = 20;
constexpr std::int32_t kRiseOfLongStep = 21;
constexpr std::int32_t kRiseOfShortStep = 11;
constexpr std::int32_t kScoresBeforeStop = 10;

struct Search {
    AreaSharpness areas;
    FocusPeak bestA;
    FocusPeak bestB;
    FocusPeak bestC;
    FocusPeak bestF;
    std::int32_t step = kFirstStep;
    std::int32_t previousF = 0;
    // Stands for the history of scores: only its mean and its last entry are ever asked for.
    std::int64_t sumF = 0;
    std::int32_t count = 1;
    bool fine = false;      // the fine phase was reached
    bool improved = false;  // the last step bettered the score or area A
};

// Area B counts ten times.
std::int32_t readScore(Search& search) {
    readFocusStats(&search.areas.a, &search.areas.b, &search.areas.c);
    return static_cast<std::int32_t>(
        (search.areas.a + std::int64_t{10} * search.areas.b + search.areas.c) / 12);
}

void measureStart(Search& search) {
    readScore(search);
    sleepMicroseconds(kFrameMicroseconds);
    const std::int32_t score = readScore(search);
    sleepMicroseconds(kFrameMicroseconds);
    search.bestF.value = score;
    search.previousF = score;
    search.sumF = score;
}

// A steep rise announces the peak.
void noteRise(Search& search, std::int32_t score) {
    const std::int64_t before = search.bestF.value;
    const std::int32_t rise = before == 0 ? 0 : saturateToInt32((score - before) * 100 / before);
    std::printf("%d *\n", rise);
    if (search.step == kFineStep) {
        search.fine = true;
    } else if (rise >= (search.step > kLongStep ? kRiseOfLongStep : kRiseOfShortStep)) {
        search.step = kFineStep;
    }
    search.bestF = {score, axisPosition(Axis::focus)};
}

void noteScore(Search& search, std::int32_t score) {
    search.improved = score > search.bestF.value;
    if (search.improved) {
        noteRise(search, score);
    } else {
        std::printf("\n");
    }
}

// Whether area B or C bettered its best; a better A only counts as an improvement.
bool noteAreas(Search& search) {
    const std::int32_t position = axisPosition(Axis::focus);
    if (search.areas.a > search.bestA.value) {
        search.bestA = {search.areas.a, position};
        search.improved = true;
    }
    const bool betterB = search.areas.b > search.bestB.value;
    const bool betterC = search.areas.c > search.bestC.value;
    if (betterB) {
        search.bestB = {search.areas.b, position};
    }
    if (betterC) {
        search.bestC = {search.areas.c, position};
    }
    return betterB || betterC;
}

enum class SearchEnd { settled, interrupted, abandoned };

// Measures at `position`, where the focus has been ordered to. Whether the peak lies behind.
bool measureStep(Search& search, std::int32_t position) {
    const std::int32_t score = readScore(search);
    ++search.count;
    search.sumF += score;
    const std::int64_t mean = search.sumF / search.count;
    std::printf("Pos:%d Fv:%d A:%d B:%d C:%d Step=%d sum=%d ", position, score, search.areas.a,
                search.areas.b, search.areas.c, search.step, static_cast<std::int32_t>(mean));
    noteScore(search, score);
    const bool pastPeak = !noteAreas(search) && search.count > kScoresBeforeStop && score < mean &&
                          search.fine && !search.improved;
    if (!pastPeak && search.step == kFineStep && search.previousF > score) {
        search.step = kStepAfterFall;
    }
    search.previousF = score;
    return pastPeak;
}

SearchEnd searchDown(Search& search, std::int64_t position, std::int32_t low) {
    while (low < position) {
        const std::int32_t ordered = saturateToInt32(position);
        moveFocusAndWait(ordered);
        if (presetInterrupts()) {
            return SearchEnd::interrupted;
        }
        sleepMicroseconds(kFrameMicroseconds);
        if (measureStep(search, ordered)) {
            break;
        }
        position -= search.step;
    }
    return presetInterrupts() ? SearchEnd::abandoned : SearchEnd::settled;
}

std::int32_t choosePeak(const Search& search) {
    const std::int64_t a = search.bestA.value;
    const std::int64_t b = search.bestB.value;
    const std::int64_t c = search.bestC.value;
    if (c < a && a > 10 * b) {
        return search.bestA.position;
    }
    if (c > a && c > 10 * b) {
        return search.bestC.position;
    }
    return search.bestB.position;
}

void settleOnPeak(Search& search) {
    const std::int32_t target = choosePeak(search);
    approachFocus(target, kLead, kFrameMicroseconds);
    sleepMicroseconds(kFrameMicroseconds);
    printFocusResult(target, search.areas);
}

}  // namespace

std::int32_t focusSweepAdaptive(std::int32_t start, std::int32_t end) {
    if (presetInterrupts()) {
        return axisPosition(Axis::focus);
    }
    const FocusInterval range = focusInterval(start, end);
    const std::int64_t startTime = rawMicroseconds();
    std::printf("Start:%d End:%d\n", range.low, range.high);
    approachFocus(range.high, kLead, kFrameMicroseconds);
    const std::int64_t first = std::int64_t{axisPosition(Axis::focus)} - kFirstStep;
    Search search;
    measureStart(search);
    if (range.low >= first) {
        return presetInterrupts() ? axisPosition(Axis::focus) : 0;
    }
    const SearchEnd ended = searchDown(search, first, range.low);
    if (ended == SearchEnd::interrupted) {
        printInterrupt();
    }
    if (ended != SearchEnd::settled && presetInterrupts()) {
        return axisPosition(Axis::focus);
    }
    if (!search.fine) {
        return search.bestF.position;
    }
    settleOnPeak(search);
    printElapsed("Fast focus Time", rawMicroseconds() - startTime);
    return 0;
}
