#include "twin/trace/trace.h"

#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cctype>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <string>
#include <string_view>

#include "twin/clock/timeline.h"
#include "twin/trace/disk_limit.h"
#include "twin/trace/output.h"
#include "twin/trace/writer.h"

namespace twin {

namespace {

constexpr std::size_t kLongestLine = 4096;

OutputOptions gOptions;
FILE* gOutput = nullptr;
std::atomic<bool> gViolation{false};
std::atomic<void (*)()> gRestore{nullptr};
std::atomic<void (*)(const std::string&)> gTap{nullptr};

// Guards everything printed. Taken after the world's lock, never before it.
std::mutex& outputMutex() {
    static auto& mutex = *new std::mutex;
    return mutex;
}

// Held while something is printed.
struct Printing {
    std::lock_guard<std::mutex> lock{outputMutex()};
    OwnWriting allowed;
};

// The daemon's line that has no end yet.
std::string& openLine() {
    static auto& line = *new std::string;
    return line;
}

// Whether the text begins with what stands for another byte in a trace.
bool looksEscaped(std::string_view text) {
    return text.size() >= 4 && text.starts_with("\\x") &&
           std::isxdigit(static_cast<unsigned char>(text[2])) != 0 &&
           std::isxdigit(static_cast<unsigned char>(text[3])) != 0;
}

// Control characters would break one event or answer into several lines.
std::string printable(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte != 0x7f && !looksEscaped(text.substr(i))) {
            result += c;
            continue;
        }
        std::array<char, 8> escape{};
        std::snprintf(escape.data(), escape.size(), "\\x%02x", byte);
        result += escape.data();
    }
    return result;
}

// The functions from here on are called with the output's lock held.

void endLine() {
    std::fputc('\n', gOutput);
    if (gOptions.lineByLine) {
        std::fflush(gOutput);
    }
}

void writeRemark(const std::string& text) {
    if (gOptions.trace) {
        const std::string line = "# kestrel-twin " + text;
        std::fwrite(line.data(), 1, line.size(), gOutput);
        endLine();
    }
}

std::string timeText() {
    const Microseconds time = now();
    std::array<char, 48> text{};
    std::snprintf(text.data(), text.size(), "%" PRId64 ".%06d", time / 1'000'000,
                  static_cast<int>(time % 1'000'000));
    return text.data();
}

// `print` says whether the line goes to standard output, too.
void writeTraceLine(const char* kind, std::string_view text, bool print) {
    const std::string line = timeText() + " " + kind + " " + printable(text);
    if (const auto tap = gTap.load()) {
        tap(line);
    }
    if (print) {
        std::fwrite(line.data(), 1, line.size(), gOutput);
        endLine();
    }
}

void writeDaemonLine(std::string_view line) {
    if (traceEnabled()) {
        writeTraceLine("log", line, gOptions.trace && !gOptions.quiet);
    }
    if (!gOptions.trace && !gOptions.quiet) {
        std::fwrite(line.data(), 1, line.size(), gOutput);
        endLine();
    }
}

void finishDaemonLine() {
    writeDaemonLine(openLine());
    openLine().clear();
}

ssize_t captureDaemonText(void*, const char* text, std::size_t length) {
    takeDaemonText(text, length);
    return static_cast<ssize_t>(length);
}

}  // namespace

void openOutput(const OutputOptions& options) {
    const std::lock_guard lock(outputMutex());
    gOptions = options;
    gOutput = openWriter(STDOUT_FILENO);
    cookie_io_functions_t functions{};
    functions.write = captureDaemonText;
    FILE* const captured = fopencookie(nullptr, "w", functions);
    if (gOutput == nullptr || captured == nullptr) {
        std::perror("kestrel-twin: standard output");
        _exit(1);
    }
    setvbuf(gOutput, nullptr, _IOFBF, std::size_t{64} * 1024);
    setvbuf(captured, nullptr, _IOLBF, 0);
    stdout = captured;
}

void tapTrace(void (*tap)(const std::string& line)) {
    gTap = tap;
}

bool traceEnabled() {
    return gOptions.trace || gTap.load(std::memory_order_relaxed) != nullptr;
}

void trace(const char* kind, const char* format, ...) {
    if (!traceEnabled()) {
        return;
    }
    std::array<char, 256> usual{};
    std::string longer;
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(usual.data(), usual.size(), format, arguments);
    va_end(arguments);
    if (length >= static_cast<int>(usual.size())) {
        longer.resize(static_cast<std::size_t>(length));
        va_start(arguments, format);
        std::vsnprintf(longer.data(), longer.size() + 1, format, arguments);
        va_end(arguments);
    }
    const Printing printing;
    if (gOutput != nullptr) {
        writeTraceLine(kind, longer.empty() ? usual.data() : longer, gOptions.trace);
    }
}

void reportViolation(const char* format, ...) {
    std::array<char, kLongestLine> text{};
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    gViolation = true;
    trace("head", "%s", text.data());
    complain(text.data());
}

bool violationSeen() {
    return gViolation;
}

void answer(const std::string& text) {
    const Printing printing;
    if (gOutput != nullptr) {
        const std::string line = "= " + printable(text);
        std::fwrite(line.data(), 1, line.size(), gOutput);
        endLine();
    }
}

void remark(const std::string& text) {
    const Printing printing;
    if (gOutput != nullptr) {
        writeRemark(text);
    }
}

void say(const std::string& text) {
    const Printing printing;
    if (gOutput != nullptr) {
        std::fwrite(text.data(), 1, text.size(), gOutput);
        std::fflush(gOutput);
    }
}

void complain(const std::string& text) {
    const Printing printing;
    const std::string line = "kestrel-twin: " + printable(text) + "\n";
    std::fwrite(line.data(), 1, line.size(), stderr);
}

void takeDaemonText(const char* text, std::size_t length) {
    const Printing printing;
    if (gOutput == nullptr) {
        return;
    }
    for (const char c : std::string_view(text, length)) {
        if (c == '\n' || openLine().size() == kLongestLine) {
            finishDaemonLine();
        }
        if (c != '\n') {
            openLine() += c;
        }
    }
}

void flushOutput() {
    const Printing printing;
    if (gOutput != nullptr) {
        std::fflush(gOutput);
    }
}

void holdOutput(int arrivals) {
    const Printing printing;
    if (gOutput != nullptr) {
        std::fflush(gOutput);
        hold(arrivals);
    }
}

std::string takeHeldOutput() {
    const Printing printing;
    if (gOutput != nullptr) {
        std::fflush(gOutput);
    }
    return takeHeld();
}

void releaseOutput() {
    const Printing printing;
    release();
}

void onOutputClosed(void (*restore)()) {
    gRestore = restore;
}

void closeOutput(bool patient) {
    std::unique_lock lock(outputMutex(), std::defer_lock);
    if (patient) {
        lock.lock();
    } else if (!lock.try_lock()) {
        return;
    }
    if (gOutput == nullptr) {
        return;
    }
    const OwnWriting allowed;
    if (!openLine().empty()) {
        finishDaemonLine();
    }
    writeRemark("end " + timeText());
    if (void (*const restore)() = gRestore) {
        restore();
    }
    release();
    std::fflush(gOutput);
    gOutput = nullptr;
}

}  // namespace twin
