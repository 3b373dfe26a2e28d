// How fast the whole daemon runs on the simulated head, in processes of its own as a campaign of
// scripted runs would start them.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>

namespace {

// Runs the twin with these console commands; false if it does not end well.
bool runTwin(const std::string& commands) {
    FILE* const console = popen(KESTREL_TWIN_PATH " --quiet >/dev/null", "w");
    if (console == nullptr) {
        return false;
    }
    const bool written = std::fputs(commands.c_str(), console) >= 0;
    return pclose(console) == 0 && written;
}

void measure(benchmark::State& state, const std::string& commands, double virtualSeconds) {
    for ([[maybe_unused]] auto _ : state) {
        if (!runTwin(commands)) {
            state.SkipWithError("the twin failed");
            return;
        }
    }
    state.counters["times_real_time"] =
        benchmark::Counter(virtualSeconds, benchmark::Counter::kIsIterationInvariantRate);
}

void bootAndOneSecond(benchmark::State& state) {
    measure(state, "run 1\n", 1);
}

void idleHour(benchmark::State& state) {
    measure(state, "run 3600\n", 3600);
}

void zoomMoves(benchmark::State& state) {
    std::string commands = "run 1\n";
    for (int move = 0; move < 100; ++move) {
        commands += move % 2 == 0 ? "set lens.camN.zoom a:2000\n" : "set lens.camN.zoom a:0\n";
        commands += "run 1\n";
    }
    measure(state, commands, 101);
}

BENCHMARK(bootAndOneSecond)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(idleHour)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(zoomMoves)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
