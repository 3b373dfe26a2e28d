// The simulated mechanism behind the motor library's functions.
#include <gmock/gmock.h>

#include <array>
#include <climits>
#include <fstream>
#include <iterator>
#include <mutex>
#include <set>
#include <thread>

#include "platform/model.h"
#include "platform/motor_mcu.h"
#include "platform/sensor_mcu.h"
#include "tests/twin_world.h"

namespace {

using testing::ElementsAre;
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
            SCOPED_TRACE(std::string(twin::axisName(each.axis)) + " lens " +
                         std::to_string(lensType));
            build(lensType, kMiddle);
            EXPECT_EQ(get_lenstype(), lensType);
            const bool turned = lensType == 10 && each.axis == Axis::zoom;
            const int before = position(each.axis);

            EXPECT_EQ(each.move(each.code, 20, each.speed), 0);
            EXPECT_TRUE(twin::axisTruth(each.axis).busy);
            pass(100'000);
            EXPECT_FALSE(twin::axisTruth(each.axis).busy);
            EXPECT_EQ(position(each.axis), before + (turned ? -each.change : each.change));
            EXPECT_EQ(lost(each.axis), 0);

            const int stop = lensType == 10 ? each.stopLong : each.stopStandard;
            const int way = std::abs(stop - position(each.axis));
            EXPECT_EQ(each.move(each.code, way + 7, each.speed), 0);
            pass(20'000'000);
            EXPECT_EQ(position(each.axis), stop);
            EXPECT_EQ(lost(each.axis), 7);
            for (const Axis other : twin::kAxes) {
                EXPECT_TRUE(other == each.axis || lost(other) == 0) << twin::axisName(other);
            }
        }
    }
}

TEST_F(TwinHead, AnOrderLastsItsStepsAtTheRateOfItsSpeed) {
    struct {
        Move move;
        Axis axis;
        int code, steps, speed;
        twin::Microseconds duration;
    } const cases[] = {
        {setPanForwardS, Axis::pan, 2, 12000, 250, 1'000'000},
        {setPanForwardS, Axis::pan, 2, 6000, 234, 1'000'000},
        {setPanForwardS, Axis::pan, 2, 128, 240, 16'451},
        {setTiltBackwardS, Axis::tilt, 2, 1920, 250, 1'000'000},
        {setTiltBackwardS, Axis::tilt, 2, 32, 218, 66'667},
        {setZoom8Backward, Axis::zoom, -1, 500, 5000, 100'000},
        {setRotatForward, Axis::rotate, -3, 300, 200, 1'500'000},
        {setIrisForward, Axis::iris, -86, 1, 5000, 200},
    };
    for (const auto& each : cases) {
        build(0, kMiddle);
        const int before = position(each.axis);
        each.move(each.code, each.steps, each.speed);
        pass(each.duration / 2);
        EXPECT_NEAR(std::abs(position(each.axis) - before), each.steps / 2, 1);
        pass(each.duration - each.duration / 2 - 1);
        EXPECT_TRUE(twin::axisTruth(each.axis).busy) << each.steps << " at " << each.speed;
        pass(1);
        EXPECT_FALSE(twin::axisTruth(each.axis).busy) << each.steps << " at " << each.speed;
        EXPECT_EQ(std::abs(position(each.axis) - before), each.steps);
    }
}

TEST_F(TwinHead, AStopIsReportedWhenItIsReachedAndAReplacedOrderLosesItsRest) {
    build(0, {{"pan.position", "120"}, {"zoom.position", "1000"}});
    startTrace();
    const twin::Microseconds start = twin::now();
    setPanBackwardS(2, 1000, 250);    // at the stop after 120 steps, 10 ms
    setZoom8Backward(-1, 100, 5000);  // 20 ms
    pass(5'000);
    setZoom8Forward(-1, 50, 5000);
    pass(100'000);
    setPanBackwardS(2, 30, 250);  // stands at the stop already
    EXPECT_THAT(traceSince(start),
                ElementsAre("0.000000 mcu setPanBackwardS 2 1000 250",
                            "0.000000 mcu setZoom8Backward -1 100 5000",
                            "0.005000 mcu setZoom8Forward -1 50 5000",
                            "0.005000 head zoom replaced", "0.010000 head pan stop",
                            "0.105000 mcu setPanBackwardS 2 30 250", "0.105000 head pan stop"));
    EXPECT_EQ(position(Axis::zoom), 1000 + 25 - 50);
    EXPECT_EQ(lost(Axis::zoom), 75);
    pass(100'000);
    EXPECT_EQ(lost(Axis::pan), 880 + 30);
}

TEST_F(TwinHead, AReplacedOrderNeverReportsItsStop) {
    build(0, {{"pan.position", "120"}});
    startTrace();
    const twin::Microseconds start = twin::now();
    setPanBackwardS(2, 1000, 250);
    pass(5'000);
    setPanForwardS(2, 10, 250);
    pass(1'000'000);
    EXPECT_THAT(traceSince(start),
                ElementsAre("0.000000 mcu setPanBackwardS 2 1000 250",
                            "0.005000 mcu setPanForwardS 2 10 250", "0.005000 head pan replaced"));
}

TEST_F(TwinHead, OddOrdersAreHarmless) {
    build(0, kMiddle);
    for (const int steps : {0, -1, INT_MIN}) {
        EXPECT_EQ(setPanForwardS(2, steps, 250), 0);
        EXPECT_EQ(setFocus8Forward(-56, steps, 5000), 0);
    }
    int counter = 0;
    EXPECT_EQ(getPanPos(2, &counter), 0);
    EXPECT_EQ(counter, 20000);
    EXPECT_FALSE(twin::axisTruth(Axis::pan).busy);
    EXPECT_EQ(position(Axis::focus), 1000);

    for (const int speed : {INT_MIN, -1, 0, 255, 256, INT_MAX}) {
        EXPECT_EQ(setPanForwardS(2, INT_MAX, speed), 0);
        EXPECT_EQ(setRotatBackward(-3, INT_MAX, speed), 0);
        pass(1000);
    }
    EXPECT_TRUE(twin::axisTruth(Axis::pan).busy);
    pass(60'000'000);
    EXPECT_EQ(position(Axis::pan), 44393);
    EXPECT_EQ(position(Axis::rotate), 0);

    unsigned char status = 0;
    EXPECT_NE(setTiltForwardS(1, 10, 250), 0) << "another head";
    EXPECT_NE(getPanBusyStatus(1, &status), 0);
    EXPECT_NE(getPanBusyStatus(2, nullptr), 0);
    EXPECT_NE(getZoomStatus(nullptr), 0);
    EXPECT_NE(getPanPos(2, nullptr), 0);
    EXPECT_NE(getTiltnPos(3, &counter), 0);
    EXPECT_NE(setLedMode(8, 1), 0);
    EXPECT_NE(setMuiltLEDs(nullptr, nullptr), 0);
    EXPECT_NE(getVersion_mb(nullptr), 0);
    EXPECT_NE(msp430fr2433BslWrite(nullptr), 0);
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
    build(0, kMiddle);
    std::set<int> idle[twin::kAxisCount];
    std::set<int> busy[twin::kAxisCount];
    const auto probe = [&](std::set<int>(&seen)[twin::kAxisCount]) {
        for (int i = 0; i < 2000; ++i) {
            for (int axis = 0; axis < twin::kAxisCount; ++axis) {
                unsigned char byte = 0;
                ASSERT_EQ(kStatus[axis](&byte), 0);
                seen[axis].insert(byte);
            }
        }
    };
    probe(idle);
    for (const DirectionCase& each : kDirections) {
        each.move(each.code, 20, 1);
    }
    probe(busy);
    for (int axis = 0; axis < twin::kAxisCount; ++axis) {
        const bool coarse = axis < 2;
        EXPECT_EQ(idle[axis].size(), coarse ? 1U : 16U);
        EXPECT_EQ(*idle[axis].begin(), coarse ? 0 : 0xA0);
        EXPECT_EQ(*idle[axis].rbegin(), coarse ? 0 : 0xAF);
        EXPECT_EQ(busy[axis].size(), coarse ? 255U : 240U);
        EXPECT_EQ(busy[axis].count(0), coarse ? 0U : 1U);
        EXPECT_TRUE(coarse || busy[axis].lower_bound(0xA0) == busy[axis].lower_bound(0xB0));
    }
}

TEST_F(TwinHead, TheControllerCountsOrderedPulsesWhateverBecomesOfThem) {
    Memory memory = kMiddle;
    memory["pan.counter"] = "100";
    build(0, memory);
    int counter = 0;
    getPanPos(2, &counter);
    EXPECT_EQ(counter, 100);
    setPanBackwardS(2, 45000, 250);
    pass(10'000'000);
    getPanPos(2, &counter);
    EXPECT_EQ(counter, -44900) << "the stop is none of its business";
    setTiltForwardS(2, 30, 250);
    getTiltnPos(2, &counter);
    EXPECT_EQ(counter, 2030);
    EXPECT_TRUE(twin::setControllerCounter("tilt", -7));
    getTiltnPos(2, &counter);
    EXPECT_EQ(counter, -7);
    EXPECT_FALSE(twin::setControllerCounter("zoom", 1));
}

TEST_F(TwinHead, AxisFaults) {
    struct {
        const char* fault;
        int moved;
        int lost;
        twin::Microseconds duration;
        bool everReady;
    } const cases[] = {
        {"axis zoom stuck", 0, 500, 100'000, true},
        {"axis zoom slip 30", 470, 30, 100'000, true},
        {"axis all slow 10", 500, 0, 1'000'000, true},
        {"axis zoom never-ready", 500, 0, 100'000, false},
        {"axis zoom clear", 500, 0, 100'000, true},
        {"axis focus stuck", 500, 0, 100'000, true},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.fault);
        build(0, kMiddle);
        EXPECT_EQ(fault(each.fault), "ok");
        setZoom8Backward(-1, 500, 5000);
        pass(each.duration - 1);
        EXPECT_TRUE(twin::axisTruth(Axis::zoom).busy);
        pass(1);
        EXPECT_FALSE(twin::axisTruth(Axis::zoom).busy);
        EXPECT_EQ(position(Axis::zoom), 1000 + each.moved);
        EXPECT_EQ(lost(Axis::zoom), each.lost);
        unsigned char byte = 0;
        getZoomStatus(&byte);
        EXPECT_EQ((byte & 0xF0) == 0xA0, each.everReady);
    }
}

TEST_F(TwinHead, AFaultInTheMiddleOfAMoveConcernsItsRest) {
    build(0, kMiddle);
    setZoom8Backward(-1, 500, 5000);
    pass(20'000);
    fault("axis zoom stuck");
    pass(20'000);
    fault("axis zoom clear");
    fault("axis zoom slip 10");
    fault("scene flat");
    pass(60'000);
    EXPECT_FALSE(twin::axisTruth(Axis::zoom).busy);
    EXPECT_EQ(position(Axis::zoom), 1000 + 100 + 290);
    EXPECT_EQ(lost(Axis::zoom), 110);
    setZoom8Backward(-1, 10, 5000);
    pass(10'000);
    EXPECT_EQ(position(Axis::zoom), 1400) << "slipping once is enough";

    startTrace();
    const twin::Microseconds start = twin::now();
    setZoom8Forward(-1, 1600, 5000);
    pass(300'000);
    fault("axis all slow 2");
    EXPECT_THAT(traceSince(start),
                ElementsAre("0.000000 mcu setZoom8Forward -1 1600 5000", "0.280000 head zoom stop"))
        << "it stands there already";
}

TEST_F(TwinHead, FailingCallsAreCountedAndDoNothing) {
    build(0, kMiddle);
    EXPECT_EQ(fault("call setZoom8Forward 2"), "ok");
    EXPECT_EQ(fault("call getTiltBusyStatus always"), "ok");
    EXPECT_NE(setZoom8Forward(-1, 10, 5000), 0);
    EXPECT_NE(setZoom8Forward(-1, 10, 5000), 0);
    EXPECT_FALSE(twin::axisTruth(Axis::zoom).busy);
    EXPECT_EQ(setZoom8Forward(-1, 10, 5000), 0);
    unsigned char byte = 0x55;
    for (int i = 0; i < 10; ++i) {
        EXPECT_NE(getTiltBusyStatus(2, &byte), 0);
    }
    EXPECT_EQ(byte, 0x55);
    EXPECT_EQ(fault("clear call getTiltBusyStatus"), "ok");
    EXPECT_EQ(getTiltBusyStatus(2, &byte), 0);
}

TEST_F(TwinHead, WrongFaultWordsAreRefusedWithWhatIsAccepted) {
    build(0, kMiddle);
    const std::pair<const char*, const char*> cases[] = {
        {"warp", "scene"},
        {"axis", "slip N"},
        {"axis wheel stuck", "rotate"},
        {"axis pan melted", "never-ready"},
        {"axis pan slip", "slip N"},
        {"axis pan slip 0", "slip N"},
        {"axis pan slip 99999999999", "slip N"},
        {"axis pan stuck really", "stuck"},
        {"call fly 3", "setPanForwardS"},
        {"call getPanPos -3", "always"},
        {"call getPanPos 3x", "always"},
        {"sensor-identity 100", "00 to ff"},
        {"scene noise nan", "0.5"},
        {"scene noise 0.6", "0.5"},
        {"mcu main version", "version HEX"},
        {"mcu third silent 3", "main, sensor"},
        {"bus-refuse now", "bus-refuse"},
        {"clear warp", "scene"},
        {"clear axis wheel", "rotate"},
        {"clear a b c", "clear"},
    };
    for (const auto& [words, accepted] : cases) {
        bool ok = true;
        std::istringstream stream(words);
        std::vector<std::string> list(std::istream_iterator<std::string>(stream), {});
        const std::vector<std::string> answer = twin::faultCommand(list, ok);
        EXPECT_FALSE(ok) << words;
        ASSERT_EQ(answer.size(), 1U) << words;
        EXPECT_THAT(answer[0], HasSubstr(accepted)) << words;
    }
    EXPECT_EQ(twin::saveHead().count("fault.0"), 0U);
}

TEST_F(TwinHead, ASavedHeadComesBackAsItWas) {
    build(10, kMiddle);
    const char* const faults[] = {
        "axis tilt slip 12",        "sensor-identity 6a", "scene offset -40", "scene noise 0.250",
        "mcu sensor silent always", "call GutAF_Info 3",  "disk-full"};
    for (const char* words : faults) {
        EXPECT_EQ(fault(words), "ok");
    }
    fault("mcu main version 1a2b");
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
    EXPECT_TRUE(twin::faultActive("disk-full"));
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

TEST_F(TwinHead, ANewCameraStandsAtPlacesThatFollowFromItsSeed) {
    const auto made = [](std::uint64_t seed) {
        EXPECT_EQ(twin::makeHead({0, "ceiling", seed}, {}), "");
        return twin::saveHead();
    };
    EXPECT_EQ(made(5), made(5));
    EXPECT_NE(made(5), made(6));
}

TEST_F(TwinHead, TheBoardKeepsWhatItIsTold) {
    build(0, kMiddle);
    startTrace();
    const twin::Microseconds start = twin::now();
    const std::array<unsigned int, 4> a = {0xFF, 0, 0, 0x01020304};
    const std::array<unsigned int, 4> b = {0, 0xFFFFFFFF, 0, 0};
    EXPECT_EQ(setMuiltLEDs(a.data(), b.data()), 0);
    EXPECT_EQ(setPowerEnable(15), 0);
    EXPECT_THAT(twin::describeHead(),
                HasSubstr(R"("supply":15, "icr":"day", "leds":["000000ff","00000000","00000000",)"
                          R"("01020304","00000000","ffffffff","00000000","00000000"])"));
    EXPECT_EQ(setPowerDisable(0), 0);
    EXPECT_EQ(setIcrSwDisable(), 0);
    EXPECT_EQ(setLedMode(7, 1), 0);
    EXPECT_THAT(twin::describeHead(), HasSubstr(R"("supply":0, "icr":"night")"));
    EXPECT_THAT(
        traceSince(start),
        ElementsAre("0.000000 mcu setMuiltLEDs 000000ff 00000000 00000000 01020304 00000000 "
                    "ffffffff 00000000 00000000",
                    "0.000000 mcu setPowerEnable 15", "0.000000 mcu setPowerDisable 0",
                    "0.000000 mcu setIcrSwDisable", "0.000000 mcu setLedMode 7 1"));
}

TEST_F(TwinHead, TheLoaderRunsTheImageThatItReads) {
    struct {
        const char* image;
        int result;
        unsigned int version;
    } const cases[] = {
        {"version 0304\nrest\n", 0, 0x304},
        {"version 10305\r\n", 0, 0x10305},
        {"version", -1, 0x102},
        {"version 03zz\n", -1, 0x102},
        {"", -1, 0x102},
        {"\nversion 3\n", -1, 0x102},
    };
    const std::string path = testing::TempDir() + "firmware-image-" + std::to_string(getpid());
    for (const auto& each : cases) {
        build(0, kMiddle);
        std::ofstream(path) << each.image;
        EXPECT_EQ(msp430fr2433BslWrite(path.c_str()), each.result) << each.image;
        unsigned int version = 0;
        EXPECT_EQ(getVersion_mb(&version), 0);
        EXPECT_EQ(version, each.version) << each.image;
    }
    std::ofstream(path) << "version 0400\n";
    build(0, kMiddle);
    fault("mcu sensor loader-fails");
    EXPECT_NE(msp430fr2433BslWrite_sen(path.c_str()), 0);
    fault("clear mcu");
    fault("mcu sensor silent-after-write 2");
    EXPECT_EQ(msp430fr2433BslWrite_sen(path.c_str()), 0);
    unsigned int version = 0;
    EXPECT_NE(getVersion_sen(&version), 0);
    EXPECT_NE(getVersion_sen(&version), 0);
    EXPECT_EQ(getVersion_sen(&version), 0);
    EXPECT_EQ(version, 0x400U);
    std::remove(path.c_str());
    EXPECT_NE(msp430fr2433BslWrite_sen(path.c_str()), 0) << "no image";
}

TEST_F(TwinHead, CountersAreComparedWithTheTruthOfTheAxesAtRest) {
    build(0, kMiddle);
    static std::string pan;
    const auto keys = [](const char* key) -> std::string {
        const std::string name(key);
        return name == "lens.camN.position_pan" ? pan
               : name.ends_with("tilt")         ? "2000"
               : name.ends_with("rotate")       ? "5000"
               : name.ends_with("iris")         ? "50"
                                                : "1000";
    };
    pan = "20000";
    EXPECT_EQ(twin::checkCounters(keys), "ok");
    pan = "20010";
    EXPECT_EQ(twin::checkCounters(keys), "FAIL pan counter 20010 true 20000");
    setPanForwardS(2, 10, 250);
    EXPECT_EQ(twin::checkCounters(keys), "ok") << "still moving";
    pass(1'000'000);
    EXPECT_EQ(twin::checkCounters(keys), "ok");
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

}  // namespace
