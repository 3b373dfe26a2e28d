// What waits to be sent to the broker, and the pauses between two attempts to reach it.
#include <gmock/gmock.h>

#include <chrono>
#include <string>
#include <vector>

#include "bridge/backoff.h"
#include "bridge/outgoing.h"
#include "bridge/topics.h"

namespace {

using testing::ElementsAre;

// Everything that may be sent now, as "LAST-LEVEL PAYLOAD".
std::vector<std::string> taken() {
    std::vector<std::string> lines;
    while (const auto message = bridge::takeMessage()) {
        lines.push_back(message->topic.substr(message->topic.rfind('/') + 1) + " " +
                        message->payload);
    }
    return lines;
}

void say(std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        bridge::noteSet("lens.camN.pan", std::to_string(i).c_str());
    }
}

TEST(MqttOutgoing, KeepsTheLatestValuesAndCountsTheWordsThatItLoses) {
    bridge::Options options;
    options.name = "cam7";
    bridge::useTopics(options);
    bridge::useWakeUp([] {});
    bridge::noteSet("lens.camN.zoomstatus", "run");
    bridge::noteKey("lens.camN.zoomstatus", "from before");
    bridge::noteKey("lens.camN.zoom", "a:1");
    bridge::noteSet("other.camN.zoom", "a:1");
    bridge::noteSet("lens.camN.zoomstatus", "stop");
    say(bridge::kMostWaiting + 10);

    // The newest words were kept; they wait until the state has been told.
    bridge::beginState();
    EXPECT_THAT(taken(), testing::UnorderedElementsAre("zoom a:1", "zoomstatus stop"));
    bridge::endState();
    std::vector<std::string> lines = taken();
    ASSERT_EQ(lines.size(), bridge::kMostWaiting + 1);
    EXPECT_EQ(lines.front(), "pan 10");
    EXPECT_EQ(lines.back(),
              "error not forwarded while the broker was slow or away: 10 command words, 0 answers "
              "and lines");

    // Every set follows, in order, also where it does not change the value.
    bridge::noteSet("lens.camN.zoomstatus", "run");
    bridge::noteSet("lens.camN.zoomstatus", "run");
    bridge::noteSet("lens.camN.zoom", "in");
    bridge::noteSet("lens.camN.zoomstatus", "stop");
    EXPECT_THAT(taken(),
                ElementsAre("zoomstatus run", "zoomstatus run", "zoom in", "zoomstatus stop"));

    // A key that does not fit any more comes later, and never out of order.
    bridge::noteSet("lens.camN.zoomstatus", "old");
    say(bridge::kMostWaiting);
    bridge::noteSet("lens.camN.zoomstatus", "new");
    bridge::noteSet("lens.camN.zoomstatus", "newest");
    lines = taken();
    std::erase_if(lines, [](const std::string& line) { return line.starts_with("pan "); });
    EXPECT_THAT(lines, ElementsAre("zoomstatus newest",
                                   "error not forwarded while the broker was slow or away: 1 "
                                   "command words, 0 answers and lines"));

    // What the broker did not confirm goes back: words in their order, values with the next state.
    bridge::noteSet("lens.camN.zoom", "1");
    bridge::noteSet("lens.camN.zoomstatus", "run");
    std::vector<bridge::Message> unconfirmed = {*bridge::takeMessage(), *bridge::takeMessage()};
    bridge::noteSet("lens.camN.zoom", "2");
    bridge::endLink(std::move(unconfirmed));
    bridge::noteSet("lens.camN.zoomstatus", "stop");
    bridge::beginState();
    EXPECT_THAT(taken(), ElementsAre("zoomstatus stop"));
    bridge::endState();
    EXPECT_THAT(taken(), ElementsAre("zoom 1", "zoom 2"));

    // No more keys than that, whatever is set.
    for (std::size_t i = 0; i < 2 * bridge::kMostKeys; ++i) {
        bridge::noteSet(("lens.many." + std::to_string(i)).c_str(), "1");
        taken();
    }
    EXPECT_EQ(bridge::knownKeys(), bridge::kMostKeys);
    EXPECT_FALSE(bridge::hasRoomFor("lens.many.one_more"));
    EXPECT_TRUE(bridge::hasRoomFor("lens.camN.zoom"));
    EXPECT_TRUE(bridge::hasRoomFor("lens.cam1.zoom"));
}

TEST(MqttBackoff, DoublesThePausesFromOneSecondToThirty) {
    using std::chrono::milliseconds;
    EXPECT_EQ(bridge::pauseAfter(1, 0.0), milliseconds(1000));
    EXPECT_EQ(bridge::pauseAfter(1, 1.0), milliseconds(2000));
    EXPECT_EQ(bridge::pauseAfter(2, 0.5), milliseconds(3000));
    EXPECT_EQ(bridge::pauseAfter(5, 1.0), milliseconds(30'000));
    EXPECT_EQ(bridge::pauseAfter(1'000'000, 0.0), milliseconds(15'000));
}

}  // namespace
