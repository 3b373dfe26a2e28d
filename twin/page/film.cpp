#include "twin/page/film.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <nlohmann/json.hpp>
#include <string_view>
#include <utility>
#include <vector>

#include "twin/boundary/bus.h"
#include "twin/camera/head.h"
#include "twin/clock/timeline.h"
#include "twin/page/events.h"
#include "twin/page/json.h"
#include "twin/page/link.h"
#include "twin/page/outbox.h"
#include "twin/replay/player.h"
#include "twin/world/fault_values.h"

namespace twin {

namespace {

using Clock = std::chrono::steady_clock;
using Json = nlohmann::ordered_json;

// Of all heads together. Where they are more, every second one is given up.
constexpr std::size_t kMostHeadBytes = std::size_t{64} * 1024 * 1024;
constexpr std::chrono::seconds kReportPeriod{3};
constexpr std::size_t kNone = std::numeric_limits<std::size_t>::max();

// In the camera's process, which is the console's one thread. What it tells goes out in order.

bool gHappened = true;  // since the last look
std::string gTold;      // the head's state without its time
std::string gToldFaults;
bool gOverIsOn = false;

std::string faultLines() {
    const WorldLock lock;
    std::string lines;
    for (const std::string& fault : activeFaults()) {
        lines += fault + "\n";
    }
    return lines;
}

void takeTrace(const std::string& line) {
    gHappened = true;
    postTrace(line);
}

// An axis moves only after something has happened, and as long as it is busy.
void look() {
    if (!gHappened && gTold.find(R"("busy":true)") == std::string::npos) {
        return;
    }
    gHappened = false;
    const std::string head = describeHead();
    if (const std::string state = head.substr(head.find(',')); state != gTold) {
        gTold = state;
        post(PacketKind::headNow, 0, head);
    }
    if (const std::string faults = faultLines(); faults != gToldFaults) {
        gToldFaults = faults;
        post(PacketKind::faults, 0, faults);
    }
}

void begin() {
    for (const auto& [key, value] : busKeysBelow("")) {
        post(PacketKind::answer, 0, key + '\0' + value);
    }
    look();
}

void sayFarewell() {
    post(PacketKind::headNow, 0, describeHead());
    closeOutbox({PacketKind::farewell, 0, gOverIsOn ? "on" : "off"});
}

[[noreturn]] void act(const PlayableRun& run, int link, int (*daemon)()) {
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDOUT_FILENO);
    openOutbox(link, [] {});
    onRunEnd(sayFarewell);
    static bool begun = false;
    static const RunWatcher watcher = {takeTrace,
                                       [] {
                                           begun ? look() : begin();
                                           begun = true;
                                       },
                                       [] { gOverIsOn = true; }};
    play(run.run, run.session, daemon, &watcher);
}

// In the page's process.

struct Shot {
    Microseconds time = 0;
    bool head = false;
    std::string event;  // empty: given up
};

struct FilmedBoot {
    std::vector<std::string> keys;  // a key, a NUL and a value each
    std::vector<Shot> shots;
    std::size_t lastHead = kNone;  // of the shots
    std::string lastHeadJson;
    std::vector<double> fails;
    std::string events;  // once it is whole, all of them, and the above are given up
    Microseconds end = 0;
    bool ended = false;
    bool off = false;
};

struct Film {
    std::string file;
    double speed = 1.0;
    Microseconds step = kWatchPeriod;
    std::size_t headBytes = 0;
    std::vector<FilmedBoot> boots;
};
Film gFilm;

double secondsOf(Microseconds time) {
    return static_cast<double>(time) / 1e6;
}

Microseconds timeOf(const std::string& seconds, std::size_t at) {
    return std::llround(std::strtod(seconds.c_str() + std::min(at, seconds.size()), nullptr) * 1e6);
}

// Heads with one number are told by their last. The head at a multiple of the step stays.
Microseconds numberOfStep(Microseconds time) {
    return (time + gFilm.step - 1) / gFilm.step;
}

void giveUpLastHead(FilmedBoot& boot, Microseconds time) {
    Shot* const last = boot.lastHead == kNone ? nullptr : &boot.shots[boot.lastHead];
    if (last != nullptr && numberOfStep(last->time) == numberOfStep(time)) {
        gFilm.headBytes -= last->event.size();
        last->event.clear();
    }
}

void thinOut() {
    gFilm.step *= 2;
    for (FilmedBoot& boot : gFilm.boots) {
        std::vector<Shot> shots = std::move(boot.shots);
        boot.shots.clear();
        boot.lastHead = kNone;
        for (Shot& shot : shots) {
            if (shot.head) {
                giveUpLastHead(boot, shot.time);
                boot.lastHead = boot.shots.size();
            }
            boot.shots.push_back(std::move(shot));
        }
        std::erase_if(boot.shots, [](const Shot& shot) { return shot.event.empty(); });
        boot.lastHead = kNone;
        for (std::size_t i = 0; i < boot.shots.size(); ++i) {
            boot.lastHead = boot.shots[i].head ? i : boot.lastHead;
        }
    }
}

void addHead(FilmedBoot& boot, const std::string& json, Microseconds time) {
    giveUpLastHead(boot, time);
    boot.lastHead = boot.shots.size();
    boot.lastHeadJson = json;
    boot.shots.push_back({time, true, eventText("head", json)});
    gFilm.headBytes += boot.shots.back().event.size();
    while (gFilm.headBytes > kMostHeadBytes && gFilm.step < Microseconds{60'000'000}) {
        thinOut();
    }
}

void addFaults(FilmedBoot& boot, const std::string& lines) {
    Json list = Json::array();
    for (std::size_t begin = 0; begin < lines.size(); begin = lines.find('\n', begin) + 1) {
        list.push_back(lines.substr(begin, lines.find('\n', begin) - begin));
    }
    boot.shots.push_back({boot.end, false, eventText("faults", list.dump())});
}

// Whether an axis says in this line of the trace that it failed.
bool isFailure(const std::string& line) {
    constexpr std::string_view kCamera = " bus lens.camN.";
    return line.compare(std::min(line.find(' '), line.size()), kCamera.size(), kCamera) == 0 &&
           line.ends_with("status fail");
}

void takePacket(FilmedBoot& boot, const Packet& packet) {
    switch (packet.kind) {
        case PacketKind::answer:
            boot.keys.push_back(packet.text);
            break;
        case PacketKind::trace:
            boot.end = timeOf(packet.text, 0);
            boot.shots.push_back({boot.end, false, eventText("trace", traceJson(packet.text))});
            if (isFailure(packet.text)) {
                boot.fails.push_back(secondsOf(boot.end));
            }
            break;
        case PacketKind::headNow:
            // Behind {"t":
            boot.end = timeOf(packet.text, 5);
            addHead(boot, packet.text, boot.end);
            break;
        case PacketKind::faults:
            addFaults(boot, packet.text);
            break;
        case PacketKind::farewell:
            boot.ended = true;
            boot.off = packet.text == "off";
            if (boot.off) {
                addHead(boot, headSwitchedOff(boot.lastHeadJson), boot.end);
            }
            break;
        default:
            break;
    }
}

// The film is whole: each boot becomes the one text that its readers get.
void joinEvents() {
    for (FilmedBoot& boot : gFilm.boots) {
        boot.events = eventText("bus", busJson(std::exchange(boot.keys, {})));
        for (const Shot& shot : boot.shots) {
            boot.events += shot.event;
        }
        boot.shots = {};
    }
}

void report(Microseconds before, Microseconds length) {
    static Clock::time_point next = Clock::now() + kReportPeriod;
    if (Clock::now() >= next) {
        next = Clock::now() + kReportPeriod;
        std::fprintf(stderr, "kestrel-twin: %.0f of the recording's %.0f seconds replayed\n",
                     secondsOf(before + gFilm.boots.back().end), secondsOf(length));
    }
}

// Films one run in a process of its own. False if that came to no proper end.
bool filmRun(const PlayableRun& run, Microseconds before, Microseconds length, int (*daemon)()) {
    int link = -1;
    int cameraEnd = -1;
    if (!openLink(link, cameraEnd)) {
        return false;
    }
    const pid_t child = forkPlayer();
    if (child == 0) {
        close(link);
        act(run, cameraEnd, daemon);
    }
    close(cameraEnd);
    gFilm.boots.emplace_back();
    while (const auto packet = receivePacket(link)) {
        takePacket(gFilm.boots.back(), *packet);
        report(before, length);
    }
    close(link);
    while (child > 0 && waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
    return gFilm.boots.back().ended;
}

}  // namespace

bool makeFilm(const ReplayOptions& options, const SessionOptions& session, int (*daemon)()) {
    SessionOptions played = session;
    played.virtualClock = true;
    std::vector<PlayableRun> runs = playableRuns(options, played);
    Microseconds length = 0;
    for (PlayableRun& run : runs) {
        run.session.output = {false, true, false};
        length += run.run.end;
    }
    gFilm.file = std::filesystem::path(options.file).filename();
    gFilm.speed = session.speed;
    Microseconds before = 0;
    for (const PlayableRun& run : runs) {
        if (!filmRun(run, before, length, daemon)) {
            std::fputs("kestrel-twin: the replay did not come to its end\n", stderr);
            return false;
        }
        before += run.run.end;
    }
    joinEvents();
    return !runs.empty();
}

bool filmIsShown() {
    return !gFilm.boots.empty();
}

std::string filmSummary() {
    Json boots = Json::array();
    for (const FilmedBoot& boot : gFilm.boots) {
        boots.push_back({{"end", secondsOf(boot.end)}, {"off", boot.off}, {"fails", boot.fails}});
    }
    const Json summary = {{"file", gFilm.file},
                          {"speed", gFilm.speed},
                          {"step", secondsOf(gFilm.step)},
                          {"boots", boots}};
    return summary.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::optional<std::string_view> filmedBoot(const std::string& number) {
    for (std::size_t i = 0; i < gFilm.boots.size(); ++i) {
        if (number == std::to_string(i + 1)) {
            return gFilm.boots[i].events;
        }
    }
    return std::nullopt;
}

}  // namespace twin
