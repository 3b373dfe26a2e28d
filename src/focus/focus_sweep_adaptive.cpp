#include "focus/focus_sweep_adaptive.h"

#include <cstdio>

#include "focus/focus_motion.h"
#include "focus/focus_stats.h"
#include "raw_time.h"

namespace {

constexpr std::int32_t kLead = 50;
constexpr std::int32_t kFirstStep = 24;
constexpr std::int32_t kFineStep = 2;
constexpr std::int32_t kStepAfterFall = 16;
constexpr std::int32_t kLongStep = 20;
constexpr std::int64_t kRiseOfLongStep = 21;
constexpr std::int64_t kRiseOfShortStep = 11;
constexpr std::int32_t kScoresBeforeStop = 10;

struct Best {
    std::int32_t value = 0;
    std::int32_t position = 0;
};

struct Search {
    std::int32_t a = 0;
    std::int32_t b = 0;
    std::int32_t c = 0;
    Best bestA;
    Best bestB;
    Best bestC;
    Best bestF;
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
    readFocusStats(&search.a, &search.b, &search.c);
    return static_cast<std::int32_t>((search.a + std::int64_t{10} * search.b + search.c) / 12);
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
    const std::int64_t rise = before == 0 ? 0 : (score - before) * 100 / before;
    std::printf("%lld *\n", static_cast<long long>(rise));
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
    if (search.a > search.bestA.value) {
        search.bestA = {search.a, position};
        search.improved = true;
    }
    const bool betterB = search.b > search.bestB.value;
    const bool betterC = search.c > search.bestC.value;
    if (betterB) {
        search.bestB = {search.b, position};
    }
    if (betterC) {
        search.bestC = {search.c, position};
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
    std::printf("Pos:%d Fv:%d A:%d B:%d C:%d Step=%d sum=%d ", position, score, search.a, search.b,
                search.c, search.step, static_cast<std::int32_t>(mean));
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
    std::printf("Auto focus ponsition %d %d \n", target, axisPosition(Axis::focus));
    const std::int32_t score = readFocusStats(&search.a, &search.b, &search.c);
    std::printf("S:%d A:%d B:%d C:%d\n", score, search.a, search.b, search.c);
}

void printTime(std::int64_t start) {
    const long long elapsed = rawMicroseconds() - start;
    std::printf("Fast focus Time:%lld.%06lld\n", elapsed / 1000000, elapsed % 1000000);
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
        std::puts(" ########## interrupt focus ###########");
    }
    if (ended != SearchEnd::settled && presetInterrupts()) {
        return axisPosition(Axis::focus);
    }
    if (!search.fine) {
        return search.bestF.position;
    }
    settleOnPeak(search);
    printTime(startTime);
    return 0;
}
