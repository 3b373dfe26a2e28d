// Faults: each session under each fault of the simulated head alone, and under pairs of them, in
// force from power-up or from the session's begin until its end. Nothing may crash or stand still,
// and when the fault is over everything works again.
//
// A case is SESSION/LENS/WHEN/FAULT or SESSION/LENS/WHEN/FAULT+FAULT, WHEN being boot or session.
#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>

#include "axis_places.h"
#include "campaign.h"

namespace {

// What a fault breaks by itself.
enum Effect : unsigned {
    kNone = 0,
    kLosesSteps = 1,  // counters differ from the truth until the next homing
    kLosesSets = 2,   // "stop" and positions may not reach the bus
    kDeafens = 4,     // in force at start-up, the daemon hears nothing for the whole run
    kHidesLens = 8,   // in force at start-up, the daemon keeps another lens's ranges
    kHoldsUp = 16,    // a move may take longer than the session has
};

struct FaultRow {
    const char* words;
    unsigned effects;
};

// Each also for its next three calls only.
constexpr FaultRow kFailingCalls[] = {
    {"setPanForwardS", kLosesSteps},
    {"setPanBackwardS", kLosesSteps},
    {"setTiltForwardS", kLosesSteps},
    {"setTiltBackwardS", kLosesSteps},
    {"setZoom8Forward", kLosesSteps},
    {"setZoom8Backward", kLosesSteps},
    {"setFocus8Forward", kLosesSteps},
    {"setFocus8Backward", kLosesSteps},
    {"setIrisForward", kLosesSteps},
    {"setIrisBackward", kLosesSteps},
    {"setRotatForward", kLosesSteps},
    {"setRotatBackward", kLosesSteps},
    // A motor that seems to run is ordered after a time-out, in the midst of its move.
    {"getPanBusyStatus", kLosesSteps},
    {"getTiltBusyStatus", kLosesSteps},
    {"getZoomStatus", kLosesSteps},
    {"getFocusStatus", kLosesSteps},
    {"getIrisStatus", kLosesSteps},
    {"getRotatStatus", kLosesSteps},
    {"getPanPos", kNone},
    {"getTiltnPos", kNone},
    {"setPowerEnable", kNone},
    {"setPowerDisable", kNone},
    {"setIcrSwEnalbe", kNone},
    {"setIcrSwDisable", kNone},
    {"setLedMode", kNone},
    {"setMuiltLEDs", kNone},
    {"getVersion_mb", kNone},
    {"mcuReInitall", kNone},
    {"msp430fr2433BslWrite", kNone},
    {"getVersion_sen", kNone},
    {"mcuReInitall_sen", kNone},
    {"msp430fr2433BslWrite_sen", kNone},
    {"get_lenstype", kLosesSteps | kHidesLens},
    {"PTZShmInit", kNone},
    {"GutAF_Info", kNone},
    {"openI2cBus", kNone},
    {"transferI2c", kNone},
    {"nbus_initial", kNone},
    {"nbus_listen", kDeafens},
    {"nbus_get", kNone},
    {"nbus_set", kLosesSets},
    {"nbus_get_name", kNone},
};

// Each for every axis alone, and for all.
struct AxisFaultRow {
    const char* words;
    unsigned onHead;  // pan, tilt and all
    unsigned onLens;
};

constexpr AxisFaultRow kAxisFaults[] = {
    {"stuck", kLosesSteps, kLosesSteps},
    {"slip 40", kLosesSteps, kLosesSteps},
    {"never-ready", kLosesSteps | kHoldsUp, kHoldsUp},
    {"slow 30", kNone, kNone},
};

constexpr FaultRow kOtherFaults[] = {
    {"axis all slow 2", kNone},
    {"sensor-absent", kNone},
    {"sensor-frozen", kNone},
    {"sensor-noise 3000", kNone},
    {"sensor-identity 00", kNone},
    {"statistics-fail", kNone},
    {"scene flat", kNone},
    {"scene dark", kNone},
    {"scene offset 300", kNone},
    {"scene noise 0.5", kNone},
    {"mcu main version 1", kNone},
    {"mcu main loader-fails", kNone},
    {"mcu main silent 5", kLosesSteps},
    {"mcu main silent always", kLosesSteps},
    {"mcu main silent-after-write always", kLosesSteps},
    {"mcu sensor version 1", kNone},
    {"mcu sensor loader-fails", kNone},
    {"mcu sensor silent 5", kNone},
    {"mcu sensor silent always", kNone},
    {"mcu sensor silent-after-write always", kNone},
    {"files-unwritable", kNone},
    {"disk-full", kNone},
    {"bus-refuse", kLosesSets},
    {"bus-overlong", kNone},
};

struct Fault {
    std::string words;
    unsigned effects;
};

std::vector<Fault> makeFaults() {
    std::vector<Fault> faults;
    for (const FaultRow& row : kFailingCalls) {
        for (const char* const calls : {" always", " 3"}) {
            faults.push_back({std::string("call ") + row.words + calls, row.effects});
        }
    }
    for (const AxisFaultRow& row : kAxisFaults) {
        for (const char* const axis : {"pan", "tilt", "all"}) {
            faults.push_back({std::string("axis ") + axis + " " + row.words, row.onHead});
        }
        for (const char* const axis : {"rotate", "zoom", "focus", "iris"}) {
            faults.push_back({std::string("axis ") + axis + " " + row.words, row.onLens});
        }
    }
    for (const FaultRow& row : kOtherFaults) {
        faults.push_back({row.words, row.effects});
    }
    return faults;
}

const std::vector<Fault> kFaults = makeFaults();

// "run" that the design does not end; the axis's next move does.
struct OpenRun {
    const char* why;
    const char* session;
    const char* axis;  // null: all that the preset moves
    unsigned effects;  // one of them has to be there; none: always
};

constexpr OpenRun kOpenRuns[] = {
    {"a preset run abandoned for a plain move stops no axis", "preset", nullptr,
     kLosesSteps | kHoldsUp},
    {"a preset without a record ends the move that it takes over", "preset-locked", nullptr,
     kLosesSteps},
};

struct FaultCase {
    Stage stage;
    bool fromBoot = false;
    std::vector<Fault> faults;
    unsigned effects = kNone;

    bool breaks(unsigned some) const {
        return (effects & some) != 0;
    }
    // Whether words arrive at all once the faults are over.
    bool hears() const {
        return !(fromBoot && breaks(kDeafens));
    }
    bool knowsLens() const {
        return !(fromBoot && breaks(kHidesLens)) || stage.lensType == 0;
    }
};

// Removes and returns what stands before the separator.
std::string takeUpTo(std::string& text, char separator) {
    const std::size_t end = std::min(text.find(separator), text.size());
    const std::string head = text.substr(0, end);
    text.erase(0, end + 1);
    return head;
}

// A case without faults stands for a name that is none.
FaultCase caseNamed(const std::string& name) {
    FaultCase result;
    result.stage = stageOf(name);
    std::string rest = result.stage.rest;
    const std::string when = takeUpTo(rest, '/');
    result.fromBoot = when == "boot";
    bool known = result.stage.session != nullptr && (result.fromBoot || when == "session");
    while (known && !rest.empty()) {
        const std::string words = takeUpTo(rest, '+');
        const auto fault = std::find_if(kFaults.begin(), kFaults.end(),
                                        [&](const Fault& row) { return row.words == words; });
        known = fault != kFaults.end();
        if (known) {
            result.faults.push_back(*fault);
            result.effects |= fault->effects;
        }
    }
    return known ? result : FaultCase{};
}

std::string plainMoves() {
    std::string script;
    for (const AxisPlaces& axis : kAxisPlaces) {
        for (const int place : {axis.somewhere, axis.elsewhere}) {
            script += "set " + commandKey(axis) + " " + wordTo(place) + "\nrun 6\n";
        }
    }
    return script;
}

// Script and judgement go by these parts, one after the other.
struct Parts {
    std::string session;  // under the faults
    std::string rest;     // without them: all that was begun comes to its end
    std::string moves;
    std::string homeAndMoves;
};

Parts partsOf(const FaultCase& each) {
    Parts parts;
    parts.session = "run 1\n";
    for (const Fault& fault : each.faults) {
        parts.session += each.fromBoot ? "" : "fault " + fault.words + "\n";
    }
    parts.session += std::string(each.stage.session->script) + "\n";
    parts.rest =
        "fault clear\nset lens.camN.mode_rotate off\nset lens.camN.focus_after_zoom off\n"
        "run " +
        std::to_string(each.stage.session->rest) + "\n";
    if (!each.hears()) {
        return parts;
    }
    parts.moves = plainMoves();
    if (!each.breaks(kLosesSteps)) {
        parts.moves += "check\n";
    }
    if (each.knowsLens()) {
        parts.homeAndMoves = "set lens.camN.action.cmd home1\nrun 90\n" + plainMoves() + "check\n";
    }
    return parts;
}

double secondsOf(const std::string& script) {
    return static_cast<double>(lengthOf(script)) / 1e6;
}

std::string statusLine(const AxisPlaces& axis) {
    return std::string("bus lens.camN.") + axis.name + "status ";
}

bool endsByStop(const Trace& trace, const AxisPlaces& axis) {
    const Trace statuses = trace.about({statusLine(axis)});
    return statuses.events.empty() || !statuses.events.back().text.ends_with(" run");
}

// How often each row above was needed.
std::array<std::atomic<int>, std::size(kOpenRuns)> gOpenRuns;

// Whether the axis may go without its "stop"; counts it.
bool mayStayOpen(const FaultCase& each, const AxisPlaces& axis) {
    for (std::size_t i = 0; i < std::size(kOpenRuns); ++i) {
        const OpenRun& row = kOpenRuns[i];
        const bool named = row.axis == nullptr ? axis.name != std::string("iris")
                                               : axis.name == std::string(row.axis);
        if (each.stage.session->name == std::string(row.session) && named &&
            (row.effects == kNone || each.breaks(row.effects))) {
            ++gOpenRuns[i];
            return true;
        }
    }
    return each.breaks(kLosesSets);
}

std::string judge(const FaultCase& each, const Parts& parts, const Session& run) {
    std::string problems;
    const auto require = [&](bool good, const std::string& text) {
        problems += good ? "" : "    " + text + "\n";
    };
    require(run.status == 0, "exit status " + std::to_string(run.status));
    require(run.errors.empty(), run.errors);
    for (const std::string& answer : run.answers) {
        require(!answer.starts_with("error") && !answer.starts_with("FAIL"), answer);
    }
    require(!run.answers.empty() && run.answers.back() == "over absent",
            "it did not come to its end");
    const double rest = secondsOf(parts.session) + secondsOf(parts.rest);
    const double moves = rest + secondsOf(parts.moves);
    const double end = moves + secondsOf(parts.homeAndMoves) + 1;
    for (const AxisPlaces& axis : kAxisPlaces) {
        const std::string name = axis.name;
        require(endsByStop(run.trace.between(0, rest), axis) || mayStayOpen(each, axis),
                name + ": no \"stop\" after the last \"run\"");
        for (const auto& [from, to] : {std::pair{rest, moves}, std::pair{moves, end}}) {
            const Trace part = run.trace.between(from, to);
            require(to - from <= 1 ||
                        (part.count(statusLine(axis) + "run") > 0 && endsByStop(part, axis)),
                    name + " does not move after the faults");
        }
    }
    return problems;
}

std::string runCase(const std::string& name) {
    const FaultCase each = caseNamed(name);
    if (each.faults.empty()) {
        return "    there is no such case\n";
    }
    Camera camera = cameraFor(each.stage);
    for (const Fault& fault : each.faults) {
        if (each.fromBoot) {
            camera.fault(fault.words);
        }
    }
    const Parts parts = partsOf(each);
    const Session run =
        camera.run(parts.session + parts.rest + parts.moves + parts.homeAndMoves + "get over");
    if (oneCaseAlone()) {
        std::fputs(run.output.c_str(), stdout);
    }
    return judge(each, parts, run);
}

constexpr std::array kTimes = {"boot/", "session/"};

// Every fault alone on every stage, and every pair on one stage that the seed chooses.
std::vector<std::string> allCases(std::uint64_t seed) {
    std::vector<std::string> stages;
    for (const CampaignSession& session : campaignSessions()) {
        for (const int lensType : kLensTypes) {
            for (const char* const when : kTimes) {
                stages.push_back(stageName(session, lensType) + "/" + when);
            }
        }
    }
    std::vector<std::string> cases;
    for (std::size_t i = 0; i < kFaults.size(); ++i) {
        for (const std::string& stage : stages) {
            cases.push_back(stage + kFaults[i].words);
        }
        for (std::size_t j = 0; j < i; ++j) {
            cases.push_back(stages[pick(seed, stages.size())] + kFaults[i].words + "+" +
                            kFaults[j].words);
        }
    }
    return cases;
}

void report() {
    std::printf(
        "%zu faults, %zu sessions, %zu lenses, from power-up and from the session's begin\n",
        kFaults.size(), campaignSessions().size(), std::size(kLensTypes));
    for (std::size_t i = 0; i < std::size(kOpenRuns); ++i) {
        std::printf("  axes left on \"run\": %-58s %6d\n", kOpenRuns[i].why, gOpenRuns[i].load());
    }
}

}  // namespace

int main(int argc, char** argv) {
    return runCampaign(argc, argv, {"faults", allCases, runCase, report});
}
