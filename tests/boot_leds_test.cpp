// The LEDs at power-up.
#include <gtest/gtest.h>

#include <string>

#include "session.h"

namespace {

TEST(Boot, SwitchesTheLedsOnBeforeTheFirstPass) {
    const Session run = Camera(Positions{}).run("quit");
    const Trace leds = run.all.about({"setLedMode", "bus lens.camN.iris "});
    std::string expected = "\n";
    for (const char led : std::string("01234567")) {
        expected += std::string("mcu setLedMode ") + led + " 1\n";
    }
    EXPECT_EQ(leds.lines(), expected + "bus lens.camN.iris a:0\n");
}

}  // namespace
