// Two sites, each with a broker, heads and people, joined by the sample configuration as it stands.
#include <gmock/gmock.h>

#include <string>

#include "broker.h"
#include "paths.h"
#include "tools/relay.h"

namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAreArray;

// A head, who steers it from the other site, and where that one hears.
struct Side {
    std::string base;
    Head& head;
    Client& here;
    Client& there;

    std::string topic(const std::string& levels) const {
        return base + "/cam7/" + levels;
    }
};

TEST(MqttFleetRealClock, BridgedSitesSteerEachOtherAndACutOfTheirLinkHeals) {
    const std::string bench =
        replaced(readSource("packaging/mosquitto/bench.conf"), "listener 1883", "listener @PORT@");
    Broker south(bench);
    south.start();
    Relay link(south.port);
    const std::string bridge =
        replaced(readSource("packaging/mosquitto/bridge.conf"), "south.example:1883",
                 "127.0.0.1:" + std::to_string(link.port()));
    // How often it tries while the link is cut does not decide when it is back.
    Broker north(bench + replaced(bridge, "restart_timeout 1 30", "restart_timeout 1 2"));
    north.start();
    Head northHead(north, {"--base", "kestrel/north"});
    Head southHead(south, {"--base", "kestrel/south"});
    Client nora(north, "#");
    Client sam(south, "#");
    const Side sides[] = {{"kestrel/north", northHead, nora, sam},
                          {"kestrel/south", southHead, sam, nora}};
    for (const Side& side : sides) {
        side.there.readTo(side.topic("state online"));
        side.there.publish(side.topic("set/lens/camN/zoom"), "r:100");
        side.there.readTo(side.topic("bus/lens/camN/position_zoom 1100"));
        // The answer to a move may come before or behind what the move brings about.
        side.there.publish(side.topic("set/lens/test/asked"), "1", {false, "answers/me", ""});
        side.there.readTo("answers/me ok");
    }

    link.cut();
    nora.readTo("kestrel/link/north 0");
    sam.readTo("kestrel/link/north 0");
    for (const Side& side : sides) {
        side.there.publish(side.topic("set/lens/camN/zoom"), "r:7");
        side.head.process.write("set lens.camN.preset1 1,2,3,4,5,0,0,0\n");
        side.here.readTo(side.topic("bus/lens/camN/preset1 1,2,3,4,5,0,0,0"));
    }
    link.restore(south.port);
    for (const Side& side : sides) {
        side.there.readTo(side.topic("bus/lens/camN/preset1 1,2,3,4,5,0,0,0"));
        side.there.publish(side.topic("set/lens/test/mark"), "1");
        side.there.readTo(side.topic("bus/lens/test/mark 1"));
        EXPECT_THAT(withoutPower(keptBelow(south, side.base)),
                    UnorderedElementsAreArray(withoutPower(keptBelow(north, side.base))));
        EXPECT_THAT(side.head.setsOf("lens.camN.zoom"), ElementsAre("r:100"));
    }
}

}  // namespace
