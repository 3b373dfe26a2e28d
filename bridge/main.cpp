// kestrel-mqtt: the camera's message bus on an MQTT broker, beside the daemon.
#include <getopt.h>

#include <algorithm>
#include <charconv>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <span>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "bridge/bridge.h"
#include "bridge/record.h"
#include "platform/nbus.h"

namespace {

struct CommandLine {
    bool run = false;
    int exitStatus = 0;
    bridge::Options options;
    bridge::RecordOptions record;
    bool recordSize = false;  // --record-size was given
};

// The options that this program has beside the bridge's.
constexpr struct {
    const char* name;
    const char* usage;
    const char* help;
    bool hasValue;
    int letter;
} kOwnOptions[] = {
    {"record", "--record FILE", "record the bus in FILE, for kestrel-twin --replay FILE --compare",
     true, 'r'},
    {"record-size", "--record-size BYTES",
     "begin a new FILE after so many bytes, 16777216 if not said; the last four are kept", true,
     's'},
    {"help", "--help", "print this text", false, 'h'},
    {"version", "--version", "print the version", false, 'v'},
};

void report(const std::string& line) {
    std::fprintf(stderr, "kestrel-mqtt: %s\n", line.c_str());
}

CommandLine wrong(const std::string& text) {
    report(text);
    return {false, 2, {}, {}, false};
}

std::string usageOf(const bridge::OptionRow& row) {
    return "--" + std::string(row.name) + " " + row.value;
}

void printHelp() {
    std::puts("kestrel-mqtt: the camera's message bus on an MQTT broker.\n\nOptions:");
    for (const bridge::OptionRow& row : bridge::optionRows()) {
        std::printf("  %s\n        %s\n", usageOf(row).c_str(), row.help);
    }
    for (const auto& row : kOwnOptions) {
        std::printf("  %s\n        %s\n", row.usage, row.help);
    }
    std::puts(
        "\nExit status: 0 after SIGTERM or SIGINT; 1 if the bus is of no use; 2 for a wrong "
        "option,\nor where FILE cannot be made.");
}

std::string acceptedOptions() {
    std::string text;
    for (const bridge::OptionRow& row : bridge::optionRows()) {
        text += "--" + std::string(row.name) + ", ";
    }
    for (const auto& row : kOwnOptions) {
        text += (row.letter == kOwnOptions[0].letter ? "--" : ", --") + std::string(row.name);
    }
    return text;
}

std::vector<option> optionTable(std::span<const bridge::OptionRow> rows) {
    std::vector<option> table;
    for (const bridge::OptionRow& row : rows) {
        table.push_back({row.name, 1, nullptr, static_cast<int>(table.size())});
    }
    for (const auto& row : kOwnOptions) {
        table.push_back({row.name, row.hasValue ? 1 : 0, nullptr, row.letter});
    }
    table.push_back({});
    return table;
}

bool takeSize(std::uint64_t& size, const std::string& text) {
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, size);
    return error == std::errc{} && stop == end && size >= 65'536 && size <= 1'000'000'000'000;
}

// Takes the value of one of the recorder's options. What it accepts; null if this is among it.
const char* takeRecord(CommandLine& commandLine, int letter, const char* value) {
    if (letter == 'r') {
        commandLine.record.file = value;
        return *value == '\0' ? "a file that can be made" : nullptr;
    }
    commandLine.recordSize = true;
    return takeSize(commandLine.record.size, value) ? nullptr : "65536 to 1000000000000";
}

CommandLine readCommandLine(int argc, char** argv) {
    const std::span<const bridge::OptionRow> rows = bridge::optionRows();
    const std::vector<option> table = optionTable(rows);
    CommandLine commandLine{true, 0, {}, {}, false};
    opterr = 0;
    for (;;) {
        const int current = optind;
        const int found = getopt_long(argc, argv, ":", table.data(), nullptr);
        if (found == -1) {
            break;
        }
        const std::string word = argv[std::min(current, argc - 1)];
        if (found == ':') {
            return wrong(word + " needs a value");
        }
        if (found == '?') {
            return wrong("unknown option " + word + ", accepted: " + acceptedOptions());
        }
        if (found == 'r' || found == 's') {
            const char* const accepted = takeRecord(commandLine, found, optarg);
            if (accepted != nullptr) {
                return wrong(std::string(found == 'r' ? "--record '" : "--record-size '") + optarg +
                             "', accepted: " + accepted);
            }
            continue;
        }
        if (found == 'h') {
            printHelp();
            return {};
        }
        if (found == 'v') {
            std::puts("kestrel-mqtt " KESTREL_VERSION);
            return {};
        }
        const bridge::OptionRow& row = rows[static_cast<std::size_t>(found)];
        if (!bridge::takeOption(commandLine.options, row, optarg)) {
            return wrong("--" + std::string(row.name) + " '" + optarg +
                         "', accepted: " + row.accepted);
        }
    }
    if (optind < argc) {
        return wrong(std::string("unexpected argument '") + argv[optind] + "'");
    }
    if (commandLine.recordSize && commandLine.record.file.empty()) {
        return wrong("--record-size is accepted with --record only");
    }
    if (!commandLine.options.wanted) {
        return wrong("where is the broker? accepted: --mqtt URL");
    }
    const std::string problem = bridge::optionsProblem(commandLine.options);
    return problem.empty() ? commandLine : wrong(problem);
}

}  // namespace

int main(int argc, char** argv) {
    CommandLine commandLine = readCommandLine(argc, argv);
    if (!commandLine.run) {
        return commandLine.exitStatus;
    }
    // Blocked before any thread starts, so that one comes to sigwait wherever it arrives.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    if (nbus_initial() != 0) {
        report("the message bus does not answer");
        return 1;
    }
    bridge::Bus bus{nbus_listen, nbus_get, nbus_set, nbus_get_name};
    if (!commandLine.record.file.empty()) {
        commandLine.record.families = commandLine.options.families;
        const int status = bridge::startRecording(commandLine.record, bus, KESTREL_VERSION, report);
        if (status != 0) {
            return status;
        }
        bus = bridge::recordedBus();
    }
    if (const std::string problem = bridge::startBridge(
            commandLine.options, {"kestrel-mqtt", KESTREL_VERSION, "camera", bus, report});
        !problem.empty()) {
        report(problem);
        return 1;
    }
    int signal = 0;
    sigwait(&signals, &signal);
    bridge::stopBridge();
    if (!commandLine.record.file.empty()) {
        bridge::stopRecording();
    }
}
