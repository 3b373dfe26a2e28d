// A patrol between two presets: patrol [ROUNDS]
//
// Goes to preset 1, waits until the camera says that it is there, goes to preset 2, and so on. On
// the way it prints when an axis starts and stops. It is written against the bus alone: linked with
// the camera's library it runs on the camera, linked with libkestrel-nbus on a workstation, where
// KESTREL_MQTT and KESTREL_NAME say which camera is meant.
//
// Exit status: 0 after the last round; 1 if the camera is not there, a preset is missing or a move
// does not end.
#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>

#include "platform/nbus.h"

namespace {

constexpr const char* kPresetKey = "lens.camN.act_preset";
constexpr std::array kStatusKeys = {"lens.camN.panstatus",    "lens.camN.tiltstatus",
                                    "lens.camN.rotatestatus", "lens.camN.zoomstatus",
                                    "lens.camN.focusstatus",  "lens.camN.irisstatus"};
constexpr std::chrono::minutes kLongestMove{5};

std::mutex gMutex;
std::condition_variable gChanged;
std::string gAwaited;  // the word that this program has set last
bool gSent = false;    // it has come back
bool gDone = false;    // and the camera's answer to it

// The bus calls handlers on one thread of its own, in the order of the sets.

void onPreset(const char* key, const char* value) {
    if (std::strcmp(key, kPresetKey) != 0) {
        return;
    }
    const std::lock_guard lock(gMutex);
    gSent = gSent || value == gAwaited;
    gDone = gDone || (gSent && std::strcmp(value, "done") == 0);
    gChanged.notify_one();
}

void onStatus(const char* key, const char* value) {
    std::printf("  %s %s\n", key, value);
    std::fflush(stdout);
}

// A record of seven or eight numbers; all -1 when the preset was deleted.
bool isStored(const char* preset) {
    std::array<char, 128> record{};
    const std::string key = std::string("lens.camN.preset") + preset;
    return nbus_get(key.c_str(), record.data(), record.size()) == 0 && record[0] != '\0' &&
           std::strncmp(record.data(), "-1,-1,", 6) != 0;
}

bool goTo(const char* preset) {
    const std::string word = std::string(preset) + ":go";
    {
        const std::lock_guard lock(gMutex);
        gAwaited = word;
        gSent = false;
        gDone = false;
    }
    if (nbus_set(kPresetKey, word.c_str()) != 0) {
        std::fputs("patrol: the bus does not take the word\n", stderr);
        return false;
    }
    std::unique_lock lock(gMutex);
    if (!gChanged.wait_for(lock, kLongestMove, [] { return gDone; })) {
        std::fprintf(stderr, "patrol: preset %s is not reached\n", preset);
        return false;
    }
    std::printf("preset %s reached\n", preset);
    std::fflush(stdout);
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    const long rounds = argc > 1 ? std::strtol(argv[1], nullptr, 10) : 1;
    if (nbus_initial() != 0) {
        return 1;
    }
    for (const char* const preset : {"1", "2"}) {
        if (!isStored(preset)) {
            std::fprintf(stderr,
                         "patrol: preset %s is not stored; set %s %s:set where it is to be\n",
                         preset, kPresetKey, preset);
            return 1;
        }
    }
    nbus_listen(kPresetKey, onPreset);
    for (const char* const key : kStatusKeys) {
        nbus_listen(key, onStatus);
    }
    for (long round = 0; round < rounds; ++round) {
        if (!goTo("1") || !goTo("2")) {
            return 1;
        }
    }
}
