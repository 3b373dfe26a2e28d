#include "twin/console/key_words.h"

#include <algorithm>
#include <array>
#include <sstream>

namespace twin {

namespace {

struct Row {
    const char* key;
    const char* words;
};

constexpr std::array kRows = {
    Row{"encode.camN.denoise_status", "on off"},
    Row{"encode.camN.status", "start stop"},
    Row{"encode.perspective.mode", "ceiling desktop wall"},
    Row{"gpio.camN.out.icr", "day night"},
    Row{"image.camN.exposure.wdr", "on off"},
    Row{"image.camN.flip", "on off"},
    Row{"image.camN.mirror", "on off"},
    Row{"image.camN.rotate", "on off"},
    Row{"lens.camN.act_preset", "1:set 1:set:lock 1:go 1:del 2:set 2:go 2:del"},
    Row{"lens.camN.action.cmd",
        "AF AAF CAF test_af home1 home2 home3 home home4 homefast homepos homeP1 homeP2 full_in "
        "full_out full_near full_far full_forward full_backward"},
    Row{"lens.camN.focus", "a: r: near far stop full_near full_far fullrange all shortrange home"},
    Row{"lens.camN.focus_after_zoom", "on off"},
    Row{"lens.camN.iris", "a: r: open close full_open full_close home"},
    Row{"lens.camN.mode_rotate", "auto rotate off"},
    Row{"lens.camN.pan", "a: r: left left: right right: stop home homeaf homefast"},
    Row{"lens.camN.rotate",
        "a: r: forward backward stop full_forward full_backward auto autoh autov test home"},
    Row{"lens.camN.tilt", "a: r: up up: down down: stop full_up full_down home"},
    Row{"lens.camN.zoom", "a: r: in out stop full_in full_out home"},
    Row{"system.camN.action.fwupdate", "kick-off"},
    Row{"system.info.poe_status", "ready not_ready fail"},
    // What the daemon answers with: words to wait for.
    Row{"lens.camN.focusstatus", "run stop fail"},
    Row{"lens.camN.irisstatus", "run stop fail"},
    Row{"lens.camN.panstatus", "run stop fail"},
    Row{"lens.camN.ptzstatus", "done update"},
    Row{"lens.camN.rotatestatus", "run stop fail"},
    Row{"lens.camN.tiltstatus", "run stop fail"},
    Row{"lens.camN.zoomstatus", "run stop fail"},
};

}  // namespace

std::vector<std::string> wordsOf(const std::string& key) {
    const auto* const row = std::find_if(
        kRows.begin(), kRows.end(), [&](const Row& candidate) { return key == candidate.key; });
    std::istringstream words(row == kRows.end() ? "" : row->words);
    std::vector<std::string> result;
    for (std::string word; words >> word;) {
        result.push_back(word);
    }
    return result;
}

std::vector<std::string> keysWithWords() {
    std::vector<std::string> keys;
    keys.reserve(kRows.size());
    for (const Row& row : kRows) {
        keys.emplace_back(row.key);
    }
    return keys;
}

}  // namespace twin
