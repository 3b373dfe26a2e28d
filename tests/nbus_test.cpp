// The bus for services on a workstation: services of the camera, a real broker and real heads.
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "broker.h"
#include "paths.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

std::vector<std::string> withEnvironment(const Broker& broker, std::vector<std::string> program,
                                         const std::vector<std::string>& more = {}) {
    std::vector<std::string> result = {
        "/usr/bin/env", "KESTREL_MQTT=mqtt://127.0.0.1:" + std::to_string(broker.port),
        "KESTREL_NAME=cam7", "KESTREL_WAIT=30"};
    result.insert(result.end(), more.begin(), more.end());
    result.insert(result.end(), program.begin(), program.end());
    return result;
}

// A service that is there, or says why not.
struct Service : Process {
    explicit Service(const Broker& broker, const std::vector<std::string>& more = {})
        : Process(withEnvironment(broker, {kServiceProgram}, more)) {}

    // What comes up to the line that ends with `answer`.
    std::string ask(const std::string& command, const std::string& answer) {
        write(command + "\n");
        return readOn(answer + "\n");
    }
};

TEST(NbusRealClock, AServiceSeesTheWholeStateAndItsOwnSetsAtOnceAndHearsEverySetOnceInOrder) {
    Broker broker;
    broker.start();
    Head head(broker);
    // The head is there when its keys are registered; what they hold comes any moment.
    Client(broker, "kestrel/cam7/bus/#").readTo("kestrel/cam7/bus/lens/camN/position_zoom 1000");
    Client watcher(broker, "kestrel/cam7/bus/lens/camN/test");
    Service service(broker);
    service.readOn("there\n");
    service.ask("get lens.cam1.position_zoom", "lens.cam1.position_zoom is '1000'");
    service.ask("get lens.camN.zoom", "lens.camN.zoom is absent");
    service.ask("names image.cam1.f", "image.cam1.f: image.camN.flip");
    // The names that begin with the text, and what another service sets, too.
    service.ask("listen lens.cam1.test", "listening");
    EXPECT_EQ(service.ask("set lens.cam1.testing mine", "b heard lens.camN.testing mine"),
              "a heard lens.camN.testing mine\nb heard lens.camN.testing mine\n");
    service.ask("get lens.cam1.testing", "lens.cam1.testing is 'mine'");
    watcher.publish("kestrel/cam7/set/lens/camN/test", "theirs");
    service.readOn("a heard lens.camN.test theirs\nb heard lens.camN.test theirs\n");
    // A word that is not kept anywhere comes back all the same.
    service.ask("listen lens.camN.act_preset", "listening");
    service.ask("set lens.camN.act_preset what", "b heard lens.camN.act_preset what");
    service.ask("get lens.camN.act_preset", "is 'what'");
    std::string expected;
    for (int i = 1; i <= 2000; ++i) {
        for (const char* const name : {"a", "b"}) {
            expected +=
                std::string(name) + " heard lens.camN.test.flood " + std::to_string(i) + "\n";
        }
    }
    EXPECT_EQ(service.ask("flood lens.camN.test.flood 2000", "b heard lens.camN.test.flood 2000"),
              expected);
    service.ask("get lens.camN.test.flood", "is '2000'");
    // A set is not lost where the program ends behind it.
    service.write("set lens.camN.test last\nexit\n");
    EXPECT_THAT(service.finish(), Not(HasSubstr("another thread")));
    EXPECT_EQ(service.status, 0);
    watcher.readTo("kestrel/cam7/bus/lens/camN/test last");
}

TEST(NbusRealClock, WhatNoCameraTakesIsRefusedAndTold) {
    Broker broker;
    broker.start();
    Head head(broker, {"--families", "lens"});
    Service service(broker);
    service.readOn("there\n");
    service.ask("set lens.camN.zoom " + std::string(128, 'v'), "not set");
    service.ask("set lens." + std::string(123, 'k') + " 1", "not set");
    service.ask("set lens.a/b 1", "not set");
    const std::string longest = "lens." + std::string(122, 'k');
    service.write("set " + longest + " " + std::string(127, 'v') + "\n");
    service.ask("get " + longest, "is '" + std::string(127, 'v') + "'");
    service.ask("set gpio.camN.out.icr day",
                "set of gpio.camN.out.icr refused: of no forwarded family, accepted: lens");
    service.ask("get gpio.camN.out.icr", "is absent");
    EXPECT_THAT(head.setsOf("gpio.camN.out.icr"), IsEmpty());
}

TEST(NbusRealClock, AfterABreakAServiceHearsWhatHasChangedAndNothingOfItsIsCarriedOutLate) {
    Broker broker;
    broker.start();
    Head head(broker);
    Client(broker, "kestrel/cam7/state").readTo("kestrel/cam7/state online");
    Service service(broker);
    service.readOn("there\n");
    service.ask("listen lens.camN.test", "listening");
    service.ask("set lens.camN.test.kept 1", "b heard lens.camN.test.kept 1");
    service.ask("set lens.camN.test.gone 1", "b heard lens.camN.test.gone 1");
    broker.kill();
    service.readOn("trying on\n");
    service.ask("set lens.camN.test.late 1", "not set");
    head.ask("set lens.camN.test.changed 1");
    head.ask("set lens.camN.test.changed 2");
    head.process.write("set lens.camN.test.gone \n");
    broker.start();
    // The listeners' lines come from another thread than the library's.
    std::string heard = service.readOn("there again\n");
    heard += service.ask("set lens.camN.test.next 1", "b heard lens.camN.test.next 1");
    EXPECT_THAT(heard, AllOf(HasSubstr("a heard lens.camN.test.changed 2\n"),
                             HasSubstr("a heard lens.camN.test.gone \n"),
                             Not(HasSubstr("test.kept")), Not(HasSubstr("test.changed 1"))));
    service.ask("get lens.camN.test.gone", "is ''");
    EXPECT_THAT(head.setsOf("lens.camN.test.late"), IsEmpty());
    service.readOn("the camera is offline; trying on\n");
    service.ask("set lens.camN.test.late 2", "not set");
}

TEST(NbusRealClock, AServiceWithoutItsCameraSaysWhyAndDoesNotStart) {
    Broker open;
    open.start();
    Broker closed("listener @PORT@ 127.0.0.1\nallow_anonymous false\n");
    closed.start();
    Broker absent;
    const struct {
        const Broker& broker;
        const char* variable;
        const char* line;
    } hindrances[] = {
        {open, "KESTREL_NAME=cam8", "nbus: there is no camera cam8 at 127.0.0.1:"},
        {absent, "KESTREL_BASE=kestrel", ": Connection refused\n"},
        {closed, "KESTREL_WAIT=3600", "check KESTREL_MQTT_USER and KESTREL_MQTT_PASSWORD_FILE\n"},
        {open, "KESTREL_MQTT=localhost", "nbus: KESTREL_MQTT 'localhost', accepted: mqtt://"},
        {open, "KESTREL_MQTT_CERT=/etc/passwd", "KESTREL_MQTT_KEY are accepted together only\n"},
    };
    for (const auto& hindrance : hindrances) {
        Service service(hindrance.broker, {"KESTREL_WAIT=1", hindrance.variable});
        EXPECT_THAT(service.finish(), HasSubstr(hindrance.line));
        EXPECT_EQ(service.status, 1);
    }
}

TEST(NbusRealClock, TheExamplesPatrolBetweenTheCamerasPresets) {
    Broker broker;
    broker.start();
    Head head(broker);
    Client(broker, "kestrel/cam7/state").readTo("kestrel/cam7/state online");
    const std::vector<std::string> patrols[] = {
        {kPatrolProgram, "2"}, {"/usr/bin/python3", sourcePath("examples/patrol.py"), "2"}};
    for (const std::vector<std::string>& arguments : patrols) {
        Process early(withEnvironment(broker, arguments));
        EXPECT_THAT(early.finish(), HasSubstr("patrol: preset 1 is not stored"));
        EXPECT_EQ(early.status, 1);
        Process lost(withEnvironment(broker, arguments,
                                     {"KESTREL_MQTT=mqtt://127.0.0.1:1", "KESTREL_WAIT=1"}));
        EXPECT_THAT(lost.finish(), HasSubstr(": Connection refused\n"));
        EXPECT_EQ(lost.status, 1);
    }
    for (const char* const command :
         {"set lens.camN.act_preset 1:set:lock", "wait lens.camN.act_preset done",
          "set lens.camN.zoom a:1500", "wait lens.camN.zoomstatus stop",
          "set lens.camN.act_preset 2:set:lock", "wait lens.camN.act_preset done"}) {
        head.ask(command);
    }
    for (const std::vector<std::string>& arguments : patrols) {
        Process patrol(withEnvironment(broker, arguments));
        patrol.readTo("  lens.camN.zoomstatus run\n");
        patrol.readTo("  lens.camN.zoomstatus stop\n");
        patrol.readTo("preset 1 reached\n");
        patrol.readTo("  lens.camN.zoomstatus run\n");
        patrol.readTo("preset 2 reached\n");
        EXPECT_THAT(patrol.finish(), EndsWith("preset 2 reached\n"));
        EXPECT_EQ(patrol.status, 0);
    }
    EXPECT_THAT(head.setsOf("lens.camN.act_preset"),
                ElementsAre("1:set:lock", "2:set:lock", "1:go", "2:go", "1:go", "2:go", "1:go",
                            "2:go", "1:go", "2:go"));
}

}  // namespace
