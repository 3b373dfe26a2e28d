// The console at a terminal: what a person types and sees.
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "paths.h"
#include "process.h"
#include "tests/twin_world.h"
#include "twin/boundary/bus.h"
#include "twin/console/completion.h"

namespace {

using testing::Contains;
using testing::HasSubstr;

// The program at a terminal.
Process atTerminal(const std::string& options) {
    return Process({"/usr/bin/env", "TERM=xterm", "HOME=/nonexistent", "/usr/bin/script", "-qec",
                    "stty cols 80; exec " + std::string(kTwinProgram) + options, "-E", "always",
                    "/dev/null"});
}

constexpr const char* kInterrupt = "\x03";

TEST(TwinTerminal, EditsRemembersAndCompletes) {
    Process terminal = atTerminal(" --clock virtual --quiet");
    terminal.readOn("> ");
    terminal.write(
        "set x.k one\x01\x1b[C\x1b[C\x1b[C\x1b[C\x1b[C\x1b[C\x1b[C\x1b[C"
        "t\x7f\n");
    terminal.write("get x.k\n");
    terminal.readOn("= x.k one");
    // The line before the last, with another value.
    terminal.write(
        "\x1b[A\x1b[A"
        "more\n\x1b[A\x1b[A\n");
    terminal.readOn("= x.k onemore");
    terminal.write("exp\tlens.camN.zooms\tx\n");
    terminal.readOn("= FAIL lens.camN.zoomstatus is absent");
    terminal.write("quit\n");
    terminal.waitForEnd();
    EXPECT_EQ(terminal.status, 1);
}

TEST(TwinTerminal, AnInterruptEndsWhatWaitsAndAtThePromptTheCamera) {
    for (const char* const clock : {"virtual", "real"}) {
        Process terminal = atTerminal(std::string(" --quiet --clock ") + clock);
        terminal.readOn("> ");
        // What the terminal itself shows of this comes before the answer, what the program shows of
        // the second line, when it has read it, behind.
        terminal.write("get y\nwait x never 1000000\n");
        terminal.readOn("= y absent");
        terminal.readOn("1000000\r\n");
        terminal.write(kInterrupt);
        terminal.readOn("= broken off");
        terminal.write("get x\n");
        terminal.readOn("= x absent");
        terminal.readOn("> ");
        terminal.write(kInterrupt);
        terminal.waitForEnd();
        EXPECT_EQ(terminal.status, 1) << clock;
    }
}

TEST(TwinTerminal, LinesOfTheDaemonStandAboveWhatIsTyped) {
    Process terminal = atTerminal(" --clock real --speed 20 --trace");
    terminal.readOn("> ");
    // The lights change without an end, and the line is drawn anew each time.
    terminal.write("set demo.led.mode 3\nget x.half");
    terminal.readOn("> get x.half");
    for (int i = 0; i < 3; ++i) {
        EXPECT_THAT(terminal.readOn("> get x.half"), HasSubstr("\r\n> get x.half"));
    }
    terminal.write("way\n");
    terminal.readOn("= x.halfway absent\r\n");
    terminal.write("\x04");
    terminal.waitForEnd();
    EXPECT_EQ(terminal.status, 0);
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
