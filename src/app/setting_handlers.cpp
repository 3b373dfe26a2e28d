#include "app/setting_handlers.h"

#include <algorithm>
#include <cstdio>

#include "control_state.h"
#include "numbers.h"
#include "platform/motor_mcu.h"
#include "words.h"

namespace {

constexpr std::int32_t kEncodeLoad = 384;
constexpr std::int32_t kDenoiseLoad = 260;
constexpr std::int32_t kWdrLoad = 48;

constexpr WordValue kInstallWords[] = {{"wall", 2}, {"desktop", 1}};
constexpr WordValue kModeRotateWords[] = {{"auto", 1}, {"rotate", 2}};
constexpr WordValue kPoeWords[] = {{"not_ready", -1}, {"fail", -1}};

}  // namespace

void handleDemoPtzMode(const char*, const char* value) {
    giDemoPtzMode = parseDecimal(value);
}

void handleDemoLedMode(const char*, const char* value) {
    if (!isWord(value, "done")) {
        giDemoLedMode = parseDecimal(value);
    }
}

void handleDemoLedR(const char*, const char* value) {
    giDemoLedR = parseDecimal(value);
}

void handleDemoLedG(const char*, const char* value) {
    giDemoLedG = parseDecimal(value);
}

void handleDemoLedB(const char*, const char* value) {
    giDemoLedB = parseDecimal(value);
}

void handleDemoLedW(const char*, const char* value) {
    giDemoLedW = parseDecimal(value);
}

void handleFocusAfterZoom(const char*, const char* value) {
    giFocusAfterZoom = isWord(value, "off") ? 0 : 1;
}

void handlePreset(const char*, const char*) {}

void handleIcr(const char*, const char* value) {
    LockedBlock lock(gMotorLock);
    if (isWord(value, "day")) {
        setIcrSwEnalbe();
    } else {
        setIcrSwDisable();
    }
}

void handleIrisTable(const char*, const char* value) {
    giIrisTable = parseDecimal(value);
}

void handleFlip(const char*, const char* value) {
    const std::int32_t flip = isWord(value, "on") ? 1 : 0;
    giFlip = flip;
    std::printf("giFlip=%d\n", flip);
}

void handleMirror(const char*, const char* value) {
    const std::int32_t mirror = isWord(value, "on") ? 1 : 0;
    giMirror = mirror;
    std::printf("giMirror=%d\n", mirror);
}

void handleRotate(const char*, const char* value) {
    const std::int32_t rotate = isWord(value, "on") ? 1 : 0;
    giRotate = rotate;
    std::printf("giRotate=%d\n", rotate);
}

void handlePerspectiveMode(const char*, const char* value) {
    const std::int32_t install = valueOfWord(kInstallWords, value, 0);
    giInstall = install;
    std::printf("Install=%d\n", install);
}

void handleFwUpdate(const char*, const char* value) {
    if (isWord(value, "kick-off")) {
        giFwUpdate = 1;
    }
}

void handleCurrentGain(const char*, const char* value) {
    giCurrentGain = parseDecimal(value);
}

void handleSlaveCameras(const char*, const char* value) {
    giSlaveCameras = std::max(parseDecimal(value), 1);
}

void handleEncodeStatus(const char*, const char* value) {
    const std::int32_t started = isWord(value, "start") ? 1 : 0;
    giEncodeStarted = started;
    giEncodeLoad = started * kEncodeLoad;
}

void handleDenoiseStatus(const char*, const char* value) {
    giDenoiseLoad = isWord(value, "on") ? kDenoiseLoad : 0;
}

void handleWdr(const char*, const char* value) {
    giWdrLoad = isWord(value, "on") ? kWdrLoad : 0;
}

void handleModeRotate(const char*, const char* value) {
    giModeRotate = valueOfWord(kModeRotateWords, value, 0);
}

void handlePoeStatus(const char*, const char* value) {
    giPoeStatus = valueOfWord(kPoeWords, value, 0);
}
