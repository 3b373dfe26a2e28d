#include "twin/camera/settings.h"

#include <algorithm>
#include <array>
#include <utility>

namespace twin {

namespace {

constexpr std::array<std::pair<const char*, const char*>, 18> kFactorySettings = {{
    {"demo.led.manual.b", "64"},
    {"demo.led.manual.g", "64"},
    {"demo.led.manual.r", "64"},
    {"demo.led.manual.w", "64"},
    {"encode.camN.denoise_status", "off"},
    {"encode.camN.status", "start"},
    {"gpio.camN.out.icr", "day"},
    {"image.camN.exposure.iris_table", "100"},
    {"image.camN.exposure.wdr", "off"},
    {"image.camN.flip", "off"},
    {"image.camN.mirror", "off"},
    {"image.camN.rotate", "off"},
    {"lens.camN.focus_after_zoom", "off"},
    {"lens.camN.mode_rotate", "off"},
    {"lens.global.led_ctrl", "1,1,1,1,1,1,1,1"},
    {"lens.global.led_power", "255"},
    {"system.info.poe_status", "ready"},
    {"system.info.slave_cameras", "4"},
}};

// Keys that do not outlive a restart; a star at the end stands for any text. Every other key is a
// preset or a setting.
constexpr std::array<std::string_view, 27> kPassingKeys = {
    "demo.led.mode",
    "demo.ptz.action",
    "demo.ptz.mode",
    "demo.ptz.position*",
    "demo.ptz.range.*",
    "lens.camN.act_preset",
    "lens.camN.action.*",
    "lens.camN.focus",
    "lens.camN.focusstatus",
    "lens.camN.iris",
    "lens.camN.irisstatus",
    "lens.camN.light.test_mode",
    "lens.camN.light.test_status",
    "lens.camN.pan",
    "lens.camN.panstatus",
    "lens.camN.position_*",
    "lens.camN.ptzstatus",
    "lens.camN.range.*",
    "lens.camN.rotate",
    "lens.camN.rotatestatus",
    "lens.camN.status",
    "lens.camN.tilt",
    "lens.camN.tiltstatus",
    "lens.camN.zoom",
    "lens.camN.zoomstatus",
    "system.action.*",
    "system.camN.*",
};

bool matches(std::string_view key, std::string_view rule) {
    return rule.ends_with('*') ? key.starts_with(rule.substr(0, rule.size() - 1)) : key == rule;
}

}  // namespace

std::map<std::string, std::string> factorySettings() {
    return {kFactorySettings.begin(), kFactorySettings.end()};
}

bool outlivesRestart(std::string_view key) {
    return std::none_of(kPassingKeys.begin(), kPassingKeys.end(),
                        [key](std::string_view rule) { return matches(key, rule); });
}

std::map<std::string, std::string> lastingOf(std::map<std::string, std::string> keys) {
    std::erase_if(keys, [](const auto& entry) { return !outlivesRestart(entry.first); });
    return keys;
}

}  // namespace twin
