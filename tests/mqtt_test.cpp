// The bus on MQTT, from outside: heads, a real broker, and clients that watch and steer.
#include <gmock/gmock.h>

#include <string>
#include <utility>
#include <vector>

#include "broker.h"

namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::Not;
using testing::StartsWith;
using testing::UnorderedElementsAreArray;

constexpr const char* kOnline = "kestrel/cam7/state online";

// Every topic that the broker keeps for the head says what the head's bus holds, and the other way
// round. The head rests.
void expectKeptIsTheBus(const Broker& broker, Head& head) {
    const std::vector<std::string> expected = withoutPower(head.toBeKept());
    EXPECT_THAT(withoutPower(keptBelow(broker, "kestrel/cam7/bus")),
                UnorderedElementsAreArray(expected));
}

// Waits until what the head's bus was told before has reached the client.
void waitForAll(Head& head, Client& client) {
    static int count = 0;
    const std::string mark = std::to_string(++count);
    head.process.write("set lens.test.mark " + mark + "\n");
    client.readTo("kestrel/cam7/bus/lens/test/mark " + mark);
}

TEST(MqttRealClock, TheWholeStateComesBeforeOnlineAndThenEverySet) {
    Broker broker;
    broker.start();
    Client client(broker, "kestrel/#");
    client.publish("kestrel/cam7/bus/lens/camN/left_over", "1", {true, "", ""});
    client.publish("kestrel/cam7/bus/lens/camN/zoom", "a:1", {true, "", ""});
    client.publish("kestrel/cam7/state", "online", {true, "", ""});
    client.readTo(kOnline);
    Head head(broker);
    EXPECT_THAT(client.readTo(kOnline),
                AllOf(Contains("kestrel/cam7/state offline"),
                      Contains("kestrel/cam7/bus/lens/camN/left_over "),
                      Contains("kestrel/cam7/bus/lens/camN/zoom "),
                      Contains("kestrel/cam7/bus/image/camN/flip off"),
                      Contains(StartsWith("kestrel/cam7/info {\"program\":\"kestrel-twin\","))));
    client.publish("kestrel/cam7/set/lens/camN/zoom", "r:200",
                   {false, "kestrel/answers/me", std::string("4\0 2", 4)});
    std::vector<std::string> lines = client.readTo("kestrel/cam7/bus/lens/camN/zoomstatus stop");
    std::erase_if(lines, [](const std::string& line) {
        return line.find("zoom") == std::string::npos && line.find("answers") == std::string::npos;
    });
    EXPECT_THAT(lines,
                IsSupersetOf({"kestrel/answers/me ok", "kestrel/cam7/bus/lens/camN/zoom r:200",
                              "kestrel/cam7/bus/lens/camN/zoomstatus run"}));
    client.readTo("kestrel/cam7/bus/lens/camN/action/cmd done");
    head.process.write(
        "set lens.camN.focus_after_zoom off\nset image.camN.sharpness 7\n"
        "set image.camN.sharpness\n");
    client.readTo("kestrel/cam7/bus/lens/camN/focus_after_zoom off");
    client.readTo("kestrel/cam7/bus/image/camN/sharpness ");
    waitForAll(head, client);
    // A pass that is held up sees the move's end before it tells the place.
    std::vector<std::string> told;
    for (const Received& message : client.received()) {
        told.push_back(message.line());
        if (message.topic == "kestrel/answers/me") {
            EXPECT_EQ(message.correlation, std::string("4\0 2", 4));
        }
    }
    EXPECT_THAT(told, Contains("kestrel/cam7/bus/lens/camN/position_zoom 1200"));
    expectKeptIsTheBus(broker, head);
    head.process.write("set lens.test.last 1\n");
    EXPECT_THAT(head.setsOf("lens.camN.zoom"), ElementsAre("r:200"));
    EXPECT_THAT(
        client.readTo("kestrel/cam7/state offline"),
        AllOf(Not(Contains(HasSubstr("online"))), Contains("kestrel/cam7/bus/lens/test/last 1")));
}

TEST(MqttRealClock, WhatIsRefusedIsToldAndLosesNothingElse) {
    Broker broker;
    broker.start();
    Client client(broker, "kestrel/#");
    Head head(broker, {"--families", "lens,image"});
    client.readTo(kOnline);
    const std::string zoom = "lens/camN/zoom";
    const struct {
        std::string key;
        std::string value;
        bool retained;
        std::string reason;
    } refused[] = {
        {zoom, "a:1", true, "retained, and a command must not be kept"},
        {zoom, "", true, "retained, and a command must not be kept"},
        {zoom, std::string(128, 'a'), false, "value of 128 bytes, at most 127"},
        {zoom, std::string("a\0b", 3), false, "a NUL byte in the value"},
        {"lens/" + std::string(123, 'k'), "1", false, "key of 128 bytes, at most 127"},
        {"gpio/camN/out/icr", "day", false, "of no forwarded family, accepted: lens, image"},
        {"lens", "1", false, "of no forwarded family"},
        {"lens.camN.zoom", "a:1", false, "a dot in the topic"},
    };
    for (const auto& set : refused) {
        client.publish("kestrel/cam7/set/" + set.key, set.value,
                       {set.retained, "kestrel/answers/me", "7"});
        client.publish("kestrel/cam7/set/lens/test/next", "1");
        const std::vector<std::string> lines = client.readTo("kestrel/cam7/bus/lens/test/next 1");
        EXPECT_THAT(lines, Contains(AllOf(StartsWith("kestrel/cam7/error kestrel/cam7/set/"),
                                          HasSubstr(": refused: " + set.reason))));
        EXPECT_THAT(lines,
                    Contains(AllOf(StartsWith("kestrel/answers/me "), HasSubstr(set.reason))));
    }
    client.publish("kestrel/cam7/set/lens/test/next", "2",
                   {false, "kestrel/other/set/lens/camN/zoom", ""});
    client.publish("kestrel/cam7/set/lens/test/next", "3");
    EXPECT_THAT(client.readTo("kestrel/cam7/bus/lens/test/next 3"),
                AllOf(Contains("kestrel/cam7/bus/lens/test/next 2"),
                      Contains("kestrel/cam7/error kestrel/cam7/set/lens/test/next: no answer: the "
                               "response topic is a head's own"),
                      Not(Contains(StartsWith("kestrel/other")))));
    head.process.write("set lens.a/b 1\nset lens.a/b 2\nset lens.camN.w+ 1\n");
    client.readTo("kestrel/cam7/error key lens.a/b is not forwarded: no topic can hold it");
    client.readTo("kestrel/cam7/error key lens.camN.w+ is not forwarded: no topic can hold it");
    client.publish("kestrel/cam7/set/lens/test/" + std::string(117, 'k'), std::string(127, 'v'));
    client.readTo("kestrel/cam7/bus/lens/test/" + std::string(117, 'k') + " " +
                  std::string(127, 'v'));
    EXPECT_THAT(keptBelow(broker, "kestrel/cam7/set"), ElementsAre());
    EXPECT_THAT(head.setsOf("lens.camN.zoom"), ElementsAre());
}

TEST(MqttRealClock, ABrokerThatDiesIsFoundAgainWithTheWholeStateAndNothingCarriedOutLate) {
    Broker broker;
    broker.start();
    Head head(broker);
    Client(broker, "kestrel/cam7/state").readTo(kOnline);
    for (const char* const value : {"1", "2"}) {
        broker.kill();
        head.process.readTo("closed the connection; trying on");
        head.process.write("set lens.camN.preset1 " + std::string(value) +
                           ",2,3,4,5,0,0,0\nset lens.camN.status late\n");
        broker.start();
        Client client(broker, "kestrel/#");
        client.publish("kestrel/cam7/set/lens/camN/zoom", "r:100");
        EXPECT_THAT(client.readTo(kOnline), Contains("kestrel/cam7/bus/lens/camN/preset1 " +
                                                     std::string(value) + ",2,3,4,5,0,0,0"));
        client.readTo("kestrel/cam7/bus/lens/camN/status late");
        waitForAll(head, client);
        expectKeptIsTheBus(broker, head);
    }
    EXPECT_THAT(head.setsOf("lens.camN.zoom"), ElementsAre());
}

TEST(MqttRealClock, EverySetOfAFloodIsCarriedOutOnceAndInItsOrder) {
    constexpr int kSets = 2000;
    Broker broker;
    broker.start();
    Head head(broker);
    Client client(broker, "kestrel/cam7/#");
    client.readTo(kOnline);
    client.flood("kestrel/cam7/set/lens/test/number", kSets);
    client.readTo("kestrel/cam7/bus/lens/test/number " + std::to_string(kSets));
    std::vector<std::string> numbers;
    for (int number = 1; number <= kSets; ++number) {
        numbers.push_back(std::to_string(number));
    }
    EXPECT_EQ(head.setsOf("lens.test.number"), numbers);
}

TEST(MqttRealClock, TwoHeadsWithOneNameAreToldSo) {
    Broker broker;
    broker.start();
    Head first(broker);
    first.process.readTo(": online as cam7");
    Head second(broker);
    for (Head* const head : {&first, &second}) {
        head->process.readTo(
            "another head has been online under this name; give each head a --name of its own");
    }
}

}  // namespace
