#include "interleaving_scenes.h"

#include <algorithm>
#include <iterator>

namespace interleavings {

namespace {

// The words that take minutes ("test" of rotate, "c" of the demo actions) are left out.
constexpr Act kActs[] = {
    {"lens.camN.pan", "a:10300"},
    {"lens.camN.pan", "r:200"},
    {"lens.camN.pan", "left:3"},
    {"lens.camN.pan", "right"},
    {"lens.camN.pan", "stop"},
    {"lens.camN.pan", "home"},
    {"lens.camN.pan", "homeaf"},
    {"lens.camN.pan", "homefast"},
    {"lens.camN.tilt", "a:2060"},
    {"lens.camN.tilt", "r:-50"},
    {"lens.camN.tilt", "up:3"},
    {"lens.camN.tilt", "down"},
    {"lens.camN.tilt", "stop"},
    {"lens.camN.tilt", "full_up"},
    {"lens.camN.tilt", "full_down"},
    {"lens.camN.tilt", "home"},
    {"lens.camN.rotate", "a:700"},
    {"lens.camN.rotate", "r:100"},
    {"lens.camN.rotate", "forward"},
    {"lens.camN.rotate", "backward"},
    {"lens.camN.rotate", "stop"},
    {"lens.camN.rotate", "full_forward"},
    {"lens.camN.rotate", "full_backward"},
    {"lens.camN.rotate", "auto"},
    {"lens.camN.rotate", "autoh"},
    {"lens.camN.rotate", "autov"},
    {"lens.camN.rotate", "home"},
    {"lens.camN.zoom", "a:1200"},
    {"lens.camN.zoom", "r:-100"},
    {"lens.camN.zoom", "in"},
    {"lens.camN.zoom", "out"},
    {"lens.camN.zoom", "stop"},
    {"lens.camN.zoom", "full_in"},
    {"lens.camN.zoom", "full_out"},
    {"lens.camN.zoom", "home"},
    {"lens.camN.focus", "a:900"},
    {"lens.camN.focus", "r:-60"},
    {"lens.camN.focus", "near"},
    {"lens.camN.focus", "far"},
    {"lens.camN.focus", "stop"},
    {"lens.camN.focus", "full_near"},
    {"lens.camN.focus", "full_far"},
    {"lens.camN.focus", "fullrange"},
    {"lens.camN.focus", "shortrange"},
    {"lens.camN.focus", "all"},
    {"lens.camN.focus", "home"},
    {"lens.camN.iris", "a:40"},
    {"lens.camN.iris", "r:20"},
    {"lens.camN.iris", "open"},
    {"lens.camN.iris", "close"},
    {"lens.camN.iris", "stop"},
    {"lens.camN.iris", "full_open"},
    {"lens.camN.iris", "full_close"},
    {"lens.camN.iris", "home"},
    {"lens.camN.panstatus", "run"},
    {"lens.camN.panstatus", "stop"},
    {"lens.camN.panstatus", "fail"},
    {"lens.camN.tiltstatus", "run"},
    {"lens.camN.tiltstatus", "done"},
    {"lens.camN.tiltstatus", "fail"},
    {"lens.camN.rotatestatus", "run"},
    {"lens.camN.rotatestatus", "stop"},
    {"lens.camN.rotatestatus", "fail"},
    {"lens.camN.zoomstatus", "run"},
    {"lens.camN.zoomstatus", "stop"},
    {"lens.camN.zoomstatus", "fail"},
    {"lens.camN.focusstatus", "run"},
    {"lens.camN.focusstatus", "done"},
    {"lens.camN.focusstatus", "fail"},
    {"lens.camN.irisstatus", "run"},
    {"lens.camN.action.cmd", "AF"},
    {"lens.camN.action.cmd", "aaf"},
    {"lens.camN.action.cmd", "CAF"},
    {"lens.camN.action.cmd", "test_af"},
    {"lens.camN.action.cmd", "home"},
    {"lens.camN.action.cmd", "home1"},
    {"lens.camN.action.cmd", "home2"},
    {"lens.camN.action.cmd", "home3"},
    {"lens.camN.action.cmd", "home4"},
    {"lens.camN.action.cmd", "homefast"},
    {"lens.camN.action.cmd", "homepos"},
    {"lens.camN.action.cmd", "homeP1"},
    {"lens.camN.action.cmd", "homeP2"},
    {"lens.camN.action.cmd", "full_in"},
    {"lens.camN.action.cmd", "full_far"},
    {"lens.camN.action.cmd", "full_backward"},
    {"lens.camN.action.cmd", "n40"},
    {"lens.camN.action.cmd", "c20"},
    {"lens.camN.action.cmd", "t80"},
    {"lens.camN.action.cmd", "b90"},
    {"lens.camN.action.cmd", "z1100"},
    {"lens.camN.action.cmd", "done"},
    {"lens.camN.act_preset", "1:set"},
    {"lens.camN.act_preset", "2:set:lock"},
    {"lens.camN.act_preset", "1:go"},
    {"lens.camN.act_preset", "2:go"},
    {"lens.camN.act_preset", "1:del"},
    {"lens.camN.act_preset", "2:del"},
    {"lens.camN.preset1", "10100,2010,1010,810,600,0,0,0"},
    {"demo.ptz.action", "A"},
    {"demo.ptz.action", "a"},
    {"demo.ptz.action", "F850"},
    {"demo.ptz.action", "H4"},
    {"demo.ptz.action", "I30"},
    {"demo.ptz.action", "N0"},
    {"demo.ptz.action", "p150"},
    {"demo.ptz.action", "R650"},
    {"demo.ptz.action", "t40"},
    {"demo.ptz.action", "Z1050"},
    {"demo.ptz.action", "done"},
    {"demo.ptz.mode", "2"},
    {"demo.led.mode", "3"},
    {"demo.led.mode", "6"},
    {"demo.led.manual.r", "9"},
    {"demo.led.manual.w", "11"},
    {"lens.camN.focus_after_zoom", "on"},
    {"gpio.camN.out.icr", "day"},
    {"gpio.camN.out.icr", "night"},
    {"image.camN.exposure.iris_table", "60"},
    {"image.camN.flip", "on"},
    {"image.camN.mirror", "on"},
    {"image.camN.rotate", "on"},
    {"event.camN.light.flash", "fast"},
    {"event.camN.light.brightness", "low"},
    {"encode.perspective.mode", "wall"},
    {"system.camN.action.fwupdate", "kick-off"},
    {"image.camN.exposure.current_gain", "20000"},
    {"system.info.slave_cameras", "1"},
    {"lens.camN.light.front_left.color", "red"},
    {"lens.camN.light.back_right.state", "on"},
    {"lens.camN.light.onvif_mode", "1,0,1"},
    {"lens.camN.light.relay10.mode", "monostable"},
    {"lens.camN.light.test_mode", "4"},
    {"lens.global.led_power", "90"},
    {"lens.global.led_ctrl", "0,1,0,1"},
    {"encode.camN.status", "start"},
    {"encode.camN.denoise_status", "on"},
    {"image.camN.exposure.wdr", "on"},
    {"lens.camN.mode_rotate", "auto"},
    {"lens.camN.mode_rotate", "rotate"},
    {"system.info.poe_status", "fail"},
};

constexpr Scene kScenes[] = {
    {"rest", nullptr, nullptr, 0, ""},
    {"pan", "lens.camN.pan", "a:10040", 0, "lens.camN.pan"},
    {"tilt", "lens.camN.tilt", "a:2020", 0, "lens.camN.tilt"},
    {"rotate", "lens.camN.rotate", "a:560", 0, "lens.camN.rotate"},
    {"zoom", "lens.camN.zoom", "a:1040", 0, "lens.camN.zoom"},
    {"focus", "lens.camN.focus", "a:830", 0, "lens.camN.focus"},
    {"iris", "lens.camN.iris", "a:10", 0, "lens.camN.iris"},
    {"pan-runs", "lens.camN.pan", "left:2", 0.1, "lens.camN.pan"},
    {"tilt-runs", "lens.camN.tilt", "up:2", 0.1, "lens.camN.tilt"},
    {"rotate-runs", "lens.camN.rotate", "forward", 0.1, "lens.camN.rotate"},
    {"zoom-runs", "lens.camN.zoom", "in", 0.1, "lens.camN.zoom"},
    {"focus-runs", "lens.camN.focus", "near", 0.2, "lens.camN.focus"},
    {"no-home", "demo.ptz.action", "H99", 0, "lens.camN.action.cmd"},
    {"iris-runs", "lens.camN.iris", "close", 0.1, "lens.camN.iris"},
    // The end of the run asks for an autofocus. A homing that is let in just then ("H4") comes
    // before or behind that; both are right, but only the first comes of acts between passes.
    {"preset-ends", "lens.camN.act_preset", "1:go", 0.125, "demo.ptz.action=A", "1:set"},
};

// The acts that an axis's move may meet, beside those of the axis itself: a request of each kind.
constexpr const char* kRequests[] = {"lens.camN.action.cmd=AF",    "lens.camN.action.cmd=home4",
                                     "lens.camN.act_preset=1:set", "lens.camN.act_preset=2:go",
                                     "lens.camN.rotate=auto",      "demo.ptz.action=p150"};

}  // namespace

std::span<const Act> acts() {
    return kActs;
}

std::span<const Scene> scenes() {
    return kScenes;
}

std::string nameOf(const Act& act) {
    return std::string(act.key) + "=" + act.value;
}

bool takesPart(const Scene& scene, const Act& act) {
    const std::string name = nameOf(act);
    return name.starts_with(scene.acts) ||
           std::find(std::begin(kRequests), std::end(kRequests), name) != std::end(kRequests);
}

}  // namespace interleavings
