#include "focus/focus_search.h"

#include <cstdio>

#include "focus/focus_stats.h"

void printInterrupt() {
    std::puts(" ########## interrupt focus ###########");
}

void printFocusResult(std::int32_t chosen, AreaSharpness& areas) {
    std::printf("Auto focus ponsition %d %d \n", chosen, axisPosition(Axis::focus));
    const std::int32_t score = readFocusStats(&areas.a, &areas.b, &areas.c);
    std::printf("S:%d A:%d B:%d C:%d\n", score, areas.a, areas.b, areas.c);
}
