#include "twin/camera/head.h"

#include <cmath>
#include <cstdarg>
#include <cstdio>

#include "twin/boundary/changes.h"
#include "twin/boundary/encoder.h"
#include "twin/boundary/model.h"
#include "twin/clock/actors.h"
#include "twin/clock/timeline.h"
#include "twin/trace/output.h"
#include "twin/trace/trace.h"
#include "twin/world/board.h"
#include "twin/world/fault_values.h"
#include "twin/world/firmware.h"
#include "twin/world/gravity.h"
#include "twin/world/mechanism.h"
#include "twin/world/motion_sensor.h"
#include "twin/world/optics.h"
#include "twin/world/text_number.h"

namespace twin {
namespace {

using Memory = std::map<std::string, std::string>;

constexpr const char* kLensEntry = "lens-type";
constexpr const char* kMountEntry = "mount";
constexpr const char* kIcrEntry = "icr";
constexpr const char* kFaultEntries = "fault.";

constexpr const char* kUsualMount = "ceiling";

constexpr struct {
    const char* entry;
    Mcu mcu;
} kVersionEntries[] = {
    {"mcu.main.version", Mcu::mainBoard},
    {"mcu.sensor.version", Mcu::sensor},
};

// The axes whose pulses the controller counts.
constexpr Axis kCountedAxes[] = {Axis::pan, Axis::tilt};

std::string entryOf(Axis axis, const char* what) {
    return std::string(axisName(axis)) + "." + what;
}

__attribute__((format(printf, 1, 2))) std::string format(const char* pattern, ...) {
    char text[256];
    va_list arguments;
    va_start(arguments, pattern);
    std::vsnprintf(text, sizeof text, pattern, arguments);
    va_end(arguments);
    return text;
}

// Takes an entry out of the memory. False if it is there and is no number; an absent one leaves
// `number` as it is.
template <typename Number>
bool takeNumber(Memory& memory, const std::string& entry, int base, Number& number) {
    const auto node = memory.extract(entry);
    return node.empty() || readNumber(node.mapped(), base, number);
}

std::string restoreAxes(Memory& memory) {
    for (const Axis axis : kAxes) {
        std::int64_t position = axisTruth(axis).position;
        std::int64_t lost = 0;
        if (!takeNumber(memory, entryOf(axis, "position"), 10, position) ||
            !takeNumber(memory, entryOf(axis, "lost"), 10, lost) ||
            !placeAxis(axis, position, lost)) {
            return std::string("the ") + axisName(axis) +
                   " axis is not between this camera's stops";
        }
    }
    for (const Axis axis : kCountedAxes) {
        int counter = axisTruth(axis).position;
        if (!takeNumber(memory, entryOf(axis, "counter"), 10, counter)) {
            return std::string("the ") + axisName(axis) + " counter is no number";
        }
        writeControllerCounter(axis, counter);
    }
    return "";
}

std::string restoreBoard(Memory& memory) {
    for (const auto& row : kVersionEntries) {
        std::uint32_t version = mcuVersion(row.mcu);
        if (!takeNumber(memory, row.entry, 16, version)) {
            return std::string(row.entry) + " is no version";
        }
        setMcuVersion(row.mcu, version);
    }
    if (const auto node = memory.extract(kIcrEntry); !node.empty()) {
        gBoard.icrDay = node.mapped() == "day";
        if (!gBoard.icrDay && node.mapped() != "night") {
            return "icr is neither day nor night";
        }
    }
    return "";
}

std::string restoreFaults(Memory& memory) {
    for (int i = 0; !memory.empty(); ++i) {
        const auto node = memory.extract(kFaultEntries + std::to_string(i));
        if (node.empty()) {
            return "unknown entry " + memory.begin()->first;
        }
        if (const std::string error = injectFault(node.mapped()); !error.empty()) {
            return node.key() + ": " + error;
        }
    }
    return "";
}

std::string describeAxes() {
    std::string text;
    for (const Axis axis : kAxes) {
        const AxisTruth truth = axisTruth(axis);
        text += format(R"(, "%s":{"position":%d,"busy":%s,"lost":%lld})", axisName(axis),
                       truth.position, truth.busy ? "true" : "false",
                       static_cast<long long>(truth.lost));
    }
    return text;
}

std::string describeBoard() {
    std::string text = format(R"(, "supply":%d, "icr":"%s", "leds":[)", gBoard.supply,
                              gBoard.icrDay ? "day" : "night");
    const char* separator = "";
    for (const unsigned int word : gBoard.leds) {
        text += format(R"(%s"%08x")", separator, word);
        separator = ",";
    }
    return text + "]";
}

// A rounded number without the sign of a zero.
double shown(double value) {
    return std::abs(value) < 0.00005 ? 0.0 : value;
}

std::string describeSenses() {
    const int zoom = axisTruth(Axis::zoom).position;
    const int focus = axisTruth(Axis::focus).position;
    const Vector gravity =
        gravityReading(axisTruth(Axis::pan).position, axisTruth(Axis::tilt).position,
                       axisTruth(Axis::rotate).position);
    return format(R"(, "gravity":[%.4f,%.4f,%.4f], "sharpness":[%.4f,%.4f,%.4f])", shown(gravity.x),
                  shown(gravity.y), shown(gravity.z), sharpness(Area::a, zoom, focus),
                  sharpness(Area::b, zoom, focus), sharpness(Area::c, zoom, focus));
}

std::string describeCamera() {
    return format(R"(, "mount":"%s", "lensType":%d, "clock":"%s", "speed":%g, "on":true)",
                  mountName(), lensType(), clockIsVirtual() ? "virtual" : "real", clockSpeed());
}

}  // namespace

std::string checkOptions(const CameraOptions& options, const Memory& memory) {
    const auto remembered = [&](const char* entry) {
        const auto found = memory.find(entry);
        return found == memory.end() ? std::string{} : found->second;
    };
    const std::string lens = remembered(kLensEntry);
    const std::string given = std::to_string(options.lensType.value_or(0));
    if (!lens.empty() && options.lensType && lens != given) {
        return "this camera has lens type " + lens + ", not " + given +
               "; leave --lens-type out, or choose another directory";
    }
    const std::string mount = remembered(kMountEntry);
    if (!mount.empty() && !options.mount.empty() && mount != options.mount) {
        complain("the camera's mount was " + mount + " and is " + options.mount + " from now on");
    }
    return "";
}

std::string makeHead(const CameraOptions& options, const Memory& memory) {
    const WorldLock lock;
    Memory rest = memory;
    int lens = 0;
    if (!takeNumber(rest, kLensEntry, 10, lens)) {
        return "lens-type is no number";
    }
    const auto mount = rest.extract(kMountEntry);
    if (!mountCamera(!options.mount.empty() ? options.mount
                     : mount.empty()        ? kUsualMount
                                            : mount.mapped())) {
        return "unknown mount " + (options.mount.empty() ? mount.mapped() : options.mount);
    }
    setLensType(options.lensType.value_or(lens));
    resetFaults();
    makeMechanism(lensIsLong(), options.seed);
    makeFirmware();
    makeOptics(lensIsLong());
    makeEncoder(options.seed);
    makeMotionSensor(options.seed);
    gBoard = Board{};

    for (const auto restore : {restoreAxes, restoreBoard, restoreFaults}) {
        if (std::string error = restore(rest); !error.empty()) {
            return error;
        }
    }
    return "";
}

Memory saveHead() {
    const WorldLock lock;
    Memory memory;
    memory[kLensEntry] = std::to_string(lensType());
    memory[kMountEntry] = mountName();
    for (const Axis axis : kAxes) {
        const AxisTruth truth = axisTruth(axis);
        memory[entryOf(axis, "position")] = std::to_string(truth.position);
        memory[entryOf(axis, "lost")] = std::to_string(truth.lost + truth.remaining);
    }
    for (const Axis axis : kCountedAxes) {
        memory[entryOf(axis, "counter")] = std::to_string(controllerCounter(axis));
    }
    for (const auto& row : kVersionEntries) {
        memory[row.entry] = format("%04x", mcuVersion(row.mcu));
    }
    memory[kIcrEntry] = gBoard.icrDay ? "day" : "night";
    int number = 0;
    for (const std::string& fault : activeFaults()) {
        memory[kFaultEntries + std::to_string(number++)] = fault;
    }
    return memory;
}

std::string describeHead() {
    const WorldLock lock;
    const Microseconds time = now();
    return format(R"({"t":%lld.%06lld)", static_cast<long long>(time / 1'000'000),
                  static_cast<long long>(time % 1'000'000)) +
           describeAxes() + describeBoard() + describeSenses() + describeCamera() + "}";
}

std::string checkCounters(std::string (*position)(const char* key)) {
    std::string counters[kAxisCount];
    for (const Axis axis : kAxes) {
        const std::string key = std::string("lens.camN.position_") + axisName(axis);
        counters[static_cast<int>(axis)] = position(key.c_str());
    }
    const WorldLock lock;
    std::string wrong;
    for (const Axis axis : kAxes) {
        const AxisTruth truth = axisTruth(axis);
        const std::string& counter = counters[static_cast<int>(axis)];
        if (!truth.busy && counter != std::to_string(truth.position)) {
            wrong += format("%s %s counter %s true %d", wrong.empty() ? "" : ",", axisName(axis),
                            counter.empty() ? "absent" : counter.c_str(), truth.position);
        }
    }
    return wrong.empty() ? "ok" : "FAIL" + wrong;
}

bool changeMount(const std::string& mount) {
    {
        const WorldLock lock;
        if (!mountCamera(mount)) {
            return false;
        }
        trace("act", "mount %s", mount.c_str());
    }
    noteChange();
    return true;
}

bool setControllerCounter(const std::string& axis, int value) {
    for (const Axis counted : kCountedAxes) {
        if (axis == axisName(counted)) {
            {
                const WorldLock lock;
                trace("act", "counter %s %d", axis.c_str(), value);
                writeControllerCounter(counted, value);
            }
            noteChange();
            return true;
        }
    }
    return false;
}

}  // namespace twin
