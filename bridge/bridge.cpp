#include "bridge/bridge.h"

#include <mosquitto.h>
#include <semaphore.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <random>
#include <thread>

#include "bridge/connection.h"
#include "bridge/info.h"
#include "bridge/outgoing.h"
#include "bridge/topics.h"
#include "bridge/transport.h"

namespace bridge {

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kRival =
    "another head has been online under this name; give each head a --name of its own";

// A connection that holds so long has no rival.
constexpr std::chrono::seconds kSettled{60};

// Never destroyed: threads outlive main.
struct State {
    Options options;
    Program program{};
    std::string broker;  // HOST:PORT
    std::string said;    // the reason that was reported last
    sem_t ended{};
};

State& state() {
    static auto& instance = *new State;
    return instance;
}

void say(const std::string& text) {
    state().program.report(state().broker + ": " + text);
}

void sayOnline(bool rival) {
    state().said.clear();
    if (rival) {
        say(kRival);
    }
    say("online as " + state().options.name + ", " + std::to_string(knownKeys()) + " keys");
}

// The same reason again and again is said once.
void sayEnding(const Ending& ending) {
    if (ending.reason != state().said) {
        state().said = ending.reason;
        say(ending.reason + "; trying on");
    }
}

// How often it has failed in a row. A rival for the name counts until one connection has held, so
// that two heads with one name do not throw each other out every second.
struct Failures {
    int plain = 0;
    int rival = 0;

    int count(const Ending& ending, Clock::duration held) {
        rival = held >= kSettled ? 0 : rival;
        plain = ending.wasOnline ? 1 : plain + 1;
        rival += ending.rival ? 1 : 0;
        return std::max(plain, rival);
    }
};

void run() {
    Failures failures;
    serveConnections([&failures] {
        const Clock::time_point begin = Clock::now();
        const Ending ending = serveConnection(state().options, state().program.bus, sayOnline);
        if (!endRequested()) {
            sayEnding(ending);
        }
        return failures.count(ending, Clock::now() - begin);
    });
    sem_post(&state().ended);
}

// Sixteen hexadecimal digits that no other run has.
std::string newRun() {
    std::random_device random;
    std::array<char, 17> text{};
    std::snprintf(text.data(), text.size(), "%08x%08x", random(), random());
    return text.data();
}

// Hears every set of the forwarded families and then reads what was there before.
std::string takeOverBus(const Bus& bus) {
    std::array<char, kLongestBusText + 1> key{};
    std::array<char, kLongestBusText + 1> value{};
    for (const std::string& family : state().options.families) {
        const std::string prefix = family + ".";
        if (bus.listen(prefix.c_str(), noteSet) != 0) {
            return "the bus does not let anybody listen to " + prefix;
        }
        for (int i = 0; bus.getName(prefix.c_str(), i, key.data(), key.size()) == 0; ++i) {
            if (bus.get(key.data(), value.data(), value.size()) == 0) {
                noteKey(key.data(), value.data());
            }
        }
    }
    return {};
}

}  // namespace

std::string startBridge(const Options& options, const Program& program) {
    State& s = state();
    s.options = options;
    s.program = program;
    const bool colons = options.host.find(':') != std::string::npos;
    s.broker =
        (colons ? "[" + options.host + "]" : options.host) + ":" + std::to_string(options.port);
    sem_init(&s.ended, 0, 0);
    if (mosquitto_lib_init() != MOSQ_ERR_SUCCESS) {
        return "libmosquitto does not start";
    }
    useTopics(options);
    useWakeUp(wake);
    keepOn(topicOf("state"), "offline");
    keepOn(topicOf("info"), infoText(program.name, program.version, program.kind, newRun()));
    if (std::string problem = takeOverBus(program.bus); !problem.empty()) {
        return problem;
    }
    std::thread(run).detach();
    return {};
}

void stopBridge() {
    requestEnd();
    timespec limit{};
    clock_gettime(CLOCK_REALTIME, &limit);
    limit.tv_sec += 2;
    sem_timedwait(&state().ended, &limit);
}

}  // namespace bridge
