// kestrel-mqtt: the camera's message bus on an MQTT broker, beside the daemon.
#include <getopt.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "bridge/bridge.h"
#include "platform/nbus.h"

namespace {

struct CommandLine {
    bool run = false;
    int exitStatus = 0;
    bridge::Options options;
};

void report(const std::string& line) {
    std::fprintf(stderr, "kestrel-mqtt: %s\n", line.c_str());
}

CommandLine wrong(const std::string& text) {
    report(text);
    return {false, 2, {}};
}

std::string usageOf(const bridge::OptionRow& row) {
    return "--" + std::string(row.name) + " " + row.value;
}

void printHelp() {
    std::puts("kestrel-mqtt: the camera's message bus on an MQTT broker.\n\nOptions:");
    for (const bridge::OptionRow& row : bridge::optionRows()) {
        std::printf("  %s\n        %s\n", usageOf(row).c_str(), row.help);
    }
    std::puts(
        "  --help\n        print this text\n  --version\n        print the version\n\n"
        "Exit status: 0 after SIGTERM or SIGINT; 1 if the bus is of no use; 2 for a wrong option.");
}

std::string acceptedOptions() {
    std::string text;
    for (const bridge::OptionRow& row : bridge::optionRows()) {
        text += "--" + std::string(row.name) + ", ";
    }
    return text + "--help, --version";
}

std::vector<option> optionTable(std::span<const bridge::OptionRow> rows) {
    std::vector<option> table;
    for (const bridge::OptionRow& row : rows) {
        table.push_back({row.name, 1, nullptr, static_cast<int>(table.size())});
    }
    table.push_back({"help", 0, nullptr, 'h'});
    table.push_back({"version", 0, nullptr, 'v'});
    table.push_back({});
    return table;
}

CommandLine readCommandLine(int argc, char** argv) {
    const std::span<const bridge::OptionRow> rows = bridge::optionRows();
    const std::vector<option> table = optionTable(rows);
    CommandLine commandLine{true, 0, {}};
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
    if (!commandLine.options.wanted) {
        return wrong("where is the broker? accepted: --mqtt URL");
    }
    const std::string problem = bridge::optionsProblem(commandLine.options);
    return problem.empty() ? commandLine : wrong(problem);
}

}  // namespace

int main(int argc, char** argv) {
    const CommandLine commandLine = readCommandLine(argc, argv);
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
    const std::string problem =
        bridge::startBridge(commandLine.options, {"kestrel-mqtt",
                                                  KESTREL_VERSION,
                                                  "camera",
                                                  {nbus_listen, nbus_get, nbus_set, nbus_get_name},
                                                  report});
    if (!problem.empty()) {
        report(problem);
        return 1;
    }
    int signal = 0;
    sigwait(&signals, &signal);
    bridge::stopBridge();
}
