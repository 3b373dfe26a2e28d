// The daemon on real threads under more traffic than any camera sees.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <pthread.h>
#include <setjmp.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "app/bus_keys.h"
#include "app/startup.h"
#include "control_state.h"
#include "platform/clock.h"
#include "platform/nbus.h"
#include "session.h"
#include "tests/twin_world.h"
#include "twin/boundary/bus.h"
#include "twin/boundary/files.h"
#include "twin/boundary/library_calls.h"
#include "twin/boundary/readiness.h"
#include "twin/camera/settings.h"
#include "twin/trace/output.h"

// The daemon's way out of the process: where a signal's handler leaves to, if a test catches it,
// and what has become of the main thread.
namespace {
enum MainThread { kRuns, kLeavesTheEnd, kHasReturned };
std::atomic<MainThread> gMainThread = kRuns;
thread_local sigjmp_buf* gCaughtExit = nullptr;

void noteMainThread(MainThread state) {
    gMainThread = state;
    gMainThread.notify_all();
}
}  // namespace

extern "C" {
[[noreturn]] void __real__exit(int status);
int __real_pause();

[[noreturn]] void __wrap__exit(int status) {
    if (gCaughtExit != nullptr) {
        siglongjmp(*gCaughtExit, 100 + status);
    }
    __real__exit(status);
}

int __wrap_pause() {
    noteMainThread(kLeavesTheEnd);
    return __real_pause();
}
}

namespace {

constexpr int kThreads = 4;
constexpr double kSpeed = 1000;

// Boots the daemon in this process, on the real clock, and traces it into a file. Once per process.
class StormRealClock : public testing::Test {
protected:
    StormRealClock() {
        twin::useRealClock(kSpeed);
        EXPECT_EQ(twin::openFiles(camera_.pathOf("")), "");
        EXPECT_EQ(twin::makeHead({}, memoryOf(Positions{})), "");
        camera_.write(kPositionFile, positionFile(Positions{}));
        traceTo(camera_.pathOf("/trace"));
        twin::watchMotorLock();
        twin::startBus(twin::factorySettings());
        twin::startActor(
            "main",
            [](void*) {
                runKestrel();
                noteMainThread(kHasReturned);
            },
            nullptr);
        EXPECT_TRUE(twin::waitUntilReady(twin::kNever));
        until([] { return giMotorRunning == 0; });
    }
    ~StormRealClock() override {
        // What the framework prints is captured like the daemon's lines.
        const auto* const result = testing::UnitTest::GetInstance()->current_test_info()->result();
        for (int i = 0; i < result->total_part_count(); ++i) {
            std::fprintf(stderr, "%s\n", result->GetTestPartResult(i).message());
        }
        // The daemon still runs: it loses its files before they go.
        std::filesystem::rename(camera_.pathOf(""), camera_.pathOf("-gone"));
    }

    template <typename Condition>
    static void until(Condition condition) {
        while (!condition()) {
            sleepMicroseconds(10000);
        }
    }

    // Sets that are all delivered and, where they are commands, taken, when this returns: a rotate
    // command comes last in the queue, and the one after it is taken in a pass of its own, in which
    // the commands of pan and tilt are looked for before it.
    static void drain() {
        for (const int rotate : {777, 778}) {
            twin::setFromOutside("lens.camN.rotate", "a:" + std::to_string(rotate));
            until([rotate] { return giNewRotat == rotate; });
        }
    }

    template <typename Body>
    static void onThreads(Body body) {
        std::vector<std::thread> threads;
        for (int i = 0; i < kThreads; ++i) {
            threads.emplace_back(body, i);
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    }

    // What follows in each of the trace's lines that begin so.
    std::vector<std::string> textsAfter(const std::string& begin) const {
        twin::flushOutput();
        std::vector<std::string> texts;
        for (const std::string& line : linesOf(camera_.read("/trace").value_or(""))) {
            const auto event = readEvent(line);
            if (event && event->line().starts_with(begin)) {
                texts.push_back(event->line().substr(begin.size()));
            }
        }
        return texts;
    }

    // The number there. The lens loop's own lines have a slash behind it, or "stop" in its place.
    std::vector<int> numbersAfter(const std::string& begin) const {
        std::vector<int> numbers;
        for (const std::string& text : textsAfter(begin)) {
            char* end = nullptr;
            const long number = std::strtol(text.c_str(), &end, 10);
            if (end != text.c_str() && *end != '/') {
                numbers.push_back(static_cast<int>(number));
            }
        }
        return numbers;
    }

private:
    static void traceTo(const std::string& path) {
        std::FILE* const output = stdout;
        std::fflush(output);
        const int descriptor = dup(STDOUT_FILENO);
        const int file = creat(path.c_str(), 0600);
        dup2(file, STDOUT_FILENO);
        close(file);
        twin::openOutput({.trace = true});
        dup2(descriptor, STDOUT_FILENO);
        close(descriptor);
    }

    const Camera camera_;
};

// Every command carries a number of its own, which the daemon prints when it acts on it.
TEST_F(StormRealClock, LosesNoLastCommandAndTakesNoneTwice) {
    constexpr int kSets = 10000;
    onThreads([](int thread) {
        for (int i = 1 + thread; i <= kSets; i += kThreads) {
            twin::setFromOutside("lens.camN.pan", "left:" + std::to_string(i));
            twin::setFromOutside("lens.camN.tilt", "up:" + std::to_string(i));
        }
    });
    drain();
    struct Axis {
        const char* set;
        const char* taken;
    };
    constexpr Axis kAxes[] = {
        {"cmd lens.camN.pan left:", "log iPanContinuous="},
        {"cmd lens.camN.tilt up:", "log iTiltContinuous="},
    };
    for (const Axis& axis : kAxes) {
        const std::vector<int> set = numbersAfter(axis.set);
        const std::vector<int> taken = numbersAfter(axis.taken);
        ASSERT_EQ(set.size(), static_cast<std::size_t>(kSets)) << axis.set;
        ASSERT_FALSE(taken.empty()) << axis.taken;
        EXPECT_EQ(taken.back(), set.back()) << axis.taken;
        // In the order of the sets, and none twice: each comes after the one before it.
        auto next = set.begin();
        for (const int number : taken) {
            next = std::find(next, set.end(), number);
            ASSERT_NE(next, set.end()) << axis.taken << number;
            ++next;
        }
    }
    EXPECT_FALSE(twin::violationSeen());
}

TEST_F(StormRealClock, EveryKeyAtFullRateFromSeveralThreads) {
    constexpr int kRounds = 100;
    static constexpr const char* kValues[] = {
        "on", "off",  "a:700", "r:-50",   "1,0,1", "home2",  "stop", "left",
        "in", "near", "2:set", "2:go",    "all",   "auto",   "120",  "Z900",
        "",   "up:3", "open",  "full_in", "AF",    "rotate", "3"};
    onThreads([](int thread) {
        std::array<char, 128> value{};
        for (int round = 0; round < kRounds; ++round) {
            for (const BusKey& row : busKeys()) {
                const auto which = static_cast<std::size_t>(round * (thread + 1)) +
                                   static_cast<std::size_t>(&row - busKeys().data());
                twin::setFromOutside(row.key, kValues[which % std::size(kValues)]);
                nbus_get(row.key, value.data(), value.size());
            }
        }
    });
    // Every handler has run by the time this one's effect is there.
    twin::setFromOutside("demo.ptz.mode", "4711");
    until([] { return giDemoPtzMode == 4711; });
    EXPECT_FALSE(twin::violationSeen());
}

// The test's thread handles it, and is held just before it ends the process.
TEST_F(StormRealClock, ASignalOnAnotherThreadEndsTheProcessAlone) {
    testing::internal::CaptureStdout();
    sigjmp_buf caught;
    gCaughtExit = &caught;
    const int left = sigsetjmp(caught, 1);
    if (left == 0) {
        pthread_kill(pthread_self(), SIGTERM);
    }
    EXPECT_EQ(left, 101);
    gCaughtExit = nullptr;  // a second signal that is not ignored ends the test
    pthread_kill(pthread_self(), SIGINT);
    gMainThread.wait(kRuns);
    EXPECT_EQ(gMainThread, kLeavesTheEnd);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Exit kestrel sigstop\n");
    // The lens thread leaves its loop once.
    const std::vector<std::string> ends = {" 1", ""};
    until([&] { return textsAfter("log Exit kestrel LensLoop").size() >= ends.size(); });
    EXPECT_EQ(textsAfter("log Exit kestrel LensLoop"), ends);
}

}  // namespace
