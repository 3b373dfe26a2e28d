// The console, the command line and what the program leaves between runs, from outside.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "session.h"

namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
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

// A run whose standard streams are pipes, for what files cannot show.
class Piped {
public:
    explicit Piped(const std::vector<std::string>& options) {
        std::array<int, 2> in{};
        std::array<int, 2> out{};
        if (pipe2(in.data(), O_CLOEXEC) != 0 || pipe2(out.data(), O_CLOEXEC) != 0) {
            ADD_FAILURE() << "no pipes";
        }
        std::vector<const char*> arguments = {KESTREL_TWIN_PATH};
        for (const std::string& option : options) {
            arguments.push_back(option.c_str());
        }
        arguments.push_back(nullptr);
        child_ = fork();
        if (child_ == 0) {
            dup2(in[0], STDIN_FILENO);
            dup2(out[1], STDOUT_FILENO);
            execv(KESTREL_TWIN_PATH, const_cast<char**>(arguments.data()));
            _exit(127);
        }
        close(in[0]);
        close(out[1]);
        input_ = in[1];
        output_ = out[0];
    }
    ~Piped() {
        close(output_);
    }
    Piped(const Piped&) = delete;
    Piped& operator=(const Piped&) = delete;

    void write(const std::string& text) const {
        EXPECT_EQ(::write(input_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    // Reads until the output contains `text`, or to its end.
    std::string readTo(const std::string& text) {
        std::array<char, 256> part{};
        while (seen_.find(text) == std::string::npos) {
            const ssize_t count = read(output_, part.data(), part.size());
            if (count <= 0) {
                break;
            }
            seen_.append(part.data(), static_cast<std::size_t>(count));
        }
        return seen_;
    }
    void signal(int number) const {
        kill(child_, number);
    }
    // Ends the input, reads the rest; the exit status.
    int finish() {
        close(input_);
        readTo("no such text");
        int status = 0;
        waitpid(child_, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

private:
    pid_t child_ = 0;
    int input_ = -1;
    int output_ = -1;
    std::string seen_;
};

TEST(TwinConsole, AnswersInTheAgreedForms) {
    const Camera camera;
    const auto run = camera.run(
        "# a remark\n"
        "\n"
        "   \n"
        "set x.k two  words \n"
        "get x.k\r\n"
        "set x.empty\n"
        "get x.empty\n"
        "get x.none\n"
        "keys x.\n"
        "expect x.k two  words \n"
        "expect x.empty\n"
        "set image.cam1.sharpness 7\n"
        "keys image.camN.s\n"
        "wait x.k now 0.25\n"
        "run 0.75\n"
        "expect x.k other\n"
        "expect x.none absent\n"
        "quit\n"
        "get x.k",
        kQuiet);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "");
    EXPECT_THAT(run.answers, ElementsAre("x.k two  words ", "x.empty ", "x.none absent", "x.empty ",
                                         "x.k two  words ", "2 keys", "ok", "ok",
                                         "image.camN.sharpness 7", "1 keys", "timeout",
                                         "FAIL x.k is two  words ", "FAIL x.none is absent"));
}

TEST(TwinConsole, TimeMovesOnlyWhileACommandRunsIt) {
    const Camera camera(Positions{});
    const auto run = camera.run(
        "set lens.camN.zoom a:1200\nhead\nget lens.camN.zoomstatus\nset x 1\nhead\n"
        "wait lens.camN.zoomstatus stop 5\nrun 0\nhead\nrun 1.5\nhead\n"
        "wait lens.camN.zoomstatus stop 0.5\nhead");
    ASSERT_EQ(run.answers.size(), 8U);
    const std::string arrival = run.answers[3];
    ASSERT_THAT(arrival, testing::MatchesRegex("ok 0\\.[0-9]{6}"));
    const double arrived = std::stod(arrival.substr(3));
    EXPECT_EQ(run.head(0)["t"], 0.0);
    EXPECT_EQ(run.answers[1], "lens.camN.zoomstatus absent");
    EXPECT_EQ(run.head(1)["t"], 0.0);
    EXPECT_DOUBLE_EQ(run.head(2)["t"], arrived);
    EXPECT_EQ(run.head(2)["zoom"]["position"], 1200);
    EXPECT_DOUBLE_EQ(run.head(3)["t"], arrived + 1.5);
    EXPECT_EQ(run.answers[6], "timeout");
    EXPECT_DOUBLE_EQ(run.head(4)["t"], arrived + 2.0);
}

TEST(TwinConsole, AWrongLineIsAnsweredAndTheRunGoesOn) {
    struct Case {
        std::string line;
        const char* problem;
    };
    const Case cases[] = {
        {"fly away", "unknown command 'fly', accepted: set, get,"},
        {"SET a b", "unknown command 'SET'"},
        {"set", "accepted: set KEY VALUE"},
        {"get", "accepted: get KEY"},
        {"get a b", "accepted: get KEY"},
        {"run", "accepted: run SECONDS"},
        {"run soon", "'soon' is no time"},
        {"run 1x", "'1x' is no time"},
        {"run -1", "'-1' is no time"},
        {"run nan", "'nan' is no time"},
        {"run inf", "'inf' is no time"},
        {"run 1000001", "accepted: seconds from 0 to 1000000"},
        {"run 99999999999999999999999999999999", "is no time"},
        {"wait k v never", "'never' is no time"},
        {"wait k v 1 2", "accepted: wait KEY VALUE [SECONDS]"},
        {"signal HUP", "accepted: TERM, INT, QUIT"},
        {"fault mist", "accepted: "},
        {"counter zoom 5", "accepted: pan, tilt"},
        {"counter pan 99999999999", "is no number"},
        {"help fly", "unknown command 'fly'"},
        {"set " + std::string(128, 'k') + " v", "key of 128 bytes"},
        {"get " + std::string(128, 'k'), "key of 128 bytes"},
        {"expect " + std::string(128, 'k') + " v", "key of 128 bytes"},
        {"set k " + std::string(128, 'v'), "value of 128 bytes"},
        {"set k " + std::string(100'000, 'v'), "line too long"},
        {std::string("get a\0b", 7), "NUL byte"},
    };
    std::string script;
    for (const Case& each : cases) {
        script += each.line + "\n";
    }
    const Camera camera;
    const auto run = camera.run(script + "get x", kQuiet);
    EXPECT_EQ(run.status, 1);
    ASSERT_EQ(run.answers.size(), std::size(cases) + 1) << run.output;
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        EXPECT_THAT(run.answers[i], AllOf(StartsWith("error "), HasSubstr(cases[i].problem)));
    }
    EXPECT_EQ(run.answers.back(), "x absent");
}

TEST(TwinConsole, TheExitStatusTellsHowTheRunEnded) {
    struct Case {
        const char* script;
        int status;
    };
    constexpr Case kCases[] = {
        {"", 0},
        {"run 1\nhead\nfault\nhelp\nget x\nset x 1\nwait lens.camN.irisstatus stop 0.001", 1},
        {"run 1", 0},
        {"set x 1\nexpect x 1", 0},
        {"expect x 1", 1},
        {"fly", 1},
        {"quit", 0},
        {"power-cut\nexpect x 1", 0},
        {"expect x 1\npower-cut", 1},
        {"signal TERM", 1},
        // A text that does not fit into the daemon's command buffer.
        {"run 1\nfault bus-overlong\nset lens.camN.zoom "
         "a:00000000000000000000000000000000000000000000000000000000000000000000000000000000000000"
         "0000000000000000000000000000000000000000000000000\nrun 1",
         128 + SIGABRT},
    };
    for (const Case& each : kCases) {
        const Camera camera;
        EXPECT_EQ(camera.run(each.script, kQuiet).status, each.status) << each.script;
    }
}

TEST(TwinConsole, ASignalReachesTheDaemonsHandlerAndItsLineTheTrace) {
    for (const char* const signal : {"TERM", "INT", "QUIT"}) {
        const Camera camera;
        const auto run = camera.run("run 0.5\nsignal " + std::string(signal) + "\nget x");
        EXPECT_EQ(run.status, 1);
        EXPECT_THAT(run.output, EndsWith("\n0.500000 log Exit kestrel sigstop\n")) << signal;
        EXPECT_TRUE(camera.read("/../head").has_value());
    }
}

TEST(TwinConsole, ASignalFromOutsideEndsTheRunTheSameWay) {
    for (const int number : {SIGTERM, SIGINT, SIGQUIT}) {
        Piped run({"--trace"});
        run.readTo("ChackPowerOffStatus");
        run.signal(number);
        // While it waits for input, and only then, nothing follows the line.
        EXPECT_THAT(run.readTo("no such text"), EndsWith(" log Exit kestrel sigstop\n"));
        EXPECT_EQ(run.finish(), 1);
    }
}

TEST(TwinConsole, AnswersBeforeItWaitsAndTakesALastLineWithoutEnd) {
    Piped run(kQuiet);
    run.write("get x\n");
    EXPECT_EQ(run.readTo("\n"), "= x absent\n");
    run.write("set x 1\nexp");
    run.write("ect x 2");
    EXPECT_EQ(run.finish(), 1);
    EXPECT_EQ(run.readTo("FAIL"), "= x absent\n= FAIL x is 1\n");
}

TEST(TwinCommandLine, RefusesWhatItDoesNotKnowInOneLine) {
    const std::vector<std::vector<std::string>> cases = {
        {"--fast"},
        {"--clock", "wall"},
        {"--clock=wall"},
        {"--clock", ""},
        {"--speed", "2"},
        {"--clock", "real", "--speed", "0"},
        {"--lens-type", "x"},
        {"--lens-type", "1e1"},
        {"--lens-type", "99999999999"},
        {"--mount", "floor"},
        {"--seed", "-1"},
        {"--seed", "18446744073709551616"},
        {"script.txt"},
        {"--trace=yes"},
        {"-t"},
        {"--mount"},
        {"--clock", "real", "--speed", "nan"},
    };
    const Camera camera;
    for (const auto& options : cases) {
        const auto run = camera.run("get x", options);
        EXPECT_EQ(run.status, 2) << options[0];
        EXPECT_EQ(run.output, "") << options[0];
        EXPECT_THAT(linesOf(run.errors), ElementsAre(StartsWith("kestrel-twin: "))) << options[0];
        EXPECT_THAT(run.errors, testing::AnyOf(HasSubstr("accepted"), HasSubstr("needs a value")));
    }
    for (const std::string option : {"--help", "--version"}) {
        const auto run = camera.run("fly", {option});
        EXPECT_EQ(run.status, 0) << option;
        EXPECT_THAT(run.output, HasSubstr("kestrel-twin")) << option;
    }
}

TEST(TwinTrace, EveryLineHasItsFormAndTwoRunsAreEqual) {
    const std::string script =
        "run 1\nset lens.camN.pan l:10\nset lens.camN.zoom a:900\nrun 2\nset demo.ptz.action "
        "T9999\n"
        "set lens.camN.pan s\nrun 3\nset x.k a\x01z\nhead";
    const std::vector<std::string> options = {"--trace", "--seed", "7"};
    const Camera first;
    const Camera second;
    const auto run = first.run(script, options);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, second.run(script, options).output);
    const std::regex form(R"(= .*|\d+\.\d{6} (cmd|bus|mcu|i2c|log|head) \S.*)");
    const auto lines = linesOf(run.output);
    EXPECT_GT(lines.size(), 50U);
    for (const std::string& line : lines) {
        EXPECT_TRUE(std::regex_match(line, form)) << line;
    }
    EXPECT_THAT(lines, Contains("6.000000 cmd x.k a\\x01z"));
}

TEST(TwinTrace, TheDaemonsLinesAreTracedPrintedOrHidden) {
    struct Case {
        std::vector<std::string> options;
        const char* firstLine;
    };
    const Case cases[] = {
        {{"--trace"}, "0.000000 log Lens Type: FL4_10"},
        {{"--clock", "virtual"}, "Lens Type: FL4_10"},
        {{"--quiet"}, "= x absent"},
    };
    for (const Case& each : cases) {
        const Camera camera;
        const auto run = camera.run("get x", each.options);
        EXPECT_THAT(linesOf(run.output), Contains(each.firstLine));
        EXPECT_THAT(linesOf(run.output), Contains("= x absent"));
        EXPECT_EQ(run.output.find("Lens Type") == std::string::npos, each.options[0] == "--quiet");
    }
}

TEST(TwinState, TheCameraIsTheSameAtTheNextRun) {
    const Camera camera;
    const auto newCamera = camera.run(
        "expect image.camN.exposure.iris_table 100\nexpect gpio.camN.out.icr day\n"
        "expect lens.global.led_ctrl 1,1,1,1,1,1,1,1\nexpect encode.camN.status start\n"
        "set image.camN.flip on\nset x.odd \\ two  words\x01\nset lens.camN.zoom r:50\nrun 3\nhead",
        kQuiet);
    EXPECT_EQ(newCamera.status, 0) << newCamera.output;
    EXPECT_EQ(camera.read("/etc/mcu_ver_mb.info"), "mcu_ver=0102\n");
    EXPECT_EQ(camera.read("/bin/SensorMCU.txt"), "version 0201\n");

    camera.write("/etc/mcu_ver_mb.info", "mcu_ver=0105\n");
    const auto next = camera.run(
        "expect image.camN.flip on\nexpect x.odd \\ two  words\x01\nget lens.camN.zoom\nhead",
        kQuiet);
    EXPECT_EQ(next.status, 0) << next.output;
    EXPECT_EQ(next.answers[2], "lens.camN.zoom absent");
    EXPECT_EQ(next.head()["zoom"]["position"], newCamera.head()["zoom"]["position"]);
    EXPECT_EQ(camera.read("/etc/mcu_ver_mb.info"), "mcu_ver=0105\n");
}

TEST(TwinState, APowerCutLeavesEverythingAsItIsAtThatInstant) {
    const Camera camera(Positions{});
    const auto cut =
        camera.run("set lens.camN.zoom a:2000\nset x.k kept\nrun 0.1\nhead\npower-cut");
    EXPECT_EQ(cut.status, 0);
    const int position = cut.head()["zoom"]["position"];
    EXPECT_GT(position, 1000);
    EXPECT_LT(position, 2000);
    const auto next = camera.run("head\nget x.k", kQuiet);
    EXPECT_EQ(next.head()["zoom"]["position"], position);
    EXPECT_EQ(next.answers[1], "x.k kept");
}

TEST(TwinState, AnAbortOfTheDaemonSavesToo) {
    const Camera camera(Positions{});
    camera.run(
        "set lens.camN.zoom a:1300\nset x.k kept\nrun 2\nfault bus-overlong\nset lens.camN.pan " +
        std::string(200, '1'));
    EXPECT_EQ(camera.run("head", kQuiet).head()["zoom"]["position"], 1300);
    EXPECT_EQ(camera.run("get x.k", kQuiet).answers[0], "x.k kept");
}

TEST(TwinState, DamagedBusLinesAreLeftOutAndADamagedHeadIsRefused) {
    const Camera camera;
    camera.run("set x.k 1\nset lens.camN.preset1 5", kQuiet);
    {
        std::ofstream bus(camera.pathOf("/../bus"), std::ios::app);
        bus << "lonely\n bare\nx.long " << std::string(128, 'v') << "\nx.esc \\xq\nx.good 2";
    }
    const auto run = camera.run("get x.k\nget x.good\nkeys x.", kQuiet);
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(linesOf(run.errors), ElementsAre(EndsWith("/bus: 4 damaged lines left out")));
    EXPECT_THAT(run.answers, ElementsAre("x.k 1", "x.good 2", "x.good 2", "x.k 1", "2 keys"));

    for (const char* const content : {"", "zoom.position\n", "zoom.position far\n"}) {
        std::ofstream(camera.pathOf("/../head")) << content;
        const auto refused = camera.run("get x", kQuiet);
        EXPECT_EQ(refused.status, 1) << content;
        EXPECT_THAT(linesOf(refused.errors), ElementsAre(StartsWith("kestrel-twin: "))) << content;
    }
}

TEST(TwinState, ACameraThatRunsIsNotRunTwice) {
    const Camera camera;
    camera.run("quit");
    const int lock = open(camera.pathOf("/..").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(flock(lock, LOCK_EX), 0);
    const auto run = camera.run("get x", kQuiet);
    close(lock);
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, HasSubstr("in use by another run"));
}

TEST(TwinState, APrivateCameraLeavesNothing) {
    const std::string place = testing::TempDir() + "twin-private-" + std::to_string(getpid());
    std::filesystem::create_directory(place);
    setenv("TMPDIR", place.c_str(), 1);
    for (const char* const script : {"run 1\n", "power-cut\n", "signal TERM\n", "fly\n"}) {
        Piped run(kQuiet);
        run.write(script);
        run.finish();
        EXPECT_TRUE(std::filesystem::is_empty(place)) << script;
    }
    unsetenv("TMPDIR");
    std::filesystem::remove_all(place);
}

// Moves the zoom and lets the position file be written; the fault holds meanwhile.
Session moveUnder(const Camera& camera, const std::string& fault) {
    return camera.run("run 1\nfault " + fault +
                      "\nset lens.camN.zoom a:1300\nwait lens.camN.zoomstatus stop\nrun 2\nhead");
}

TEST(TwinFaults, FilesCanBeReadButNotChangedWhileUnwritable) {
    Camera camera(Positions{});
    const auto run = moveUnder(camera, "files-unwritable");
    EXPECT_EQ(run.head()["zoom"]["position"], 1300);
    EXPECT_EQ(wordOf(camera.read(kPositionFile).value_or(""), 13), 1000);
    EXPECT_EQ(camera.read("/mnt/nand/ZoomMotor.txt"), std::nullopt);
    // The fault is part of the camera: the next boot still reads the old position from the file.
    const auto next =
        camera.run("get lens.camN.position_zoom\nfault clear\nset lens.camN.zoom r:10\nrun 3");
    EXPECT_EQ(next.answers[0], "lens.camN.position_zoom 1000");
    EXPECT_EQ(wordOf(camera.read(kPositionFile).value_or(""), 13), 1010);
}

TEST(TwinFaults, FilesCanBeMadeButNotFilledWhileTheDiskIsFull) {
    Camera camera(Positions{});
    const auto run = moveUnder(camera, "disk-full");
    EXPECT_EQ(run.head()["zoom"]["position"], 1300);
    EXPECT_EQ(camera.read(kPositionFile), "");
    const auto next = camera.run("get x\nfault clear\nset lens.camN.zoom r:10\nrun 30");
    EXPECT_EQ(camera.read(kPositionFile).value_or("").size(), 120U);
}

TEST(TwinRealClock, AMoveRunsOnRealThreads) {
    const Camera camera(Positions{});
    const auto run = camera.run(
        "run 2\nset lens.camN.zoom a:1200\nwait lens.camN.zoomstatus stop 60\n"
        "set demo.ptz.action p300\nset lens.camN.focus r:20\nwait demo.ptz.action done 60\n"
        "run 5\nexpect lens.camN.position_pan 10300\nhead\nsignal TERM",
        {"--clock", "real", "--speed", "10", "--trace"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "");
    ASSERT_EQ(run.answers.size(), 4U) << run.output;
    EXPECT_THAT(run.answers[0], StartsWith("ok "));
    EXPECT_THAT(run.answers[1], StartsWith("ok "));
    EXPECT_EQ(run.answers[2], "ok");
    EXPECT_EQ(run.head()["zoom"]["position"], 1200);
    EXPECT_EQ(run.head()["pan"]["position"], 10300);
    EXPECT_EQ(run.head()["focus"]["position"], 820);
    EXPECT_THAT(run.output, EndsWith(" log Exit kestrel sigstop\n"));
    double last = 0.0;
    for (const std::string& line : linesOf(run.output)) {
        if (!line.starts_with('=')) {
            EXPECT_GE(std::stod(line), last) << line;
            last = std::stod(line);
        }
    }
}

}  // namespace
