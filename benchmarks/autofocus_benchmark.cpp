// How well and how fast autofocus finds the sharpest focus on the simulated lenses: every lens, all
// over its zoom range, scenes beside the lens's curve, noise on the statistics. Prints one table
// for each lens and search: steps from the true peak, and virtual seconds from the start to "stop";
// peaks beyond the search's reach are marked. Below it a row for each amount of noise, over several
// seeds, without the marked ones.
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
    int blindSteps;  // below the upper end of its interval, where a peak is none to it
};

constexpr Lens kLenses[] = {{0, "standard lens", 2361}, {10, "long lens", 2937}};
// The adaptive search compares with its first position, at the upper end, and looks from its first
// step on.
constexpr Search kSearches[] = {{"adaptive", "fullrange", 24}, {"two passes", "shortrange", 0}};
constexpr int kOffsets[] = {-300, -200, -100, 0, 100, 200, 300};
constexpr int kZoomParts = 12;
constexpr double kNoisePercents[] = {0.5, 1, 2, 5};
constexpr int kSeeds = 3;

struct Result {
    double begin = -1;
    double end = -1;
    int low = 0;  // the interval of the first sweep
    int high = 0;
    int focus = 0;
};

int zoomOf(const Lens& lens, int part) {
    return lens.zoomMaximum * part / kZoomParts;
}

// The first boot homes the camera; then one search for each place of the table, row by row.
std::string scriptFor(const Lens& lens, const Search& search, double noisePercent) {
    std::string script = "run 120\nfault scene noise " + std::to_string(noisePercent) + "\n";
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

// One result for each place of the table; none if the camera failed.
std::vector<Result> runSearches(const Lens& lens, const Search& search, double noisePercent,
                                int seed) {
    const std::string script = scriptFor(lens, search, noisePercent);
    const std::string command = std::string("printf '") + script +
                                "' | " KESTREL_TWIN_PATH " --trace --lens-type " +
                                std::to_string(lens.type) + " --seed " + std::to_string(seed);
    std::vector<Result> results;
    FILE* const run = popen(command.c_str(), "r");
    if (run == nullptr) {
        return results;
    }
    std::array<char, 2048> line{};
    while (std::fgets(line.data(), line.size(), run) != nullptr) {
        readLine(line.data(), results);
    }
    if (pclose(run) != 0 || results.size() != std::size(kOffsets) * (kZoomParts + 1)) {
        std::fprintf(stderr, "the simulated camera failed\n");
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

bool isWithinReach(const Search& search, const Result& result, int peak) {
    return peak > result.low && peak <= result.high - search.blindSteps;
}

// What came of some searches.
struct Summary {
    std::vector<int> distances;
    std::vector<double> seconds;
    int beyond = 0;  // the reach of the search
};

void add(Summary& summary, const Search& search, const Result& result, int peak) {
    if (!isWithinReach(search, result, peak)) {
        ++summary.beyond;
        return;
    }
    summary.distances.push_back(std::abs(result.focus - peak));
    summary.seconds.push_back(result.end - result.begin);
}

void printTable(const Lens& lens, const Search& search, const std::vector<Result>& results) {
    std::printf("%s, %s: steps from the peak (* beyond reach), seconds\n  zoom", lens.name,
                search.name);
    for (const int offset : kOffsets) {
        std::printf("  %+9d", offset);
    }
    std::printf("\n");
    auto result = results.begin();
    for (int part = 0; part <= kZoomParts; ++part) {
        const int zoom = zoomOf(lens, part);
        const int sharpest = sharpestFocus(lens, zoom);
        std::printf("%6d", zoom);
        for (const int offset : kOffsets) {
            const int peak = sharpest + offset;
            std::printf(" %4d%c %5.2f", std::abs(result->focus - peak),
                        isWithinReach(search, *result, peak) ? ' ' : '*',
                        result->end - result->begin);
            ++result;
        }
        std::printf("\n");
    }
}

void addAll(Summary& summary, const Lens& lens, const Search& search,
            const std::vector<Result>& results) {
    auto result = results.begin();
    for (int part = 0; part <= kZoomParts; ++part) {
        const int sharpest = sharpestFocus(lens, zoomOf(lens, part));
        for (const int offset : kOffsets) {
            add(summary, search, *result++, sharpest + offset);
        }
    }
}

void printSummary(double noisePercent, Summary& summary) {
    std::sort(summary.distances.begin(), summary.distances.end());
    std::sort(summary.seconds.begin(), summary.seconds.end());
    const std::size_t count = summary.distances.size();
    std::printf(
        "noise %.1f %%: half within %d, 95 %% within %d, all within %d steps; %.2f to %.2f s; "
        "%zu searches, %d beyond reach\n",
        noisePercent, summary.distances[count / 2], summary.distances[(count * 95 + 99) / 100 - 1],
        summary.distances[count - 1], summary.seconds.front(), summary.seconds.back(), count,
        summary.beyond);
}

bool benchmark(const Lens& lens, const Search& search) {
    std::fprintf(stderr, "%s, %s ...\n", lens.name, search.name);
    for (const double noisePercent : kNoisePercents) {
        std::fflush(stdout);
        Summary summary;
        for (int seed = 1; seed <= kSeeds; ++seed) {
            const std::vector<Result> results = runSearches(lens, search, noisePercent, seed);
            if (results.empty()) {
                return false;
            }
            if (noisePercent == kNoisePercents[0] && seed == 1) {
                printTable(lens, search, results);
            }
            addAll(summary, lens, search, results);
        }
        printSummary(noisePercent, summary);
    }
    std::printf("\n");
    return true;
}

}  // namespace

int main() {
    for (const Lens& lens : kLenses) {
        for (const Search& search : kSearches) {
            if (!benchmark(lens, search)) {
                return 1;
            }
        }
    }
    return 0;
}
