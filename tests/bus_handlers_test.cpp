// The value handlers: what each key's values leave in the shared control state. The handlers run in
// the test's own process, on the simulated bus.
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "app/bus_keys.h"
#include "app/command_buffers.h"
#include "control_state.h"
#include "motion/command_words.h"
#include "paths.h"
#include "platform/nbus.h"
#include "session.h"
#include "tests/twin_world.h"
#include "twin/boundary/bus.h"
#include "twin/boundary/files.h"

namespace {

class BusHandlers : public TwinWorld {
protected:
    BusHandlers() {
        twin::openFiles(camera_.pathOf(""));
        build(0, {});
        pthread_mutex_init(&gMotorLock, nullptr);
        pthread_mutex_init(&gCmdMutex, nullptr);
    }
    void listen(const std::map<std::string, std::string>& keys = {}) {
        twin::startBus(keys);
        registerBusKeys();
        twin::settle();
    }
    void set(const std::string& key, const std::string& value) {
        EXPECT_EQ(nbus_set(key.c_str(), value.c_str()), 0);
        twin::settle();
    }

    const Camera camera_;
};

struct Row {
    const char* key;
    const char* value;
    const SharedInt& variable;
    int expected;
};

TEST_F(BusHandlers, StoreWhatTheirValuesMean) {
    const Row rows[] = {
        {"demo.ptz.mode", "12", giDemoPtzMode, 12},
        {"demo.ptz.mode", " -7x", giDemoPtzMode, -7},
        {"demo.ptz.mode", "x7", giDemoPtzMode, 0},
        {"demo.led.mode", "3", giDemoLedMode, 3},
        {"demo.led.mode", "done", giDemoLedMode, 3},
        {"demo.led.mode", "done2", giDemoLedMode, 0},
        {"demo.led.manual.r", "1", giDemoLedR, 1},
        {"demo.led.manual.g", "2", giDemoLedG, 2},
        {"demo.led.manual.b", "3", giDemoLedB, 3},
        {"demo.led.manual.w", "4", giDemoLedW, 4},
        {"lens.camN.focus_after_zoom", "on", giFocusAfterZoom, 1},
        {"lens.camN.focus.focus_after_zoom", "off", giFocusAfterZoom, 0},
        {"image.camN.exposure.iris_table", "55", giIrisTable, 55},
        {"image.camN.flip", "on", giFlip, 1},
        {"image.cam1.flip", "on", giFlip, 1},
        {"event.camN.light.brightness", "high", giLightBrightness, 255},
        {"event.camN.light.other", "low", giLightBrightness, 255},
        {"system.camN.action.fwupdate", "kick", giFwUpdate, 0},
        {"system.camN.action.fwupdate", "kick-off", giFwUpdate, 1},
        {"image.camN.exposure.current_gain", "12000", giCurrentGain, 12000},
        {"system.info.slave_cameras", "6", giSlaveCameras, 6},
        {"system.info.slave_cameras", "0", giSlaveCameras, 1},
        // Only the first of the four names is looked for with its dot.
        {"lens.camN.lightfront_left.color", "green", gaLightColor[0], 0},
        {"lens.camN.lightback_left.color", "blue", gaLightColor[2], 4},
        {"lens.camN.light.onvif_mode", "1,0,5", gaOnvifOrder[0], 1},
        {"lens.camN.light.onvif_mode", "1,0,5", gaOnvifOrder[2], 2},
        {"lens.camN.light.onvif_mode", "0,3,5", gaOnvifOrder[1], 3},
        {"lens.camN.light.onvif_mode", "0,3,5", gaOnvifOrder[0], 0},
        {"lens.camN.light.onvif_mode", ",,4,,0", gaOnvifOrder[0], 4},
        {"lens.camN.light.onvif_mode", ",,4,,0", gaOnvifOrder[1], 0},
        {"lens.camN.light.onvif_mode", "", giOnvifSeq, 5},
        {"lens.camN.light.relay15.timeout", "30", gaRelayTimeout[5], 30},
        {"lens.camN.light.relay1.timeout", "40", gaRelayTimeout[0], 0},
        {"lens.camN.light.test_mode", "4", giLedTestMode, 4},
        {"lens.camN.light.test_status", "9", giLedTestMode, 4},
        {"lens.global.led_power", "100", giLedPower, 100},
        {"lens.global.led_power", "120", giLedPowerApplied, 120},
        {"lens.global.led_power", "-5", giLedPower, 0},
        {"lens.global.led_power", "255", giLedPowerChanged, 1},
    };
    listen();
    for (const Row& row : rows) {
        set(row.key, row.value);
        EXPECT_EQ(row.variable, row.expected) << row.key << " '" << row.value << "'";
    }
}

// The keys whose words docs/bus-keys.md lists with what "anything else" means, in its order.
const std::pair<const char*, const SharedInt&> kSettings[] = {
    {"lens.camN.focus_after_zoom", giFocusAfterZoom},
    {"image.camN.flip", giFlip},
    {"image.camN.mirror", giMirror},
    {"image.camN.rotate", giRotate},
    {"event.camN.light.flash", giLightFlashPeriod},
    {"event.camN.light.brightness", giLightBrightness},
    {"encode.perspective.mode", giInstall},
    {"encode.camN.status", giEncodeStarted},
    {"encode.camN.denoise_status", giDenoiseLoad},
    {"image.camN.exposure.wdr", giWdrLoad},
    {"lens.camN.mode_rotate", giModeRotate},
    {"system.info.poe_status", giPoeStatus},
    {"lens.camN.light.front_left.color", gaLightColor[0]},
    {"lens.camN.light.front_left.state", gaLightState[0]},
    {"lens.camN.light.front_left.brightness", gaLightBrightness[0]},
    {"lens.camN.light.relay13.mode", gaRelayMode[3]},
};

// Each listed word has a meaning of its own, but that synonyms ("or") share it, and no word that
// the page has elsewhere has one.
TEST_F(BusHandlers, KnowTheWordsOfTheKeyPageAndNoOthers) {
    const std::string page = readSource("docs/bus-keys.md");
    const std::regex list("((`[a-z_]+`(, | or ))*`[a-z_]+`), anything else (?!is night)");
    const std::regex quoted("(or )?`([A-Za-z_-]+)`");
    const auto words = [&quoted](const std::string& text) {
        return std::vector<std::smatch>(std::sregex_iterator(text.begin(), text.end(), quoted), {});
    };
    const std::vector<std::smatch> everyWord = words(page);
    listen();
    const auto* setting = std::begin(kSettings);
    for (std::sregex_iterator each(page.begin(), page.end(), list), none; each != none; ++each) {
        ASSERT_NE(setting, std::end(kSettings)) << each->str();
        const char* const key = setting->first;
        const SharedInt& variable = setting->second;
        ++setting;
        const auto meaning = [&](const std::string& word) {
            set(key, word);
            return variable.load();
        };
        std::map<std::string, int> listed;
        int last = meaning("anything");
        std::set<int> meanings = {last};
        const std::string text = (*each)[1];
        for (const std::smatch& word : words(text)) {
            const int value = listed[word[2]] = meaning(word[2]);
            const bool synonym = word[1].matched;
            EXPECT_EQ(meanings.insert(value).second, !synonym) << key << " " << word[2];
            EXPECT_TRUE(!synonym || value == last) << key << " " << word[2];
            last = value;
        }
        const int other = meaning("anything");
        for (const std::smatch& word : everyWord) {
            EXPECT_TRUE(listed.contains(word[2]) || meaning(word[2]) == other)
                << key << " " << word[2];
        }
    }
    EXPECT_EQ(setting, std::end(kSettings));
}

TEST_F(BusHandlers, LedSwitchesTakeTheFirstTenNumbersCutToEightBits) {
    listen({{"lens.global.led_ctrl", "1,2,3,4,5,6,7,8,9,10,11"}});
    EXPECT_EQ(gaLedCtrl[9], 10);
    set("lens.global.led_ctrl", ",,300,,x");
    EXPECT_EQ(gaLedCtrl[0], 44);
    EXPECT_EQ(gaLedCtrl[1], 0);
    EXPECT_EQ(gaLedCtrl[2], 3);
}

TEST_F(BusHandlers, PresentValuesAreReadAtRegistration) {
    listen({{"demo.ptz.mode", "9"},
            {"demo.led.mode", "9"},
            {"demo.led.manual.g", "5"},
            {"demo.led.manual.w", "7"},
            {"lens.camN.focus_after_zoom", "on"},
            {"lens.camN.act_preset", "1:go"},
            {"lens.camN.action.cmd", "AF"},
            {"image.camN.mirror", "on"},
            {"event.camN.light.a.flash", "medium"},
            {"event.camN.light.flash", "fast"},
            {"lens.camN.light.back_left.color", "red"},
            {"lens.camN.light.relay13.timeout", "8"},
            {"lens.camN.mode_rotate", "rotate"}});
    const std::pair<const SharedInt&, int> expected[] = {
        // Not read at all.
        {giDemoPtzMode, 0},
        {giDemoLedMode, 0},
        {giActPreset, -1},
        {giAfRequest, 0},
        // A missing one of the four shares the text of the one before it.
        {giDemoLedR, 0},
        {giDemoLedG, 5},
        {giDemoLedB, 5},
        {giDemoLedW, 7},
        {giFocusAfterZoom, 1},
        {giMirror, 1},
        {giLightFlashPeriod, 20},
        {gaLightColor[2], 3},
        {gaRelayTimeout[3], 8},
        {giModeRotate, 2},
        // A missing setting counts as an empty text.
        {giIrisTable, 0},
        {giSlaveCameras, 1},
        {giLedPower, 0},
        {giPoeStatus, 0},
        {giEncodeLoad, 0},
        // Keys below a name that are missing leave the variable as it was.
        {giLightBrightness, 255},
        {gaLightState[2], 0},
    };
    int row = 0;
    for (const auto& [variable, value] : expected) {
        EXPECT_EQ(variable, value) << "row " << row;
        ++row;
    }
}

TEST_F(BusHandlers, PresetWordsRaiseRequests) {
    constexpr std::pair<const char*, int> kWords[] = {
        {"1:set", 1},         {"1:setxyz", 1}, {"1:set:lock", 3}, {"2:set", 2},
        {"2:setset:lock", 4}, {"2:setxyz", 2}, {"1:go", 1001},    {"2:go", 1002},
        {"1:del", 2001},      {"2:del", 2002}, {"1:gox", -1},     {"1:GO", -1},
        {"1:se", -1},         {"", -1},        {"3:set", -1},     {"done", -1},
    };
    listen();
    for (const auto& [word, request] : kWords) {
        giActPreset = -1;
        set("lens.camN.act_preset", word);
        EXPECT_EQ(giActPreset, request) << word;
    }
}

TEST_F(BusHandlers, ActionWordsRaiseRequests) {
    constexpr std::pair<const char*, int> kWords[] = {
        {"AF", 2}, {"Af", 2}, {"aAf", 5}, {"CAF", 6}, {"test_af", 3}, {"TEST_AF", 0}, {"", 0},
    };
    listen();
    for (const auto& [word, request] : kWords) {
        giAfRequest = 0;
        set("lens.camN.action.cmd", word);
        EXPECT_EQ(giAfRequest, request) << word;
    }
    giAfRequest = 5;
    giHomeRequest = 1;
    for (const char* const word : {"AF", "CAF", "test_af", "home2"}) {
        set("lens.camN.action.cmd", word);
    }
    focusCommand("fullrange");
    EXPECT_EQ(giAfRequest, 5) << "a pending autofocus stays";
    EXPECT_EQ(giHomeRequest, 2) << "a pending homing is replaced";
}

TEST_F(BusHandlers, StatusValuesKeepTheRunningMaskAndTheMarkerFiles) {
    constexpr std::tuple<const char*, const char*, int> kAxes[] = {
        {"lens.camN.focusstatus", "/mnt/nand/FocusMotor.txt", 1},
        {"lens.camN.zoomstatus", "/mnt/nand/ZoomMotor.txt", 2},
        {"lens.camN.panstatus", "/mnt/nand/PanMotor.txt", 4},
        {"lens.camN.tiltstatus", "/mnt/nand/TiltMotor.txt", 8},
        {"lens.camN.rotatestatus", "/mnt/nand/RotatrMotor.txt", 16},
    };
    // A value, whether the motor counts as running, and whether the marker is there.
    constexpr std::tuple<const char*, bool, bool> kSteps[] = {
        {"fail", true, false}, {"stop", false, false}, {"running", true, true},
        {"xyz", true, true},   {"", true, true},       {"stopped", false, false},
        {"ru", false, false},  {"run", true, true},    {"fail2", true, true},
        {"don", true, true},   {"done", false, false}, {"failed", true, false},
    };
    listen();
    int others = 0;
    for (const auto& [key, marker, bit] : kAxes) {
        for (const auto& [value, running, marked] : kSteps) {
            set(key, value);
            EXPECT_EQ(giMotorRunning, others | (running ? bit : 0)) << key << " " << value;
            EXPECT_EQ(camera_.read(marker).has_value(), marked) << key << " " << value;
        }
        others |= bit;
    }
    set("lens.camN.irisstatus", "run");
    EXPECT_EQ(giMotorRunning, 31);
}

TEST_F(BusHandlers, LeaveAnOverwriteBufferToWhoHoldsItsLock) {
    static bool done, waited;
    void (*const users[])(void*) = {[](void*) {
                                        overwriteCommand(gszZoomCmd, "a:1");
                                        done = true;
                                    },
                                    [](void*) {
                                        char text[kCommandSize];
                                        done = takeCommand(gszZoomCmd, text);
                                    }};
    for (void (*const user)(void*) : users) {
        done = false;
        twin::startActor(
            "holder",
            [](void*) {
                pthread_mutex_lock(&gCmdMutex);
                EXPECT_TRUE(twin::letGoOn("user"));
                waited = !done;
                pthread_mutex_unlock(&gCmdMutex);
            },
            nullptr);
        twin::startActor("user", user, nullptr);
        twin::settle();
        EXPECT_TRUE(waited);
        EXPECT_TRUE(done);
    }
}

}  // namespace
