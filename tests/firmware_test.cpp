// The firmware check of both microcontrollers at power-up.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "session.h"

namespace {

// What is said and done up to the end of the check, which is the line "ptzstatus done".
Trace check(const Session& run) {
    Trace trace =
        run.trace.about({"MCU", "Ver", "mcuReInit", "mcu_version", "ptzstatus", "stop_adc"});
    while (!trace.events.empty() && trace.events.back().line() != "bus lens.camN.ptzstatus done") {
        trace.events.pop_back();
    }
    return trace;
}

// Only the main board's update stops the converter, and waits for it.
TEST(Firmware, DifferingVersionsAreUpdatedMainBoardFirst) {
    const Camera camera(Positions{});
    camera.remember("mcu.main.version", "5");
    camera.remember("mcu.sensor.version", "1ab2");
    const Session run = camera.run("run 11\nquit");
    EXPECT_EQ(check(run).story(), R"(
0 log Check MB MCU
0 log New Version:0102
0 log MB MCU Ver:5
1000 log MB MCU Ver:5
2000 log MB MCU Ver:5
3000 bus lens.camN.ptzstatus update
3000 bus system.action.stop_adc on
3100 mcu msp430fr2433BslWrite /bin/NewMainMCU.txt
4100 mcu mcuReInitall
5100 log New Version2:0102
5100 bus system.camN.info.mcu_version_mb 0102
5100 log Check Sensor MCU
5100 log New Version:0201
5100 log Sen MCU Ver:1ab2
6100 log Sen MCU Ver:1ab2
7100 log Sen MCU Ver:1ab2
8100 bus lens.camN.ptzstatus update
8100 mcu msp430fr2433BslWrite_sen /bin/SensorMCU.txt
9100 mcu mcuReInitall_sen
10100 log New Version2:0201
10100 bus system.camN.info.mcu_version_sensor 0201
10100 bus lens.camN.ptzstatus done
)");
    EXPECT_EQ(check(camera.run("quit")).events.size(), 11U) << "the next boot finds them updated";
}

// A microcontroller, and what the signs of a story stand for.
struct Mcu {
    const char* name;  // of its faults and of its remembered version
    const char* versionFile;
    const char* image;
    const char* readVersion;
    std::vector<std::pair<char, std::string>> signs;
    int stopMs;  // what its update takes beyond the other's
};

const Mcu kMcus[] = {
    {"main",
     "/etc/mcu_ver_mb.info",
     "/bin/NewMainMCU.txt",
     "getVersion_mb",
     {{'C', "log Check MB MCU"},
      {'V', "log MB MCU Ver"},
      {'U', "bus lens.camN.ptzstatus update\nbus system.action.stop_adc on"},
      {'W', "mcu msp430fr2433BslWrite /bin/NewMainMCU.txt"},
      {'R', "mcu mcuReInitall"},
      {'K', "bus system.camN.info.mcu_version_mb"}},
     100},
    {"sensor",
     "/etc/mcu_ver_sen.info",
     "/bin/SensorMCU.txt",
     "getVersion_sen",
     {{'C', "log Check Sensor MCU"},
      {'V', "log Sen MCU Ver"},
      {'U', "bus lens.camN.ptzstatus update"},
      {'W', "mcu msp430fr2433BslWrite_sen /bin/SensorMCU.txt"},
      {'R', "mcu mcuReInitall_sen"},
      {'K', "bus system.camN.info.mcu_version_sensor"}},
     0},
};

struct Case {
    const char* versionFile;  // its content; null: there is none
    const char* image;        // the version in it
    const char* running;
    const char* fault;  // $M stands for the microcontroller, $F for its version call
    const char* story;
    int takesMs;
};

constexpr Case kCases[] = {
    {nullptr, "102", "102", "", "$C\n", 0},
    {"", "102", "102", "", "$C\n", 0},
    {"mcu_ver=0xA\nmcu_ver=3\n", "102", "a", "",
     "$C\nlog New Version:000a\n$V:a\nlog New Version2:000a\n$K 000a\n", 0},
    // A version of which the lower half is right.
    {"mcu_ver=102\n", "102", "10102", "",
     "$C\nlog New Version:0102\n$V:10102\n$V:10102\n$V:10102\n$U\n$W\n$R\n"
     "log New Version2:0102\n$K 0102\n",
     5000},
    // No version in the line: the image is written, and what it brings is published.
    {"version=102\n", "7", "102", "",
     "$C\nlog New Version:0000\n$V:102\n$V:102\n$V:102\n$U\n$W\n$R\n"
     "log New Version2:0007\n$K 0007\n",
     5000},
    // It answers at the third try, or too late.
    {"mcu_ver=102\n", "102", "102", "call $F 2",
     "$C\nlog New Version:0102\n$V:102\nlog New Version2:0102\n$K 0102\n", 2000},
    {"mcu_ver=102\n", "102", "102", "call $F 3",
     "$C\nlog New Version:0102\n$U\n$W\n$R\nlog New Version2:0102\n$K 0102\n", 5000},
    {"mcu_ver=103\n", "103", "102", "mcu $M loader-fails",
     "$C\nlog New Version:0103\n$V:102\n$V:102\n$V:102\n$U\n$W\n$R\n", 4000},
    // It comes back at the fifth reading after the write.
    {"mcu_ver=103\n", "103", "102", "mcu $M silent-after-write 4",
     "$C\nlog New Version:0103\n$V:102\n$V:102\n$V:102\n$U\n$W\n$R\n"
     "log New Version2:0103\n$K 0103\n",
     9000},
};

std::string filled(std::string text, const std::vector<std::pair<char, std::string>>& signs) {
    for (const auto& [sign, meaning] : signs) {
        const std::string place = {'$', sign};
        for (std::size_t at = 0; (at = text.find(place, at)) != std::string::npos;) {
            text.replace(at, place.size(), meaning);
        }
    }
    return text;
}

// What the boot tells where this is the only microcontroller whose version is checked.
Trace checkAlone(const Mcu& mcu, const Case& row) {
    Camera camera(Positions{});
    for (const Mcu& each : kMcus) {
        camera.remove(each.versionFile);
    }
    if (row.versionFile != nullptr) {
        camera.write(mcu.versionFile, row.versionFile);
    }
    camera.write(mcu.image, std::string("version ") + row.image + "\n");
    camera.remember(std::string("mcu.") + mcu.name + ".version", row.running);
    if (*row.fault != '\0') {
        camera.fault(filled(row.fault, {{'M', mcu.name}, {'F', mcu.readVersion}}));
    }
    return check(camera.run("run 10"));
}

TEST(Firmware, EachMicrocontrollerByItself) {
    for (const Mcu& mcu : kMcus) {
        for (const Case& row : kCases) {
            const bool isMain = &mcu == &kMcus[0];
            const std::string story = filled(row.story, mcu.signs);
            std::string expected = isMain ? "\n" : "\nlog Check MB MCU\n";
            expected += story;
            expected += isMain ? "log Check Sensor MCU\n" : "";
            expected += "bus lens.camN.ptzstatus done\n";
            const Trace trace = checkAlone(mcu, row);
            EXPECT_EQ(trace.lines(), expected);
            const int stopMs = story.find("update") != std::string::npos ? mcu.stopMs : 0;
            EXPECT_EQ(trace.times("bus lens.camN.ptzstatus done"),
                      std::vector<std::int64_t>{(row.takesMs + stopMs) * 1000})
                << story;
        }
    }
}

}  // namespace
