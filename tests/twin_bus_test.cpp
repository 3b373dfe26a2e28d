// What the bus guarantees to whoever uses it.
#include <gmock/gmock.h>

#include <array>
#include <climits>
#include <string>
#include <vector>

#include "platform/nbus.h"
#include "tests/twin_world.h"
#include "twin/bus.h"
#include "twin/settings.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> gHeard;

template <char Name>
void hear(const char* key, const char* value) {
    gHeard.push_back(std::string(1, Name) + " " + key + " " + value);
}

// Sets two more keys from inside the delivery.
void answerWithSets(const char* key, const char* value) {
    hear<'x'>(key, value);
    nbus_set("fifo.second", "1");
    nbus_set("fifo.second", "2");
    gHeard.push_back("x leaves");
}

class TwinBus : public TwinWorld {
protected:
    TwinBus() {
        gHeard.clear();
        twin::startBus({});
        fault("clear");
    }

    // What was delivered since last asked.
    static std::vector<std::string> delivered() {
        twin::settle();
        return std::exchange(gHeard, {});
    }

    static std::string get(const std::string& key, int size = 128) {
        std::array<char, 128> value{};
        value.fill('#');
        if (nbus_get(key.c_str(), value.data(), size) != 0) {
            return value[0] == '#' ? "absent" : "touched";
        }
        return value.data();
    }

    static std::vector<std::string> names(const std::string& prefix) {
        std::vector<std::string> result;
        std::array<char, 128> name{};
        for (int i = 0; nbus_get_name(prefix.c_str(), i, name.data(), 128) == 0; ++i) {
            result.emplace_back(name.data());
        }
        return result;
    }
};

TEST_F(TwinBus, DeliversLaterAndInTheOrderOfTheSetsOfTheWholeBus) {
    nbus_listen("fifo.first", answerWithSets);
    nbus_listen("fifo.second", hear<'y'>);
    ASSERT_EQ(nbus_set("fifo.first", "go"), 0);
    ASSERT_EQ(nbus_set("fifo.second", "0"), 0);
    ASSERT_EQ(twin::setFromOutside("fifo.second", "outside"), "");
    EXPECT_THAT(gHeard, IsEmpty());
    EXPECT_THAT(delivered(),
                ElementsAre("x fifo.first go", "x leaves", "y fifo.second 0",
                            "y fifo.second outside", "y fifo.second 1", "y fifo.second 2"));
}

TEST_F(TwinBus, CallsListenersInOrderAndJoinsNothing) {
    nbus_listen("many.k", hear<'b'>);
    nbus_listen("many", hear<'a'>);
    nbus_listen("many.k", hear<'b'>);
    for (const char* const value : {"1", "1", ""}) {
        nbus_set("many.k", value);
    }
    EXPECT_THAT(delivered(),
                ElementsAre("b many.k 1", "a many.k 1", "b many.k 1", "b many.k 1", "a many.k 1",
                            "b many.k 1", "b many.k ", "a many.k ", "b many.k "));
}

TEST_F(TwinBus, AListenerHearsEveryLaterSetOfEveryKeyThatBeginsWithItsText) {
    nbus_set("pre.zoom", "earlier");
    nbus_listen("pre.zoom", hear<'z'>);
    for (const char* const key :
         {"pre.zoom", "pre.zoomstatus", "pre.zoom.x", "pre.zoo", "xpre.zoom", "pre.Zoom"}) {
        nbus_set(key, "v");
    }
    EXPECT_THAT(delivered(), ElementsAre("z pre.zoom v", "z pre.zoomstatus v", "z pre.zoom.x v"));
}

TEST_F(TwinBus, GetSeesOwnSetsAtOnceAndLeavesTheBufferOfAnAbsentKey) {
    nbus_set("get.k", "first");
    nbus_set("get.k", "abcdef");
    nbus_set("get.empty", "");
    EXPECT_EQ(get("get.k"), "abcdef");
    EXPECT_EQ(get("get.empty"), "");
    EXPECT_EQ(get("get.none"), "absent");
    EXPECT_EQ(get("get.k", 7), "abcdef");
    EXPECT_EQ(get("get.k", 4), "abc");
    EXPECT_EQ(get("get.k", 1), "");
}

TEST_F(TwinBus, NamesComeInByteOrderAndAreLongerThanThePrefix) {
    for (const char* const key : {"n.a", "n.a.b", "n.aZ", "n.a.B", "n.b", "n.a\xff"}) {
        nbus_set(key, "");
    }
    EXPECT_THAT(names("n.a"), ElementsAre("n.a.B", "n.a.b", "n.aZ", "n.a\xff"));
    EXPECT_THAT(names("n.nothing"), IsEmpty());
    std::array<char, 4> cut{};
    EXPECT_EQ(nbus_get_name("n.a", 0, cut.data(), 4), 0);
    EXPECT_STREQ(cut.data(), "n.a");
    EXPECT_EQ(nbus_get_name("n.a", -1, cut.data(), 4), -1);
    EXPECT_EQ(nbus_get_name("n.a", INT_MAX, cut.data(), 4), -1);
}

TEST_F(TwinBus, TheOwnCameraIsCam1) {
    nbus_listen("own.cam1.flip", hear<'1'>);
    nbus_listen("own.camN.flip", hear<'N'>);
    nbus_set("own.cam1.flip", "on");
    nbus_set("own.cam2.flip", "two");
    nbus_set("own.cam10.flip", "ten");
    EXPECT_THAT(delivered(), ElementsAre("1 own.camN.flip on", "N own.camN.flip on"));
    EXPECT_EQ(get("own.camN.flip"), "on");
    EXPECT_EQ(get("own.cam1.flip"), "on");
    EXPECT_THAT(names("own."), ElementsAre("own.cam10.flip", "own.cam2.flip", "own.camN.flip"));
    EXPECT_THAT(names("own.cam1."), ElementsAre("own.camN.flip"));
}

TEST_F(TwinBus, RefusesOverlongTextsUnlessTheGuardIsOff) {
    const std::string longest(127, 'v');
    const std::string overlong(128, 'v');
    nbus_listen("long", hear<'l'>);
    EXPECT_EQ(nbus_set("long", longest.c_str()), 0);
    EXPECT_EQ(nbus_set(("long" + std::string(123, 'k')).c_str(), "v"), 0);
    delivered();
    testing::internal::CaptureStderr();
    EXPECT_NE(nbus_set("long", overlong.c_str()), 0);
    EXPECT_NE(nbus_set(("long" + std::string(124, 'k')).c_str(), "v"), 0);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                testing::AllOf(testing::HasSubstr("value of 128 bytes"),
                               testing::HasSubstr("key of 128 bytes")));
    EXPECT_NE(twin::setFromOutside("long", overlong), "");
    EXPECT_THAT(delivered(), IsEmpty());
    EXPECT_EQ(get("long"), longest);

    fault("bus-overlong");
    EXPECT_EQ(nbus_set("long", overlong.c_str()), 0);
    EXPECT_THAT(delivered(), ElementsAre("l long " + overlong));
    EXPECT_EQ(get("long"), longest);  // cut to the caller's buffer
}

TEST_F(TwinBus, OnlyTheDaemonsSetsFailWhereTheBusRefuses) {
    nbus_set("refused", "before");
    fault("bus-refuse");
    EXPECT_NE(nbus_set("refused", "daemon"), 0);
    EXPECT_EQ(get("refused"), "before");
    EXPECT_EQ(twin::setFromOutside("refused", "outside"), "");
    EXPECT_EQ(get("refused"), "outside");
    fault("clear");
    fault("call nbus_get 1");
    EXPECT_EQ(get("refused"), "absent");
    EXPECT_EQ(get("refused"), "outside");
}

TEST_F(TwinBus, SurvivesMisuse) {
    std::array<char, 4> buffer{'x'};
    nbus_set("misuse", "v");
    EXPECT_NE(nbus_set(nullptr, "v"), 0);
    EXPECT_NE(nbus_set("misuse", nullptr), 0);
    EXPECT_NE(nbus_set("", "v"), 0);
    EXPECT_NE(nbus_listen(nullptr, hear<'a'>), 0);
    EXPECT_NE(nbus_listen("misuse", nullptr), 0);
    EXPECT_NE(nbus_get(nullptr, buffer.data(), 4), 0);
    EXPECT_NE(nbus_get("misuse", nullptr, 4), 0);
    for (const int size : {0, -1, INT_MIN}) {
        EXPECT_NE(nbus_get("misuse", buffer.data(), size), 0);
        EXPECT_EQ(nbus_get_name("mis", 0, buffer.data(), size), -1);
    }
    EXPECT_EQ(nbus_get_name(nullptr, 0, buffer.data(), 4), -1);
    EXPECT_EQ(nbus_get_name("mis", 0, nullptr, 4), -1);
    EXPECT_EQ(buffer[0], 'x');
}

TEST_F(TwinBus, PresetsAndSettingsOutliveARestart) {
    struct Case {
        const char* key;
        bool outlives;
    };
    constexpr Case kCases[] = {
        {"lens.camN.preset1", true},
        {"lens.camN.preset2", true},
        {"lens.camN.mode_rotate", true},
        {"lens.camN.focus_after_zoom", true},
        {"lens.camN.light.front_left.color", true},
        {"image.camN.flip", true},
        {"event.camN.light.flash", true},
        {"image.cam2.flip", true},
        {"lens.camN.zoom", false},
        {"lens.camN.zoomstatus", false},
        {"lens.camN.position_zoom", false},
        {"lens.camN.range.zoom", false},
        {"lens.camN.action.cmd", false},
        {"lens.camN.act_preset", false},
        {"demo.ptz.action", false},
        {"demo.ptz.position.zoom", false},
        {"system.camN.info.power_consumption", false},
    };
    for (const Case& each : kCases) {
        twin::setFromOutside(each.key, "kept");
        EXPECT_EQ(twin::lastingKeys().contains(each.key), each.outlives) << each.key;
    }
    for (const auto& [key, value] : twin::factorySettings()) {
        EXPECT_TRUE(twin::outlivesRestart(key)) << key;
    }
}

TEST_F(TwinBus, WaitsForASetFromNowOn) {
    nbus_set("wait.k", "v");
    delivered();
    const twin::Microseconds start = twin::now();
    EXPECT_EQ(twin::waitForSet("wait.k", "v", start + 100), std::nullopt);
    EXPECT_EQ(twin::now(), start + 100);
    twin::scheduleEvent(
        start + 150, [](std::int64_t) { nbus_set("wait.k", "other"); }, 0);
    twin::scheduleEvent(
        start + 170, [](std::int64_t) { nbus_set("wait.k", "v"); }, 0);
    EXPECT_EQ(twin::waitForSet("wait.k", "v", start + 1000), start + 170);
    EXPECT_EQ(twin::now(), start + 170);
}

}  // namespace
