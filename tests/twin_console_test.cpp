// The console, the command line and what the program leaves between runs, from outside.
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "session.h"

namespace {

using testing::Contains;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

const std::vector<std::string> kQuiet = {"--quiet"};

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

// A run to be talked to while it goes on, for what files cannot show.
class Conversation {
public:
    explicit Conversation(std::vector<std::string> options) {
        options.insert(options.begin(), KESTREL_TWIN_PATH);
        std::vector<char*> arguments;
        for (std::string& option : options) {
            arguments.push_back(option.data());
        }
        arguments.push_back(nullptr);
        std::array<int, 2> ends{};
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
        child = fork();
        if (child == 0) {
            dup2(ends[1], STDIN_FILENO);
            dup2(ends[1], STDOUT_FILENO);
            execv(arguments[0], arguments.data());
            _exit(127);
        }
        close(ends[1]);
        end_ = ends[0];
    }
    Conversation(const Conversation&) = delete;
    Conversation& operator=(const Conversation&) = delete;
    ~Conversation() {
        close(end_);
    }

    void write(const std::string& text) const {
        EXPECT_EQ(::write(end_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    // Reads until the output contains `text`, or to its end.
    std::string readTo(const std::string& text) {
        std::array<char, 256> part{};
        for (ssize_t count = 1; count > 0 && seen_.find(text) == std::string::npos;) {
            count = read(end_, part.data(), part.size());
            seen_.append(part.data(), static_cast<std::size_t>(count > 0 ? count : 0));
        }
        return seen_;
    }
    // Ends the input and waits; the exit status.
    int finish() {
        shutdown(end_, SHUT_WR);
        readTo("no such text");
        int status = 0;
        waitpid(child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

    pid_t child = 0;

private:
    int end_ = -1;
    std::string seen_;
};

TEST(TwinConsole, AnswersInTheAgreedForms) {
    const auto run = Camera().run(
        "# a remark\n\n   \nset x.k two  words \nget x.k\r\nset x.empty\nget x.empty\nget x.none\n"
        "keys x.\nexpect x.k two  words \nexpect x.empty\nset image.cam1.sharpness 7\n"
        "keys image.camN.s\nwait x.k now 0.25\nrun 0.75\nexpect x.k other\nexpect x.none absent\n"
        "quit\nget x.k",
        kQuiet);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "");
    EXPECT_THAT(
        run.answers,
        ElementsAre("x.k two  words ", "x.empty ", "x.none absent", "x.empty ", "x.k two  words ",
                    "2 keys", "ok", "ok", "image.camN.sharpness 7", "1 keys",
                    "timeout, x.k is two  words  (line 14)", "FAIL x.k is two  words  (line 16)",
                    "FAIL x.none is absent (line 17)"));
}

TEST(TwinConsole, HugeTextsAndNulBytesAreAnsweredToo) {
    const auto run =
        Camera().run("set " + std::string(128, 'k') + " v\nset k " + std::string(128, 'v') +
                         "\nset k " + std::string(100'000, 'v') + std::string("\nget a\0b\n", 9),
                     kQuiet);
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.answers, ElementsAre(HasSubstr("error key of 128 bytes"),
                                         HasSubstr("error value of 128 bytes"),
                                         HasSubstr("line too long"), HasSubstr("NUL byte")));
}

TEST(TwinConsole, ASignalFromInsideOrOutsideReachesTheDaemonsHandler) {
    const std::pair<const char*, int> signals[] = {
        {"TERM", SIGTERM}, {"INT", SIGINT}, {"QUIT", SIGQUIT}};
    for (const auto& [name, number] : signals) {
        const auto run = Camera().run(std::string("run 0.5\nsignal ") + name + "\nget x");
        EXPECT_EQ(run.status, 1);
        EXPECT_THAT(run.output, EndsWith("\n0.500000 act signal " + std::string(name) +
                                         "\n0.500000 log Exit kestrel sigstop\n"
                                         "# kestrel-twin end 0.500000\n"));
        Conversation talk({"--trace"});
        talk.readTo("ChackPowerOffStatus");
        kill(talk.child, number);
        // While it waits for input, and only then, nothing follows the line.
        EXPECT_THAT(talk.readTo("no such text"),
                    ContainsRegex(" log Exit kestrel sigstop\n# kestrel-twin end [0-9.]+\n$"));
        EXPECT_EQ(talk.finish(), 1);
    }
}

TEST(TwinConsole, AnswersBeforeItWaitsAndTakesALastLineWithoutEnd) {
    Conversation talk({"--quiet"});
    talk.write("get x\n");
    EXPECT_EQ(talk.readTo("\n"), "= x absent\n");
    talk.write("set x 1\nexp");
    talk.write("ect x 2");
    EXPECT_EQ(talk.finish(), 1);
    EXPECT_EQ(talk.readTo("FAIL"), "= x absent\n= FAIL x is 1 (line 3)\n");
}

TEST(TwinConsole, AScriptMayBeAFileAndMayEndWithItsFirstFailure) {
    const Camera camera;
    const auto script = [&](const std::string& text) {
        camera.write("/script", text);
        return camera.pathOf("/script");
    };
    const std::string path = script("get x\n# a remark\nexpect x 1\nget x\n");
    const auto whole = camera.run("get y", {"--quiet", path});
    EXPECT_EQ(whole.status, 1);
    EXPECT_THAT(whole.answers, ElementsAre("x absent", "FAIL x is absent (line 3)", "x absent"));
    const auto ended = camera.run("", {"--quiet", "--stop-on-error", path});
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.answers, ElementsAre("x absent", "FAIL x is absent (line 3)"));
    for (const char* const useless : {"/none", "/mnt"}) {
        const auto run = camera.run("", {"--quiet", camera.pathOf(useless)});
        EXPECT_EQ(run.status, 1) << useless;
        EXPECT_THAT(linesOf(run.errors), ElementsAre(StartsWith("kestrel-twin: "))) << useless;
    }
}

TEST(TwinConsole, OutputThatCannotBeWrittenIsAFailure) {
    const Camera camera;
    const std::string path = camera.pathOf("/errors");
    camera.write("/errors", "");
    const std::string command =
        std::string("echo get x | '") + KESTREL_TWIN_PATH + "' --quiet >/dev/full 2>'" + path + "'";
    EXPECT_EQ(WEXITSTATUS(std::system(command.c_str())), 1);
    EXPECT_THAT(camera.read("/errors").value_or(""), HasSubstr("standard output: No space left"));
}

TEST(TwinConsoleRealClock, AWaitCountsFromTheSetHoweverLateItComes) {
    const Camera camera(Positions{});
    Conversation talk(
        {"--state", camera.pathOf("/.."), "--clock", "real", "--speed", "100", "--trace"});
    talk.write("set lens.camN.zoom a:1200\n");
    talk.readTo(" bus lens.camN.position_zoom 1200\n");
    talk.write(
        "get lens.camN.zoomstatus\nwait lens.camN.position_zoom 1200 0\n"
        "wait lens.camN.position_zoom 1200 0\n");
    EXPECT_EQ(talk.finish(), 1);
    EXPECT_THAT(talk.readTo("no such text"),
                ContainsRegex("\n= ok [0-9.]*\n(.*\n)*= timeout, .*\n"));
}

TEST(TwinConsoleRealClock, TheFirstCommandWaitsUntilTheDaemonHearsIt) {
    Camera camera(Positions{});
    camera.fault("mcu main version 0001");  // the start-up's update takes seconds
    const auto run = camera.run("set lens.camN.zoom a:1200\nwait lens.camN.zoomstatus stop",
                                {"--clock", "real", "--speed", "20", "--trace"});
    EXPECT_EQ(run.status, 0) << run.output;
}

TEST(TwinCommandLine, RefusesWhatItDoesNotKnowInOneLine) {
    const std::vector<std::string> cases[] = {
        {"--fast"},
        {"--clock", "wall"},
        {"--clock=wall"},
        {"--speed", "2"},
        {"--clock", "real", "--speed", "0"},
        {"--clock", "real", "--speed", "nan"},
        {"--lens-type", "1e1"},
        {"--lens-type", "99999999999"},
        {"--mount", "floor"},
        {"--seed", "-1"},
        {"--seed", "18446744073709551616"},
        {"script.txt", "second.txt"},
        {"--mount"},
        {"--trace=3"},
    };
    const Camera camera;
    for (const auto& options : cases) {
        const auto run = camera.run("get x", options);
        EXPECT_EQ(run.status, 2) << options[0];
        EXPECT_EQ(run.output, "") << options[0];
        EXPECT_THAT(linesOf(run.errors), ElementsAre(StartsWith("kestrel-twin: "))) << options[0];
        EXPECT_THAT(run.errors, HasSubstr("accepted")) << options[0];
    }
    for (const char* const option : {"--help", "--version"}) {
        const auto run = camera.run("fly", {option});
        EXPECT_EQ(run.status, 0) << option;
        EXPECT_THAT(run.output, HasSubstr("kestrel-twin")) << option;
    }
}

TEST(TwinTrace, EveryLineHasItsFormAndTwoRunsAreEqual) {
    const auto run = [](const char* seed) {
        return Camera().run(
            "run 1\nset lens.camN.pan l:10\nset lens.camN.zoom a:900\nrun 2\nset demo.ptz.action "
            "T9999\nset lens.camN.pan s\nrun 3\nset x.k a\x01z\nhead",
            {"--trace", "--seed", seed});
    };
    const auto first = run("7");
    EXPECT_EQ(first.status, 0);
    EXPECT_EQ(first.output, run("7").output);
    EXPECT_NE(first.output, run("8").output);
    const std::regex form(
        R"(= .*|# kestrel-twin \S.*|\d+\.\d{6} (cmd|act|bus|mcu|i2c|log|head) \S.*)");
    const auto lines = linesOf(first.output);
    EXPECT_GT(lines.size(), 50U);
    for (const std::string& line : lines) {
        EXPECT_TRUE(std::regex_match(line, form)) << line;
    }
    EXPECT_THAT(lines, Contains("6.000000 cmd x.k a\\x01z"));
    EXPECT_THAT(lines, Contains("0.000000 log Lens Type: FL4_10"));
    EXPECT_THAT(linesOf(Camera().run("", {"--clock", "virtual"}).output),
                Contains("Lens Type: FL4_10"));
    EXPECT_EQ(Camera().run("get x", kQuiet).output, "= x absent\n");
}

TEST(TwinFaults, FilesStayAsTheyAreWhileUnwritableAndAreEmptiedWhileTheDiskIsFull) {
    for (const bool full : {false, true}) {
        const Camera camera(Positions{});
        const auto run =
            camera.run(std::string("run 1\nfault ") + (full ? "disk-full" : "files-unwritable") +
                       "\nset lens.camN.zoom a:1300\nwait lens.camN.zoomstatus stop\nrun 2\nhead");
        EXPECT_EQ(run.head()["zoom"]["position"], 1300);
        const std::string content = camera.read(kPositionFile).value_or("none");
        EXPECT_TRUE(full ? content.empty() : wordOf(content, 13) == 1000);
        // The fault is part of the camera: it holds until it is cleared.
        camera.run("fault clear\nset lens.camN.zoom r:10\nrun 30");
        EXPECT_EQ(camera.read(kPositionFile).value_or("").size(), 120U);
    }
}

}  // namespace
