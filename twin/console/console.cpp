#include "twin/console/console.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "twin/camera/session.h"
#include "twin/console/commands.h"
#include "twin/console/input.h"
#include "twin/console/line_reader.h"
#include "twin/console/requests.h"
#include "twin/console/terminal.h"
#include "twin/trace/output.h"

namespace twin {

namespace {

constexpr const char* kGreeting =
    "A camera with a motorised head, simulated. Try:\n"
    "  set lens.camN.zoom a:1200    move the zoom\n"
    "  head                         see what the mechanism does\n"
    "  help                         all commands; quit ends\n"
    "Started with --trace it shows every event.\n";

bool gKeptOpen = false;

bool fail(const std::string& text, int line) {
    answer("error " + text + placeOf(line));
    return false;
}

// Takes the next line and carries it out. False if it failed; `end` if there is no more.
bool takeLine(bool& end) {
    static auto& line = *new std::string;
    const LineResult result = readLine(line, flushOutput);
    const int number = linesRead();
    switch (result) {
        case LineResult::line:
            return execute(line, {answer, number});
        case LineResult::tooLong:
            return fail("line too long, accepted: " + std::to_string(kLongestInputLine) + " bytes",
                        number);
        case LineResult::badBytes:
            return fail("a NUL byte in the line, accepted: text", number);
        case LineResult::end:
            end = true;
            return true;
        case LineResult::broken:
            complain(std::string("the commands cannot be read: ") + std::strerror(errno));
            end = true;
            return false;
    }
    return false;
}

void takeScript(bool stopOnError) {
    bool end = false;
    while (!end && !quitAsked()) {
        if (!takeLine(end)) {
            failRun();
            end = end || stopOnError;
        }
        executeRequests();
    }
}

void takeTypedLines(bool stopOnError, bool greet) {
    static bool failed = false;
    if (greet) {
        say(kGreeting);
    }
    openTerminal();
    std::string line;
    while (!quitAsked() && !(failed && stopOnError) && readTypedLine(line)) {
        executeTyped(
            [](const std::string& typed) {
                if (!execute(typed, {answer})) {
                    failRun();
                    failed = true;
                }
            },
            line);
    }
}

}  // namespace

bool openStreams(const std::string& path) {
    // What is opened next would stand in their places.
    if (fcntl(STDIN_FILENO, F_GETFD) < 0 || fcntl(STDOUT_FILENO, F_GETFD) < 0) {
        complain("standard input and output must be open");
        return false;
    }
    if (path.empty()) {
        return true;
    }
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0 || dup2(file, STDIN_FILENO) < 0) {
        complain(path + ": " + std::strerror(errno));
        return false;
    }
    close(file);
    return true;
}

void keepConsoleOpen() {
    gKeptOpen = true;
}

int runConsole(const ConsoleOptions& options) {
    if (options.interactive) {
        takeTypedLines(options.stopOnError, options.greet);
    } else {
        takeScript(options.stopOnError);
    }
    if (gKeptOpen) {
        serveOthers();
    }
    return runStatus();
}

}  // namespace twin
