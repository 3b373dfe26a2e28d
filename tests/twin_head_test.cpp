// The simulated mechanism behind the motor library's functions.
#include <fcntl.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include "platform/clock.h"
#include "platform/files.h"
#include "platform/model.h"
#include "platform/motor_mcu.h"
#include "platform/nbus.h"
#include "platform/sensor_mcu.h"
#include "session.h"
#include "tests/twin_world.h"
#include "twin/boundary/library_calls.h"
#include "twin/camera/session.h"
#include "twin/trace/output.h"
#include "twin/trace/trace.h"

namespace {

using testing::HasSubstr;
using twin::Axis;
using Move = int (*)(int, int, int);

class TwinHead : public TwinWorld {};

struct DirectionCase {
    Move move;
    Axis axis;
    int code;
    int speed;
    int change;        // of the true position by 20 steps
    int stopStandard;  // where driving on in that direction ends
    int stopLong;
};

constexpr DirectionCase kDirections[] = {
    {setPanForwardS, Axis::pan, 2, 250, 20, 44393, 44393},
    {setPanBackwardS, Axis::pan, 2, 250, -20, 0, 0},
    {setTiltForwardS, Axis::tilt, 2, 250, 20, 5120, 5120},
    {setTiltBackwardS, Axis::tilt, 2, 250, -20, -40, -40},
    {setRotatForward, Axis::rotate, -3, 5000, 20, 10720, 10720},
    {setRotatBackward, Axis::rotate, -3, 5000, -20, 0, 0},
    {setFocus8Backward, Axis::focus, -56, 5000, 20, 2433, 1812},
    {setFocus8Forward, Axis::focus, -56, 5000, -20, -16, -16},
    {setIrisForward, Axis::iris, -86, 5000, 20, 100, 122},
    {setIrisBackward, Axis::iris, -86, 5000, -20, 0, 0},
    {setZoom8Backward, Axis::zoom, -1, 5000, 20, 2375, 0},
    {setZoom8Forward, Axis::zoom, -1, 5000, -20, 0, 2950},
};

const std::map<std::string, std::string> kMiddle = {
    {"pan.position", "20000"}, {"tilt.position", "2000"},  {"rotate.position", "5000"},
    {"zoom.position", "1000"}, {"focus.position", "1000"}, {"iris.position", "50"}};

TEST_F(TwinHead, EveryOrderDrivesItsAxisInItsDirectionUpToTheStop) {
    for (const int lensType : {0, 9, 10}) {
        for (const DirectionCase& each : kDirections) {
            SCOPED_TRACE(twin::axisName(each.axis) + std::to_string(lensType));
            build(lensType, kMiddle);
            EXPECT_EQ(get_lenstype(), lensType);
            const bool turned = lensType == 10 && each.axis == Axis::zoom;
            const int before = position(each.axis);
            EXPECT_EQ(each.move(each.code, 20, each.speed), 0);
            pass(100'000);
            EXPECT_EQ(position(each.axis), before + (turned ? -each.change : each.change));
            EXPECT_EQ(lost(each.axis), 0);

            const int stop = lensType == 10 ? each.stopLong : each.stopStandard;
            const int way = std::abs(stop - position(each.axis));
            EXPECT_EQ(each.move(each.code, way + 7, each.speed), 0);
            pass(20'000'000);
            EXPECT_EQ(position(each.axis), stop);
            for (const Axis other : twin::kAxes) {
                EXPECT_EQ(lost(other), other == each.axis ? 7 : 0) << twin::axisName(other);
            }
        }
    }
}

TEST_F(TwinHead, AnOrderLastsItsStepsAtTheRateOfItsSpeedOrAsFaultsWantIt) {
    struct {
        const char* fault;
        Move move;
        Axis axis;
        int code, steps, speed;
        twin::Microseconds duration;
        int lost;
        bool everReady;
    } const cases[] = {
        {"clear", setPanForwardS, Axis::pan, 2, 12000, 250, 1'000'000, 0, true},
        {"clear", setPanForwardS, Axis::pan, 2, 6000, 234, 1'000'000, 0, true},
        {"clear", setPanForwardS, Axis::pan, 2, 128, 240, 16'451, 0, true},
        {"clear", setTiltBackwardS, Axis::tilt, 2, 32, 218, 66'667, 0, true},
        {"clear", setRotatForward, Axis::rotate, -3, 300, 200, 1'500'000, 0, true},
        {"clear", setIrisForward, Axis::iris, -86, 1, 5000, 200, 0, true},
        {"axis focus stuck", setZoom8Backward, Axis::zoom, -1, 500, 5000, 100'000, 0, true},
        {"axis zoom stuck", setZoom8Backward, Axis::zoom, -1, 500, 5000, 100'000, 500, true},
        {"axis zoom slip 30", setZoom8Backward, Axis::zoom, -1, 500, 5000, 100'000, 30, true},
        {"axis all slow 10", setZoom8Backward, Axis::zoom, -1, 500, 5000, 1'000'000, 0, true},
        {"axis zoom never-ready", setZoom8Backward, Axis::zoom, -1, 500, 5000, 100'000, 0, false},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(testing::Message() << each.fault << " " << each.steps << " " << each.speed);
        build(0, kMiddle);
        fault(each.fault);
        const int before = position(each.axis);
        each.move(each.code, each.steps, each.speed);
        pass(each.duration / 2);
        if (each.lost == 0) {
            EXPECT_NEAR(std::abs(position(each.axis) - before), each.steps / 2, 1);
        }
        pass(each.duration - each.duration / 2 - 1);
        EXPECT_TRUE(twin::axisTruth(each.axis).busy);
        pass(1);
        EXPECT_FALSE(twin::axisTruth(each.axis).busy);
        EXPECT_EQ(std::abs(position(each.axis) - before), each.steps - each.lost);
        EXPECT_EQ(lost(each.axis), each.lost);
        unsigned char byte = 0;
        getZoomStatus(&byte);
        EXPECT_EQ((byte & 0xF0) == 0xA0, each.everReady);
    }
}

TEST_F(TwinHead, AStopIsReportedWhenItIsReachedUnlessTheOrderWasReplaced) {
    build(0, {{"pan.position", "120"}, {"zoom.position", "100"}});
    static Trace trace;
    std::FILE* const output = stdout;
    twin::openOutput({});
    stdout = output;
    twin::tapTrace([](const std::string& line) { trace.events.push_back(*readEvent(line)); });
    setPanBackwardS(2, 1000, 250);    // at the stop after 120 steps, 10 ms
    setZoom8Forward(-1, 1000, 5000);  // at the stop after 100 steps, 20 ms
    pass(5'000);
    setZoom8Backward(-1, 500, 5000);
    pass(200'000);
    setPanBackwardS(2, 30, 250);  // stands at the stop already
    setZoom8Forward(-1, 700, 5000);
    pass(130'000);
    fault("axis all slow 2");  // nothing is said again
    pass(100'000);
    twin::tapTrace(nullptr);
    EXPECT_EQ(trace.about({"head "}).story(), R"(
0 head zoom replaced
5 head pan stop
200 head pan stop
315 head zoom stop
)");
    EXPECT_EQ(lost(Axis::zoom), 975 + 125);
    EXPECT_EQ(lost(Axis::pan), 880 + 30);
}

TEST_F(TwinHead, OddOrdersAreHarmless) {
    build(0, kMiddle);
    for (const int number : {INT_MIN, -1, 0, 255, 256, INT_MAX}) {
        EXPECT_EQ(setFocus8Forward(-56, std::min(number, 0), 5000), 0);
        EXPECT_EQ(setPanForwardS(2, INT_MAX, number), 0);
        EXPECT_EQ(setRotatBackward(-3, INT_MAX, number), 0);
        pass(1000);
    }
    pass(60'000'000);
    EXPECT_EQ(position(Axis::focus), 1000);
    EXPECT_EQ(position(Axis::pan), 44393);
    EXPECT_EQ(position(Axis::rotate), 0);
    EXPECT_NE(setTiltForwardS(1, 10, 250), 0) << "pan and tilt have the code 2";
}

TEST_F(TwinHead, StatusBytesVaryAndTellBusyFromIdle) {
    using Status = int (*)(unsigned char*);
    constexpr Status kStatus[] = {
        [](unsigned char* byte) { return getPanBusyStatus(2, byte); },
        [](unsigned char* byte) { return getTiltBusyStatus(2, byte); },
        getRotatStatus,
        getZoomStatus,
        getFocusStatus,
        getIrisStatus,
    };
    const auto seen = [](Status status) {
        std::set<int> bytes;
        for (int i = 0; i < 2000; ++i) {
            unsigned char byte = 0;
            EXPECT_EQ(status(&byte), 0);
            bytes.insert(byte);
        }
        return bytes;
    };
    for (const Status status : kStatus) {
        const bool coarse = status == kStatus[0] || status == kStatus[1];
        build(0, kMiddle);
        const std::set<int> idle = seen(status);
        EXPECT_EQ(idle.size(), coarse ? 1U : 16U);
        EXPECT_EQ(*idle.begin(), coarse ? 0 : 0xA0);
        EXPECT_EQ(*idle.rbegin(), coarse ? 0 : 0xAF);
        for (const DirectionCase& each : kDirections) {
            each.move(each.code, 20, 1);
        }
        const std::set<int> busy = seen(status);
        EXPECT_EQ(busy.size(), coarse ? 255U : 240U);
        EXPECT_EQ(busy.contains(0), !coarse);
        EXPECT_TRUE(coarse || busy.lower_bound(0xA0) == busy.lower_bound(0xB0));
    }
}

TEST_F(TwinHead, TheControllerCountsOrderedPulsesWhateverBecomesOfThem) {
    Memory memory = kMiddle;
    memory["pan.counter"] = "100";
    build(0, memory);
    setPanBackwardS(2, 45000, 250);
    setTiltForwardS(2, 30, 250);
    pass(10'000'000);
    int counter = 0;
    getPanPos(2, &counter);
    EXPECT_EQ(counter, -44900) << "the stop is none of its business";
    getTiltnPos(2, &counter);
    EXPECT_EQ(counter, 2030);
    EXPECT_TRUE(twin::setControllerCounter("tilt", -7));
    getTiltnPos(2, &counter);
    EXPECT_EQ(counter, -7);
}

// The faults come between two steps, where an order that began anew would end later.
TEST_F(TwinHead, AFaultInTheMiddleOfAMoveConcernsItsRestAndItsEndOnlyByTheRate) {
    struct {
        std::vector<const char*> faults;  // one after 20,150 us each
        twin::Microseconds duration;
        int lost;
    } const cases[] = {
        {{"scene flat", "axis pan slow 3", "axis focus stuck", "clear"}, 100'000, 0},
        {{"axis zoom stuck", "axis zoom clear", "axis zoom slip 9"}, 100'000, 101 + 9},
        {{"axis zoom slow 2"}, 20'150 + 400 * 400, 0},
    };
    for (const auto& each : cases) {
        build(0, kMiddle);
        const twin::Microseconds start = twin::now();
        setZoom8Backward(-1, 500, 5000);
        for (const char* words : each.faults) {
            pass(20'150);
            fault(words);
        }
        pass(start + each.duration - 1 - twin::now());
        EXPECT_TRUE(twin::axisTruth(Axis::zoom).busy) << each.faults[0];
        pass(1);
        EXPECT_FALSE(twin::axisTruth(Axis::zoom).busy) << each.faults[0];
        EXPECT_EQ(position(Axis::zoom), 1500 - each.lost);
        setZoom8Backward(-1, 10, 5000);
        pass(20'000);
        EXPECT_EQ(lost(Axis::zoom), each.lost) << "slipping once is enough";
    }
}

TEST_F(TwinHead, ASavedHeadComesBackAsItWas) {
    build(10, kMiddle);
    for (const char* words :
         {"axis tilt slip 12", "sensor-identity 6a", "scene offset -40", "scene noise 5.000",
          "mcu sensor silent always", "call GutAF_Info 3", "mcu main version 1a2b"}) {
        fault(words);
    }
    setIcrSwDisable();
    setZoom8Forward(-1, 1000, 5000);
    setPanBackwardS(2, 500, 250);
    pass(20'000);
    const Memory saved = twin::saveHead();
    EXPECT_EQ(saved.at("zoom.position"), "1100");
    EXPECT_EQ(saved.at("zoom.lost"), "900") << "what the cut left undone";

    build(10, saved);
    EXPECT_EQ(twin::saveHead(), saved);
    pass(1'000'000);
    EXPECT_EQ(position(Axis::zoom), 1100);
    unsigned int version = 0;
    EXPECT_EQ(getVersion_mb(&version), 0);
    EXPECT_EQ(version, 0x1a2bU);
    EXPECT_NE(getVersion_sen(&version), 0);
    EXPECT_THAT(twin::describeHead(), HasSubstr(R"("icr":"night")"));
}

TEST_F(TwinHead, AMemoryThatMakesNoSenseIsRefused) {
    const Memory cases[] = {
        {{"pan.position", "44394"}}, {{"focus.position", "-17"}}, {{"tilt.position", "high"}},
        {{"iris.lost", "-1"}},       {{"pan.counter", ""}},       {{"icr", "dusk"}},
        {{"mcu.main.version", "x"}}, {{"fault.0", "warp"}},       {{"fault.0", ""}},
        {{"fault.1", "disk-full"}},  {{"wheel.position", "3"}},   {{"zoom.position", "2376"}},
    };
    for (const Memory& memory : cases) {
        EXPECT_NE(twin::makeHead({0, "ceiling", 1}, memory), "") << memory.begin()->first;
    }
    EXPECT_NE(twin::makeHead({0, "floor", 1}, {}), "");
}

// Probes the zoom on two threads, each call between lock() and unlock(), until an overlap is seen
// or both have called often enough.
template <typename Lock>
void probeOnTwoThreads(Lock& guard, int calls) {
    const auto probe = [&] {
        unsigned char byte = 0;
        for (int i = 0; i < calls && !twin::violationSeen(); ++i) {
            const std::lock_guard hold(guard);
            getZoomStatus(&byte);
        }
    };
    std::thread other(probe);
    probe();
    other.join();
}

TEST_F(TwinHead, RealClockReportsTwoMotorCallsAtATime) {
    struct NoLock {
        void lock() {}
        void unlock() {}
    } none;
    std::mutex motorLock;
    build(0, kMiddle);
    twin::useRealClock(1.0);
    probeOnTwoThreads(motorLock, 2000);
    EXPECT_FALSE(twin::violationSeen());
    probeOnTwoThreads(none, 10'000'000);
    EXPECT_TRUE(twin::violationSeen());
}

// A caller that takes a lock, or none, for what it does a little later than the others.
struct Caller {
    std::mutex* lock;
    void (*act)();
};

void call(void* argument) {
    const Caller& caller = *static_cast<const Caller*>(argument);
    sleepMicroseconds(1);
    if (caller.lock != nullptr) {
        caller.lock->lock();
    }
    caller.act();
    if (caller.lock != nullptr) {
        caller.lock->unlock();
    }
}

void probeZoom() {
    unsigned char byte = 0;
    getZoomStatus(&byte);
}

TEST_F(TwinHead, ReportsWhatALockIsMissingForOrHeldAcross) {
    static std::mutex motor;
    static std::mutex other;
    struct Case {
        const char* what;
        std::vector<Caller> callers;
        const char* report;  // empty: none
    };
    const Case cases[] = {
        {"one caller needs no lock", {{nullptr, probeZoom}}, ""},
        {"one lock", {{&motor, probeZoom}, {&motor, probeZoom}, {&motor, probeZoom}}, ""},
        {"no lock",
         {{&motor, probeZoom}, {nullptr, [] { setIcrSwEnalbe(); }}},
         "a motor call that no lock keeps from others: setIcrSwEnalbe"},
        {"two locks",
         {{&motor, probeZoom}, {&other, probeZoom}, {&motor, probeZoom}},
         "a motor call that no lock keeps from others: getZoomStatus"},
        {"a sleep", {{&motor, [] { sleepMicroseconds(1); }}}, "a sleep with a lock held"},
        {"the bus", {{&motor, [] { nbus_set("a", "b"); }}}, "nbus_set with a lock held"},
    };
    for (const Case& row : cases) {
        const auto run = [&row] {
            build(0, kMiddle);
            twin::watchMotorLock();
            for (const Caller& caller : row.callers) {
                twin::startActor("caller", call, const_cast<Caller*>(&caller));
            }
            pass(100);
            std::_Exit(twin::violationSeen() ? 1 : 0);
        };
        EXPECT_EXIT(run(), testing::ExitedWithCode(*row.report == '\0' ? 0 : 1), row.report)
            << row.what;
    }
}

void openFile(const char* path) {
    EXPECT_GE(open(devicePath(path).c_str(), O_WRONLY | O_CREAT, 0600), 0);
}

TEST_F(TwinHead, ARunThatLeavesFilesOpenFails) {
    struct Case {
        int (*daemon)();
        int status;
        const char* report;
    };
    const Case cases[] = {
        {[] {
             openFile("/mnt/nand/a");
             openFile("/mnt/nand/a");
             std::remove(devicePath("/mnt/nand/a").c_str());
             return 0;
         },
         1, "^kestrel-twin: descriptors left open: 2 of /mnt/nand/a\n$"},
        // A calibration sweep in progress, and another one.
        {[] { return openFile("/tmp/zf.txt"), 0; }, 0, "^$"},
        {[] { return openFile("/tmp/zf.txt"), openFile("/tmp/zf.txt"), 0; }, 1, "2 of /tmp/zf.txt"},
        // The power fails meanwhile.
        {[] {
             openFile("/mnt/nand/a");
             fault("power-cut 1");
             return nbus_set("a", "b");
         },
         0, "^$"},
    };
    for (const Case& row : cases) {
        EXPECT_EXIT(twin::powerUp({}, row.daemon), testing::ExitedWithCode(row.status), row.report);
    }
}

}  // namespace
