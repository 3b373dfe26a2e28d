#include "twin/page/power.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <string_view>
#include <utility>

#include "twin/console/commands.h"
#include "twin/console/line_reader.h"
#include "twin/page/json.h"

namespace twin {

namespace {

// Together, of one question.
constexpr std::size_t kMostAnswerBytes = std::size_t{8} * 1024 * 1024;

constexpr const char* kAcceptedOff = "the camera is off, accepted: power-on, quit, help";

enum class Power { off, starting, on, over };

struct Question {
    std::uint32_t number = 0;
    PacketKind kind{};
    std::string text;    // of a console question: what has not been carried out yet,
    int line = 0;        // and the number of its first line; 0 for none
    bool begun = false;  // its first line is being carried out
    Done done;           // none: whoever asked has gone away
    Reply reply;
    std::size_t answerBytes = 0;
};

Power gPower = Power::off;
Boot gBoot;
void (*gRun)(const Boot&, int) = nullptr;
Listeners gListeners{};
int gStatus = 0;
bool gWatched = false;

// The camera's process.
pid_t gProcess = -1;
int gLink = -1;
std::deque<Packet> gOutbox;
std::string gFarewell;
std::string gHead;

std::deque<Question> gQuestions;
std::uint32_t gAsked = 0;

// Standard input is the camera's while it is on.
bool gInputOpen = true;
bool gInputLineBusy = false;

void say(const std::string& text) {
    std::fputs(text.c_str(), stdout);
    std::fflush(stdout);
}

void prompt() {
    if (gBoot.console.interactive && gPower == Power::off && !gInputLineBusy) {
        say("off> ");
    }
}

void sendOutbox() {
    while (!gOutbox.empty() && gLink >= 0) {
        if (sendPacket(gLink, gOutbox.front(), false) == Sent::full) {
            return;
        }
        // A broken link is seen by its reading end.
        gOutbox.pop_front();
    }
}

void tellCamera(PacketKind kind, std::uint32_t number, const std::string& text) {
    gOutbox.push_back({kind, number, text});
    sendOutbox();
}

void putToCamera(const Question& question) {
    const bool console = question.kind == PacketKind::console;
    tellCamera(question.kind, question.number,
               (console ? std::to_string(question.line) + "\n" : "") + question.text);
}

// A line and its end.
void dropLine(Question& question) {
    std::string& text = question.text;
    text.erase(0, std::min(text.find('\n'), text.size() - 1) + 1);
    question.line += question.line > 0 ? 1 : 0;
}

void addAnswer(Question& question, const std::string& answer) {
    question.answerBytes += answer.size();
    if (question.answerBytes <= kMostAnswerBytes) {
        question.reply.answers.push_back(answer);
    } else {
        question.reply.failed = true;
    }
}

// Says what is wrong with the present line.
void failLine(Question& question, const std::string& error) {
    question.reply.failed = true;
    addAnswer(question, "= error " + error + placeOf(question.line));
}

void finish(const std::deque<Question>::iterator& position) {
    Question question = std::move(*position);
    gQuestions.erase(position);
    if (question.done) {
        question.done(question.reply);
    }
}

// Everything but the standard streams and the link is the page's own.
void keepOnly(int link) {
    DIR* const open = opendir("/proc/self/fd");
    if (open == nullptr) {
        return;
    }
    const int own = dirfd(open);
    std::vector<int> others;
    while (const dirent* const entry = readdir(open)) {
        const int descriptor = std::atoi(entry->d_name);  // NOLINT(cert-err34-c): the kernel's
        if (descriptor > STDERR_FILENO && descriptor != link && descriptor != own) {
            others.push_back(descriptor);
        }
    }
    closedir(open);
    std::for_each(others.begin(), others.end(), close);
}

bool boot() {
    int cameraEnd = -1;
    if (!openLink(gLink, cameraEnd)) {
        return false;
    }
    std::fflush(stdout);
    gProcess = fork();
    if (gProcess == 0) {
        keepOnly(cameraEnd);
        gRun(gBoot, cameraEnd);
        _exit(1);
    }
    close(cameraEnd);
    if (gProcess < 0) {
        close(gLink);
        gLink = -1;
        return false;
    }
    gFarewell.clear();
    gPower = Power::starting;
    tellCamera(PacketKind::watch, 0, gWatched ? "1" : "0");
    return true;
}

// What there is to say to a line while the camera is off.
void carryOutOff(Question& question, const std::string& line) {
    const std::size_t begin = line.find_first_not_of(" \t");
    const std::size_t end = line.find_last_not_of(" \t\r");
    const std::string command =
        begin == std::string::npos ? "" : line.substr(begin, end - begin + 1);
    if (command.empty() || command.starts_with('#')) {
        return;
    }
    if (command == "power-on") {
        if (boot()) {
            question.begun = true;
        } else {
            failLine(question, "there is no process for the camera");
        }
    } else if (command == "quit") {
        gPower = Power::over;
    } else if (command == "help") {
        addAnswer(question, "= power-on: boot the camera again");
        addAnswer(question, "= quit: end the program");
    } else {
        failLine(question, kAcceptedOff);
    }
}

// Answers questions for as long as the camera is off.
void workOff() {
    while (gPower == Power::off && !gQuestions.empty()) {
        Question& question = gQuestions.front();
        if (question.kind != PacketKind::console) {
            question.reply.off = true;
            finish(gQuestions.begin());
            continue;
        }
        while (gPower == Power::off && !question.text.empty()) {
            const std::string line = question.text.substr(0, question.text.find('\n'));
            carryOutOff(question, line);
            if (!question.begun) {
                dropLine(question);
            }
        }
        if (question.text.empty()) {
            finish(gQuestions.begin());
        }
    }
    while (gPower == Power::over && !gQuestions.empty()) {
        finish(gQuestions.begin());
    }
}

void printReply(const Reply& reply) {
    for (const std::string& answer : reply.answers) {
        say(answer + "\n");
    }
    // Whoever else fails is told so.
    if (reply.failed) {
        gStatus = gStatus == 0 ? 1 : gStatus;
    }
    gInputLineBusy = false;
    prompt();
}

// Carries out what has been read from standard input, as long as the camera is off.
void workInput() {
    std::string& input = gBoot.input;
    while (gPower == Power::off && !gInputLineBusy) {
        const std::size_t end = input.find('\n');
        const bool complete = end != std::string::npos;
        if (!complete && input.size() <= kLongestInputLine && (gInputOpen || input.empty())) {
            return;
        }
        std::string line = input.substr(0, end);
        input.erase(0, complete ? end + 1 : input.size());
        gInputLineBusy = true;
        ++gBoot.inputLines;
        ask(PacketKind::console, std::move(line), printReply,
            gBoot.console.interactive ? 0 : gBoot.inputLines);
    }
}

void readInput() {
    std::array<char, 4096> text{};
    const ssize_t count = read(STDIN_FILENO, text.data(), text.size());
    if (count > 0) {
        gBoot.input.append(text.data(), static_cast<std::size_t>(count));
    } else if (count == 0 || (errno != EINTR && errno != EAGAIN)) {
        gInputOpen = false;
        if (gBoot.console.interactive) {
            gPower = Power::over;
        }
    }
    workInput();
}

void takeReady() {
    gPower = Power::on;
    gBoot.console.greet = false;
    // From here on the camera knows itself how it is made and mounted.
    gBoot.session.camera.lensType.reset();
    gBoot.session.camera.mount.clear();
    gBoot.input.clear();
    if (!gQuestions.empty() && gQuestions.front().begun) {
        gQuestions.front().begun = false;
        dropLine(gQuestions.front());
        if (gQuestions.front().text.empty()) {
            finish(gQuestions.begin());
        }
    }
    for (const Question& question : gQuestions) {
        putToCamera(question);
    }
}

void takeFarewell() {
    // REASON, SPEED, LINES, and the rest is input.
    std::array<std::string, 3> lines;
    std::size_t begin = 0;
    for (std::string& line : lines) {
        const std::size_t end = std::min(gFarewell.find('\n', begin), gFarewell.size());
        line = gFarewell.substr(begin, end - begin);
        begin = std::min(end + 1, gFarewell.size());
    }
    if (!lines[0].empty()) {
        gBoot.session.speed = std::strtod(lines[1].c_str(), nullptr);
        gBoot.inputLines = static_cast<int>(std::strtol(lines[2].c_str(), nullptr, 10));
        gBoot.input = gFarewell.substr(begin);
    }
    gPower = lines[0] == "quit" || lines[0] == "signal" ? Power::over : Power::off;
}

// The camera's process is no more.
void takeEnd() {
    close(gLink);
    gLink = -1;
    gOutbox.clear();
    int wait = 0;
    while (waitpid(gProcess, &wait, 0) < 0 && errno == EINTR) {
    }
    gProcess = -1;
    const int status = WIFEXITED(wait) ? WEXITSTATUS(wait) : 128 + WTERMSIG(wait);
    gStatus = gStatus == 0 ? status : gStatus;
    const bool started = gPower == Power::on;
    takeFarewell();
    for (Question& question : gQuestions) {
        if (question.begun) {
            question.begun = false;
            if (gFarewell.empty()) {
                failLine(question, started ? "the camera's process ended with status " +
                                                 std::to_string(status)
                                           : std::string("the camera does not start"));
            }
            dropLine(question);
        }
    }
    if (!started && gBoot.console.greet) {
        gPower = Power::over;
    }
    gListeners.head(lastHead());
    if (gPower == Power::off && gBoot.console.interactive) {
        say("The camera is off: power-on boots it again, quit ends.\n");
    }
    workOff();
    prompt();
    workInput();
}

std::deque<Question>::iterator questionOf(std::uint32_t number) {
    return std::find_if(gQuestions.begin(), gQuestions.end(),
                        [number](const Question& question) { return question.number == number; });
}

void takePacket(const Packet& packet) {
    const auto question = questionOf(packet.number);
    const bool known = question != gQuestions.end();
    switch (packet.kind) {
        case PacketKind::ready:
            takeReady();
            break;
        case PacketKind::begin:
            if (known) {
                question->begun = true;
            }
            break;
        case PacketKind::answer:
            if (known) {
                addAnswer(*question, packet.text);
            }
            break;
        case PacketKind::end:
            if (known) {
                question->begun = false;
                dropLine(*question);
            }
            break;
        case PacketKind::finished:
            if (known) {
                question->reply.failed = question->reply.failed || packet.text != "0";
                finish(question);
            }
            break;
        case PacketKind::trace:
            gListeners.trace(packet.text);
            break;
        case PacketKind::lost:
            gListeners.lost(packet.text);
            break;
        case PacketKind::headNow:
            gHead = packet.text;
            gListeners.head(gHead);
            break;
        case PacketKind::farewell:
            gFarewell = packet.text;
            break;
        default:
            break;
    }
}

}  // namespace

bool startPower(const Boot& first, void (*run)(const Boot& boot, int link),
                const Listeners& listeners) {
    gBoot = first;
    gRun = run;
    gListeners = listeners;
    return boot();
}

std::uint32_t ask(PacketKind kind, std::string text, Done done, int line) {
    const std::uint32_t number = ++gAsked;
    gQuestions.push_back({number, kind, std::move(text), line, false, std::move(done), {}, 0});
    if (gPower == Power::on) {
        putToCamera(gQuestions.back());
    } else {
        workOff();
    }
    return number;
}

void forget(std::uint32_t number) {
    const auto question = questionOf(number);
    if (question == gQuestions.end()) {
        return;
    }
    question->done = nullptr;
    if (gPower == Power::on) {
        tellCamera(PacketKind::cancel, number, "");
        // Should the camera end meanwhile, the rest is not for the next one.
        question->text.erase(std::min(question->text.find('\n'), question->text.size()));
    } else if (!question->begun) {
        gQuestions.erase(question);
    }
}

void watchEvents(bool watched) {
    if (watched != gWatched) {
        gWatched = watched;
        if (gLink >= 0) {
            tellCamera(PacketKind::watch, 0, watched ? "1" : "0");
        }
    }
}

std::string lastHead() {
    const bool firstBoot = gPower == Power::starting && gHead.empty();
    return gPower == Power::on || firstBoot ? gHead : headSwitchedOff(gHead);
}

std::array<pollfd, 2> powerSources() {
    const bool readsInput = gPower == Power::off && gInputOpen && !gInputLineBusy;
    const auto wanted = static_cast<short>(gOutbox.empty() ? POLLIN : POLLIN | POLLOUT);
    return {{{gLink, wanted, 0}, {readsInput ? STDIN_FILENO : -1, POLLIN, 0}}};
}

void servePower(const std::array<pollfd, 2>& sources) {
    if (gLink >= 0 && sources[0].fd == gLink && sources[0].revents != 0) {
        sendOutbox();
        if ((sources[0].revents & (POLLIN | POLLHUP | POLLERR)) != 0) {
            if (const auto packet = receivePacket(gLink)) {
                takePacket(*packet);
            } else {
                takeEnd();
            }
        }
    }
    if (sources[1].revents != 0 && gPower == Power::off) {
        readInput();
    }
}

void takeOutsideSignal(int signal, bool sent) {
    if (gProcess <= 0) {
        gStatus = gStatus == 0 ? 128 + signal : gStatus;
        gPower = Power::over;
    } else if (sent) {
        kill(gProcess, signal);
    }
}

bool powerIsOver() {
    return gPower == Power::over;
}

int powerStatus() {
    return gStatus;
}

}  // namespace twin
