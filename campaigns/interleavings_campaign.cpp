// Every act of another service at every step that the daemon's threads take around it, and pairs of
// acts by the seed. What comes of it must be what comes of the same act between two passes: then no
// command is lost, taken twice or torn, no request swallowed, and the last of several sets has won.
// The twin reports what must never happen on the way: a motor call that no lock keeps from others,
// or beside another one, and a lock held during a sleep or a bus call.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <map>
#include <new>
#include <optional>
#include <set>
#include <span>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "campaign.h"
#include "control_state.h"
#include "interleaving_scenes.h"
#include "interleavings.h"
#include "platform/nbus.h"
#include "twin/boundary/bus.h"
#include "twin/boundary/files.h"
#include "twin/camera/head.h"
#include "twin/clock/actors.h"
#include "twin/trace/output.h"
#include "whole_daemon.h"

namespace {

namespace fs = std::filesystem;
using interleavings::Act;
using interleavings::Late;
using interleavings::Other;
using interleavings::Placement;
using interleavings::Scene;
using interleavings::Timed;
using interleavings::Window;

constexpr Other kOthers[] = {Other::dispatcher, Other::main, Other::lens};
constexpr Other kOthersOfOneAct[] = {Other::dispatcher, Other::main, Other::lens,
                                     Other::handedOver};
constexpr int kParallel = 2;
constexpr int kQuietSeconds = 1;
constexpr int kLongestSeconds = 300;

// --- What comes of it ---

struct Word {
    const char* name;
    const SharedInt& value;
};

const Word kWords[] = {
    {"pan target", giPanTarget},
    {"tilt target", giTiltTarget},
    {"rotate target", giNewRotat},
    {"zoom target", giZoomTarget},
    {"focus target", giFocusTarget},
    {"iris target", giIrisTarget},
    {"pan position", gLensRange[kPanPosition]},
    {"tilt position", gLensRange[kTiltPosition]},
    {"rotate position", gLensRange[kRotatePosition]},
    {"zoom position", gLensRange[kZoomPosition]},
    {"focus position", gLensRange[kFocusPosition]},
    {"iris position", gLensRange[kIrisPosition]},
    {"pan continuous", iPanContinuous},
    {"tilt continuous", iTiltContinuous},
    {"rotate continuous", iRotateContinuous},
    {"zoom continuous", iZoomContinuous},
    {"focus continuous", iFocusContinuous},
    {"iris continuous", iIrisContinuous},
    {"pan move", iPanMove},
    {"tilt move", iTiltMove},
    {"rotate move", iRotateMove},
    {"zoom move", iZoomMove},
    {"focus move", iFocusMove},
    {"iris move", iIrisMove},
    {"autofocus request", giAfRequest},
    {"home request", giHomeRequest},
    {"preset request", giActPreset},
    {"levelling request", giAutoRotate},
    {"firmware request", giFwUpdate},
    {"motors running", giMotorRunning},
    {"publication pending", giPublishPending},
    {"encoder load", giEncodeLoad},
    {"denoise load", giDenoiseLoad},
    {"range load", giWdrLoad},
    {"flip", giFlip},
    {"mirror", giMirror},
    {"rotate", giRotate},
    {"mount", giInstall},
    {"rotate mode", giModeRotate},
    {"supply", giPoeStatus},
    {"focus after zoom", giFocusAfterZoom},
    {"encoder", giEncodeStarted},
    {"iris table", giIrisTable},
    {"gain", giCurrentGain},
    {"slaves", giSlaveCameras},
    {"demo mode", giDemoPtzMode},
    {"led mode", giDemoLedMode},
    {"manual red", giDemoLedR},
    {"manual green", giDemoLedG},
    {"manual blue", giDemoLedB},
    {"manual white", giDemoLedW},
    {"flash", giLightFlashPeriod},
    {"brightness", giLightBrightness},
    {"front left", gaLightColor[0]},
    {"back right", gaLightState[3]},
    {"back right brightness", gaLightBrightness[3]},
    {"event 1", gaOnvifOrder[0]},
    {"event 3", gaOnvifOrder[2]},
    {"relay", gaRelayMode[0]},
    {"relay time-out", gaRelayTimeout[0]},
    {"test mode", giLedTestMode},
    {"led power", giLedPower},
    {"led power changed", giLedPowerChanged},
};

// Keys whose last value counts, too; and how often each value of a key that tells of events was set
// since the window opened.
constexpr const char* kEvents[] = {"status", ".action", ".act_preset", ".preset", ".light."};

std::map<std::string, int>& counts() {
    static auto& map = *new std::map<std::string, int>;
    return map;
}

std::string gDirectory;
// Tells copies that live at the same time from each other.
int gCopyNumber = 0;

void listen(const char* key, const char* value) {
    for (const char* part : kEvents) {
        if (std::strstr(key, part) != nullptr) {
            ++counts()[std::string(key) + " " + value];
            return;
        }
    }
}

std::string markers() {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(gDirectory + "/mnt/nand")) {
        names.insert(entry.path().filename());
    }
    std::string text;
    for (const std::string& name : names) {
        text += "file " + name + "\n";
    }
    return text;
}

// Copies run in parallel, and each leaves its parent's files as they are.
void takeFiles() {
    const std::string parent = gDirectory + "/mnt/nand";
    gDirectory.append("/").append(std::to_string(gCopyNumber));
    fs::remove_all(gDirectory + "/mnt/nand");
    twin::openFiles(gDirectory);
    for (const auto& entry : fs::directory_iterator(parent)) {
        fs::copy(entry.path(), gDirectory + "/mnt/nand");
    }
}

// What all processes of the campaign add to.
struct Tally {
    std::atomic<std::uint64_t> steps{0};
    std::atomic<std::uint64_t> schedules{0};
    std::atomic<std::uint64_t> failed{0};
};

Tally* gTally = nullptr;
std::FILE* gReport = nullptr;
Request gRequest;
// Of the steps, every so many-th is taken; 1: all.
std::uint64_t gStride = 1;

// How a line begins that is never right.
constexpr const char* kProblem = "wrong: ";

// What one copy of the process explores: a scene with its acts, and the outcomes that are right.
struct Job {
    const Scene* scene = nullptr;
    std::string name;
    std::string acts;  // of a pair
    bool pair = false;
    bool late = false;  // `right` has what comes of late passes, too
    std::set<std::string> right;
    std::set<std::string> wrong;
};

Job gJob;

// Whether it depends on the instant how often the event comes: two commands one right after the
// other may lead to one move, and to one end of it.
bool isUncounted(const std::string& event) {
    if (gJob.pair) {
        return event.find("status ") != std::string::npos || event.ends_with("cmd done");
    }
    return !gJob.scene->steps.empty() &&
           (event.starts_with(std::string(gJob.scene->acts) + "status ") ||
            event.ends_with("cmd done"));
}

// A line for what is wrong in itself; none for an empty text.
std::string problem(const std::string& text) {
    return text.empty() ? "" : std::string(kProblem) + text + "\n";
}

// How the camera is once all has come to rest; what has been said on the way.
std::string outcome() {
    std::string text = problem(whole::rest(kQuietSeconds, kLongestSeconds));
    text += problem(whole::counters());
    twin::checkFilesClosed();
    text += problem(twin::violationSeen() ? "a violation" : "");
    for (const Word& word : kWords) {
        text += std::string(word.name) + " " + std::to_string(word.value.load()) + "\n";
    }
    text.append("filter ").append(twin::saveHead().at("icr")).append("\nled switches");
    for (const auto& each : gaLedCtrl) {
        text.append(" ").append(std::to_string(each.load()));
    }
    text += '\n';
    for (const auto& [event, count] : counts()) {
        text += event + (isUncounted(event) ? "" : " x" + std::to_string(count)) + "\n";
    }
    return text + markers();
}

std::set<std::string> linesOf(const std::string& text) {
    std::set<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.insert(line);
    }
    return lines;
}

// The lines that `here` has and `there` has not.
std::vector<std::string> beyond(const std::set<std::string>& here,
                                const std::set<std::string>& there, const char* sign) {
    std::vector<std::string> lines;
    for (const std::string& line : here) {
        if (!there.contains(line)) {
            lines.push_back(sign + line);
        }
    }
    return lines;
}

// The lines in which a wrong outcome differs from the right one that is most like it.
std::vector<std::string> difference(const std::string& wrong) {
    const std::set<std::string> seen = linesOf(wrong);
    std::optional<std::vector<std::string>> least;
    for (const std::string& right : gJob.right) {
        const std::set<std::string> expected = linesOf(right);
        std::vector<std::string> lines = beyond(seen, expected, "    + ");
        const std::vector<std::string> missing = beyond(expected, seen, "    - ");
        lines.insert(lines.end(), missing.begin(), missing.end());
        if (!least || lines.size() < least->size()) {
            least = std::move(lines);
        }
    }
    return least.value_or(std::vector<std::string>{});
}

// Shows the first schedule of each wrong outcome of a job.
void judge(const std::string& caseName, const std::string& seen) {
    if (gJob.right.contains(seen)) {
        return;
    }
    ++gTally->failed;
    if (!gJob.wrong.insert(seen).second) {
        return;
    }
    std::string text = caseName + "\n" + gJob.acts;
    for (const std::string& line : difference(seen)) {
        text += line + "\n";
    }
    std::fprintf(gReport, "%s    script/campaign interleavings --seed %llu --case '%s'\n",
                 text.c_str(), static_cast<unsigned long long>(gRequest.seed), caseName.c_str());
    std::fflush(gReport);
}

// --- The schedules ---

Window windowOf(const Scene& scene) {
    // Two passes of both threads for what goes on, four for what begins and ends in them.
    return scene.steps.empty() || scene.steps.back().seconds > 0
               ? Window{{}, 22}
               : Window{{scene.steps.back().act}, 42};
}

// A thread that is held up may wait for the other one's next pass.
constexpr int kLatestMilliseconds = 30;
constexpr int kLongMilliseconds = 200;

// Whether the case of the command line, if there is one, is below `name` or the other way round.
bool asked(const std::string& name) {
    const std::string& wanted = gRequest.caseName;
    const std::size_t length = std::min(name.size(), wanted.size());
    return wanted.empty() || (name.compare(0, length, wanted, 0, length) == 0 &&
                              (length == wanted.size() || wanted[length] == '/') &&
                              (length == name.size() || name[length] == '/'));
}

// The number that the case of the command line ends with below `name`; 0 if there is none.
std::uint64_t numberAsked(const std::string& name) {
    const std::string& wanted = gRequest.caseName;
    std::uint64_t number = 0;
    return wanted.size() > name.size() && readUnsigned(wanted.c_str() + name.size() + 1, number)
               ? number
               : 0;
}

// Plays one schedule with its trace, in a process that is of no further use.
void playOne(const std::vector<Placement>& placements) {
    dup2(fileno(gReport), STDOUT_FILENO);
    twin::openOutput({.trace = true});
    const std::string seen = interleavings::play(windowOf(*gJob.scene), placements);
    twin::flushOutput();
    judge(gRequest.caseName, seen);
    ++gTally->schedules;
}

// Most schedules come to what also comes of passes in time. Only where one does not is it worth
// the while to see what comes of late ones.
bool isJudged(std::uint64_t step, const std::string& seen) {
    if (!gJob.late && !gJob.right.contains(seen)) {
        return false;
    }
    judge(gJob.name + "/" + std::to_string(step), seen);
    return true;
}

constexpr Late kLate[] = {Late::none, Late::main, Late::lens};

std::span<const Late> lateOnes() {
    return std::span(kLate).first(gJob.late ? std::size(kLate) : 1);
}

// Also with a pass that comes late after what opens the window.
void addRight(const Window& window, const std::vector<Timed>& acts) {
    for (const Late late : lateOnes()) {
        if (late != Late::none && window.opening.empty()) {
            return;
        }
        const std::string seen = interleavings::outcomeOf(window, late, acts);
        if (seen.starts_with(kProblem)) {
            judge(std::string(gJob.scene->name) + "/" + nameOf(acts[0].act), seen);
        } else {
            gJob.right.insert(seen);
        }
    }
}

void addRightActs(const Window& window, const Act& act) {
    for (int time = 0; time <= window.milliseconds + kLatestMilliseconds; time += 5) {
        for (const Late late : lateOnes()) {
            addRight(window, {{act, time, late}});
        }
    }
}

std::uint64_t placeEverywhere(const Window& window, const Act& act, Other other) {
    std::uint64_t steps = interleavings::placeEverywhere(window, act, other, gStride, isJudged);
    if (steps == 0 && !gJob.late) {
        gJob.late = true;
        addRightActs(window, act);
        steps = interleavings::placeEverywhere(window, act, other, gStride, isJudged);
    }
    return steps;
}

// The act at every step of the scene.
void exploreAct(const void* argument) {
    const Act& act = *static_cast<const Act*>(argument);
    const Window window = windowOf(*gJob.scene);
    addRightActs(window, act);
    const std::string name = std::string(gJob.scene->name) + "/" + interleavings::nameOf(act) + "/";
    for (const Other other : kOthersOfOneAct) {
        gJob.name = name + interleavings::kOtherNames[static_cast<std::size_t>(other)];
        if (const std::uint64_t step = numberAsked(gJob.name); asked(gJob.name) && step != 0) {
            playOne({{act, other, step}});
        } else if (asked(gJob.name)) {
            const std::uint64_t steps = placeEverywhere(window, act, other);
            gTally->steps += steps;
            gTally->schedules += steps / gStride;
        }
    }
}

// Two acts and a number of schedules for them, all by the seed.
constexpr std::uint64_t kSchedulesOfPair = 100;

struct Pair {
    std::uint64_t number;
    std::uint64_t seed;
    Act first;
    Act second;
};

Placement anyPlacement(std::uint64_t& seed, const Act& act, const std::uint64_t* steps) {
    const auto other = static_cast<std::size_t>(pick(seed, std::size(kOthers)));
    return {act, kOthers[other], 1 + pick(seed, steps[other])};
}

// In that order: as far apart as they can be in a window, or longer, where the thread that takes
// them waits for one that sleeps.
void addRightPairs(const Window& window, const Act& first, const Act& second) {
    const int last = window.milliseconds + kLatestMilliseconds;
    for (int time = 0; time <= last; time += 10) {
        std::vector<int> laterTimes = {kLongMilliseconds};
        for (int later = time; later <= last; later += 10) {
            laterTimes.push_back(later);
        }
        for (const int later : laterTimes) {
            for (const Late late : lateOnes()) {
                for (const Late afterwards : lateOnes()) {
                    addRight(window, {{first, time, late}, {second, later, afterwards}});
                }
            }
        }
    }
}

// Of most keys two sets ask for different things, which may be served in either order. Of a word
// that replaces the one before it the last one has to win.
bool latestWins(const Act& act) {
    constexpr const char* kKeys[] = {"lens.camN.pan", "lens.camN.tilt", "lens.camN.zoom",
                                     "lens.camN.rotate"};
    return std::find(std::begin(kKeys), std::end(kKeys), std::string(act.key)) != std::end(kKeys);
}

// An act that comes when the window opens comes before one that comes at a step.
bool firstIsFirst(const Placement& first, const Placement& second) {
    return first.other != Other::dispatcher || second.other == Other::dispatcher;
}

// In either order, where the second one need not win.
void addRightOrders(const Window& window, const Act& first, const Act& second) {
    addRightPairs(window, first, second);
    if (!latestWins(first)) {
        addRightPairs(window, second, first);
    }
}

void explorePair(const void* argument) {
    Pair pair = *static_cast<const Pair*>(argument);
    const Window window = windowOf(*gJob.scene);
    gJob.pair = true;
    gJob.name = std::string(gJob.scene->name) + "/pair/" + std::to_string(pair.number);
    gJob.acts = "    " + nameOf(pair.first) + ", " + nameOf(pair.second) + "\n";
    std::uint64_t steps[std::size(kOthers)];
    for (std::size_t i = 0; i < std::size(kOthers); ++i) {
        steps[i] = std::max<std::uint64_t>(interleavings::countSteps(window, kOthers[i]), 1);
    }
    addRightOrders(window, pair.first, pair.second);
    for (std::uint64_t number = 1; number <= kSchedulesOfPair; ++number) {
        const Placement first = anyPlacement(pair.seed, pair.first, steps);
        Placement second = anyPlacement(pair.seed, pair.second, steps);
        if (!firstIsFirst(first, second)) {
            second.other = Other::dispatcher;
        }
        const std::uint64_t wanted = numberAsked(gJob.name);
        if (wanted == number) {
            playOne({first, second});
            return;
        }
        if (wanted == 0) {
            const std::string seen = interleavings::outcomeOf(window, {first, second});
            if (!isJudged(number, seen)) {
                gJob.late = true;
                addRightOrders(window, pair.first, pair.second);
                isJudged(number, seen);
            }
            ++gTally->schedules;
        }
    }
}

void inParallel(void (*body)(const void*), const void* argument) {
    ++gCopyNumber;
    interleavings::startCopy(body, argument);
    interleavings::waitForCopies(kParallel - 1);
}

// As many pairs as there are acts in the scene, each of one key; fewer where not all steps are
// taken.
void explorePairs(const Scene& scene, const std::vector<const Act*>& acts) {
    std::uint64_t seed = gRequest.seed;
    for (std::uint64_t number = 1; number <= acts.size(); ++number) {
        const Act& first = *acts[pick(seed, acts.size())];
        std::vector<const Act*> others;
        std::copy_if(acts.begin(), acts.end(), std::back_inserter(others),
                     [&first](const Act* act) { return std::string(act->key) == first.key; });
        const Act& second = *others[pick(seed, others.size())];
        const Pair pair = {number, pick(seed, UINT32_MAX), first, second};
        if (number % gStride == 0 &&
            asked(std::string(scene.name) + "/pair/" + std::to_string(number))) {
            inParallel(explorePair, &pair);
        }
    }
}

void exploreScene(const void* argument) {
    const Scene& scene = *static_cast<const Scene*>(argument);
    gJob.scene = &scene;
    gJob.late = !gRequest.caseName.empty();
    for (const interleavings::Step& step : scene.steps) {
        if (step.seconds > 0) {
            twin::setFromOutside(step.act.key, step.act.value);
            whole::pass(step.seconds);
        }
    }
    counts().clear();
    std::vector<const Act*> acts;
    for (const Act& act : interleavings::acts()) {
        if (takesPart(scene, act)) {
            acts.push_back(&act);
        }
    }
    for (const Act* act : acts) {
        if (asked(std::string(scene.name) + "/" + interleavings::nameOf(*act))) {
            inParallel(exploreAct, act);
        }
    }
    explorePairs(scene, acts);
    interleavings::waitForCopies(0);
}

// About as many schedules as there are if every step is taken.
constexpr std::uint64_t kAllSchedules = 630000;

void exploreAll() {
    gStride = gRequest.size == 0 ? 1 : std::max<std::uint64_t>(kAllSchedules / gRequest.size, 1);
    const auto start = std::chrono::steady_clock::now();
    for (const Scene& scene : interleavings::scenes()) {
        if (asked(scene.name)) {
            interleavings::startCopy(exploreScene, &scene);
            interleavings::waitForCopies(0);
            std::fprintf(stderr, "\rinterleavings: %llu schedules, %llu failed",
                         static_cast<unsigned long long>(gTally->schedules),
                         static_cast<unsigned long long>(gTally->failed));
        }
    }
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    std::fprintf(stderr, "\n");
    std::fprintf(gReport, "interleavings: %llu steps, %llu schedules in %.0f s, %llu failed\n",
                 static_cast<unsigned long long>(gTally->steps),
                 static_cast<unsigned long long>(gTally->schedules), elapsed.count(),
                 static_cast<unsigned long long>(gTally->failed));
}

}  // namespace

int main(int argc, char** argv) {
    if (!readRequest(argc, argv, gRequest)) {
        std::fputs("usage: script/campaign interleavings [--seed N] [--case NAME] [SIZE]\n",
                   stderr);
        return 2;
    }
    gDirectory = fs::temp_directory_path().string() + "/kestrel-explore-XXXXXX";
    void* const memory =
        mmap(nullptr, sizeof(Tally), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (mkdtemp(gDirectory.data()) == nullptr || memory == MAP_FAILED) {
        std::perror("interleavings");
        return 1;
    }
    gTally = new (memory) Tally;
    gReport = fdopen(dup(STDOUT_FILENO), "w");
    const std::string directory = gDirectory;
    whole::boot(directory);
    nbus_listen("", listen);
    interleavings::useHooks({takeFiles, outcome});
    exploreAll();
    std::fclose(gReport);
    fs::remove_all(directory);
    // The daemon does not end.
    _exit(gTally->failed == 0 && gTally->schedules != 0 ? 0 : 1);
}
