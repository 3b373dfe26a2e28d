// How well and how fast autofocus finds the sharpest focus on the simulated lenses: every lens, all
// over its zoom range, scenes beside the lens's curve, 0.5 % noise. Prints one table for each lens
// and search: steps from the true peak, and virtual seconds from the start to "stop".
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "twin/world/optics.h"

namespace {

struct Lens {
    int type;
    const char* name;
    int zoomMaximum;
};

struct Search {
    const char* name;
    const char* word;
};

constexpr Lens kLenses[] = {{0, "standard lens", 2361}, {10, "long lens", 2937}};
constexpr Search kSearches[] = {{"adaptive", "fullrange"}, {"two passes", "shortrange"}};
constexpr int kOffsets[] = {-300, -200, -100, 0, 100, 200, 300};
constexpr int kZoomParts = 12;

struct Result {
    double begin = -1;
    double end = -1;
    int low = 0;  // the interval of the first sweep
    int high = 0;
    int focus = 0;
};

struct Spread {
    double least = 1e9;
    double most = 0;

    void add(double value) {
        least = std::min(least, value);
        most = std::max(most, value);
    }
};

int zoomOf(const Lens& lens, int part) {
    return lens.zoomMaximum * part / kZoomParts;
}

// The first boot homes the camera; then one search for each place of the table, row by row.
std::string scriptFor(const Lens& lens, const Search& search) {
    std::string script = "run 120\nfault scene noise 0.5\n";
    for (int part = 0; part <= kZoomParts; ++part) {
        script += "set lens.camN.zoom a:" + std::to_string(zoomOf(lens, part)) + "\nrun 2\n";
        for (const int offset : kOffsets) {
            script += "fault scene offset " + std::to_string(offset) + "\nset lens.camN.focus " +
                      search.word + "\nwait lens.camN.focusstatus stop\nhead\n";
        }
    }
    return script;
}

// Takes from one line of the run what it says about the search under way.
void readLine(const char* line, std::vector<Result>& results) {
    double time = 0;
    int low = 0;
    int high = 0;
    int focus = 0;
    char word[32] = "";
    if (std::sscanf(line, "%lf cmd lens.camN.focus %31s", &time, word) == 2) {
        results.emplace_back();
    } else if (results.empty()) {
        return;
    } else if (std::sscanf(line, "%lf log Start:%d End:%d", &time, &low, &high) == 3) {
        if (results.back().begin < 0) {
            results.back() = {time, -1, low, high, 0};
        }
    } else if (std::sscanf(line, "%lf bus lens.camN.focusstatus %31s", &time, word) == 2) {
        results.back().end = time;
    } else if (const char* const axis = std::strstr(line, "\"focus\":{");
               axis != nullptr && std::sscanf(axis, "\"focus\":{\"position\":%d", &focus) == 1) {
        results.back().focus = focus;
    }
}

std::vector<Result> runSearches(const Lens& lens, const Search& search) {
    const std::string script = scriptFor(lens, search);
    const std::string command = std::string("printf '") + script +
                                "' | " KESTREL_TWIN_PATH " --trace --lens-type " +
                                std::to_string(lens.type);
    std::vector<Result> results;
    FILE* const run = popen(command.c_str(), "r");
    if (run == nullptr) {
        return results;
    }
    std::array<char, 2048> line{};
    while (std::fgets(line.data(), line.size(), run) != nullptr) {
        readLine(line.data(), results);
    }
    if (pclose(run) != 0) {
        results.clear();
    }
    return results;
}

int sharpestFocus(const Lens& lens, int zoom) {
    twin::makeOptics(lens.type == 10);
    int best = 0;
    for (int focus = 0; focus <= 2433; ++focus) {
        const double now = twin::sharpness(twin::Area::b, zoom, focus);
        best = now > twin::sharpness(twin::Area::b, zoom, best) ? focus : best;
    }
    return best;
}

// The adaptive search compares with its first position, at the upper end, and looks from its first
// step on; a peak before that is none to it.
constexpr int kFirstStep = 24;

// One row of the table; peaks that the search does not reach are shown as "-" and not counted.
void printRow(const Lens& lens, int zoom, const Result* results, Spread& steps, Spread& seconds) {
    std::printf("%6d", zoom);
    for (const int offset : kOffsets) {
        const Result& result = *results++;
        const int peak = sharpestFocus(lens, zoom) + offset;
        if (peak <= result.low || peak > result.high - kFirstStep) {
            std::printf("          -");
            continue;
        }
        const int distance = std::abs(result.focus - peak);
        const double time = result.end - result.begin;
        std::printf("  %3d  %4.2f", distance, time);
        steps.add(distance);
        seconds.add(time);
    }
    std::printf("\n");
}

bool printTable(const Lens& lens, const Search& search) {
    std::fprintf(stderr, "%s, %s ...\n", lens.name, search.name);
    const std::vector<Result> results = runSearches(lens, search);
    if (results.size() != std::size(kOffsets) * (kZoomParts + 1)) {
        std::fprintf(stderr, "the simulated camera failed\n");
        return false;
    }
    std::printf("%s, %s: steps from the peak, seconds\n  zoom", lens.name, search.name);
    for (const int offset : kOffsets) {
        std::printf("  %+9d", offset);
    }
    std::printf("\n");
    Spread steps;
    Spread seconds;
    for (int part = 0; part <= kZoomParts; ++part) {
        printRow(lens, zoomOf(lens, part),
                 &results[static_cast<std::size_t>(part) * std::size(kOffsets)], steps, seconds);
    }
    std::printf("%.0f to %.0f steps, %.2f to %.2f s\n\n", steps.least, steps.most, seconds.least,
                seconds.most);
    return true;
}

}  // namespace

int main() {
    for (const Lens& lens : kLenses) {
        for (const Search& search : kSearches) {
            if (!printTable(lens, search)) {
                return 1;
            }
        }
    }
    return 0;
}
