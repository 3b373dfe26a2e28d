// Recordings of a real camera's bus: what kestrel-mqtt writes, and what the model says to it.
#include <gmock/gmock.h>

#include <cmath>
#include <cstdio>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "bridge/record.h"
#include "session.h"
#include "twin/replay/recording.h"

namespace {

using testing::ContainsRegex;
using testing::ElementsAre;

// A bus that tells every set to the one who listens.
nbus_handler gHandler = nullptr;
std::map<std::string, std::string>& values() {
    static std::map<std::string, std::string> all;
    return all;
}
int listen(const char*, nbus_handler handler) {
    gHandler = handler;
    return 0;
}
int get(const char* key, char* value, int size) {
    std::snprintf(value, static_cast<std::size_t>(size), "%s", values().at(key).c_str());
    return 0;
}
int set(const char* key, const char* value) {
    values()[key] = value;
    gHandler(key, value);
    return 0;
}
int getName(const char*, int index, char* name, int size) {
    if (index >= static_cast<int>(values().size())) {
        return -1;
    }
    std::snprintf(name, static_cast<std::size_t>(size), "%s",
                  std::next(values().begin(), index)->first.c_str());
    return 0;
}
void complain(const std::string& line) {
    ADD_FAILURE() << line;
}

std::vector<std::string> linesOf(const twin::RecordedRun& run, std::size_t count) {
    std::vector<std::string> lines;
    for (std::size_t i = 0; i < std::min(count, run.events.size()); ++i) {
        lines.push_back(run.events[i].kind + " " + run.events[i].text);
    }
    return lines;
}

TEST(FieldRecording, NamesWhoMadeASetAndBeginsNewFiles) {
    const Camera camera;
    camera.write("/bus", "");
    const std::string file = camera.pathOf("/bus");
    // On its line each takes four times as many bytes.
    const std::string tabs(100, '\t');
    values() = {{"lens.camN.note", "a\\b\n"}};
    // So that what is held is longer than a file should be.
    for (int i = 0; i < 200; ++i) {
        values()["lens.camN.held." + std::to_string(i)] = tabs;
    }
    ASSERT_EQ(bridge::startRecording({file, 65'536, {"lens"}}, {listen, get, set, getName}, "1",
                                     complain),
              0);
    const bridge::Bus bus = bridge::recordedBus();
    set("lens.camN.zoom", "a:5");
    set("lens.camN.zoomstatus", "run");
    bus.set("lens.camN.zoomstatus", "run");
    set("lens.camN.zoomstatus", "run");
    set("lens.camN.action.cmd", "done");
    set("lens.camN.action.cmd", "t5");
    set("lens.camN.zoom", "r:5\\x41");
    set("image.camN.exposure.iris_table", "50");
    set("lens.camN.iris", "a:30");
    for (int i = 0; i < 500; ++i) {
        set("lens.camN.tabs", tabs.c_str());
    }
    bridge::stopRecording();
    const twin::Recording first = twin::readRecording(file + ".3");
    EXPECT_EQ(first.foreign + first.damage, "");
    ASSERT_EQ(first.runs.size(), 1U);
    EXPECT_EQ(first.runs[0].bus.at("lens.camN.note"), "a\\b\n");
    EXPECT_THAT(linesOf(first.runs[0], 9),
                ElementsAre("cmd lens.camN.zoom a:5", "bus lens.camN.zoomstatus run",
                            "cmd lens.camN.zoomstatus run", "bus lens.camN.zoomstatus run",
                            "bus lens.camN.action.cmd done", "cmd lens.camN.action.cmd t5",
                            "bus lens.camN.zoom r:5\\x41", "cmd image.camN.exposure.iris_table 50",
                            "bus lens.camN.iris a:30"));
    std::size_t sets = first.runs[0].events.size() - 9;
    for (const char* const name : {".2", ".1", ""}) {
        const twin::Recording next = twin::readRecording(file + name);
        EXPECT_EQ(next.foreign + next.damage, "");
        EXPECT_EQ(next.runs.at(0).bus.at("lens.camN.tabs"), tabs);
        EXPECT_EQ(next.runs.at(0).events.at(0).text, "lens.camN.tabs " + tabs);
        sets += next.runs.at(0).events.size();
    }
    EXPECT_EQ(sets, 500U);
}

// What such a camera is asked, so that every axis moves twice and every sensor finds a place. The
// light comes when some of the heads have just found theirs, and others not.
constexpr const char* kUse =
    "set lens.camN.pan a:5000\nrun 3\nset lens.camN.zoom a:1800\nrun 3\n"
    "set lens.camN.tilt a:700\nrun 4\n"
    "set lens.camN.focus a:300\nrun 3\nset lens.camN.focus fullrange\nrun 8\n"
    "set lens.camN.pan left:5\nrun 1.3\nset lens.camN.pan stop\nrun 3\n"
    "set lens.camN.tilt a:2600\nrun 4\nset lens.camN.rotate a:5000\nrun 3\n"
    "set lens.camN.rotate auto\nrun 10\nset lens.camN.zoom a:300\nrun 3\nset lens.camN.pan "
    "a:40000\n"
    "run 6\nset lens.camN.focus fullrange\nrun 8\nset lens.camN.action.cmd home1\nrun 40\n"
    "set lens.camN.action.cmd AF\nrun 5.9\nset demo.led.mode 3\nrun 6.1\n";

std::string timeText(std::int64_t time) {
    return std::to_string(time / 1'000'000) + "." +
           std::to_string(1'000'000 + time % 1'000'000).substr(1);
}

// The bus of a camera with these faults as kestrel-mqtt records it, from 21 s after its start.
std::string recordingOf(const std::vector<std::string>& faults, int seed) {
    constexpr std::int64_t kBegin = 21'000'000;
    std::string script = "run 20\n";
    for (const std::string& fault : faults) {
        script += "fault " + fault + "\n";
    }
    std::map<std::string, std::string> held;
    std::string events;
    const Session run =
        Camera().run(script + "run 1\n" + kUse, {"--trace", "--seed", std::to_string(seed)});
    for (const Event& event : run.all.events) {
        const std::size_t blank = event.text.find(' ');
        if (event.kind != "bus" && event.kind != "cmd") {
            continue;
        }
        if (event.time < kBegin) {
            held[event.text.substr(0, blank)] = event.text.substr(blank + 1);
        } else {
            events += timeText(event.time - kBegin) + " " + event.line() + "\n";
        }
    }
    std::string text = "# kestrel-mqtt 1 recording 1\n";
    for (const auto& [key, value] : held) {
        text += "# kestrel-mqtt bus " + key + " " + value + "\n";
    }
    return text + events + "# kestrel-mqtt end 200.000000\n";
}

TEST(FieldRecording, AWornHeadIsFoundAndNamed) {
    const struct {
        const char* fault;
        const char* found;
    } cases[] = {
        {"axis pan slow 1.2", "pan: WORN: it is slower"},
        {"axis tilt slow 1.2", "tilt: WORN: it is slower"},
        {"axis zoom slow 1.2", "zoom: WORN: it is slower"},
        {"axis zoom never-ready", "zoom: WORN: statuses are"},
        {"axis rotate stuck", "rotate: WORN: [0-9.]+ s, 'lens.camN.rotate auto' ends at"},
        {"axis focus slip 200", "focus: WORN: [0-9.]+ s, 'lens.camN.focus fullrange' ends at"},
        {"axis zoom stuck", "focus: WORN: [0-9.]+ s, 'lens.camN.focus fullrange' ends at"},
        {"scene dark", "focus: WORN: .*nothing to see"},
    };
    const Camera any;
    for (const auto& row : cases) {
        const Session compared = any.replay(recordingOf({row.fault}, 3), {"--compare"});
        EXPECT_EQ(compared.status, 1) << row.fault;
        EXPECT_THAT(compared.output, ContainsRegex(row.found)) << row.fault;
    }
}

TEST(FieldRecording, AHealthyHeadIsNotAccused) {
    const Camera any;
    for (int seed = 1; seed <= 100; ++seed) {
        // Good motors differ by a few hundredths, good sensors are noisy.
        const auto factor = [seed](int axis) {
            return "1.0" + std::to_string((seed * 7 + axis * 11) % 30 / 10) +
                   std::to_string((seed * 3 + axis) % 10);
        };
        std::vector<std::string> faults = {"sensor-noise " + std::to_string(1 + seed % 10),
                                           "scene noise 0." + std::to_string(1 + seed % 5)};
        int axis = 0;
        for (const auto& [name, position] : kAxisPositions) {
            faults.push_back("axis " + std::string(name) + " slow " + factor(++axis));
        }
        const Session compared = any.replay(recordingOf(faults, seed), {"--compare"});
        EXPECT_EQ(compared.status, 0) << seed << "\n" << compared.output << compared.errors;
    }
}

}  // namespace
