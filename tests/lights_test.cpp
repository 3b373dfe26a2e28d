// The LEDs: what lights, events, demo modes, switches and limits make of the eight words.
#include <gtest/gtest.h>

#include <cctype>
#include <cstdint>
#include <cstdio>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "session.h"

namespace {

constexpr const char* kSent = "mcu setMuiltLEDs ";
constexpr const char* kDark =
    "00000000 00000000 00000000 00000000 00000000 00000000 00000000 00000000";

// The LEDs as one letter each, by the channels that are lit, whatever their level.
std::string letters(const std::string& words) {
    static const std::map<std::string, char> kLetters = {
        {"....", '.'}, {"w...", 'W'}, {".r..", 'R'}, {"..g.", 'G'}, {"...b", 'B'}, {".rg.", 'Y'}};
    std::istringstream stream(words);
    std::string text;
    for (std::string word; stream >> word;) {
        std::string lit;
        for (std::size_t channel = 0; channel < 4; ++channel) {
            lit += word.substr(2 * channel, 2) != "00" ? "wrgb"[channel] : '.';
        }
        text += kLetters.contains(lit) ? kLetters.at(lit) : '*';
    }
    return text;
}

// Each time that words were sent: milliseconds since the first, and their letters.
std::string pictures(const Trace& trace) {
    const Trace sent = trace.about({kSent});
    std::ostringstream text;
    for (const Event& event : sent.events) {
        const std::int64_t micros = event.time - sent.events.front().time;
        text << (micros == 0 ? "" : " ") << micros / 1000 << ':'
             << letters(event.text.substr(event.text.find(' ')));
    }
    return text.str();
}

std::string wordsOf(const nlohmann::json& head) {
    std::string text;
    for (const auto& word : head["leds"]) {
        text.append(text.empty() ? "" : " ").append(word.get<std::string>());
    }
    return text;
}

// Plays lines: a number lets that many seconds pass, any other sets a key.
Session play(const std::vector<std::string>& lines, const Camera& camera = Camera(Positions{})) {
    std::string script;
    for (const std::string& line : lines) {
        script.append(std::isdigit(line[0]) != 0 ? "run " : "set ").append(line).append("\n");
    }
    return camera.run(script);
}

// What the LEDs show after each set, given a moment.
std::vector<std::string> lettersAfter(const std::vector<std::string>& sets) {
    std::string script;
    for (const std::string& set : sets) {
        script.append("set ").append(set).append("\nrun 0.05\nhead\n");
    }
    const Session run = Camera(Positions{}).run(script);
    std::vector<std::string> shown;
    for (std::size_t i = 0; i < sets.size(); ++i) {
        shown.push_back(letters(wordsOf(run.head(i))));
    }
    return shown;
}

struct Light {
    const char* name;
    const char* color;
    const char* state;
    const char* brightness;
    const char* word;  // of the LEDs that are lit at the end
    const char* picture;
};

TEST(Lights, ShowStateColorAndBrightness) {
    const Light lights[] = {
        {"back_left", "white", "on", "high", "ff000000", "0:WW......"},
        {"front_left", "green", "slow", "medium", "00000000", "0:..GG.... 1000:........"},
        {"front_right", "yellow", "medium", "low", "00202000",
         "0:....YY.. 500:........ 1000:....YY.."},
        {"back_right", "red", "fast", "medium", "00400000",
         "0:......RR 100:........ 200:......RR 300:........ 400:......RR 500:........ "
         "600:......RR 700:........ 800:......RR 900:........ 1000:......RR"},
        {"front_left", "blue", "on", "other", "00000020", "0:..BB...."},
        {"front_left", "pink", "on", "high", "00000000", "0:........"},
        {"back_right", "white", "off", "high", "00000000", "0:........"},
    };
    for (const Light& light : lights) {
        const Camera camera(Positions{});
        const std::string key = std::string("lens.camN.light.") + light.name;
        camera.setting(key + ".color", light.color);
        camera.setting(key + ".state", light.state);
        camera.setting(key + ".brightness", light.brightness);
        const Session run = camera.run("run 1.005\nhead");
        EXPECT_EQ(pictures(run.all), light.picture);
        const std::string words = wordsOf(run.head());
        const std::size_t led = letters(words).find_first_not_of('.');
        EXPECT_EQ(words.substr(led == std::string::npos ? 0 : 9 * led, 8), light.word);
    }
}

struct Pattern {
    int number;
    const char* flash;
    const char* picture;
};

constexpr const char* kRunning =
    "0:W....... 130:.W...... 250:..W..... 380:...W.... 500:....W... 630:.....W.. 750:......W. "
    "880:.......W 1000:W.......";

TEST(Lights, EventsHaveTheirPatterns) {
    const Pattern events[] = {
        {1, "medium", "0:WWWWWWWW 500:........ 1000:WWWWWWWW"},
        {2, "slow", "0:RRRRRRRR 1000:........"},
        {3, "medium", "0:GGGGGGGG 500:........ 1000:GGGGGGGG"},
        {4, "medium", "0:BBBBBBBB 500:........ 1000:BBBBBBBB"},
        {5, "medium", "0:YYYYYYYY 500:........ 1000:YYYYYYYY"},
        {6, "fast", "0:WWWWWWWW"},
        {7, "fast", "0:RRRRRRRR"},
        {8, "fast", "0:GGGGGGGG"},
        {9, "medium", "0:RRRRBBBB 500:BBBBRRRR 1000:RRRRBBBB"},
        {10, "medium", kRunning},
        {11, "medium", "0:........"},
        {31, "medium", "0:........"},
    };
    for (const Pattern& event : events) {
        const Camera camera(Positions{});
        std::string list;
        for (int before = 1; before < event.number; ++before) {
            list += "0,";
        }
        camera.setting("lens.camN.light.onvif_mode", list + "1");
        camera.setting("event.camN.light.flash", event.flash);
        EXPECT_EQ(pictures(camera.run("run 1.1").all), event.picture) << event.number;
    }
}

TEST(Lights, EventsHaveTheirBrightnessAndTheFastPeriod) {
    const std::pair<const char*, const char*> levels[] = {
        {"low", "00202000"}, {"medium", "00404000"}, {"high", "00ffff00"}};
    for (const auto& [level, word] : levels) {
        const Camera camera(Positions{});
        camera.setting("event.camN.light.brightness", level);
        camera.setting("event.camN.light.flash", "fast");
        camera.setting("lens.camN.light.onvif_mode", "0,0,0,0,1");
        const Trace sent = camera.run("run 0.25").all.about({kSent});
        ASSERT_EQ(sent.times(kSent), (std::vector<std::int64_t>{0, 100'000, 200'000}));
        EXPECT_TRUE(sent.events[0].text.ends_with(word)) << sent.events[0].text;
    }
}

TEST(Lights, TheEventTriggeredLastWins) {
    const std::pair<const char*, const char*> steps[] = {
        {"0,0,0,0,0,0,0,1", "GGGGGGGG"},
        {"0,0,0,0,0,1,0,1", "WWWWWWWW"},
        {"0,0,0,0,0,1,0,5", "WWWWWWWW"},  // triggered while on: keeps its turn
        {"0,0,0,0,0,1,1,1", "RRRRRRRR"},
        {"0,0,0,0,0,1,0,1", "WWWWWWWW"},  // cleared: the one before
        {"0,0,0,0,0,0", "GGGGGGGG"},      // a short list leaves the rest alone
        {"0,0,0,0,0,0,0,0", "........"},
        {"0,0,0,0,0,2,-1,1", "GGGGGGGG"},       // at once: in their order, any number but 0
        {"0,0,0,0,0,1,1,1,0,0,1", "GGGGGGGG"},  // event 11 draws nothing: the words stay
        {"", "GGGGGGGG"},
    };
    std::vector<std::string> commands;
    std::vector<std::string> expected;
    for (const auto& [list, shown] : steps) {
        commands.push_back(std::string("lens.camN.light.onvif_mode ") + list);
        expected.emplace_back(shown);
    }
    EXPECT_EQ(lettersAfter(commands), expected);
}

TEST(Lights, AnEventHidesTheLightsUntilItIsCleared) {
    EXPECT_EQ(lettersAfter({"lens.camN.light.front_left.brightness high",
                            "lens.camN.light.front_left.state on",
                            "lens.camN.light.onvif_mode 0,0,0,0,0,0,1",
                            "lens.camN.light.onvif_mode 0,0,0,0,0,0,0"}),
              (std::vector<std::string>{"........", "..WW....", "RRRRRRRR", "..WW...."}));
}

// The step counter begins anew after two seconds.
TEST(Lights, DemoModesHaveTheirPatterns) {
    const Pattern demos[] = {
        // The last colour also has the end of the cycle.
        {1, "", "0:RRRRRRRR 500:GGGGGGGG 1000:BBBBBBBB 1500:WWWWWWWW 2010:RRRRRRRR"},
        {2, "", kRunning},
        {3, "",
         "0:G....... 250:GG...... 500:GGG..... 750:GGGG.... 1000:GGGGG... 1250:GGGGGG.. "
         "1500:GGGGGGG. 1750:GGGGGGGG 2000:G......."},
        {5, "", "0:RRRRBBBB 500:BBBBRRRR 1000:RRRRBBBB 1500:BBBBRRRR 2000:RRRRBBBB"},
        {8, "", "0:GGGGGGGG"},
        {10, "", "0:RGRGRGRG 500:GRGRGRGR 1000:RGRGRGRG 1500:GRGRGRGR 2000:RGRGRGRG"},
    };
    for (const Pattern& demo : demos) {
        const std::string number = std::to_string(demo.number);
        const std::string seconds = demo.picture == kRunning ? "1.05" : "2.05";
        const Session run = play({"1", "demo.led.mode " + number, seconds});
        const Trace entered = run.all.after("cmd demo.led.mode " + number);
        EXPECT_EQ(pictures(entered), demo.picture) << number;
        EXPECT_EQ(entered.first(1).lines(), "\nbus lens.camN.light.test_status " + number + "\n");
        EXPECT_EQ(entered.count("bus lens.camN.light.test_status"), 1);
    }
}

TEST(Lights, GlidingDemoModesGoRoundWithoutAJump) {
    const Session run =
        play({"1", "demo.led.mode 4", "3", "demo.led.mode 7", "3", "demo.led.mode 9", "2"});
    const Trace breath = run.all.after("cmd demo.led.mode 4").about({kSent});
    ASSERT_EQ(breath.events.size(), 74U);
    const std::pair<std::size_t, const char*> levels[] = {
        {0, "0a000000"},  {11, "7a000000"}, {24, "ff000000"}, {25, "f4000000"},
        {48, "0a000000"}, {49, "00000000"}, {50, "0a000000"}};
    for (const auto& [at, word] : levels) {
        EXPECT_TRUE(breath.events[at].text.ends_with(word)) << at << breath.events[at].text;
    }
    const Trace wheel = run.all.after("cmd demo.led.mode 7").about({kSent});
    EXPECT_EQ(
        wheel.events[0].text,
        "setMuiltLEDs 00ff0000 00a05f00 0040bf00 0000e01f 0000807f 000020df 003f00c0 009f0060");
    EXPECT_EQ(wheel.events[50].text, wheel.events[0].text);
    EXPECT_EQ(wheel.times(kSent)[50] - wheel.times(kSent)[0], 2'000'000);
    EXPECT_EQ(pictures(run.all.after("cmd demo.led.mode 9").between(0, 7.25)),
              "0:WWWWWWWW 20:........ 200:WWWWWWWW 220:........");
}

TEST(Lights, FullWhiteModeLightsEveryChannelAndBoostsASingleCamera) {
    const Camera camera(Positions{});
    camera.setting("system.info.slave_cameras", "1");
    const Session run = play({"1", "demo.led.mode 6", "1", "demo.led.mode 8", "1",
                              "demo.led.mode 6", "1", "demo.led.mode 0", "2"},
                             camera);
    EXPECT_EQ(run.all.between(1, 2).about({"mcu", "bus", "log"}).story(), R"(
0 bus lens.camN.light.test_status 6
0 mcu setPowerEnable 4
10 mcu setMuiltLEDs ffffffff ffffffff ffffffff ffffffff ffffffff ffffffff ffffffff ffffffff
20 bus system.camN.info.power_consumption 9.04
)");
    EXPECT_EQ(run.all.between(2, 3).about({"mcu", "test_status", "log"}).story(), R"(
0 mcu setPowerEnable 0
0 bus lens.camN.light.test_status 8
0 log Set LED 0 0 65280 65280 65280 65280
0 mcu setMuiltLEDs 0000ff00 0000ff00 0000ff00 0000ff00 0000ff00 0000ff00 0000ff00 0000ff00
)");
    EXPECT_EQ(run.all.between(3, 4).count("mcu setMuiltLEDs ffffffff"), 1)
        << "lights again, though the manual colour is what it was";
    EXPECT_EQ(run.all.between(4, 6).about({"mcu", "bus", "log"}).story(), std::string(R"(
0 mcu setPowerEnable 0
0 log giDemoLedMode=0 6
0 bus lens.camN.light.test_status 0
10 mcu setMuiltLEDs )") + kDark + R"(
1030 bus system.camN.info.power_consumption 3.84
)");
}

// It counts its steps, though it draws nothing; a new power limit sends the words as they are.
TEST(Lights, FullWhiteModeLeavesTheSupplyAloneAmongSeveralCameras) {
    const Session run = play({"1", "demo.led.mode 6", "0.5", "lens.global.led_power 255", "0.5"});
    EXPECT_EQ(run.all.between(1, 2).about({"setPower", "LED"}).story(), std::string(R"(
0 mcu setMuiltLEDs ffffffff ffffffff ffffffff ffffffff ffffffff ffffffff ffffffff ffffffff
490 log Set LED 51 0 0 0 0 0
490 mcu setMuiltLEDs )") + kDark + "\n");
}

TEST(Lights, AnyOtherModeDarkensOnceAndSaysSo) {
    const Session run =
        play({"lens.camN.light.back_left.brightness high", "lens.camN.light.back_left.state on",
              "1", "demo.led.mode 3", "1", "demo.led.mode -7", "1", "demo.led.mode -7", "1",
              "demo.led.mode done", "1", "demo.led.mode 11", "1"});
    EXPECT_EQ(run.all.between(2, 6).about({"mcu", "test_status", "giDemo"}).story(), std::string(R"(
0 log giDemoLedMode=-7 3
0 bus lens.camN.light.test_status 0
0 mcu setMuiltLEDs )") + kDark + R"(
10 mcu setMuiltLEDs ff000000 ff000000 00000000 00000000 00000000 00000000 00000000 00000000
3000 log giDemoLedMode=11 -7
3000 bus lens.camN.light.test_status 0
3000 mcu setMuiltLEDs )" + kDark + R"(
3010 mcu setMuiltLEDs ff000000 ff000000 00000000 00000000 00000000 00000000 00000000 00000000
)");
}

TEST(Lights, AChangedTestModeBecomesTheDemoMode) {
    const Session run =
        play({"1", "lens.camN.light.test_mode 8", "1", "demo.led.mode 0", "1",
              "lens.camN.light.test_mode 8", "1", "lens.camN.light.test_mode 0", "1"});
    EXPECT_EQ(run.all.between(1, 6).about({"log", "status"}).without({"Set LED"}).story(), R"(
0 log LED Test Mode=8
10 log giDemoLedMode=8
10 bus lens.camN.light.test_status 8
1010 log giDemoLedMode=0 8
1010 bus lens.camN.light.test_status 0
2000 log LED Test Mode=8
3000 log LED Test Mode=0
3010 log giDemoLedMode=0
)");
}

TEST(Lights, SwitchesDarkenTheirLed) {
    EXPECT_EQ(lettersAfter({"demo.led.mode 8", "lens.global.led_ctrl 0,1,0,1,1,0,2,0",
                            "lens.global.led_ctrl 1,0,1", "lens.global.led_ctrl 1,1,1,1,1,1,1,1"}),
              (std::vector<std::string>{"GGGGGGGG", ".G.GG.G.", "G.GGG.G.", "GGGGGGGG"}));
}

// The limit is the hardware's: the words are composed and printed without it.
TEST(Lights, ThePowerLimitHoldsForEveryChannel) {
    const Session run =
        play({"1", "lens.camN.light.front_left.color yellow",
              "lens.camN.light.front_left.brightness high", "lens.camN.light.front_left.state on",
              "lens.camN.light.back_left.brightness low", "lens.camN.light.back_left.state on", "1",
              "lens.global.led_power 100", "2", "lens.global.led_power 100", "1",
              "lens.global.led_power 999", "1", "lens.global.led_power -1", "2"});
    EXPECT_EQ(run.all.between(1, 8).about({"LED", "power_consumption"}).without({"cmd"}).story(),
              R"(
0 log Set LED 102 0 536870912 536870912 16776960 16776960
0 mcu setMuiltLEDs 20000000 20000000 00ffff00 00ffff00 00000000 00000000 00000000 00000000
10 bus system.camN.info.power_consumption 4.53
1000 log Set LED 2 0 536870912 536870912 16776960 16776960
1000 mcu setMuiltLEDs 20000000 20000000 00646400 00646400 00000000 00000000 00000000 00000000
2020 bus system.camN.info.power_consumption 4.13
3000 log Set LED 2 0 536870912 536870912 16776960 16776960
3000 mcu setMuiltLEDs 20000000 20000000 00646400 00646400 00000000 00000000 00000000 00000000
4000 log Set LED 102 0 536870912 536870912 16776960 16776960
4000 mcu setMuiltLEDs 20000000 20000000 00ffff00 00ffff00 00000000 00000000 00000000 00000000
4010 bus system.camN.info.power_consumption 4.53
5000 log Set LED 2 0 536870912 536870912 16776960 16776960
5000 mcu setMuiltLEDs 00000000 00000000 00000000 00000000 00000000 00000000 00000000 00000000
6020 bus system.camN.info.power_consumption 3.84
)");
}

// Event 11 lets the colour stand in the words too, so that it is also sent as any change of theirs.
TEST(Lights, TheManualColorIsSentAtOnceAndStays) {
    const Session run =
        play({"1", "demo.led.manual.r 300", "demo.led.manual.g -5", "1", "demo.led.manual.r 300",
              "1", "lens.camN.light.onvif_mode 0,0,0,0,0,0,0,0,0,0,1", "1", "demo.led.manual.b 1",
              "1", "lens.camN.light.onvif_mode 0,0,0,0,0,0,1", "1"});
    EXPECT_EQ(run.all.between(1, 7).about({"LED"}).story(), R"(
0 mcu setMuiltLEDs 40ff0040 40ff0040 40ff0040 40ff0040 40ff0040 40ff0040 40ff0040 40ff0040
3000 mcu setMuiltLEDs 40ff0001 40ff0001 40ff0001 40ff0001 40ff0001 40ff0001 40ff0001 40ff0001
3000 log Set LED 2 0 1090453505 1090453505 1090453505 1090453505
3000 mcu setMuiltLEDs 40ff0001 40ff0001 40ff0001 40ff0001 40ff0001 40ff0001 40ff0001 40ff0001
4000 log Set LED 102 0 16711680 16711680 16711680 16711680
4000 mcu setMuiltLEDs 00ff0000 00ff0000 00ff0000 00ff0000 00ff0000 00ff0000 00ff0000 00ff0000
)");
}

TEST(Lights, AnIdleMinuteSendsOnce) {
    const Session run = Camera(Positions{}).run("run 60");
    EXPECT_EQ(run.all.about({kSent, "Set LED"}).lines(),
              std::string("\nlog Set LED 1 0 0 0 0 0\nmcu setMuiltLEDs ") + kDark + "\n");
}

struct Dimming {
    int pan;
    int tilt;
    int gain;
    int mask;
    const char* dimmed;  // back left, front left, front right, back right
};

TEST(Lights, ALightThatTheHeadWouldSeeIsDimmed) {
    const Dimming rows[] = {
        {0, 4340, 12000, 0x9, "d..d"},     {2770, 4000, 12000, 0x9, "d..d"},
        {2771, 4000, 12000, 0xb, "dd.d"},  {8312, 4000, 12000, 0xb, "dd.d"},
        {8313, 4000, 12000, 0x3, "dd.."},  {13853, 4000, 12000, 0x3, "dd.."},
        {13854, 4000, 12000, 0x7, "ddd."}, {19353, 4000, 12000, 0x7, "ddd."},
        {19354, 4000, 12000, 0x6, ".dd."}, {24937, 4000, 12000, 0x6, ".dd."},
        {24938, 4000, 12000, 0xe, ".ddd"}, {30478, 4000, 12000, 0xe, ".ddd"},
        {30479, 4000, 12000, 0xc, "..dd"}, {36020, 4000, 12000, 0xc, "..dd"},
        {36021, 4000, 12000, 0xd, "d.dd"}, {41562, 4000, 12000, 0xd, "d.dd"},
        {41563, 4000, 12000, 0x9, "d..d"}, {44333, 3521, 10001, 0x9, "d..d"},
        {10000, 4341, 12000, 0x3, "DD.."}, {10000, 3520, 12000, 0, "...."},
        {10000, 3600, 10000, 0, "...."},
    };
    const Camera camera(Positions{});
    for (const char* const light : {"back_left", "front_left", "front_right", "back_right"}) {
        camera.setting(std::string("lens.camN.light.") + light + ".state", "on");
        camera.setting(std::string("lens.camN.light.") + light + ".brightness", "high");
    }
    for (const Dimming& row : rows) {
        camera.write(kPositionFile, positionFile({.pan = row.pan, .tilt = row.tilt}));
        camera.setting("image.camN.exposure.current_gain", std::to_string(row.gain));
        const Session run = camera.run("run 0.1\nhead");
        std::string words;
        for (const char light : std::string(row.dimmed)) {
            const char* const level = light == 'D' ? "10" : light == 'd' ? "20" : "ff";
            words += std::string(level) + "000000 " + level + "000000 ";
        }
        words.pop_back();
        EXPECT_EQ(wordsOf(run.head()), words) << row.pan;
        char notice[100];
        std::snprintf(notice, sizeof notice, "\nlog Pan:%d Tilt:%d Gain:%d iRet=%x\n", row.pan,
                      row.tilt, row.gain, static_cast<unsigned>(row.mask));
        EXPECT_EQ(run.all.about({" iRet="}).lines(), row.mask == 0 ? "\n" : notice);
    }
}

}  // namespace
