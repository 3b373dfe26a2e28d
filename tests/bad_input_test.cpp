// Input that no service should send: the daemon goes on, or ends where its buffers would not hold.
#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <vector>

#include "app/bus_keys.h"
#include "session.h"

namespace {

std::vector<std::string> garbage() {
    return {"",
            " ",
            "x",
            "-",
            ":",
            ",,,,",
            "99999999999999999999999",
            "-99999999999999999999999",
            "4294967296",
            "-2147483648",
            "a:99999999999",
            "r:-99999999999",
            "r:2147483647",
            "left:-2147483648",
            "right:-2147483648",
            "up:2147483648",
            "down:-99999999999999999999",
            "%s%n%d%99999d",
            "\x01\xff\xfe\x7f",
            std::string(127, '9'),
            std::string(127, ','),
            std::string(127, 'a')};
}

TEST(BadInput, InAnyKeyLeavesTheDaemonAlive) {
    std::vector<std::string> keys = {"lens.camN.light.onvif_mode",
                                     "lens.camN.light.relay1.mode",
                                     "lens.camN.light.relay19.timeout",
                                     "lens.camN.light.front_left.state",
                                     "lens.camN.zoomstatus",
                                     "lens.camN.irisstatus",
                                     "event.camN.light.flash",
                                     "event.camN.light.brightness"};
    for (const BusKey& key : busKeys()) {
        keys.emplace_back(key.key);
    }
    for (const std::string& key : keys) {
        std::string script = "run 1\n";
        for (const std::string& value : garbage()) {
            script += "set " + key + " " + value + "\nrun 0.3\n";
        }
        const Session run = Camera(Positions{}).run(script + "set image.camN.flip on\nrun 1");
        EXPECT_EQ(run.status, 0) << key << ": " << run.errors;
        EXPECT_EQ(run.trace.count("log giFlip=1"), 1) << key;
    }
}

TEST(BadInput, NumbersBeyondThirtyTwoBitsAreCut) {
    struct Number {
        const char* word;
        int position;
    };
    // Beyond 64 bits the number is the largest or the smallest, which cut is -1 or 0.
    constexpr Number kNumbers[] = {
        {"a:4294968496", 1200},         // 2^32 + 1200
        {"a:-4294965696", 1600},        // -2^32 + 1600
        {"a:2147483648", 0},            // cut to the smallest number
        {"r:2147483647", 2361},         // a sum beyond 32 bits
        {"a:99999999999999999999", 0},  // -1
        {"a:2147483647", 2361},        {"a:-99999999999999999999", 0},
    };
    std::string script = "run 1\n";
    for (const Number& number : kNumbers) {
        script += std::string("set lens.camN.zoom ") + number.word + "\nrun 2\nhead\n";
    }
    const Session run = Camera(Positions{}).run(script);
    std::size_t index = 0;
    for (const Number& number : kNumbers) {
        EXPECT_EQ(run.head(index++)["zoom"]["position"], number.position) << number.word;
    }
}

TEST(BadInput, SumsBeyondThirtyTwoBitsAreClamped) {
    const Session run =
        Camera(Positions{.pan = 40000, .tilt = 5000})
            .run(
                "run 1\nset lens.camN.pan r:2147483647\nset lens.camN.tilt r:2147483647\n"
                "set demo.ptz.action p2147483647\nrun 10\nset demo.ptz.action p-2147483648\nrun "
                "10\n"
                "set demo.ptz.action p-2147483648\nrun 10\nhead");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.trace.between(1, 11).count("bus lens.camN.position_pan 44333"), 1);
    EXPECT_EQ(run.head()["tilt"]["position"], 5120);
    EXPECT_EQ(run.head()["pan"]["position"], 0);
}

std::string zoomWord(std::size_t length) {
    const std::string number = "1200";
    return "a:" + std::string(length - 2 - number.size(), '0') + number;
}

TEST(BadInput, ATextThatFillsItsBufferIsTaken) {
    const Session run = Camera(Positions{})
                            .run("run 1\nset lens.camN.zoom " + zoomWord(127) +
                                 "\nrun 1\nset lens.camN.focus " + zoomWord(127) + "\nrun 1\nhead");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.head()["zoom"]["position"], 1200);
    EXPECT_EQ(run.head()["focus"]["position"], 1200);
}

TEST(BadInput, ATextThatOverflowsItsBufferEndsTheProcess) {
    struct Case {
        const char* key;
        const char* before;
        bool ends;
    };
    constexpr Case kCases[] = {
        {"lens.camN.zoom", "", true},
        {"lens.camN.pan", "", true},
        {"lens.camN.tilt", "", true},
        {"lens.camN.rotate", "", true},
        {"lens.camN.focus", "", true},
        {"lens.camN.iris", "", true},
        {"demo.ptz.action", "", true},
        // An overwritten buffer is written in any case; a full mailbox drops the text first.
        {"lens.camN.zoom", "set lens.camN.zoom a:1\n", true},
        {"lens.camN.focus", "set lens.camN.focus a:1\n", false},
        {"demo.ptz.action", "set demo.ptz.action Z2000\nrun 0.05\n", false},
        // Values that are not copied may have any length.
        {"image.camN.flip", "", false},
        {"lens.camN.zoomstatus", "", false},
        {"demo.ptz.mode", "", false},
        {"lens.global.led_ctrl", "", false},
    };
    for (const Case& each : kCases) {
        const Session run =
            Camera(Positions{})
                .run(std::string("run 1\nfault bus-overlong\n") + each.before + "set " + each.key +
                     " " + zoomWord(128) + "\nrun 1\nset image.camN.flip on\nrun 1");
        EXPECT_EQ(run.status, each.ends ? 128 + SIGABRT : 0) << each.key;
        EXPECT_EQ(run.trace.count("log giFlip=1"), each.ends ? 0 : 1) << each.key;
    }
}

TEST(BadInput, ABusThatRefusesStopsNoMove) {
    const Session run =
        Camera(Positions{})
            .run(
                "run 1\nset lens.camN.zoom a:1200\nfault bus-refuse\nrun 1\nhead\nfault clear\n"
                "set lens.camN.zoom a:1300\nrun 1\nhead");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.head(0)["zoom"]["position"], 1200);
    EXPECT_EQ(run.head(1)["zoom"]["position"], 1300);
}

}  // namespace
