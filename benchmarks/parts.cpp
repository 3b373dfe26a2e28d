// What twin_benchmark runs beside the twin, each in a process of its own:
//   loops                        two bare threads that sleep 10 ms at a time, until input ends
//   loops-virtual SECONDS        two such loops on the virtual clock: wall seconds that it takes
//   handover virtual|real COUNT  microseconds for a flag to pass from one such loop to another
//   nothing                      the steady clock, in seconds, as soon as the program runs
//   start                        the same when the daemon has registered its last bus key
//   bus KEYS LISTENERS           microseconds for a set of the twin's bus, delivery included
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include "app/bus_keys.h"
#include "app/startup.h"
#include "platform/clock.h"
#include "platform/nbus.h"
#include "twin/boundary/bus.h"
#include "twin/camera/session.h"
#include "twin/clock/actors.h"
#include "twin/clock/timeline.h"
#include "twin/console/console.h"

namespace {

constexpr int kPeriod = 10'000;  // microseconds

double steadySeconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

void sleepForEver() {
    for (;;) {
        usleep(kPeriod);
    }
}

int runLoops(char**) {
    std::thread(sleepForEver).detach();
    std::thread(sleepForEver).detach();
    while (std::getchar() != EOF) {
    }
    std::_Exit(0);
}

void sleepForEverInTwin(void*) {
    for (;;) {
        sleepMicroseconds(kPeriod);
    }
}

int runLoopsVirtual(char** arguments) {
    twin::useVirtualClock();
    const double begin = steadySeconds();
    twin::startActor("first", sleepForEverInTwin, nullptr);
    twin::startActor("second", sleepForEverInTwin, nullptr);
    twin::sleepUntil(std::atoll(arguments[0]) * 1'000'000);
    std::printf("%.9f\n", steadySeconds() - begin);
    return 0;
}

// Where the flag is: nowhere, on its way to the first loop, or to the second.
std::atomic<int> gStage{0};
std::atomic<twin::Microseconds> gArrival{0};

void takeFirst(void*) {
    for (;; sleepMicroseconds(kPeriod)) {
        int first = 1;
        gStage.compare_exchange_strong(first, 2);
    }
}

void takeSecond(void*) {
    for (;; sleepMicroseconds(kPeriod)) {
        if (gStage == 2) {
            gArrival = twin::now();
            gStage = 0;
        }
    }
}

int runHandover(char** arguments) {
    if (std::strcmp(arguments[0], "virtual") == 0) {
        twin::useVirtualClock();
    } else {
        twin::useRealClock(1);
    }
    twin::startActor("first", takeFirst, nullptr);
    twin::startActor("second", takeSecond, nullptr);
    for (int i = 0; i < std::atoi(arguments[1]); ++i) {
        const twin::Microseconds begin = twin::now();
        gStage = 1;
        twin::sleepUntil(begin + 101'300);
        std::printf("%lld\n", static_cast<long long>(gArrival - begin));
    }
    std::fflush(stdout);
    std::_Exit(0);
}

int printTime(char**) {
    std::printf("%.9f\n", steadySeconds());
    return 0;
}

int startDaemon(char**) {
    twin::SessionOptions options;
    options.virtualClock = false;
    options.output.quiet = true;
    twin::powerUp(options, runKestrel);
    twin::endRun(twin::runConsole({}));
}

int gHeard = 0;

void hear(const char*, const char*) {
    ++gHeard;
}

std::string keyName(int index) {
    return "benchmark.key." + std::to_string(index) + ".end";
}

int runBus(char** arguments) {
    const int keys = std::atoi(arguments[0]);
    const int listeners = std::atoi(arguments[1]);
    std::map<std::string, std::string> present;
    for (int i = 0; i < keys; ++i) {
        present[keyName(i)] = "old";
    }
    twin::useVirtualClock();
    twin::startBus(present);
    // Every key that is set has one listener, the last of all; the others listen to other keys.
    constexpr int kSet = 10;
    for (int i = kSet; i < listeners; ++i) {
        nbus_listen(keyName(keys + i).c_str(), hear);
    }
    for (int i = 0; i < kSet; ++i) {
        nbus_listen(keyName(i * (keys / kSet)).c_str(), hear);
    }
    const double begin = steadySeconds();
    int sets = 0;
    while (steadySeconds() - begin < 0.3) {
        for (int i = 0; i < kSet; ++i) {
            nbus_set(keyName(i * (keys / kSet)).c_str(), "new");
        }
        sets += kSet;
        twin::sleepUntil(twin::now() + 1);
    }
    std::printf("%.9f\n", (steadySeconds() - begin) * 1e6 / sets);
    return gHeard == sets ? 0 : 1;
}

struct Part {
    const char* name;
    int arguments;
    int (*run)(char** arguments);
};

constexpr Part kParts[] = {
    {"loops", 0, runLoops},       {"loops-virtual", 1, runLoopsVirtual},
    {"handover", 2, runHandover}, {"nothing", 0, printTime},
    {"start", 0, startDaemon},    {"bus", 2, runBus},
};

}  // namespace

// The linker lets every nbus_listen of this program pass here.
extern "C" int __real_nbus_listen(const char* key, nbus_handler handler);
extern "C" int __wrap_nbus_listen(const char* key, nbus_handler handler);
extern "C" int __wrap_nbus_listen(const char* key, nbus_handler handler) {
    const int result = __real_nbus_listen(key, handler);
    if (std::strcmp(key, busKeys().back().key) == 0) {
        dprintf(STDOUT_FILENO, "%.9f\n", steadySeconds());
        twin::endRun(0);
    }
    return result;
}

int main(int argc, char** argv) {
    for (const Part& part : kParts) {
        if (argc >= 2 && std::strcmp(argv[1], part.name) == 0 && argc == 2 + part.arguments) {
            return part.run(argv + 2);
        }
    }
    std::fputs("twin_benchmark starts this program\n", stderr);
    return 2;
}
