// Power cuts: each session is cut at every change of the camera's state and at instants in between.
// Whatever the power left must be true or marked as doubtful, and the next boot must cope with it.
//
// A case is SESSION/LENS/N (before the N-th change; where that is the writing of the position file,
// also after its truncation) or SESSION/LENS/@T (T microseconds after power-up). Each session's
// last case is its end: so a session that goes wrong by itself fails there.
#include <algorithm>
#include <cstdio>
#include <map>
#include <mutex>
#include <optional>
#include <set>

#include "axis_places.h"
#include "campaign.h"

namespace {

constexpr int kInstantsPerStage = 100;
constexpr const char* kHomeMarker = "/mnt/nand/Home.txt";

struct AxisRow : AxisPlaces {
    const char* marker;
    bool reported;  // whether the next boot says "fail"
};

constexpr AxisRow kAxes[] = {
    {kAxisPlaces[0], "/mnt/nand/PanMotor.txt", true},
    {kAxisPlaces[1], "/mnt/nand/TiltMotor.txt", true},
    {kAxisPlaces[2], "/mnt/nand/ZoomMotor.txt", true},
    {kAxisPlaces[3], "/mnt/nand/FocusMotor.txt", true},
    {kAxisPlaces[4], "/mnt/nand/RotatrMotor.txt", false},
    {kAxisPlaces[5], nullptr, false},
};

// A session that was cut, and what it left.
struct Cut {
    const Stage& stage;
    const Session& run;
    const Camera& camera;
    bool truncated;

    std::int64_t time() const {
        return run.all.events.empty() ? 0 : run.all.events.back().time;
    }
};

std::string statusLine(const AxisRow& axis) {
    return std::string("bus lens.camN.") + axis.name + "status ";
}

// The last status that the axis was given, and when.
Event lastStatus(const Trace& trace, const AxisRow& axis) {
    const std::vector<Event> events = trace.about({statusLine(axis)}).events;
    return events.empty() ? Event{} : events.back();
}

bool isRunning(const Trace& trace, const AxisRow& axis) {
    return lastStatus(trace, axis).text.ends_with(" run");
}

// Whether an axis runs, or has come to rest at the instant of the cut.
bool anyRunning(const Cut& cut) {
    return std::any_of(std::begin(kAxes), std::end(kAxes), [&](const AxisRow& axis) {
        return isRunning(cut.run.trace, axis) || lastStatus(cut.run.trace, axis).time == cut.time();
    });
}

// Whether the cut came within so many microseconds of the last line that begins so.
bool cutsSoonAfter(const Cut& cut, const char* line, std::int64_t limit) {
    const std::vector<Event> events = cut.run.trace.about({line}).events;
    return !events.empty() && cut.time() - events.back().time <= limit;
}

// Whether a fast preset may still have been under way: it says nothing itself, and the autofocus
// behind it ends with a "stop".
bool inFastPreset(const Cut& cut, const AxisRow& axis) {
    constexpr const char* kStart = "cmd lens.camN.action.cmd homeP2";
    constexpr std::int64_t kSavedAfter = 200'000;
    if (cut.run.trace.count(kStart) == 0) {
        return false;
    }
    const Trace trace = cut.run.trace.after(kStart);
    return trace.count(statusLine(axis)) == 0 &&
           (trace.count("bus lens.camN.focusstatus stop") == 0 ||
            cutsSoonAfter(cut, "bus lens.camN.focusstatus stop", kSavedAfter));
}

// Where the design lets a wrong position pass unmarked. The first row that applies counts.
struct Hole {
    const char* what;
    bool (*applies)(const Cut& cut, const AxisRow& axis);
};

constexpr Hole kHoles[] = {
    {"iris: has no marker (driven to its stop at the next start)",
     [](const Cut& cut, const AxisRow& axis) {
         return axis.marker == nullptr &&
                (anyRunning(cut) || !lastStatus(cut.run.trace, axis).text.ends_with(" stop"));
     }},
    {"position file cut between truncation and write",
     [](const Cut& cut, const AxisRow&) { return cut.truncated; }},
    {"fast preset: sets no marker", inFastPreset},
    {"rotate test: sets no marker",
     [](const Cut& cut, const AxisRow& axis) {
         return axis.name == std::string("rotate") &&
                cut.run.trace.count("cmd lens.camN.rotate test") > 0;
     }},
    {"servo after a pan move: sets no marker",
     [](const Cut& cut, const AxisRow& axis) {
         return axis.name == std::string("rotate") && !isRunning(cut.run.trace, axis) &&
                cutsSoonAfter(cut, "log in RotateMode2PanMode", 1'000'000);
     }},
    {"\"run\" published and not yet delivered, position file already written",
     [](const Cut& cut, const AxisRow& axis) {
         return isRunning(cut.run.trace, axis) &&
                lastStatus(cut.run.trace, axis).time == cut.time();
     }},
    // What is left of a running order counts as lost.
    {"at rest again, the position file waits for another axis",
     [](const Cut& cut, const AxisRow& axis) {
         return !isRunning(cut.run.trace, axis) && anyRunning(cut) &&
                cut.camera.remembered(axis.name + std::string(".lost")) == "0";
     }},
};

struct Counts {
    std::mutex mutex;
    std::map<std::string, int> cuts;  // by kind
    int trueAxes = 0;
    int markedAxes = 0;
    int markedRotate = 0;
    std::map<std::string, int> holes;
};
Counts gCounts;

void count(int& counter) {
    const std::lock_guard lock(gCounts.mutex);
    ++counter;
}

void countHole(const char* what) {
    const std::lock_guard lock(gCounts.mutex);
    ++gCounts.holes[what];
}

void countCut(const std::string& kind) {
    const std::lock_guard lock(gCounts.mutex);
    ++gCounts.cuts[kind];
}

// Collects what is wrong, a line each.
class Problems {
public:
    void require(bool good, const std::string& text) {
        text_ += good ? "" : "    " + text + "\n";
    }
    std::string text() const {
        return text_;
    }

private:
    std::string text_;
};

// What the cut left: the axes whose position file is true, and the marker files.
struct Left {
    bool positionsKnown = false;
    std::set<std::string> trueAxes;
    std::set<std::string> markers;
    bool home = false;
};

void judgeAxis(const Cut& cut, const AxisRow& axis, const std::string& place, bool marked,
               Problems& problems) {
    if (marked) {
        count(gCounts.markedAxes);
        if (!axis.reported) {
            count(gCounts.markedRotate);
        }
        return;
    }
    const auto* const hole = std::find_if(std::begin(kHoles), std::end(kHoles),
                                          [&](const Hole& row) { return row.applies(cut, axis); });
    if (hole == std::end(kHoles)) {
        problems.require(false, std::string(axis.name) + " is " + place + " and has no marker");
    } else {
        countHole(hole->what);
    }
}

Left inspect(const Cut& cut, Problems& problems) {
    const Camera& camera = cut.camera;
    Left left;
    left.home = camera.read(kHomeMarker).has_value();
    const std::optional<std::string> file = camera.read(kPositionFile);
    left.positionsKnown = file.has_value();
    for (const AxisRow& axis : kAxes) {
        const bool marked = axis.marker != nullptr && camera.read(axis.marker).has_value();
        if (marked) {
            left.markers.insert(axis.name);
        }
        const int truth = std::stoi(camera.remembered(std::string(axis.name) + ".position"));
        const bool empty = file && file->empty();
        const int kept = file && !empty ? wordOf(*file, axis.word) : 0;
        if (!file || kept == truth) {
            left.trueAxes.insert(axis.name);
            count(gCounts.trueAxes);
        } else {
            judgeAxis(cut, axis,
                      "at " + std::to_string(truth) + ", saved as " + std::to_string(kept), marked,
                      problems);
        }
    }
    return left;
}

// A boot with time for homing and levelling, then a move of every axis.
std::string nextBoot() {
    std::string script = "run 60\n";
    for (const AxisRow& axis : kAxes) {
        script += axis.name == std::string("rotate") ? "run 60\n" : "";
        for (const int place : {axis.somewhere, axis.elsewhere}) {
            script += "set " + commandKey(axis) + " " + wordTo(place) + "\nrun 6\n";
        }
    }
    return script + "head\n";
}

void judgeStart(const Trace& trace, const Left& left, Problems& problems) {
    const Trace start = trace.between(0, 60);
    problems.require(start.count("log ChackPowerOffStatus") == 1, "the lens loop does not start");
    problems.require((start.count("log giTiltOffset=") == 1) == left.positionsKnown,
                     "the position file is not taken as it is");
    for (const AxisRow& axis : kAxes) {
        const std::string name = axis.name;
        problems.require(start.count("bus lens.camN.range." + name) == 1 &&
                             start.count("bus demo.ptz.range." + name) == 1,
                         "no range of " + name);
        const bool due = axis.reported && left.markers.contains(name);
        problems.require(start.count(statusLine(axis) + "fail") == (due ? 1 : 0),
                         "\"fail\" of " + name + " is " + (due ? "missing" : "wrong"));
    }
    if (left.home) {
        problems.require(trace.count("log in AutoSearch") > 0, "Home.txt leads to no levelling");
    }
}

void judgeMoves(const Session& run, const Camera& camera, const Left& left, Problems& problems) {
    const auto head = run.head();
    for (const AxisRow& axis : kAxes) {
        const std::string name = axis.name;
        const Trace moves = run.trace.between(60, 1000).about({statusLine(axis)});
        problems.require(moves.count(statusLine(axis) + "run") > 0 &&
                             moves.events.back().text.ends_with(" stop"),
                         name + " does not move");
        problems.require(axis.marker == nullptr || !camera.read(axis.marker),
                         "the marker of " + name + " stays");
        const bool known = left.trueAxes.contains(name) || axis.marker == nullptr;
        problems.require(!known || head[name]["position"] == axis.elsewhere,
                         name + " stands at " + head[name]["position"].dump() + " instead of " +
                             std::to_string(axis.elsewhere));
    }
}

// Inspects what the cut left, and boots again.
std::string judge(const Cut& cut) {
    Problems problems;
    problems.require(cut.run.status == 0, "cut run: exit status " + std::to_string(cut.run.status));
    problems.require(cut.run.errors.empty(), "cut run: " + cut.run.errors);
    const Left left = inspect(cut, problems);
    const Session next = cut.camera.run(nextBoot());
    problems.require(next.status == 0, "next boot: exit status " + std::to_string(next.status));
    problems.require(next.errors.empty(), "next boot: " + next.errors);
    judgeStart(next.trace, left, problems);
    judgeMoves(next, cut.camera, left, problems);
    if (oneCaseAlone()) {
        std::printf("%s\nThe next boot:\n%s\n", cut.run.output.c_str(), next.output.c_str());
    }
    return problems.text();
}

// The position file is read before the lens loop starts, and written by it.
bool isFileWrite(const std::string& point, const Trace& trace) {
    return point == std::string("file ") + kPositionFile &&
           trace.count("log ChackPowerOffStatus") > 0;
}

std::string cutAtPoint(const Stage& stage, Camera& camera) {
    camera.fault("power-cut " + stage.rest);
    const Session run = camera.run(scriptOf(*stage.session));
    constexpr std::string_view kCut = "power cut: ";
    if (run.answers.empty() || !run.answers.back().starts_with(kCut)) {
        return "    the session has no such point\n";
    }
    const std::string point = run.answers.back().substr(kCut.size());
    countCut("before: " + point.substr(0, point.find(' ')));
    if (!isFileWrite(point, run.trace)) {
        return judge({stage, run, camera, false});
    }
    const Camera truncated(camera);
    truncated.write(kPositionFile, "");
    countCut("between truncation and write of the position file");
    return judge({stage, run, camera, false}) + judge({stage, run, truncated, true});
}

std::string runCase(const std::string& name) {
    const Stage stage = stageOf(name);
    if (stage.session == nullptr || stage.rest.empty()) {
        return "    there is no such case\n";
    }
    Camera camera = cameraFor(stage);
    if (stage.rest[0] != '@') {
        return cutAtPoint(stage, camera);
    }
    const std::string script = scriptOf(*stage.session);
    std::uint64_t time = 0;
    if (!readUnsigned(stage.rest.c_str() + 1, time) ||
        time > static_cast<std::uint64_t>(lengthOf(script))) {
        return "    the session has no such instant\n";
    }
    countCut("at an instant in between, or at the end");
    const Session run = camera.run(cutAt(script, static_cast<std::int64_t>(time)));
    return judge({stage, run, camera, false});
}

// What an uncut session has to offer.
struct Course {
    int points = 0;                   // changes of the camera's state
    std::vector<std::int64_t> times;  // at which something happened
};

Course courseOf(const Stage& stage) {
    constexpr int kMany = 1'000'000;
    constexpr std::string_view kLeft = "active: power-cut ";
    Camera camera = cameraFor(stage);
    camera.fault("power-cut " + std::to_string(kMany));
    const Session run = camera.run(scriptOf(*stage.session) + "fault");
    Course course;
    for (const std::string& answer : run.answers) {
        if (answer.starts_with(kLeft)) {
            course.points = kMany - std::stoi(answer.substr(kLeft.size()));
        }
    }
    for (const Event& event : run.trace.events) {
        if (course.times.empty() || course.times.back() != event.time) {
            course.times.push_back(event.time);
        }
    }
    return course;
}

// An instant between two events that follow each other, any two being as likely as any others: so
// short moves are met as often as long ones.
std::int64_t pickInstant(const Course& course, std::uint64_t& seed) {
    const std::size_t gap = pick(seed, course.times.size() - 1);
    const std::int64_t length = course.times[gap + 1] - course.times[gap];
    return course.times[gap] +
           static_cast<std::int64_t>(pick(seed, static_cast<std::uint64_t>(length)));
}

std::vector<std::string> allCases(std::uint64_t seed) {
    std::vector<std::string> cases;
    for (const CampaignSession& session : campaignSessions()) {
        for (const int lensType : kLensTypes) {
            const std::string stage = stageName(session, lensType) + "/";
            const Course course = courseOf(stageOf(stage));
            for (int point = 1; point <= course.points; ++point) {
                cases.push_back(stage + std::to_string(point));
            }
            for (int i = 0; i < kInstantsPerStage && course.times.size() > 1; ++i) {
                cases.push_back(stage + "@" + std::to_string(pickInstant(course, seed)));
            }
            cases.push_back(stage + "@" + std::to_string(lengthOf(scriptOf(session))));
        }
    }
    return cases;
}

void report() {
    std::puts("Cuts");
    for (const auto& [kind, number] : gCounts.cuts) {
        std::printf("  %-76s %7d\n", kind.c_str(), number);
    }
    std::puts("Axes after them");
    std::printf("  %-76s %7d\n", "position file true, or missing: homed at the next start",
                gCounts.trueAxes);
    std::printf("  %-76s %7d\n", "position file wrong, marker there", gCounts.markedAxes);
    std::printf("  %-76s %7d\n", "  of these rotate, which the next start does not report",
                gCounts.markedRotate);
    for (const Hole& hole : kHoles) {
        std::printf("  unmarked: %-66s %7d\n", hole.what, gCounts.holes[hole.what]);
    }
}

}  // namespace

int main(int argc, char** argv) {
    return runCampaign(argc, argv, {"power-cut", allCases, runCase, report});
}
