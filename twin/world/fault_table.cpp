#include "twin/world/fault_table.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <iterator>

#include "twin/world/faults.h"
#include "twin/world/mechanism.h"
#include "twin/world/motion_sensor.h"

namespace twin {
namespace {

constexpr const char* kNoSubject[] = {""};
constexpr const char* kAxisNames[] = {"pan", "tilt", "rotate", "zoom", "focus", "iris"};
constexpr const char* kMcuNames[] = {"main", "sensor"};
constexpr const char* kAreaNames[] = {"a", "b", "c"};
constexpr const char* kFunctions[] = {"setPanForwardS",
                                      "setPanBackwardS",
                                      "setTiltForwardS",
                                      "setTiltBackwardS",
                                      "setZoom8Forward",
                                      "setZoom8Backward",
                                      "setFocus8Forward",
                                      "setFocus8Backward",
                                      "setIrisForward",
                                      "setIrisBackward",
                                      "setRotatForward",
                                      "setRotatBackward",
                                      "getPanBusyStatus",
                                      "getTiltBusyStatus",
                                      "getZoomStatus",
                                      "getFocusStatus",
                                      "getIrisStatus",
                                      "getRotatStatus",
                                      "getPanPos",
                                      "getTiltnPos",
                                      "setPowerEnable",
                                      "setPowerDisable",
                                      "setIcrSwEnalbe",
                                      "setIcrSwDisable",
                                      "setLedMode",
                                      "setMuiltLEDs",
                                      "getVersion_mb",
                                      "mcuReInitall",
                                      "msp430fr2433BslWrite",
                                      "getVersion_sen",
                                      "mcuReInitall_sen",
                                      "msp430fr2433BslWrite_sen",
                                      "get_lenstype",
                                      "PTZShmInit",
                                      "GutAF_Info",
                                      "openI2cBus",
                                      "transferI2c",
                                      "nbus_initial",
                                      "nbus_listen",
                                      "nbus_get",
                                      "nbus_set",
                                      "nbus_get_name"};
constexpr std::size_t kMostSubjects = std::size(kFunctions);

// The numbers that a fault takes; percentages and factors are kept in thousandths.
constexpr ValueRow kNoValue = {Value::none, "", 1, 1};
constexpr ValueRow kSteps = {Value::count, "N (1 to 100000)", 1, 100'000};
constexpr ValueRow kFactor = {Value::factor, "FACTOR (1 to 1000)", 1'000, 1'000'000};
constexpr ValueRow kCounts = {Value::count, "COUNTS (1 to 32767)", 1, 32'767};
constexpr ValueRow kCalls = {Value::calls, "N|always (N 1 to 1000000)", 1, 1'000'000};
constexpr ValueRow kChanges = {Value::count, "N (1 to 1000000)", 1, 1'000'000};
constexpr ValueRow kSet = {Value::set, "N (1 to 1000000) KEY VALUE", 1, 1'000'000};
constexpr ValueRow kByte = {Value::hex, "HEX (00 to ff)", 0, 0xFF};
constexpr ValueRow kOffset = {Value::offset, "N (-4000 to 4000)", -4'000, 4'000};
constexpr ValueRow kPercent = {Value::percent, "PERCENT (0.001 to 5)", 1, 5'000};

constexpr FaultRow kFaults[] = {
    {Fault::call, "call", "FUNCTION", kFunctions, "", kCalls,
     "the next N calls of the library function fail"},
    {Fault::axisStuck, "axis", "AXIS|all", kAxisNames, "stuck", kNoValue,
     "busy as usual, but it does not move"},
    {Fault::axisSlip, "axis", "AXIS|all", kAxisNames, "slip", kSteps,
     "the next N ordered steps are lost"},
    {Fault::axisNeverReady, "axis", "AXIS|all", kAxisNames, "never-ready", kNoValue,
     "the status byte always says busy"},
    {Fault::axisSlow, "axis", "AXIS|all", kAxisNames, "slow", kFactor,
     "runs at its rate divided by FACTOR"},
    {Fault::sensorAbsent, "sensor-absent", "", kNoSubject, "", kNoValue,
     "nothing answers at the motion sensor's address"},
    {Fault::sensorFrozen, "sensor-frozen", "", kNoSubject, "", kNoValue,
     "the acceleration stays as it is now"},
    {Fault::sensorNoise, "sensor-noise", "", kNoSubject, "", kCounts,
     "noise of up to that many counts on each axis"},
    {Fault::sensorIdentity, "sensor-identity", "", kNoSubject, "", kByte,
     "the identity register reads HEX"},
    {Fault::statisticsFail, "statistics-fail", "", kNoSubject, "", kNoValue,
     "no focus statistics (an encoder not started: set encode.camN.status)"},
    {Fault::sceneFlat, "scene", "", kNoSubject, "flat", kNoValue, "nothing to focus on"},
    {Fault::sceneDark, "scene", "", kNoSubject, "dark", kNoValue, "no light: all sums are 0"},
    {Fault::sceneOffset, "scene", "", kNoSubject, "offset", kOffset,
     "sharpest N steps beside the lens's curve"},
    {Fault::sceneNoise, "scene", "", kNoSubject, "noise", kPercent,
     "noise on the focus statistics"},
    {Fault::areaFlat, "area", "a|b|c", kAreaNames, "flat", kNoValue,
     "nothing to focus on in this area of the picture"},
    {Fault::mcuLoaderFails, "mcu", "main|sensor", kMcuNames, "loader-fails", kNoValue,
     "firmware cannot be written"},
    {Fault::mcuSilent, "mcu", "main|sensor", kMcuNames, "silent", kCalls,
     "it leaves the next N calls unanswered (the loader still works)"},
    {Fault::mcuSilentAfter, "mcu", "main|sensor", kMcuNames, "silent-after-write", kCalls,
     "the same, from the next written firmware on"},
    {Fault::filesUnwritable, "files-unwritable", "", kNoSubject, "", kNoValue,
     "files can be read, but not created, written or removed"},
    {Fault::diskFull, "disk-full", "", kNoSubject, "", kNoValue,
     "files open, and what is written is refused"},
    {Fault::busRefuse, "bus-refuse", "", kNoSubject, "", kNoValue, "every nbus_set fails"},
    {Fault::busOverlong, "bus-overlong", "", kNoSubject, "", kNoValue,
     "the bus takes values beyond 127 bytes"},
    {Fault::powerCut, "power-cut", "", kNoSubject, "", kChanges,
     "the power fails before the N-th file operation, order or bus set of the daemon"},
    {Fault::setAt, "set-at", "", kNoSubject, "", kSet,
     "another service's set reaches the daemon in the N-th of its library calls and log lines"},
};
static_assert(std::size(kFaults) == kFaultCount);
static_assert([] {
    for (int i = 0; i < kFaultCount; ++i) {
        if (static_cast<int>(kFaults[i].fault) != i) {
            return false;
        }
    }
    return true;
}());

// Atomic for faultActive(), which holds no lock.
std::array<std::array<std::atomic<int>, kMostSubjects>, kFaultCount> gValues;
std::atomic<bool> gAnyActive;

std::atomic<int>& slot(Fault fault, int subject) {
    return gValues[static_cast<std::size_t>(fault)][static_cast<std::size_t>(subject)];
}

std::string& outsideSetText() {
    static auto& text = *new std::string;
    return text;
}

bool anyActive() {
    return std::any_of(gValues.begin(), gValues.end(), [](const auto& values) {
        return std::any_of(values.begin(), values.end(),
                           [](const auto& value) { return value != 0; });
    });
}

}  // namespace

std::span<const FaultRow, kFaultCount> faultTable() {
    return kFaults;
}

int faultValue(Fault fault, int subject) {
    return slot(fault, subject).load(std::memory_order_relaxed);
}

void setFaultValue(Fault fault, int subject, int value) {
    slot(fault, subject).store(value, std::memory_order_relaxed);
}

const std::string& outsideSet() {
    return outsideSetText();
}

void setOutsideSet(const std::string& keyAndValue) {
    outsideSetText() = keyAndValue;
}

bool takeFault(Fault fault, int subject) {
    const int left = faultValue(fault, subject);
    if (left > 0) {
        setFaultValue(fault, subject, left - 1);
    }
    return left != 0;
}

void resetFaults() {
    for (auto& values : gValues) {
        for (auto& value : values) {
            value = 0;
        }
    }
    gAnyActive = false;
}

void faultsChanged() {
    gAnyActive = anyActive();
    refreshMotions();
    refreshMotionSensor();
}

bool callFails(const char* name) {
    if (!gAnyActive.load(std::memory_order_relaxed)) {
        return false;
    }
    for (std::size_t i = 0; i < std::size(kFunctions); ++i) {
        if (std::strcmp(name, kFunctions[i]) == 0) {
            return takeFault(Fault::call, static_cast<int>(i));
        }
    }
    return false;
}

bool faultActive(const char* name) {
    if (!gAnyActive.load(std::memory_order_relaxed)) {
        return false;
    }
    return std::any_of(std::begin(kFaults), std::end(kFaults), [&](const FaultRow& row) {
        return *row.subjectWord == '\0' && *row.setting == '\0' &&
               std::strcmp(name, row.name) == 0 && faultValue(row.fault) != 0;
    });
}

}  // namespace twin
