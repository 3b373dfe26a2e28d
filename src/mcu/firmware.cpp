#include "mcu/firmware.h"

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "numbers.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/motor_mcu.h"
#include "platform/nbus.h"
#include "platform/sensor_mcu.h"

namespace {

constexpr int kSecond = 1000000;
constexpr int kAdcStopMicroseconds = 100000;
constexpr int kConfirmTries = 3;
constexpr char kVersionWord[] = "mcu_ver=";

struct Mcu {
    const char* fullName;
    const char* shortName;
    const char* versionFile;
    const char* imageFile;
    const char* versionKey;
    int (*readVersion)(unsigned int* version);
    int (*writeImage)(const char* path);
    int (*reinitialise)();
    // Whether the converter is stopped before the image is written; nothing starts it again.
    bool stopsAdc;
};

constexpr Mcu kMcus[] = {
    {"MB MCU", "MB MCU", "/etc/mcu_ver_mb.info", "/bin/NewMainMCU.txt",
     "system.camN.info.mcu_version_mb", getVersion_mb, msp430fr2433BslWrite, mcuReInitall, true},
    {"Sensor MCU", "Sen MCU", "/etc/mcu_ver_sen.info", "/bin/SensorMCU.txt",
     "system.camN.info.mcu_version_sensor", getVersion_sen, msp430fr2433BslWrite_sen,
     mcuReInitall_sen, false},
};

// A line without a version expects version 0, which in practice leads to an update; meant so.
unsigned int versionInLine(const char* line) {
    constexpr std::size_t kWordLength = sizeof kVersionWord - 1;
    return std::strncmp(line, kVersionWord, kWordLength) == 0 ? parseHexadecimal(line + kWordLength)
                                                              : 0;
}

// False if there is no first line.
bool readExpectedVersion(const Mcu& mcu, unsigned int& version) {
    std::FILE* file = std::fopen(devicePath(mcu.versionFile).c_str(), "r");
    if (file == nullptr) {
        return false;
    }
    char line[256] = {};
    const bool read = std::fgets(line, sizeof line, file) != nullptr;
    std::fclose(file);
    version = versionInLine(line);
    return read;
}

bool runsVersion(const Mcu& mcu, unsigned int expected) {
    unsigned int version = 0;
    for (int i = 0; i < kConfirmTries; ++i) {
        if (mcu.readVersion(&version) == 0) {
            std::printf("%s Ver:%x\n", mcu.shortName, version);
            if (version == expected) {
                return true;
            }
        }
        sleepMicroseconds(kSecond);
    }
    return false;
}

bool update(const Mcu& mcu) {
    nbus_set("lens.camN.ptzstatus", "update");
    if (mcu.stopsAdc) {
        nbus_set("system.action.stop_adc", "on");
        sleepMicroseconds(kAdcStopMicroseconds);
    }
    const bool written = mcu.writeImage(devicePath(mcu.imageFile).c_str()) == 0;
    if (written) {
        sleepMicroseconds(kSecond);
    }
    mcu.reinitialise();
    sleepMicroseconds(kSecond);
    return written;
}

void publishVersion(const Mcu& mcu) {
    unsigned int version = 0;
    while (mcu.readVersion(&version) != 0) {
        sleepMicroseconds(kSecond);
    }
    std::printf("New Version2:%04x\n", version);
    char text[256] = {};
    std::snprintf(text, sizeof text, "%04x", version);
    nbus_set(mcu.versionKey, text);
}

void checkAndUpdate(const Mcu& mcu) {
    std::printf("Check %s\n", mcu.fullName);
    unsigned int expected = 0;
    if (!readExpectedVersion(mcu, expected)) {
        return;
    }
    std::printf("New Version:%04x\n", expected);
    if (runsVersion(mcu, expected) || update(mcu)) {
        publishVersion(mcu);
    }
}

}  // namespace

void updateMcuFirmware() {
    for (const Mcu& mcu : kMcus) {
        checkAndUpdate(mcu);
    }
}
