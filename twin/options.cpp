#include "twin/options.h"

#include <getopt.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <cstdio>
#include <optional>
#include <string_view>
#include <vector>

namespace twin {

namespace {

struct Given {
    Options options;
    bool clock = false;
    bool speed = false;
    std::string notWithReplay;  // an option that a recording decides
};

// Each takes one option's value and returns false if it is not among the accepted ones.

template <typename Number>
bool readNumber(std::string_view text, Number least, Number most, Number& number) {
    Number value{};
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    // Written so that a NaN is refused.
    if (error != std::errc{} || stop != end || !(value >= least && value <= most)) {
        return false;
    }
    number = value;
    return true;
}

bool takeClock(Given& given, const char* value) {
    const std::string_view word = value;
    given.clock = true;
    given.options.session.virtualClock = word == "virtual";
    return word == "virtual" || word == "real";
}

bool takeSpeed(Given& given, const char* value) {
    given.speed = true;
    return readNumber(value, 0.01, 1000.0, given.options.session.speed);
}

bool takeState(Given& given, const char* value) {
    given.notWithReplay = "--state";
    given.options.session.stateDirectory = value;
    return !given.options.session.stateDirectory.empty();
}

bool takeLensType(Given& given, const char* value) {
    given.notWithReplay = "--lens-type";
    int type = 0;
    const bool good = readNumber(value, INT_MIN, INT_MAX, type);
    given.options.session.camera.lensType = type;
    return good;
}

bool takeMount(Given& given, const char* value) {
    constexpr std::array<std::string_view, 6> kMounts = {"ceiling", "desktop", "wall0",
                                                         "wall90",  "wall180", "wall270"};
    given.options.session.camera.mount = value;
    return std::find(kMounts.begin(), kMounts.end(), value) != kMounts.end();
}

bool takeSeed(Given& given, const char* value) {
    given.notWithReplay = "--seed";
    return readNumber<std::uint64_t>(value, 0, UINT64_MAX, given.options.session.camera.seed);
}

bool takeStopOnError(Given& given, const char*) {
    given.notWithReplay = "--stop-on-error";
    given.options.console.stopOnError = true;
    return true;
}

bool takeTrace(Given& given, const char*) {
    given.options.session.output.trace = true;
    return true;
}

bool takeQuiet(Given& given, const char*) {
    given.notWithReplay = "--quiet";
    given.options.session.output.quiet = true;
    return true;
}

bool takePage(Given& given, const char* value) {
    const std::string_view text = value;
    const std::size_t colon = text.rfind(':');
    const bool hasAddress = colon != std::string_view::npos;
    std::string_view address = text.substr(0, hasAddress ? colon : 0);
    if (address.starts_with('[') && address.ends_with(']')) {
        address = address.substr(1, address.size() - 2);
    }
    PageAddress& where = given.options.page.emplace();
    where.address = address;
    return hasAddress != address.empty() &&
           readNumber(text.substr(hasAddress ? colon + 1 : 0), 0, 65535, where.port);
}

bool takeReplay(Given& given, const char* value) {
    given.options.replay.file = value;
    return !given.options.replay.file.empty();
}

bool takeCompare(Given& given, const char*) {
    given.options.replay.compare = true;
    return true;
}

bool takeReplayDamaged(Given& given, const char*) {
    given.options.replay.damaged = true;
    return true;
}

struct OptionRow {
    const char* name;
    const char* value;  // how the value is written in the usage; null if there is none
    const char* help;
    bool (*take)(Given&, const char*);
};

constexpr std::array<OptionRow, 15> kOptions = {{
    {"clock", "virtual|real", "time jumps, or follows the wall clock", takeClock},
    {"speed", "0.01..1000", "factor of the real clock, or of what the page plays", takeSpeed},
    {"state", "DIRECTORY", "keep the camera there between runs", takeState},
    {"lens-type", "NUMBER", "the lens type; 10 is the long lens", takeLensType},
    {"mount", "ceiling|desktop|wall0|wall90|wall180|wall270", "how the camera hangs", takeMount},
    {"seed", "NUMBER", "of everything random", takeSeed},
    {"trace", nullptr, "print every event with its time", takeTrace},
    {"quiet", nullptr, "leave out what the daemon itself prints", takeQuiet},
    {"stop-on-error", nullptr, "end with the first command that fails", takeStopOnError},
    {"page", "[ADDRESS:]PORT", "serve the head's page there; 127.0.0.1 without an address",
     takePage},
    {"replay", "FILE", "repeat the run whose trace is in FILE; with --page: show it there",
     takeReplay},
    {"compare", nullptr, "with --replay: print what came out differently, and no trace",
     takeCompare},
    {"replay-damaged", nullptr, "with --replay: leave out what of FILE is damaged",
     takeReplayDamaged},
    {"help", nullptr, "print this text", nullptr},
    {"version", nullptr, "print the version", nullptr},
}};

std::string usageOf(const OptionRow& row) {
    return "--" + std::string(row.name) + (row.value == nullptr ? "" : " ") +
           (row.value == nullptr ? "" : row.value);
}

std::string usageOf(const bridge::OptionRow& row) {
    return "--" + std::string(row.name) + " " + row.value;
}

// An option of any kind, as getopt_long and the texts about options want it.
struct Known {
    std::string name;
    std::string usage;
    std::string help;
    bool hasValue;
};

// The twin's own options, and the bridge's behind them.
std::vector<Known> knownOptions() {
    std::vector<Known> known;
    known.reserve(kOptions.size() + bridge::optionRows().size());
    for (const OptionRow& row : kOptions) {
        known.push_back({row.name, usageOf(row), row.help, row.value != nullptr});
    }
    for (const bridge::OptionRow& row : bridge::optionRows()) {
        known.push_back({row.name, usageOf(row), row.help, true});
    }
    return known;
}

void printHelp() {
    std::puts(
        "kestrel-twin: the head-control daemon on a simulated camera.\n"
        "Usage: kestrel-twin [OPTION...] [SCRIPT]\n"
        "Reads commands from the file SCRIPT, or from standard input, one a line; the command\n"
        "`help` lists them.\n\nOptions:");
    for (const Known& option : knownOptions()) {
        std::printf("  %s\n        %s\n", option.usage.c_str(), option.help.c_str());
    }
    std::puts(
        "\nWithout --clock the clock is real where commands are typed at a terminal, else "
        "virtual.\n"
        "Exit status: 0; 1 if a wait, expect or check failed, a command was wrong, or commands,\n"
        "output or the camera's directory are of no use, or --compare found differences; 2 for a\n"
        "wrong option, or a recording of no use; the daemon's own where it ended itself.");
}

std::string acceptedOptions() {
    std::string text;
    for (const Known& option : knownOptions()) {
        text += (text.empty() ? "--" : ", --") + option.name;
    }
    return text;
}

CommandLine wrong(const std::string& text) {
    std::fprintf(stderr, "kestrel-twin: %s\n", text.c_str());
    return {false, 2, {}};
}

// What is wrong with an option that was not taken.
std::string misuse(const std::string& word, bool lacksValue) {
    const std::string name = word.substr(0, word.find('='));
    for (const Known& option : knownOptions()) {
        // Options may be shortened as long as they are clear.
        if (lacksValue && option.usage.starts_with(name)) {
            return name + " needs a value, accepted: " + option.usage;
        }
        if (name == option.usage) {
            return name + " takes no value, accepted: " + option.usage;
        }
    }
    return "unknown option " + word + ", accepted: " + acceptedOptions();
}

// What is wrong with options given together with --replay, or meant for it; empty if nothing is.
std::string replayProblem(const Given& given) {
    const Options& options = given.options;
    if (options.replay.file.empty()) {
        const bool compare = options.replay.compare;
        return compare || options.replay.damaged
                   ? std::string(compare ? "--compare" : "--replay-damaged") +
                         " is accepted with --replay only"
                   : "";
    }
    const std::string other = !given.notWithReplay.empty() ? given.notWithReplay
                              : options.mqtt.wanted        ? "--mqtt"
                              : !options.script.empty()    ? "a script"
                                                           : "";
    if (!other.empty()) {
        return other + " is not accepted with --replay: the recording says how the run was made";
    }
    const bool real = given.clock && !options.session.virtualClock;
    if (options.replay.compare && (real || options.page)) {
        return "--compare is accepted with the virtual clock and without --page only";
    }
    return given.clock && !real && options.page
               ? "--clock virtual is not accepted with --replay and --page: the page plays in real "
                 "time, accepted: --speed"
               : "";
}

CommandLine finish(Given& given) {
    Options& options = given.options;
    if (const std::string problem = replayProblem(given); !problem.empty()) {
        return wrong(problem);
    }
    options.console.interactive =
        options.script.empty() && isatty(STDIN_FILENO) == 1 && isatty(STDOUT_FILENO) == 1;
    if (!given.clock) {
        options.session.virtualClock =
            options.replay.file.empty() ? !options.console.interactive : !options.page;
    }
    if (given.speed && options.session.virtualClock) {
        return wrong("--speed is accepted with --clock real only");
    }
    if (const std::string problem = bridge::optionsProblem(options.mqtt); !problem.empty()) {
        return wrong(problem);
    }
    if (options.mqtt.wanted && options.session.virtualClock) {
        return wrong("--mqtt is accepted with --clock real only");
    }
    options.session.output.lineByLine =
        options.console.interactive || !options.session.virtualClock;
    return {true, 0, options};
}

}  // namespace

CommandLine readCommandLine(int argc, char** argv) {
    const std::vector<Known> known = knownOptions();
    std::vector<option> table;
    table.reserve(known.size() + 1);
    for (const Known& each : known) {
        table.push_back(
            {each.name.c_str(), each.hasValue ? 1 : 0, nullptr, static_cast<int>(table.size())});
    }
    table.push_back({});
    Given given;
    opterr = 0;
    for (;;) {
        const int current = optind;
        const int found = getopt_long(argc, argv, ":", table.data(), nullptr);
        if (found == -1) {
            break;
        }
        if (found == ':' || found == '?') {
            return wrong(misuse(argv[std::min(current, argc - 1)], found == ':'));
        }
        const auto index = static_cast<std::size_t>(found);
        if (index >= kOptions.size()) {
            const bridge::OptionRow& row = bridge::optionRows()[index - kOptions.size()];
            if (!bridge::takeOption(given.options.mqtt, row, optarg)) {
                return wrong("--" + std::string(row.name) + " '" + optarg +
                             "', accepted: " + row.accepted);
            }
            continue;
        }
        const OptionRow& row = kOptions[index];
        if (row.take == nullptr) {
            if (std::string_view(row.name) == "help") {
                printHelp();
            } else {
                std::puts("kestrel-twin " KESTREL_VERSION);
            }
            return {};
        }
        if (!row.take(given, optarg)) {
            return wrong("--" + std::string(row.name) + " '" + optarg +
                         "', accepted: " + usageOf(row));
        }
    }
    if (optind < argc) {
        given.options.script = argv[optind++];
    }
    if (optind < argc) {
        return wrong(std::string("a second script '") + argv[optind] +
                     "', accepted: one file with commands");
    }
    return finish(given);
}

}  // namespace twin
