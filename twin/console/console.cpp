#include "twin/console/console.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cinttypes>
#include <climits>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "twin/boundary/bus.h"
#include "twin/boundary/files.h"
#include "twin/boundary/readiness.h"
#include "twin/camera/head.h"
#include "twin/camera/session.h"
#include "twin/clock/actors.h"
#include "twin/console/line_reader.h"
#include "twin/trace/output.h"
#include "twin/world/faults.h"

namespace twin {

namespace {

// No command lets more time pass than this, in seconds (some eleven days).
constexpr double kLongestWait = 1'000'000.0;
constexpr double kUsualWait = 60.0;
constexpr Microseconds kLongestStart = 60'000'000;

bool gInteractive = false;
bool gQuit = false;

// A command's words after its name. `rest(n)` is the line from the n-th of them on, blanks and all.
struct Arguments {
    std::vector<std::string> words;
    std::vector<std::size_t> starts;
    std::string line;

    std::string rest(std::size_t n) const {
        if (n == 0) {
            return words.empty() ? std::string{} : line.substr(starts[0]);
        }
        // The value after a word begins behind exactly one blank, so that it may begin with one.
        const std::size_t end = starts[n - 1] + words[n - 1].size();
        return end < line.size() ? line.substr(end + 1) : std::string{};
    }
};

Arguments splitLine(const std::string& line) {
    Arguments arguments;
    arguments.line = line;
    for (std::size_t i = 0; i < line.size();) {
        const std::size_t begin = line.find_first_not_of(" \t", i);
        if (begin == std::string::npos) {
            break;
        }
        const std::size_t end = std::min(line.find_first_of(" \t", begin), line.size());
        arguments.words.push_back(line.substr(begin, end - begin));
        arguments.starts.push_back(begin);
        i = end;
    }
    return arguments;
}

void fail(const std::string& text) {
    failRun();
    answer("error " + text);
}

void judge(bool good, const std::string& text) {
    if (!good) {
        failRun();
    }
    answer(text);
}

std::string secondsText(Microseconds time) {
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%" PRId64 ".%06d", time / 1'000'000,
                  static_cast<int>(time % 1'000'000));
    return text.data();
}

// A span of time in seconds; complains and gives none if the text is none.
std::optional<Microseconds> readSeconds(const std::string& text) {
    double seconds = 0.0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, seconds, std::chars_format::fixed);
    if (error != std::errc{} || stop != end || !(seconds >= 0.0 && seconds <= kLongestWait)) {
        fail("'" + text + "' is no time, accepted: seconds from 0 to 1000000");
        return std::nullopt;
    }
    return std::llround(seconds * 1e6);
}

// Whether the text can be a key; complains if not.
bool checkKey(const std::string& key) {
    if (key.size() > kLongestBusText) {
        fail("key of " + std::to_string(key.size()) + " bytes, accepted: at most " +
             std::to_string(kLongestBusText));
        return false;
    }
    return true;
}

void setKey(const Arguments& arguments) {
    if (!checkKey(arguments.words[0])) {
        return;
    }
    const std::string problem = setFromConsole(arguments.words[0], arguments.rest(1));
    if (!problem.empty()) {
        fail(problem);
    }
    settle();
}

void getKey(const Arguments& arguments) {
    const std::string& key = arguments.words[0];
    if (checkKey(key)) {
        const std::optional<std::string> value = busValue(key);
        answer(key + " " + value.value_or("absent"));
    }
}

void listKeys(const Arguments& arguments) {
    const std::string prefix = arguments.words.empty() ? "" : arguments.words[0];
    if (!checkKey(prefix)) {
        return;
    }
    const auto keys = busKeysBelow(prefix);
    for (const auto& [key, value] : keys) {
        answer(key + " " + value);
    }
    answer(std::to_string(keys.size()) + " keys");
}

void runTime(const Arguments& arguments) {
    if (const auto span = readSeconds(arguments.words[0])) {
        letTimePass(now() + *span);
    }
}

void waitForKey(const Arguments& arguments) {
    const std::string& key = arguments.words[0];
    const auto limit =
        readSeconds(arguments.words.size() > 2 ? arguments.words[2] : std::to_string(kUsualWait));
    if (!limit || !checkKey(key)) {
        return;
    }
    const auto seen = waitForSet(key, arguments.words[1], now() + *limit);
    judge(seen.has_value(), seen ? "ok " + secondsText(*seen) : "timeout");
    settle();
}

void expectKey(const Arguments& arguments) {
    const std::string& key = arguments.words[0];
    if (!checkKey(key)) {
        return;
    }
    const std::optional<std::string> value = busValue(key);
    const bool good = value == arguments.rest(1);
    judge(good, good ? "ok" : "FAIL " + key + " is " + value.value_or("absent"));
}

void showHead(const Arguments&) {
    answer(describeHead());
}

void handleFault(const Arguments& arguments) {
    bool good = true;
    if (!arguments.words.empty()) {
        countWaitsFromNow();
    }
    const std::vector<std::string> lines = faultCommand(arguments.words, good);
    applyFileFaults();
    for (const std::string& line : lines) {
        if (good) {
            answer(line);
        } else {
            fail(line);
        }
    }
    settle();
}

void cutPower(const Arguments&) {
    endRun(runStatus());
}

void sendSignal(const Arguments& arguments) {
    constexpr std::array<std::pair<const char*, int>, 3> kSignals = {
        {{"TERM", SIGTERM}, {"INT", SIGINT}, {"QUIT", SIGQUIT}}};
    for (const auto& [name, number] : kSignals) {
        if (arguments.words[0] == name) {
            deliverSignal(number);
        }
    }
    fail("unknown signal " + arguments.words[0] + ", accepted: TERM, INT, QUIT");
}

std::string positionText(const char* key) {
    return busValue(key).value_or("");
}

void checkPositions(const Arguments&) {
    const std::string result = checkCounters(positionText);
    judge(result == "ok", result);
}

void setCounter(const Arguments& arguments) {
    const std::string& number = arguments.words[1];
    int value = 0;
    countWaitsFromNow();
    const char* const end = number.data() + number.size();
    const auto [stop, error] = std::from_chars(number.data(), end, value);
    if (error != std::errc{} || stop != end) {
        fail("'" + number + "' is no number, accepted: " + std::to_string(INT_MIN) + " to " +
             std::to_string(INT_MAX));
    } else if (!setControllerCounter(arguments.words[0], value)) {
        fail("unknown axis " + arguments.words[0] + ", accepted: pan, tilt");
    }
}

void showHelp(const Arguments& arguments);

void quit(const Arguments&) {
    gQuit = true;
}

struct Command {
    const char* name;
    const char* arguments;
    const char* help;
    std::size_t fewest;  // number of words
    std::size_t most;
    void (*execute)(const Arguments&);
};

constexpr std::size_t kAny = SIZE_MAX;

constexpr std::array<Command, 14> kCommands = {{
    {"set", "KEY VALUE", "another service sets a key; VALUE is the rest of the line", 1, kAny,
     setKey},
    {"get", "KEY", "show a key's value", 1, 1, getKey},
    {"keys", "[PREFIX]", "show every key below PREFIX", 0, 1, listKeys},
    {"run", "SECONDS", "let that much time pass", 1, 1, runTime},
    {"wait", "KEY VALUE [SECONDS]", "run until the key is set to VALUE, at most 60 s if not said",
     2, 3, waitForKey},
    {"expect", "KEY VALUE", "fail if the key's value is another", 1, kAny, expectKey},
    {"head", "", "show the simulated head's truth", 0, 0, showHead},
    {"check", "", "compare each resting axis's position key with its true position", 0, 0,
     checkPositions},
    {"counter", "pan|tilt NUMBER", "set the controller's own step counter", 2, 2, setCounter},
    {"fault", "[NAME ARGUMENTS]", "inject or clear a fault; alone: list them", 0, kAny,
     handleFault},
    {"power-cut", "", "end the run at this instant as a power failure does", 0, 0, cutPower},
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

void unknownCommand(const std::string& name) {
    std::string names;
    for (const Command& row : kCommands) {
        names += (names.empty() ? "" : ", ") + std::string(row.name);
    }
    fail("unknown command '" + name.substr(0, 40) + "', accepted: " + names);
}

void showHelp(const Arguments& arguments) {
    const bool all = arguments.words.empty();
    if (!all && findCommand(arguments.words[0]) == nullptr) {
        unknownCommand(arguments.words[0]);
        return;
    }
    for (const Command& row : kCommands) {
        if (all || arguments.words[0] == row.name) {
            answer(usageOf(row) + ": " + row.help);
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

void executeLine(const std::string& line) {
    Arguments arguments = splitLine(line);
    if (arguments.words.empty() || arguments.words[0].starts_with('#')) {
        return;
    }
    awaitStart();
    const std::string name = arguments.words[0];
    arguments.words.erase(arguments.words.begin());
    arguments.starts.erase(arguments.starts.begin());
    const Command* const command = findCommand(name);
    const std::size_t count = arguments.words.size();
    if (command == nullptr) {
        unknownCommand(name);
    } else if (count < command->fewest || count > command->most) {
        fail("wrong number of words, accepted: " + usageOf(*command));
    } else {
        command->execute(arguments);
    }
}

void beforeWaiting() {
    flushOutput();
}

constexpr const char* kGreeting =
    "A camera with a motorised head, simulated. Try:\n"
    "  set lens.camN.zoom a:1200    move the zoom\n"
    "  head                         see what the mechanism does\n"
    "  help                         all commands; quit ends\n"
    "Started with --trace it shows every event.\n";

}  // namespace

int runConsole(bool interactive) {
    gInteractive = interactive;
    if (gInteractive) {
        say(kGreeting);
    }
    std::string line;
    while (!gQuit) {
        if (gInteractive) {
            say("> ");
        }
        switch (readLine(line, beforeWaiting)) {
            case LineResult::line:
                executeLine(line);
                break;
            case LineResult::tooLong:
                fail("line too long, accepted: " + std::to_string(kLongestInputLine) + " bytes");
                break;
            case LineResult::badBytes:
                fail("a NUL byte in the line, accepted: text");
                break;
            case LineResult::end:
                gQuit = true;
                if (gInteractive) {
                    say("\n");
                }
                break;
        }
    }
    return runStatus();
}

}  // namespace twin
