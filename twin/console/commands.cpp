#include "twin/console/commands.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "twin/boundary/bus.h"
#include "twin/boundary/files.h"
#include "twin/boundary/readiness.h"
#include "twin/camera/head.h"
#include "twin/camera/session.h"
#include "twin/clock/actors.h"
#include "twin/console/words.h"
#include "twin/trace/output.h"
#include "twin/trace/trace.h"
#include "twin/world/faults.h"

namespace twin {

namespace {

constexpr const char* kUsualWait = "60";
constexpr const char* kBrokenOff = "broken off";
constexpr Microseconds kLongestStart = 60'000'000;

bool gQuit = false;

// One command on its way.
struct Call {
    const Words& arguments;
    const Answers& answers;
    bool good = true;

    const std::string& word(std::size_t n) const {
        return arguments.words[n];
    }
    std::size_t count() const {
        return arguments.words.size();
    }
};

void reply(const Call& call, const std::string& text) {
    call.answers.take(text);
}

// An answer that fails the command; says where the line stands.
void failWith(Call& call, const std::string& text) {
    call.good = false;
    reply(call, text + placeOf(call.answers.line));
}

void fail(Call& call, const std::string& text) {
    failWith(call, "error " + text);
}

// A span of time in seconds; complains and gives none if the text is none.
std::optional<Microseconds> takeSeconds(Call& call, const std::string& text) {
    const std::optional<Microseconds> span = readSeconds(text);
    if (!span) {
        fail(call, "'" + text + "' is no time, accepted: seconds from 0 to 1000000");
    }
    return span;
}

std::string stateOf(const std::string& key) {
    return key + " is " + busValue(key).value_or("absent");
}

// Whether the text can be a key; complains if not.
bool checkKey(Call& call, const std::string& key) {
    if (key.size() > kLongestBusText) {
        fail(call, "key of " + std::to_string(key.size()) + " bytes, accepted: at most " +
                       std::to_string(kLongestBusText));
        return false;
    }
    return true;
}

void setKey(Call& call) {
    if (!checkKey(call, call.word(0))) {
        return;
    }
    const std::string problem = setFromConsole(call.word(0), call.arguments.from(1));
    if (!problem.empty()) {
        fail(call, problem);
    }
    settle();
}

void getKey(Call& call) {
    const std::string& key = call.word(0);
    if (checkKey(call, key)) {
        const std::optional<std::string> value = busValue(key);
        reply(call, key + " " + value.value_or("absent"));
    }
}

void listKeys(Call& call) {
    const std::string prefix = call.count() == 0 ? "" : call.word(0);
    if (!checkKey(call, prefix)) {
        return;
    }
    const auto keys = busKeysBelow(prefix);
    for (const auto& [key, value] : keys) {
        reply(call, key + " " + value);
    }
    reply(call, std::to_string(keys.size()) + " keys");
}

void runTime(Call& call) {
    if (const auto span = takeSeconds(call, call.word(0))) {
        if (letTimePass(now() + *span).brokenOff) {
            reply(call, kBrokenOff);
        }
    }
}

void waitForKey(Call& call) {
    const std::string& key = call.word(0);
    const std::optional<Awaited> awaited = readAwaited(call.arguments.from(1));
    const auto limit = takeSeconds(call, awaited->limit.value_or(kUsualWait));
    if (!limit || !checkKey(call, key)) {
        return;
    }
    const WaitEnd end = waitForSet(key, awaited->value, now() + *limit);
    if (end.seen) {
        reply(call, "ok " + secondsText(*end.seen));
    } else if (end.brokenOff) {
        reply(call, kBrokenOff);
    } else {
        failWith(call, "timeout, " + stateOf(key));
    }
    settle();
}

void expectKey(Call& call) {
    const std::string& key = call.word(0);
    if (!checkKey(call, key)) {
        return;
    }
    if (busValue(key) == call.arguments.from(1)) {
        reply(call, "ok");
    } else {
        failWith(call, "FAIL " + stateOf(key));
    }
}

void showHead(Call& call) {
    reply(call, describeHead());
}

void handleFault(Call& call) {
    bool good = true;
    if (call.count() != 0) {
        countWaitsFromNow();
    }
    const std::vector<std::string> lines = faultCommand(call.arguments.words, good);
    applyFileFaults();
    for (const std::string& line : lines) {
        if (good) {
            reply(call, line);
        } else {
            fail(call, line);
        }
    }
    settle();
}

void cutPower(Call&) {
    trace("act", "power-cut");
    endRun(runStatus());
}

void sendSignal(Call& call) {
    for (const auto& [name, number] : kDaemonSignals) {
        if (call.word(0) == name) {
            deliverSignal(number);
        }
    }
    fail(call, "unknown signal " + call.word(0) + ", accepted: TERM, INT, QUIT");
}

std::string positionText(const char* key) {
    return busValue(key).value_or("");
}

void checkPositions(Call& call) {
    const std::string result = checkCounters(positionText);
    if (result == "ok") {
        reply(call, result);
    } else {
        failWith(call, result);
    }
}

void setCounter(Call& call) {
    const std::string& number = call.word(1);
    int value = 0;
    const char* const end = number.data() + number.size();
    const auto [stop, error] = std::from_chars(number.data(), end, value);
    if (error != std::errc{} || stop != end) {
        fail(call, "'" + number + "' is no number, accepted: " + std::to_string(INT_MIN) + " to " +
                       std::to_string(INT_MAX));
        return;
    }
    countWaitsFromNow();
    if (!setControllerCounter(call.word(0), value)) {
        fail(call, "unknown axis " + call.word(0) + ", accepted: pan, tilt");
    }
}

void setSpeed(Call& call) {
    constexpr double kSlowest = 0.01;
    constexpr double kFastest = 1000.0;
    const std::string& text = call.word(0);
    double speed = 0.0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, speed);
    if (error != std::errc{} || stop != end || !(speed >= kSlowest && speed <= kFastest)) {
        fail(call, "'" + text + "' is no speed, accepted: 0.01 to 1000");
    } else if (clockIsVirtual()) {
        fail(call, "the virtual clock has no speed, accepted with --clock real");
    } else {
        trace("act", "speed %s", text.c_str());
        setClockSpeed(speed);
    }
}

void hangCamera(Call& call) {
    if (!changeMount(call.word(0))) {
        fail(call, "unknown mount " + call.word(0) +
                       ", accepted: ceiling, desktop, wall0, wall90, wall180, wall270");
        return;
    }
    countWaitsFromNow();
    settle();
}

// Where power can be switched it is off when this has an effect, and there is no console here then.
void switchOn(Call& call) {
    fail(call, "the camera is on");
}

void showHelp(Call& call);

void quit(Call&) {
    gQuit = true;
}

struct Command {
    const char* name;
    const char* arguments;
    const char* help;
    std::size_t fewest;  // number of words
    std::size_t most;
    void (*execute)(Call&);
};

constexpr std::size_t kAny = SIZE_MAX;

constexpr std::array<Command, 17> kCommands = {{
    {"set", "KEY VALUE", "another service sets a key; VALUE is the rest of the line", 1, kAny,
     setKey},
    {"get", "KEY", "show a key's value", 1, 1, getKey},
    {"keys", "[PREFIX]", "show every key below PREFIX", 0, 1, listKeys},
    {"run", "SECONDS", "let that much time pass", 1, 1, runTime},
    {"wait", "KEY VALUE [SECONDS]", "run until the key is set to VALUE, at most 60 s if not said",
     2, kAny, waitForKey},
    {"expect", "KEY VALUE", "fail if the key's value is another", 1, kAny, expectKey},
    {"head", "", "show the simulated head's truth", 0, 0, showHead},
    {"check", "", "compare each resting axis's position key with its true position", 0, 0,
     checkPositions},
    {"counter", "pan|tilt NUMBER", "set the controller's own step counter", 2, 2, setCounter},
    {"fault", "[NAME ARGUMENTS]", "inject or clear a fault; alone: list them", 0, kAny,
     handleFault},
    {"mount", "ceiling|desktop|wall0|wall90|wall180|wall270", "hang the camera elsewhere", 1, 1,
     hangCamera},
    {"speed", "NUMBER", "let the real clock go faster or slower, 0.01 to 1000", 1, 1, setSpeed},
    {"power-cut", "", "end the run at this instant as a power failure does", 0, 0, cutPower},
    {"power-on", "", "after a power cut with --page: boot the same camera again", 0, 0, switchOn},
    {"signal", "TERM|INT|QUIT", "deliver the signal to the daemon", 1, 1, sendSignal},
    {"help", "[COMMAND]", "list the commands", 0, 1, showHelp},
    {"quit", "", "end the run", 0, 0, quit},
}};

const Command* findCommand(const std::string& name) {
    const auto found = std::find_if(kCommands.begin(), kCommands.end(),
                                    [&name](const Command& row) { return name == row.name; });
    return found == kCommands.end() ? nullptr : &*found;
}

std::string usageOf(const Command& command) {
    return command.name + std::string(*command.arguments == '\0' ? "" : " ") + command.arguments;
}

void unknownCommand(Call& call, const std::string& name) {
    std::string names;
    for (const std::string& known : commandNames()) {
        names += (names.empty() ? "" : ", ") + known;
    }
    fail(call, "unknown command '" + name.substr(0, 40) + "', accepted: " + names);
}

void showHelp(Call& call) {
    const bool all = call.count() == 0;
    if (!all && findCommand(call.word(0)) == nullptr) {
        unknownCommand(call, call.word(0));
        return;
    }
    for (const Command& row : kCommands) {
        if (all || call.word(0) == row.name) {
            reply(call, usageOf(row) + ": " + row.help);
        }
    }
}

// Sets before the daemon's keys are registered would be lost. With the virtual clock its start is
// over before the first command, unless that takes time, which only commands let pass.
void awaitStart() {
    static bool awaited = clockIsVirtual();
    if (!std::exchange(awaited, true) && !waitUntilReady(kLongestStart)) {
        complain("the daemon is still starting; what is set now may be lost");
    }
}

}  // namespace

std::string placeOf(int line) {
    return line == 0 ? "" : " (line " + std::to_string(line) + ")";
}

bool execute(const std::string& line, const Answers& answers) {
    const Words words = splitLine(line);
    if (words.name.empty() || words.name.starts_with('#')) {
        return true;
    }
    awaitStart();
    Call call{words, answers};
    const Command* const command = findCommand(words.name);
    if (command == nullptr) {
        unknownCommand(call, words.name);
    } else if (call.count() < command->fewest || call.count() > command->most) {
        fail(call, "wrong number of words, accepted: " + usageOf(*command));
    } else {
        command->execute(call);
    }
    return call.good;
}

std::vector<std::string> commandNames() {
    std::vector<std::string> names;
    names.reserve(kCommands.size());
    for (const Command& row : kCommands) {
        names.emplace_back(row.name);
    }
    return names;
}

std::string usageOf(const std::string& name) {
    const Command* const command = findCommand(name);
    return command == nullptr ? "" : usageOf(*command);
}

bool quitAsked() {
    return gQuit;
}

}  // namespace twin
