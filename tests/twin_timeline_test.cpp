// The virtual clock: who runs when.
#include <gmock/gmock.h>
#include <pthread.h>

#include <chrono>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "platform/thread.h"
#include "tests/twin_world.h"
#include "twin/camera/guard.h"
#include "twin/camera/watch.h"
#include "twin/clock/timeline.h"

namespace {

using testing::ElementsAre;

std::vector<std::string> gHappened;
twin::Microseconds gStart = 0;

void note(const std::string& what) {
    gHappened.push_back(std::to_string(twin::now() - gStart) + " " + what);
}

// Counts the tests; the actors of earlier ones end.
int gTest = 0;

// Notes its name and sleeps for the period, again and again.
template <char Name, int Period>
void walk(void*) {
    const int test = gTest;
    while (test == gTest) {
        note(std::string(1, Name));
        sleepMicroseconds(Period);
    }
}

void noteEvent(std::int64_t number) {
    note("event " + std::to_string(number));
}

class TwinTimeline : public TwinWorld {
protected:
    TwinTimeline() {
        ++gTest;
        pass(1000);
        gHappened.clear();
        gStart = twin::now();
    }

    static std::vector<std::string> happened() {
        return std::exchange(gHappened, {});
    }
};

TEST_F(TwinTimeline, EventsComeFirstThenActorsInTheOrderOfTheirStart) {
    twin::startActor("a", walk<'a', 10>, nullptr);
    twin::startActor("b", walk<'b', 5>, nullptr);
    twin::scheduleEvent(gStart + 10, noteEvent, 1);
    twin::scheduleEvent(gStart + 10, noteEvent, 2);
    twin::scheduleEvent(gStart + 7, noteEvent, 3);
    twin::scheduleEvent(gStart - 1, noteEvent, 4);
    EXPECT_THAT(happened(), ElementsAre());
    twin::settle();
    EXPECT_THAT(happened(), ElementsAre("0 event 4", "0 a", "0 b"));
    pass(9);
    EXPECT_THAT(happened(), ElementsAre("5 b", "7 event 3"));
    EXPECT_EQ(twin::now(), gStart + 9);
    pass(1);
    EXPECT_THAT(happened(), ElementsAre("10 event 1", "10 event 2", "10 a", "10 b"));
}

TEST_F(TwinTimeline, AGateLetsTheConsolePassAtTheInstantOfItsOpening) {
    static twin::Gate gate;
    twin::startActor(
        "opener",
        [](void*) {
            sleepMicroseconds(10);
            gate.open();
            walk<'o', 7>(nullptr);
        },
        nullptr);
    EXPECT_FALSE(gate.pass(gStart + 5));
    EXPECT_EQ(twin::now(), gStart + 5);
    EXPECT_TRUE(gate.pass(gStart + 1000));
    EXPECT_EQ(twin::now(), gStart + 10);
    EXPECT_FALSE(gate.pass(gStart + 20));
}

TEST_F(TwinTimeline, ThreadsOfTheDaemonAreActors) {
    pthread_t thread{};
    ASSERT_EQ(startThread(&thread,
                          [](void* argument) -> void* {
                              note(argument == nullptr ? "started" : "argument");
                              sleepMicroseconds(0);
                              sleepMicroseconds(-5);
                              note("goes on");
                              sleepMicroseconds(3);
                              note("ends");
                              return nullptr;
                          }),
              0);
    note("starter");
    pass(10);
    EXPECT_THAT(happened(), ElementsAre("0 starter", "0 started", "0 goes on", "3 ends"));
    EXPECT_NE(startThread(nullptr, [](void*) -> void* { return nullptr; }), 0);
    EXPECT_NE(startThread(&thread, nullptr), 0);
}

pthread_mutex_t gLock = PTHREAD_MUTEX_INITIALIZER;

// Holds the lock until the others have had their turn.
void holdUp(void*) {
    pthread_mutex_lock(&gLock);
    note("held up");
    EXPECT_TRUE(twin::letGoOn("waiter"));
    note("goes on");
    pthread_mutex_unlock(&gLock);
    EXPECT_FALSE(twin::letGoOn("nobody"));
}

TEST_F(TwinTimeline, AnActorThatIsHeldUpLetsOthersGoOnButForItsLock) {
    twin::startActor("held up", holdUp, nullptr);
    twin::startActor(
        "waiter",
        [](void*) {
            note("waits");
            pthread_mutex_lock(&gLock);
            note("has the lock");
            pthread_mutex_unlock(&gLock);
        },
        nullptr);
    twin::startActor("a", walk<'a', 10>, nullptr);
    twin::settle();
    EXPECT_THAT(happened(),
                ElementsAre("0 held up", "0 waits", "0 a", "0 goes on", "0 has the lock"));
}

TEST(TwinGuard, CountsSecondsThatStandStillUnlessTheOutputIsHeldUp) {
    using std::chrono_literals::operator""ms;
    twin::Guard guard;
    const twin::Progress stands = {"actor", 5, 1};
    EXPECT_EQ(guard.look(stands, 0ms), 0);
    EXPECT_EQ(guard.look(stands, 100ms), 1);
    EXPECT_EQ(guard.look(stands, 1100ms), 1);  // a reader that pages
    EXPECT_EQ(guard.look(stands, 2100ms), 1);
    EXPECT_EQ(guard.look(stands, 2200ms), 2);
    EXPECT_EQ(guard.look({"actor", 6, 1}, 2200ms), 0);
    EXPECT_EQ(guard.look({"actor", 6, 2}, 2200ms), 0);
    EXPECT_EQ(guard.look({nullptr, 6, 2}, 2200ms), 0);
}

TEST_F(TwinTimeline, TheGuardNamesAnActorThatNeverYields) {
    EXPECT_EXIT(
        {
            twin::startWatch(1);
            twin::startActor(
                "the culprit",
                [](void*) {
                    for (;;) {
                        sleepMicroseconds(0);
                    }
                },
                nullptr);
            pass(1);
        },
        testing::ExitedWithCode(1), "the culprit has run for 1 s without waiting");
}

}  // namespace
