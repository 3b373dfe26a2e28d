#include "bridge/record.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cinttypes>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <string_view>
#include <thread>
#include <utility>

namespace bridge {

namespace {

using Clock = std::chrono::steady_clock;
using Set = std::pair<std::string, std::string>;

constexpr int kOldFiles = 4;
constexpr std::size_t kMostWaiting = 65'536;
constexpr std::size_t kMostNoted = 4'096;
constexpr std::chrono::milliseconds kWordsFollow{200};

// Keys that the daemon writes and nobody else; a star at the end stands for any text.
constexpr std::array<std::string_view, 19> kWrittenKeys = {
    "demo.ptz.position.*",  "demo.ptz.range.*",
    "image.camN.flip",      "image.camN.mirror",
    "image.camN.rotate",    "lens.camN.focusstatus",
    "lens.camN.irisstatus", "lens.camN.light.test_status",
    "lens.camN.panstatus",  "lens.camN.position_*",
    "lens.camN.preset*",    "lens.camN.ptzstatus",
    "lens.camN.range.*",    "lens.camN.rotatestatus",
    "lens.camN.status",     "lens.camN.tiltstatus",
    "lens.camN.zoomstatus", "system.action.stop_adc",
    "system.camN.info.*",
};

// Keys in which the daemon answers others' words so.
constexpr std::string_view kDone = "done";
constexpr std::array<std::string_view, 3> kAnsweredKeys = {
    "demo.ptz.action", "lens.camN.act_preset", "lens.camN.action.cmd"};

// Keys in which it also passes on what others set in one of these.
constexpr std::array<std::string_view, 2> kPassedOnKeys = {"image.camN.exposure.iris_table",
                                                           "lens.camN.action.cmd"};
constexpr std::array<std::string_view, 4> kRepeatedKeys = {"lens.camN.focus", "lens.camN.iris",
                                                           "lens.camN.rotate", "lens.camN.zoom"};

struct Line {
    Clock::duration time;
    bool outside;
    Set set;
};

// Never destroyed: threads outlive main.
struct Recorder {
    RecordOptions options;
    Bus bus{};
    std::string version;
    void (*report)(const std::string&) = nullptr;
    Clock::time_point begin;

    std::mutex mutex;
    std::condition_variable changed;
    std::deque<Set> noted;  // sets of the bridge that the bus has not told yet
    std::deque<Line> waiting;
    Clock::time_point passedOn;  // when the last set came that the daemon passes on
    bool stop = false;
    bool stopped = false;
    bool lost = false;

    // The writer's own.
    std::FILE* file = nullptr;
    std::uint64_t written = 0;
    Clock::time_point fileBegin;
};

Recorder& recorder() {
    static auto& instance = *new Recorder;
    return instance;
}

template <typename Keys>
bool isOne(const Keys& keys, std::string_view key) {
    return std::any_of(keys.begin(), keys.end(), [key](std::string_view rule) {
        return rule.ends_with('*') ? key.starts_with(rule.substr(0, rule.size() - 1)) : key == rule;
    });
}

// Whether another service than the daemon made the set. Recorder's lock held.
bool isOutside(Recorder& r, const Set& set) {
    const auto found = std::find(r.noted.begin(), r.noted.end(), set);
    if (found != r.noted.end()) {
        r.noted.erase(found);
        return true;
    }
    const auto& [key, value] = set;
    const bool repeated = isOne(kRepeatedKeys, key) && Clock::now() - r.passedOn < kWordsFollow;
    return !repeated && !isOne(kWrittenKeys, key) && !(value == kDone && isOne(kAnsweredKeys, key));
}

// The bus's handler.
void hear(const char* key, const char* value) {
    Recorder& r = recorder();
    const std::lock_guard lock(r.mutex);
    Set set(key, value);
    const bool outside = isOutside(r, set);
    if (outside && isOne(kPassedOnKeys, set.first)) {
        r.passedOn = Clock::now();
    }
    if (r.waiting.size() == kMostWaiting) {
        r.lost = true;
        return;
    }
    r.waiting.push_back({Clock::now() - r.begin, outside, std::move(set)});
    r.changed.notify_one();
}

int setAndNote(const char* key, const char* value) {
    Recorder& r = recorder();
    const Set set(key, value);
    {
        const std::lock_guard lock(r.mutex);
        r.noted.push_back(set);
        if (r.noted.size() > kMostNoted) {
            r.noted.pop_front();
        }
    }
    const int result = r.bus.set(key, value);
    if (result != 0) {
        const std::lock_guard lock(r.mutex);
        if (const auto found = std::find(r.noted.begin(), r.noted.end(), set);
            found != r.noted.end()) {
            r.noted.erase(found);
        }
    }
    return result;
}

bool looksEscaped(std::string_view text) {
    return text.size() >= 4 && text.starts_with("\\x") &&
           text.substr(2, 2).find_first_not_of("0123456789abcdefABCDEF") == std::string_view::npos;
}

// A text on one line: control characters are \xNN, and so is a backslash that would read as such,
// or every one.
std::string onOneLine(std::string_view text, bool everyBackslash) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const bool backslash = text[i] == '\\' && (everyBackslash || looksEscaped(text.substr(i)));
        if (byte < 0x20 || byte == 0x7f || backslash) {
            std::array<char, 5> code{};
            std::snprintf(code.data(), code.size(), "\\x%02x", byte);
            result += code.data();
        } else {
            result += text[i];
        }
    }
    return result;
}

// The functions from here on are the writer's.

std::string timeText(Clock::duration time) {
    const auto micros = std::chrono::duration_cast<std::chrono::microseconds>(time).count();
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%" PRId64 ".%06d", std::int64_t{micros} / 1'000'000,
                  static_cast<int>(micros % 1'000'000));
    return text.data();
}

void write(const std::string& line) {
    std::fprintf(recorder().file, "%s\n", line.c_str());
    recorder().written += line.size() + 1;
}

std::string oldName(int number) {
    const std::string& file = recorder().options.file;
    return number == 0 ? file : file + "." + std::to_string(number);
}

// Everything that the families hold.
std::map<std::string, std::string> heldNow() {
    const Recorder& r = recorder();
    std::map<std::string, std::string> held;
    std::array<char, kLongestBusText + 1> key{};
    std::array<char, kLongestBusText + 1> value{};
    for (const std::string& family : r.options.families) {
        const std::string prefix = family + ".";
        for (int i = 0; r.bus.getName(prefix.c_str(), i, key.data(), key.size()) == 0; ++i) {
            if (r.bus.get(key.data(), value.data(), value.size()) == 0) {
                held[key.data()] = value.data();
            }
        }
    }
    return held;
}

// Begins a new file in the place of the present one. An error text, empty on success.
std::string beginFile() {
    Recorder& r = recorder();
    for (int number = kOldFiles; number-- > 0;) {
        std::rename(oldName(number).c_str(), oldName(number + 1).c_str());
    }
    r.file = std::fopen(r.options.file.c_str(), "we");
    if (r.file == nullptr) {
        return r.options.file + ": " + std::strerror(errno);
    }
    r.fileBegin = Clock::now();
    write("# kestrel-mqtt " + r.version + " recording 1");
    for (const auto& [key, value] : heldNow()) {
        write("# kestrel-mqtt bus " + onOneLine(key, true) + " " + onOneLine(value, true));
    }
    // What the bus holds may be longer than a file should be, and is no reason to begin the next.
    r.written = 0;
    return {};
}

void endFile(Clock::duration time) {
    write("# kestrel-mqtt end " + timeText(time));
    std::fclose(recorder().file);
    recorder().file = nullptr;
}

void writeLine(const Line& line) {
    Recorder& r = recorder();
    const Clock::duration time =
        std::max(line.time - (r.fileBegin - r.begin), Clock::duration::zero());
    if (r.written > r.options.size) {
        endFile(time);
        if (const std::string problem = beginFile(); !problem.empty()) {
            r.report("recording ends: " + problem);
            return;
        }
    }
    write(timeText(std::max(line.time - (r.fileBegin - r.begin), Clock::duration::zero())) +
          (line.outside ? " cmd " : " bus ") +
          onOneLine(line.set.first + " " + line.set.second, false));
}

void run() {
    Recorder& r = recorder();
    std::unique_lock lock(r.mutex);
    for (bool last = false; !last;) {
        r.changed.wait(lock, [&] { return r.stop || !r.waiting.empty(); });
        last = r.stop;
        const std::deque<Line> lines = std::exchange(r.waiting, {});
        const bool lost = std::exchange(r.lost, false);
        lock.unlock();
        if (lost) {
            r.report("sets are missing in the recording: they came faster than they are written");
        }
        for (const Line& line : lines) {
            if (r.file != nullptr) {
                writeLine(line);
            }
        }
        if (r.file != nullptr && (std::fflush(r.file) != 0 || std::ferror(r.file) != 0)) {
            r.report("recording ends: " + r.options.file + ": " + std::strerror(errno));
            std::fclose(r.file);
            r.file = nullptr;
        }
        lock.lock();
    }
    if (r.file != nullptr) {
        endFile(Clock::now() - r.fileBegin);
    }
    r.stopped = true;
    r.changed.notify_all();
}

}  // namespace

int startRecording(const RecordOptions& options, const Bus& bus, const char* version,
                   void (*report)(const std::string& line)) {
    Recorder& r = recorder();
    r.options = options;
    r.bus = bus;
    r.version = version;
    r.report = report;
    r.begin = Clock::now();
    for (const std::string& family : options.families) {
        if (bus.listen((family + ".").c_str(), hear) != 0) {
            report("the bus does not let anybody listen to " + family + ".");
            return 1;
        }
    }
    if (const std::string problem = beginFile(); !problem.empty()) {
        report(problem);
        return 2;
    }
    std::thread(run).detach();
    return 0;
}

Bus recordedBus() {
    Bus bus = recorder().bus;
    bus.set = setAndNote;
    return bus;
}

void stopRecording() {
    Recorder& r = recorder();
    std::unique_lock lock(r.mutex);
    r.stop = true;
    r.changed.notify_all();
    r.changed.wait_for(lock, std::chrono::seconds(2), [&] { return r.stopped; });
}

}  // namespace bridge
