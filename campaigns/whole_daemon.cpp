#include "whole_daemon.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <utility>
#include <vector>

#include "app/command_buffers.h"
#include "app/startup.h"
#include "campaigns/axis_places.h"
#include "control_state.h"
#include "twin/boundary/bus.h"
#include "twin/boundary/files.h"
#include "twin/boundary/library_calls.h"
#include "twin/camera/head.h"
#include "twin/camera/settings.h"
#include "twin/clock/actors.h"
#include "twin/trace/output.h"
#include "twin/world/faults.h"
#include "twin/world/mechanism.h"

namespace whole {

namespace {

constexpr twin::Microseconds kSecond = 1'000'000;
constexpr int kQuietSeconds = 6;
constexpr int kLongestSeconds = 3600;

// "KEY VALUE" or "fault ...", in which # stands for one of so many numbers from the smallest on.
struct Act {
    const char* text;
    int numbers = 1;
    int smallest = 0;
};

constexpr Act kActs[] = {
    {"lens.camN.pan a:#", 44334},
    {"lens.camN.pan r:#", 20000},
    {"lens.camN.pan r:-#", 20000},
    {"lens.camN.pan left"},
    {"lens.camN.pan right:#", 12},
    {"lens.camN.pan left:#", 12},
    {"lens.camN.pan stop"},
    {"lens.camN.pan homeaf"},
    {"lens.camN.pan homefast"},
    {"lens.camN.tilt a:#", 5121},
    {"lens.camN.tilt r:-#", 3000},
    {"lens.camN.tilt up:#", 12},
    {"lens.camN.tilt down:#", 12},
    {"lens.camN.tilt full_up"},
    {"lens.camN.tilt full_down"},
    {"lens.camN.tilt stop"},
    {"lens.camN.rotate a:#", 10667},
    {"lens.camN.rotate r:-#", 5000},
    {"lens.camN.rotate forward"},
    {"lens.camN.rotate backward"},
    {"lens.camN.rotate full_forward"},
    {"lens.camN.rotate stop"},
    {"lens.camN.rotate auto"},
    {"lens.camN.rotate autov"},
    {"lens.camN.rotate test"},
    {"lens.camN.zoom a:#", 2938},
    {"lens.camN.zoom r:#", 2000},
    {"lens.camN.zoom in"},
    {"lens.camN.zoom out"},
    {"lens.camN.zoom full_in"},
    {"lens.camN.zoom stop"},
    {"lens.camN.focus a:#", 2434},
    {"lens.camN.focus r:-#", 2000},
    {"lens.camN.focus near"},
    {"lens.camN.focus far"},
    {"lens.camN.focus full_far"},
    {"lens.camN.focus stop"},
    {"lens.camN.focus all"},
    {"lens.camN.focus shortrange"},
    {"lens.camN.iris a:#", 120},
    {"lens.camN.iris open"},
    {"lens.camN.iris close"},
    {"lens.camN.iris full_close"},
    {"lens.camN.iris stop"},
    {"lens.camN.iris home"},
    {"lens.camN.action.cmd home"},
    {"lens.camN.action.cmd home#", 6},
    {"lens.camN.action.cmd homefast"},
    {"lens.camN.action.cmd homepos"},
    {"lens.camN.action.cmd homeP1"},
    {"lens.camN.action.cmd homeP2"},
    {"lens.camN.action.cmd AF"},
    {"lens.camN.action.cmd aaf"},
    {"lens.camN.action.cmd CAF"},
    {"lens.camN.action.cmd test_af"},
    {"lens.camN.action.cmd b#", 3000},
    {"lens.camN.action.cmd z#", 3000},
    {"lens.camN.act_preset 1:set"},
    {"lens.camN.act_preset 1:set:lock"},
    {"lens.camN.act_preset 1:go"},
    {"lens.camN.act_preset 1:del"},
    {"lens.camN.act_preset 2:set"},
    {"lens.camN.act_preset 2:go"},
    {"lens.camN.preset1 #,2000,900,-1,600,1,0,1", 50000},
    {"lens.camN.preset2 9000,#,99999,-7,,3", 9000},
    {"demo.ptz.action P#", 50000},
    {"demo.ptz.action p-#", 50000},
    {"demo.ptz.action T#", 5121},
    {"demo.ptz.action t-#", 9000},
    {"demo.ptz.action Z#", 5000},
    {"demo.ptz.action F#", 3000},
    {"demo.ptz.action r#", 20000},
    {"demo.ptz.action I#", 200},
    {"demo.ptz.action H#", 16},
    {"demo.ptz.action a"},
    {"demo.ptz.action N#", 2},
    {"demo.ptz.action c"},
    {"demo.led.mode #", 8},
    {"demo.ptz.mode #", 3},
    {"lens.camN.light.test_mode #", 6},
    {"lens.camN.light.onvif_mode #,#,#", 5},
    {"lens.camN.light.relay1.mode monostable"},
    {"event.camN.light.flash fast"},
    {"lens.global.led_power #", 300},
    {"lens.camN.focus_after_zoom on"},
    {"lens.camN.focus_after_zoom off"},
    {"lens.camN.mode_rotate auto"},
    {"lens.camN.mode_rotate rotate"},
    {"lens.camN.mode_rotate off"},
    {"image.camN.rotate on"},
    {"image.camN.rotate off"},
    {"image.camN.flip on"},
    {"image.camN.flip off"},
    {"image.camN.mirror on"},
    {"image.camN.mirror off"},
    {"image.camN.exposure.iris_table #", 120},
    {"gpio.camN.out.icr night"},
    {"encode.camN.status stop"},
    {"encode.camN.status start"},
    {"system.info.poe_status fail"},
    {"system.info.poe_status ready"},
    {"encode.perspective.mode wall"},
    {"system.camN.action.fwupdate kick-off"},
    {"fault axis all slip #", 50, 1},
    {"fault axis all stuck"},
    {"fault axis pan slow #", 30, 1},
    {"fault axis all never-ready"},
    {"fault sensor-absent"},
    {"fault sensor-noise #", 2000, 1},
    {"fault sensor-frozen"},
    {"fault sensor-identity 00"},
    {"fault statistics-fail"},
    {"fault scene dark"},
    {"fault bus-refuse"},
    {"fault files-unwritable"},
    {"fault disk-full"},
    {"fault mcu main silent #", 20, 1},
    {"fault mcu sensor silent-after-write #", 20, 1},
    {"fault call nbus_set #", 20, 1},
    {"fault call nbus_get #", 20, 1},
    {"fault call transferI2c #", 20, 1},
    {"fault call getPanPos #", 20, 1},
    {"fault call setPanForwardS #", 20, 1},
    {"fault call getTiltBusyStatus #", 20, 1},
    {"fault clear"},
};

constexpr double kPauses[] = {0, 0, 0.003, 0.02, 0.1, 0.5, 2, 9};

// An act with its number in place, and how long it is left alone afterwards.
struct Step {
    std::string text;
    double pause;
};

Step stepOf(const std::uint8_t* bytes) {
    const Act& act = kActs[bytes[0] % std::size(kActs)];
    const int number = (bytes[1] + 256 * bytes[2]) % act.numbers + act.smallest;
    std::string text = act.text;
    for (std::size_t at = 0; (at = text.find('#')) != std::string::npos;) {
        text.replace(at, 1, std::to_string(number));
    }
    return {text, kPauses[bytes[3] % std::size(kPauses)]};
}

bool isFault(const std::string& text) {
    return text.starts_with("fault ");
}

// A fast preset replaces what tilt is just doing; meant so.
bool mayLoseSteps(const std::string& text) {
    return isFault(text) || text.starts_with("lens.camN.action.cmd homeP");
}

void fault(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> words;
    for (std::string word; stream >> word;) {
        words.push_back(word);
    }
    bool known = true;
    const auto answer = twin::faultCommand({words.begin() + 1, words.end()}, known);
    if (!known) {
        std::fprintf(stderr, "%s: %s\n", text.c_str(), answer[0].c_str());
        std::abort();
    }
    twin::applyFileFaults();
    twin::settle();
}

void set(const std::string& key, const std::string& value) {
    twin::setFromOutside(key, value);
    twin::settle();
}

struct AxisRow : AxisPlaces {
    twin::Axis axis;
    int position;  // at the start
};

constexpr AxisRow kAxes[] = {
    {kAxisPlaces[0], twin::Axis::pan, 10000},  {kAxisPlaces[1], twin::Axis::tilt, 2000},
    {kAxisPlaces[2], twin::Axis::zoom, 1000},  {kAxisPlaces[3], twin::Axis::focus, 800},
    {kAxisPlaces[4], twin::Axis::rotate, 533}, {kAxisPlaces[5], twin::Axis::iris, 0},
};

void mustSucceed(const std::string& problem) {
    if (!problem.empty()) {
        std::fprintf(stderr, "%s\n", problem.c_str());
        std::abort();
    }
}

void runDaemon(void*) {
    runKestrel();
    std::fprintf(stderr, "the daemon has ended\n");
    std::abort();
}

// What has gone on since the last call; empty if nothing has.
std::string business() {
    static std::array<int, std::size(kAxes)> positions{};
    const struct {
        const char* what;
        bool goesOn;
    } kinds[] = {
        {"a homing request", giHomeRequest != 0},
        {"an autofocus request", giAfRequest != 0},
        // It waits for the supply, and for every motor to have stopped well. The rotate test does
        // not.
        {"a levelling request",
         giAutoRotate == 3 || (giAutoRotate != 0 && giPoeStatus == 0 && giMotorRunning == 0)},
        {"a preset run", giActPreset != -1},
        {"a demo action", claimUnlessDone(gszDemoPtzAction) != nullptr},
    };
    std::string result;
    for (const auto& kind : kinds) {
        result += kind.goesOn ? std::string(" ") + kind.what : "";
    }
    for (std::size_t i = 0; i < std::size(kAxes); ++i) {
        const twin::AxisTruth truth = twin::axisTruth(kAxes[i].axis);
        const bool moved = std::exchange(positions[i], truth.position) != truth.position;
        result += truth.busy || moved ? std::string(" ") + kAxes[i].name : "";
    }
    return result;
}

// One word for each axis, and what comes of it.
template <typename WordFor>
std::string giveWords(WordFor wordFor) {
    for (const AxisRow& row : kAxes) {
        set(commandKey(row), wordFor(row));
    }
    pass(1);
    return rest(kQuietSeconds, kLongestSeconds);
}

std::string problems() {
    twin::checkFilesClosed();
    if (twin::violationSeen()) {
        return "the twin has reported a violation";
    }
    if (giMotorRunning != 0) {
        return "a status is not stop: " + std::to_string(giMotorRunning);
    }
    set("image.camN.flip", giFlip == 0 ? "on" : "off");
    if ((twin::busValue("image.camN.flip") == "on") != (giFlip == 1)) {
        return "the dispatcher stands";
    }
    return counters();
}

// Whether a counter may have lost the truth.
bool play(const std::uint8_t* acts, std::size_t size) {
    bool doubtful = false;
    for (std::size_t at = 0; at + kActBytes <= size; at += kActBytes) {
        const Step step = stepOf(acts + at);
        if (isFault(step.text)) {
            fault(step.text);
        } else {
            const std::size_t blank = step.text.find(' ');
            set(step.text.substr(0, blank), step.text.substr(blank + 1));
        }
        doubtful = doubtful || mayLoseSteps(step.text);
        pass(step.pause);
    }
    fault("fault clear");
    return doubtful;
}

}  // namespace

void pass(double seconds) {
    twin::sleepUntil(twin::now() + std::llround(seconds * static_cast<double>(kSecond)));
}

std::string rest(int quietSeconds, int longestSeconds) {
    std::string going;
    for (int second = 0, quiet = 0; second < longestSeconds && quiet < quietSeconds; ++second) {
        pass(1);
        going = business();
        quiet = going.empty() ? quiet + 1 : 0;
    }
    return going.empty() ? "" : "without end:" + going;
}

std::string counters() {
    const std::string check =
        twin::checkCounters([](const char* key) { return twin::busValue(key).value_or(""); });
    return check == "ok" ? "" : check;
}

void boot(const std::string& directory) {
    if (std::freopen("/dev/null", "w", stdout) == nullptr) {
        mustSucceed("no /dev/null");
    }
    std::map<std::string, std::string> memory;
    std::array<std::int32_t, 30> words{};
    for (const AxisRow& axis : kAxes) {
        memory[std::string(axis.name) + ".position"] = std::to_string(axis.position);
        words[axis.word] = axis.position;
    }
    for (const char* const axis : {"pan", "tilt"}) {
        memory[std::string(axis) + ".counter"] = memory[std::string(axis) + ".position"];
    }
    twin::useVirtualClock();
    mustSucceed(twin::openFiles(directory));
    mustSucceed(twin::writeShippedFiles());
    std::ofstream(directory + "/mnt/nand/Pos.bin", std::ios::binary)
        .write(reinterpret_cast<const char*>(words.data()), sizeof words);
    mustSucceed(twin::makeHead({}, memory));
    twin::watchMotorLock();
    twin::startBus(twin::factorySettings());
    twin::startActor("main", runDaemon, nullptr);
    pass(1);
}

std::string scriptOf(const std::uint8_t* acts, std::size_t size) {
    std::string script;
    for (std::size_t at = 0; at + kActBytes <= size; at += kActBytes) {
        const Step step = stepOf(acts + at);
        script += (isFault(step.text) ? "" : "set ") + step.text + "\nrun " +
                  std::to_string(step.pause) + "\n";
    }
    return script;
}

std::string ordeal(const std::uint8_t* acts, std::size_t size) {
    const bool doubtful = play(acts, size);
    std::string problem = giveWords([](const AxisRow&) { return "stop"; });
    if (problem.empty() && doubtful) {
        set("lens.camN.action.cmd", "home1");
        problem = rest(kQuietSeconds, kLongestSeconds);
    }
    // A preset request in the middle of a move leaves the axis on "run"; its next move ends that.
    for (const auto place : {&AxisPlaces::somewhere, &AxisPlaces::elsewhere}) {
        if (problem.empty()) {
            problem = giveWords([place](const AxisRow& row) { return wordTo(row.*place); });
        }
    }
    return problem.empty() ? problems() : problem;
}

}  // namespace whole
