// What the bus guarantees to whoever uses it.
#include <gmock/gmock.h>

#include <array>
#include <climits>
#include <string>
#include <vector>

#include "platform/nbus.h"
#include "tests/twin_world.h"
#include "twin/boundary/bus.h"
#include "twin/camera/settings.h"

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
    nbus_set("fifo.second", "3");
    EXPECT_THAT(gHeard, IsEmpty());
    twin::waitUntilDelivered(twin::now() + 1);
    EXPECT_THAT(gHeard, ElementsAre("y fifo.second 3"));
}

TEST_F(TwinBus, ListenersHearInTheirOrderEveryLaterSetOfEveryKeyThatBeginsWithTheirText) {
    nbus_set("pre.zoom", "earlier");
    nbus_listen("pre.zoom", hear<'b'>);
    nbus_listen("pre", hear<'a'>);
    nbus_listen("pre.zoom", hear<'b'>);
    for (const char* const key :
         {"pre.zoom", "pre.zoom", "pre.zoomstatus", "pre.zoo", "xpre.zoom"}) {
        nbus_set(key, "v");
    }
    EXPECT_THAT(delivered(),
                ElementsAre("b pre.zoom v", "a pre.zoom v", "b pre.zoom v", "b pre.zoom v",
                            "a pre.zoom v", "b pre.zoom v", "b pre.zoomstatus v",
                            "a pre.zoomstatus v", "b pre.zoomstatus v", "a pre.zoo v"));
}

TEST_F(TwinBus, GetSeesOwnSetsAtOnceAndNamesComeInByteOrder) {
    for (const char* const key : {"n.a", "n.a.b", "n.aZ", "n.a.B", "n.b", "n.a\xff"}) {
        nbus_set(key, "first");
        nbus_set(key, "abcdef");
    }
    EXPECT_EQ(get("n.a"), "abcdef");
    EXPECT_EQ(get("n.none"), "absent");
    EXPECT_EQ(get("n.a", 4), "abc");
    EXPECT_EQ(get("n.a", 1), "");
    EXPECT_THAT(names("n.a"), ElementsAre("n.a.B", "n.a.b", "n.aZ", "n.a\xff"));
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
    EXPECT_EQ(nbus_set("long", longest.c_str()), 0);
    EXPECT_EQ(nbus_set(longest.c_str(), "v"), 0);
    nbus_listen("long", hear<'l'>);
    EXPECT_NE(nbus_set("long", overlong.c_str()), 0);
    EXPECT_NE(nbus_set(overlong.c_str(), "v"), 0);
    EXPECT_NE(twin::setFromOutside("long", overlong), "");
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

TEST_F(TwinBus, PresetsAndSettingsOutliveARestart) {
    for (const char* const lasting : {"lens.camN.preset1", "lens.camN.focus_after_zoom", "x"}) {
        EXPECT_TRUE(twin::outlivesRestart(lasting)) << lasting;
    }
    for (const char* const passing : {"lens.camN.zoom", "lens.camN.position_zoom"}) {
        EXPECT_FALSE(twin::outlivesRestart(passing)) << passing;
    }
}

}  // namespace
