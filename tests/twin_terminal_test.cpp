// The console at a terminal: what a person types and sees.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <string>
#include <vector>

#include "paths.h"
#include "session.h"
#include "tests/twin_world.h"
#include "twin/boundary/bus.h"
#include "twin/console/completion.h"

namespace {

using testing::Contains;
using testing::HasSubstr;

// A terminal with the program on it.
class Terminal {
public:
    explicit Terminal(std::vector<std::string> options) {
        options.insert(options.begin(), kTwinProgram);
        std::vector<char*> arguments;
        for (std::string& option : options) {
            arguments.push_back(option.data());
        }
        arguments.push_back(nullptr);
        winsize size{24, 80, 0, 0};
        child_ = forkpty(&end_, nullptr, nullptr, &size);
        if (child_ == 0) {
            setenv("TERM", "xterm", 1);
            setenv("HOME", "/nonexistent", 1);
            execv(arguments[0], arguments.data());
            _exit(127);
        }
        readTo("> ");
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;
    ~Terminal() {
        close(end_);
    }

    void type(const std::string& text) const {
        EXPECT_EQ(write(end_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    // Reads until `text` has come, or to the end; returns what came since the last call.
    std::string readTo(const std::string& text) {
        std::string seen;
        std::array<char, 256> part{};
        for (ssize_t count = 1; count > 0 && seen.find(text) == std::string::npos;) {
            // A closed terminal reads as an error.
            count = read(end_, part.data(), 1);
            seen.append(part.data(), static_cast<std::size_t>(count > 0 ? count : 0));
        }
        EXPECT_THAT(seen, HasSubstr(text));
        return seen;
    }
    // Reads to the end; the exit status.
    int finish() {
        for (std::array<char, 256> part{}; read(end_, part.data(), part.size()) > 0;) {
        }
        int status = 0;
        waitpid(child_, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

private:
    pid_t child_ = 0;
    int end_ = -1;
};

constexpr const char* kInterrupt = "\x03";

TEST(TwinTerminal, EditsRemembersAndCompletes) {
    Terminal terminal({"--clock", "virtual", "--quiet"});
    terminal.type(
        "set x.k one\x01\x1b[C\x1b[C\x1b[C\x1b[C\x1b[C\x1b[C\x1b[C\x1b[C"
        "t\x7f\n");
    terminal.type("get x.k\n");
    terminal.readTo("= x.k one");
    // The line before the last, with another value.
    terminal.type(
        "\x1b[A\x1b[A"
        "more\n\x1b[A\x1b[A\n");
    terminal.readTo("= x.k onemore");
    terminal.type("exp\tlens.camN.zooms\tx\n");
    terminal.readTo("= FAIL lens.camN.zoomstatus is absent");
    terminal.type("quit\n");
    EXPECT_EQ(terminal.finish(), 1);
}

TEST(TwinTerminal, AnInterruptEndsWhatWaitsAndAtThePromptTheCamera) {
    for (const char* const clock : {"virtual", "real"}) {
        Terminal terminal({"--clock", clock, "--quiet"});
        // What the terminal itself shows of this comes before the answer, what the program shows of
        // the second line, when it has read it, behind.
        terminal.type("get y\nwait x never 1000000\n");
        terminal.readTo("= y absent");
        terminal.readTo("1000000\r\n");
        terminal.type(kInterrupt);
        terminal.readTo("= broken off");
        terminal.type("get x\n");
        terminal.readTo("= x absent");
        terminal.readTo("> ");
        terminal.type(kInterrupt);
        EXPECT_EQ(terminal.finish(), 1) << clock;
    }
}

TEST(TwinTerminal, LinesOfTheDaemonStandAboveWhatIsTyped) {
    Terminal terminal({"--clock", "real", "--speed", "20", "--trace"});
    // The lights change without an end, and the line is drawn anew each time.
    terminal.type("set demo.led.mode 3\nget x.half");
    terminal.readTo("> get x.half");
    for (int i = 0; i < 3; ++i) {
        EXPECT_THAT(terminal.readTo("> get x.half"), HasSubstr("\r\n> get x.half"));
    }
    terminal.type("way\n");
    terminal.readTo("= x.halfway absent\r\n");
    terminal.type("\x04");
    EXPECT_EQ(terminal.finish(), 0);
}

class TwinCompletion : public TwinWorld {};

TEST_F(TwinCompletion, OffersWhatMayStandThere) {
    twin::startBus({{"lens.camN.zoomstatus", "stop"}, {"x.k", "1"}});
    using Words = std::vector<std::string>;
    EXPECT_EQ(twin::completions("he"), (Words{"head", "help"}));
    EXPECT_EQ(twin::completions("help q"), (Words{"quit"}));
    EXPECT_EQ(twin::completions("get x."), (Words{"x.k"}));
    EXPECT_EQ(twin::completions("wait lens.camN.zooms"), (Words{"lens.camN.zoomstatus"}));
    EXPECT_EQ(twin::completions("set lens.camN.zoom full_"), (Words{"full_in", "full_out"}));
    EXPECT_EQ(twin::completions("signal "), (Words{"INT", "QUIT", "TERM"}));
    EXPECT_EQ(twin::completions("counter p"), (Words{"pan"}));
    EXPECT_EQ(twin::completions("fault sce"), (Words{"scene"}));
    EXPECT_EQ(twin::completions("fault scene d"), (Words{"dark"}));
    EXPECT_EQ(twin::completions("fault axis zoom s"), (Words{"slip", "slow", "stuck"}));
    EXPECT_THAT(twin::completions("fault axis "), Contains("all"));
    EXPECT_EQ(twin::completions("fly "), (Words{}));
    EXPECT_EQ(twin::completions("get x.k "), (Words{}));
}

}  // namespace
