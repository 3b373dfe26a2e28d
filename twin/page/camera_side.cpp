#include "twin/page/camera_side.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "twin/boundary/bus.h"
#include "twin/camera/head.h"
#include "twin/camera/place.h"
#include "twin/clock/actors.h"
#include "twin/console/commands.h"
#include "twin/console/console.h"
#include "twin/console/line_reader.h"
#include "twin/console/requests.h"
#include "twin/page/link.h"
#include "twin/page/outbox.h"
#include "twin/trace/output.h"
#include "twin/trace/trace.h"

namespace twin {

namespace {

std::atomic<bool> gWatched{false};
std::atomic<bool> gQuit{false};

// The head as it was told last, without its time. Never destroyed: threads outlive main.
struct ToldHead {
    std::mutex mutex;
    std::string state;
};

void tellHead(bool anyway) {
    static auto& told = *new ToldHead;
    const std::string head = describeHead();
    const std::string_view state = std::string_view(head).substr(head.find(','));
    const std::lock_guard lock(told.mutex);
    if (anyway || state != told.state) {
        told.state = state;
        post(PacketKind::headNow, 0, head);
    }
}

// With the virtual clock the world belongs to the console's thread, and stands still in between.
void tellHeadInRealTime() {
    if (gWatched && !clockIsVirtual()) {
        tellHead(false);
    }
}

void sayFarewell() {
    // A quit whose thread has not come back yet is one, too.
    const bool over = gQuit || quitAsked();
    const std::string reason = over ? "quit" : outsideSignalEnds() ? "signal" : "off";
    tellHead(true);
    closeOutbox({PacketKind::farewell, 0,
                 reason + "\n" + std::to_string(clockSpeed()) + "\n" + std::to_string(linesRead()) +
                     "\n" + unusedInput()});
}

// With the virtual clock the world is the console's thread's alone.
void onOwnThread(std::function<void()> work) {
    if (clockIsVirtual()) {
        postWork(std::move(work));
    } else {
        work();
    }
}

// Whoever begins to look sees the present state first.
void watch(bool watched) {
    gWatched = watched;
    tapTrace(watched ? postTrace : nullptr);
    if (watched) {
        onOwnThread([] { tellHead(true); });
    }
}

// Answers to questions other than the console's.

void answerHead(const Packet& question) {
    post(PacketKind::answer, question.number, describeHead());
    post(PacketKind::finished, question.number, "0");
}

void answerBus(const Packet& question) {
    for (const auto& [key, value] : busKeysBelow(question.text)) {
        post(PacketKind::answer, question.number, key + '\0' + value);
    }
    post(PacketKind::finished, question.number, "0");
}

void answerSet(const Packet& question) {
    const std::size_t end = std::min(question.text.find('\0'), question.text.size());
    const std::string value = question.text.substr(std::min(end + 1, question.text.size()));
    const std::string problem = value.find('\0') == std::string::npos
                                    ? setFromOutside(question.text.substr(0, end), value)
                                    : "a NUL byte in the value, accepted: text";
    if (!problem.empty()) {
        post(PacketKind::answer, question.number, problem);
    }
    post(PacketKind::finished, question.number, problem.empty() ? "0" : "1");
    settle();
}

// A line as standard input's would be taken.
bool takeLine(std::string line, const Answers& answers) {
    if (line.ends_with('\r')) {
        line.pop_back();
    }
    if (line.size() > kLongestInputLine || line.find('\0') != std::string::npos) {
        answers.take("error NUL bytes or more than " + std::to_string(kLongestInputLine) +
                     " bytes, accepted: text" + placeOf(answers.line));
        return false;
    }
    return execute(line, answers);
}

// Whoever asked for what is in `numbers` has gone away. `present` is what the console carries out.
struct Forsaken {
    std::mutex mutex;
    std::set<std::uint32_t> numbers;
    std::uint32_t present = 0;
};

Forsaken& forsaken() {
    static auto& all = *new Forsaken;
    return all;
}

bool isForsaken(std::uint32_t number) {
    const std::lock_guard lock(forsaken().mutex);
    return forsaken().numbers.count(number) > 0;
}

void breakForsakenOff() {
    const std::lock_guard lock(forsaken().mutex);
    if (forsaken().numbers.count(forsaken().present) > 0) {
        breakWaitsOff(true);
    }
}

void takeCancel(std::uint32_t number) {
    {
        const std::lock_guard lock(forsaken().mutex);
        forsaken().numbers.insert(number);
    }
    if (clockIsVirtual()) {
        interruptRun(breakForsakenOff);
    } else {
        breakForsakenOff();
    }
}

void setPresent(std::uint32_t number) {
    const std::lock_guard lock(forsaken().mutex);
    forsaken().numbers.erase(forsaken().present);
    forsaken().present = number;
    breakWaitsOff(false);
}

void answerConsole(const Packet& question) {
    const std::uint32_t number = question.number;
    setPresent(number);
    Answers answers{
        [number](const std::string& text) { post(PacketKind::answer, number, "= " + text); },
        static_cast<int>(std::strtol(question.text.c_str(), nullptr, 10))};
    bool good = true;
    for (std::size_t begin = question.text.find('\n') + 1;
         begin < question.text.size() && !quitAsked() && !isForsaken(number);) {
        const std::size_t end = std::min(question.text.find('\n', begin), question.text.size());
        post(PacketKind::begin, number, "");
        good = takeLine(question.text.substr(begin, end - begin), answers) && good;
        post(PacketKind::end, number, "");
        answers.line += answers.line > 0 ? 1 : 0;
        begin = end + 1;
    }
    setPresent(0);
    post(PacketKind::finished, number, good ? "0" : "1");
}

struct Row {
    PacketKind kind;
    void (*answer)(const Packet&);
    bool anyThread;  // with the real clock; with the virtual one everything is the console's
};

constexpr std::array<Row, 4> kQuestions = {{
    {PacketKind::console, answerConsole, false},
    {PacketKind::head, answerHead, true},
    {PacketKind::bus, answerBus, true},
    {PacketKind::set, answerSet, true},
}};

void takePacket(const Packet& packet) {
    if (packet.kind == PacketKind::watch) {
        watch(packet.text == "1");
    } else if (packet.kind == PacketKind::cancel) {
        takeCancel(packet.number);
    }
    for (const Row& row : kQuestions) {
        if (row.kind != packet.kind) {
            continue;
        }
        const auto work = [row, packet] {
            row.answer(packet);
            if (gWatched && clockIsVirtual()) {
                tellHead(false);
            }
        };
        if (row.anyThread) {
            onOwnThread(work);
        } else {
            postWork(work);
        }
    }
}

void takePackets(int link) {
    while (const auto packet = receivePacket(link)) {
        takePacket(*packet);
    }
    // Without the page's process the run has nobody.
    kill(getpid(), SIGTERM);
}

}  // namespace

void runCamera(const Boot& boot, int link) {
    std::signal(SIGPIPE, SIG_DFL);
    openOutbox(link, tellHeadInRealTime);
    onRunEnd(sayFarewell);
    borrowPlace();
    powerUp(boot.session, boot.daemon);
    boot.startServices();
    tellHead(true);
    post(PacketKind::ready, 0, "");
    std::thread(takePackets, link).detach();
    keepConsoleOpen();
    giveInput(boot.input, boot.inputLines);
    const int status = runConsole(boot.console);
    gQuit = true;
    boot.stopServices();
    endRun(status);
}

}  // namespace twin
