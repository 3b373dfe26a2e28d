#include "bridge/topics.h"

#include <mosquitto.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <vector>

namespace bridge {

namespace {

constexpr std::array<std::string_view, 11> kMomentaryKeys = {
    "demo.ptz.action",
    "lens.camN.act_preset",
    "lens.camN.action.cmd",
    "lens.camN.focus",
    "lens.camN.iris",
    "lens.camN.pan",
    "lens.camN.rotate",
    "lens.camN.status",
    "lens.camN.tilt",
    "lens.camN.zoom",
    "system.camN.action.fwupdate",
};

// The first level behind BASE/NAME/ of everything that a head says or hears.
constexpr std::array<std::string_view, 5> kHeadsLevels = {"state", "info", "bus", "set", "error"};

constexpr std::size_t kLongestPrinted = 200;

// Never destroyed: threads outlive main.
struct Names {
    std::string base;  // with a slash behind
    std::string own;   // BASE/NAME/
    std::vector<std::string> families;
};

Names& names() {
    static auto& instance = *new Names;
    return instance;
}

std::string exchanged(std::string_view text, char from, char to) {
    std::string result(text);
    std::replace(result.begin(), result.end(), from, to);
    return result;
}

}  // namespace

void useTopics(const Options& options) {
    names() = {options.base + "/", options.base + "/" + options.name + "/", options.families};
}

std::string topicOf(std::string_view levels) {
    return names().own + std::string(levels);
}

std::string busTopic(std::string_view key) {
    return topicOf("bus/") + exchanged(key, '.', '/');
}

std::string setTopic(std::string_view key) {
    return topicOf("set/") + exchanged(key, '.', '/');
}

std::string_view ownLevels(std::string_view topic) {
    const bool own = topic.starts_with(names().own);
    return own ? topic.substr(names().own.size()) : std::string_view{};
}

std::string keyOf(std::string_view levels) {
    return exchanged(levels, '/', '.');
}

std::string canonical(std::string_view key) {
    constexpr std::string_view kOwnCamera = "cam1";
    std::string result(key);
    for (std::size_t begin = 0; begin < result.size();) {
        const std::size_t end = std::min(result.find('.', begin), result.size());
        if (std::string_view(result).substr(begin, end - begin) == kOwnCamera) {
            result.replace(begin, kOwnCamera.size(), "camN");
        }
        begin = end + 1;
    }
    return result;
}

bool isForwarded(std::string_view key) {
    const std::string_view family = key.substr(0, key.find('.'));
    return family.size() < key.size() && std::find(names().families.begin(), names().families.end(),
                                                   family) != names().families.end();
}

bool fitsTopic(const std::string& key) {
    return key.find_first_of("/+#") == std::string::npos &&
           mosquitto_validate_utf8(key.c_str(), static_cast<int>(key.size())) == MOSQ_ERR_SUCCESS;
}

bool isMomentary(std::string_view key) {
    return std::find(kMomentaryKeys.begin(), kMomentaryKeys.end(), key) != kMomentaryKeys.end();
}

bool isHeadsTopic(std::string_view topic) {
    if (!topic.starts_with(names().base)) {
        return false;
    }
    topic.remove_prefix(names().base.size());
    topic.remove_prefix(std::min(topic.find('/'), topic.size() - 1) + 1);
    const std::string_view level = topic.substr(0, topic.find('/'));
    return std::find(kHeadsLevels.begin(), kHeadsLevels.end(), level) != kHeadsLevels.end();
}

std::string familyList(std::string_view separator) {
    std::string list;
    for (const std::string& family : names().families) {
        list += (list.empty() ? "" : std::string(separator)) + family;
    }
    return list;
}

std::string printable(std::string_view text) {
    std::string result;
    for (const char c : text.substr(0, kLongestPrinted)) {
        if (c >= ' ' && c <= '~') {
            result += c;
        } else {
            std::array<char, 5> code{};
            std::snprintf(code.data(), code.size(), "\\x%02x", static_cast<unsigned char>(c));
            result += code.data();
        }
    }
    return result + (text.size() > kLongestPrinted ? "..." : "");
}

}  // namespace bridge
