// What a camera keeps between runs, whatever their end.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "paths.h"
#include "process.h"
#include "session.h"

namespace {

using testing::AnyOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

const std::vector<std::string> kQuiet = {"--quiet"};

// A quiet run of that camera.
std::vector<std::string> runOf(const Camera& camera, const char* clock = "virtual") {
    return {kTwinProgram, "--quiet", "--clock", clock, "--state", camera.pathOf("/..")};
}

using Files = std::map<std::string, std::string>;

// The camera's whole file tree.
Files filesOf(const Camera& camera) {
    Files files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(camera.pathOf("/"))) {
        if (entry.is_regular_file()) {
            const std::string path = entry.path().lexically_relative(camera.pathOf("/"));
            files[path] = camera.read("/" + path).value_or("none");
        }
    }
    return files;
}

using Entries = std::map<std::string, std::string>;

Entries entriesOf(const std::string& text) {
    Entries entries;
    std::istringstream lines(text);
    for (std::string name, value; lines >> name && std::getline(lines >> std::ws, value);) {
        entries[name] = value;
    }
    return entries;
}

// What a killed run has noted about its mechanism last.
Entries notedBy(const Camera& camera) {
    const std::string content = camera.read("/../running").value_or("");
    std::uint64_t slot = 0;
    std::memcpy(&slot, content.data(), std::min(content.size(), sizeof slot));
    return entriesOf(content.substr(sizeof slot + slot * 32768).c_str());
}

constexpr int kMany = 1'000'000;

std::string moves() {
    std::string script;
    for (int i = 0; i < 300; ++i) {
        const std::string way = i % 2 == 0 ? "1" : "2";
        script += "set x.count " + std::to_string(i) + "\nset lens.camN.pan a:" + way +
                  "0500\nset lens.camN.zoom a:" + way + "00\nset lens.camN.rotate a:" + way +
                  "000\nrun 0.7\n";
    }
    return script;
}

// The same camera and commands, with a power cut before the change of that number.
struct Cut {
    Camera camera;
    Entries head;
    int count = 0;  // the latest x.count, if there was one yet

    Cut(const Camera& original, int change) : camera(original) {
        camera.fault("power-cut " + std::to_string(change));
        camera.run("run 20\nget x\n" + moves(), kQuiet);
        head = entriesOf(camera.read("/../head").value_or(""));
        count = std::atoi(entriesOf(camera.read("/../bus").value_or(""))["x.count"].c_str());
    }
};

// A killed camera is as after a power cut before or after its latest change: mechanism, files and
// lasting keys belong together.
TEST(TwinState, AKillAtAnyInstantIsAPowerCut) {
    std::minstd_rand random(static_cast<unsigned>(testing::UnitTest::GetInstance()->random_seed()));
    for (int i = 0; i < 5; ++i) {
        const Camera original(Positions{});
        Camera killed(original);
        killed.fault("power-cut " + std::to_string(kMany));
        Process run(runOf(killed));
        run.write("run 20\nget x\n");
        run.readTo("\n");
        run.write(moves());
        const timespec instant{0, static_cast<long>(random() % 40'000'000)};
        nanosleep(&instant, nullptr);
        run.signal(SIGKILL);
        run.finish();
        EXPECT_EQ(run.status, 128 + SIGKILL);

        Entries head = notedBy(killed);
        const std::string left = head["fault.0"];
        const int change = kMany - std::stoi(left.substr(left.find(' ')));
        SCOPED_TRACE(change);
        const Cut before(original, change);
        const Cut after(original, change + 1);
        head.erase("fault.0");
        head.erase("time");
        EXPECT_EQ(head, before.head);
        const Files files = filesOf(killed);
        Files emptied = filesOf(before.camera);
        emptied["mnt/nand/Pos.bin"] = "";
        EXPECT_THAT(files, AnyOf(filesOf(before.camera), filesOf(after.camera), emptied));

        const auto next = killed.run("get x.count\nrun 60\ncheck", kQuiet);
        EXPECT_THAT(next.errors, HasSubstr("ended without saving; the camera is as if its power"));
        const int count = std::atoi(next.answers.at(0).substr(8).c_str());
        EXPECT_GE(count, before.count);
        EXPECT_LE(count, after.count);
        EXPECT_EQ(killed.run("get x", kQuiet).errors, "") << "said once";
    }
}

TEST(TwinState, AClosedTerminalAndAGoneReaderLeaveASavedCamera) {
    for (const char* const clock : {"virtual", "real"}) {
        for (const int signal : {SIGHUP, SIGPIPE}) {
            SCOPED_TRACE(testing::Message() << clock << signal);
            const Camera camera(Positions{});
            std::vector<std::string> program = runOf(camera, clock);
            if (signal == SIGPIPE) {
                // Its reader goes with the first line.
                program.insert(
                    program.begin(),
                    {"/bin/bash", "-c",
                     R"("$@" | (read line; exec <&-; echo $line); exit $PIPESTATUS)", "-"});
            }
            Process run(program);
            run.write("set x.k 1\nset lens.camN.zoom a:2000\nwait lens.camN.zoomstatus stop\n");
            run.readTo("\n");
            if (signal == SIGHUP) {
                run.signal(SIGHUP);
            } else {
                run.write("get x\nquit\n");  // however soon the run would end by itself
            }
            run.waitForEnd();
            EXPECT_EQ(run.status, 128 + signal);
            EXPECT_FALSE(std::filesystem::exists(camera.pathOf("/../running")));
            EXPECT_NE(camera.remembered("zoom.position"), "1000");
            const auto next = camera.run("get x.k", kQuiet);
            EXPECT_EQ(next.errors, "");
            EXPECT_EQ(next.answers.at(0), "x.k 1");
        }
    }
}

// The places at which the private camera of that process could lie.
std::vector<std::string> privatePlaces(pid_t process) {
    std::vector<std::string> places;
    const std::string name = "kestrel-twin-run-" + std::to_string(process) + "-";
    for (const auto& parent :
         {std::filesystem::path("/dev/shm"), std::filesystem::temp_directory_path()}) {
        for (const auto& entry : std::filesystem::directory_iterator(parent)) {
            if (entry.path().filename().string().starts_with(name)) {
                places.push_back(entry.path());
            }
        }
    }
    return places;
}

TEST(TwinState, APrivateCameraOfAKilledRunGoesWithTheNextRun) {
    const std::vector<std::string> program = {kTwinProgram, "--quiet"};
    Process living(program);
    Process killed(program);
    const pid_t process = killed.id();
    for (Process* run : {&living, &killed}) {
        run->write("get x\n");
        run->readTo("\n");
    }
    EXPECT_EQ(privatePlaces(process).size(), 1U);
    killed.signal(SIGKILL);
    killed.finish();
    // From here on any run on this machine may take it away.
    Process next(program);
    next.write("get x\n");
    next.readTo("\n");
    EXPECT_TRUE(privatePlaces(process).empty());
    EXPECT_EQ(privatePlaces(living.id()).size(), 1U);
}

TEST(TwinState, APrivateCameraLeavesNothing) {
    for (const char* const ending : {"quit", "power-cut", "signal TERM", "fly\nquit"}) {
        Process run({kTwinProgram, "--quiet"});
        const pid_t process = run.id();
        run.write(std::string("run 1\n") + ending + "\n");
        run.finish();
        EXPECT_TRUE(privatePlaces(process).empty()) << ending;
    }
}

// A text that does not fit into the daemon's command buffer.
const std::string kAbort =
    "fault bus-overlong\nset lens.camN.zoom " + std::string(140, 'a') + "\nrun 1";

TEST(TwinState, TheCameraIsTheSameAtTheNextRunHoweverTheLastOneEnded) {
    const Camera camera(Positions{});
    const auto fresh = camera.run(
        "expect image.camN.exposure.iris_table 100\nexpect gpio.camN.out.icr day\n"
        "expect lens.global.led_ctrl 1,1,1,1,1,1,1,1\nexpect encode.camN.status start\n"
        "set image.camN.flip on\nset x.odd \\ two  words\x01\nset lens.camN.zoom a:50\nrun 3\nhead",
        kQuiet);
    EXPECT_EQ(fresh.status, 0) << fresh.output;
    EXPECT_EQ(camera.read("/bin/SensorMCU.txt"), "version 0201\n");
    camera.write("/etc/mcu_ver_mb.info", "mcu_ver=0102\nkept\n");
    nlohmann::json last = fresh.head();
    for (const std::string& ending : {std::string("power-cut"), kAbort, std::string("quit")}) {
        const auto next = camera.run(
            "expect image.camN.flip on\nexpect x.odd \\ two  words\x01\nget lens.camN.zoom\nhead\n"
            "set lens.camN.zoom r:500\nrun 0.05\nhead\n" +
            ending);
        EXPECT_EQ(next.answers[2], "lens.camN.zoom absent");
        EXPECT_EQ(next.head(0)["zoom"]["position"], last["zoom"]["position"]) << ending;
        last = next.head(1);
        EXPECT_NE(next.head(0)["zoom"]["position"], last["zoom"]["position"]);
        EXPECT_EQ(camera.read("/etc/mcu_ver_mb.info"), "mcu_ver=0102\nkept\n");
    }
}

TEST(TwinState, DamagedBusLinesAreLeftOutAndADamagedHeadIsRefused) {
    const Camera camera;
    camera.run("set x.k 1\nset lens.camN.preset1 5", kQuiet);
    std::ofstream(camera.pathOf("/../bus"), std::ios::app)
        << "lonely\n bare\nx.long " << std::string(128, 'v') << "\nx.esc \\xq\nx.good 2";
    const auto run = camera.run("keys x.", kQuiet);
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(linesOf(run.errors), ElementsAre(EndsWith("/bus: 4 damaged lines left out")));
    EXPECT_THAT(run.answers, ElementsAre("x.good 2", "x.k 1", "2 keys"));
    const std::string overlong = "x.long " + std::string(128, 'v');
    const Camera wide;
    wide.run("fault bus-overlong\nset " + overlong, kQuiet);
    EXPECT_THAT(wide.run("get x.long", kQuiet).answers, ElementsAre(overlong));
    for (const char* const content :
         {"", "zoom.position\n", "zoom.position far\n", "wheel.position 3\n", "mount floor\n"}) {
        std::ofstream(camera.pathOf("/../head")) << content;
        const auto refused = camera.run("get x", kQuiet);
        EXPECT_EQ(refused.status, 1) << content;
        EXPECT_THAT(
            linesOf(refused.errors),
            ElementsAre(MatchesRegex("kestrel-twin: .*/head: .*; correct it, or remove .*")))
            << content;
    }
}

// With what the refusal advises: a new mechanism finds its way, and the settings are still there.
TEST(TwinState, ADamagedHeadCanBeDoneWithout) {
    const Camera camera(Positions{.pan = 3000});
    camera.run("set x.k on\nrun 5", kQuiet);
    camera.remember("zoom.position", "far");
    const std::string advice = camera.run("get x", kQuiet).errors;
    EXPECT_THAT(advice, HasSubstr(" or remove it together with "));
    std::filesystem::remove(camera.pathOf("/../head"));
    EXPECT_THAT(camera.run("get x", kQuiet).errors, HasSubstr("the mechanism is a new one"));
    std::filesystem::remove(camera.pathOf("/../head"));
    EXPECT_THAT(advice, HasSubstr(camera.pathOf("/mnt/nand")));
    camera.remove("/mnt/nand");
    const auto run = camera.run("run 60\ncheck\nexpect x.k on", kQuiet);
    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(run.errors, "");
}

TEST(TwinState, ACameraKeepsItsLensAndSaysThatItWasMountedAnew) {
    const Camera camera(Positions{.tilt = 4160}, 10);
    const auto upOf = [&](const std::vector<std::string>& options, const char* said) {
        const auto run = camera.run("head", options);
        EXPECT_EQ(run.status, 0);
        EXPECT_THAT(run.errors, HasSubstr(said));
        EXPECT_EQ(run.errors.empty(), *said == '\0');
        return static_cast<int>(run.head()["gravity"][1]);
    };
    EXPECT_EQ(upOf({}, ""), 9);
    EXPECT_EQ(upOf({"--mount", "desktop"}, "mount was ceiling and is desktop"), -9);
    EXPECT_EQ(upOf({}, ""), -9);
    EXPECT_EQ(upOf({"--lens-type", "10"}, ""), -9);
    const auto refused = camera.run("head", {"--lens-type", "0"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.errors, HasSubstr("has lens type 10, not 0"));
    EXPECT_EQ(camera.remembered("lens-type"), "10");
}

TEST(TwinState, ACameraThatRunsIsNotRunTwice) {
    const Camera camera;
    camera.run("quit");
    const int lock = open(camera.pathOf("/..").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(flock(lock, LOCK_EX), 0);
    const auto run = camera.run("get x", kQuiet);
    close(lock);
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, HasSubstr("in use by another run"));
}

}  // namespace
