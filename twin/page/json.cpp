#include "twin/page/json.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace twin {

namespace {

using Json = nlohmann::ordered_json;

std::string textOf(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

std::string traceJson(const std::string& line) {
    const std::size_t time = std::min(line.find(' '), line.size());
    const std::size_t kind = std::min(line.find(' ', time + 1), line.size());
    const std::size_t afterTime = std::min(time + 1, line.size());
    // The time is a number as it stands.
    std::string text = "{\"t\":";
    text.append(line, 0, time).append(",\"kind\":");
    text += textOf(line.substr(afterTime, kind - std::min(kind, afterTime)));
    text.append(",\"text\":").append(textOf(line.substr(std::min(kind + 1, line.size()))));
    text += '}';
    return text;
}

std::string busJson(const std::vector<std::string>& entries) {
    std::string text = "{";
    for (const std::string& entry : entries) {
        const std::size_t end = std::min(entry.find('\0'), entry.size());
        text += text.size() == 1 ? "" : ",";
        text += textOf(entry.substr(0, end));
        text += ':';
        text += textOf(entry.substr(std::min(end + 1, entry.size())));
    }
    text += '}';
    return text;
}

std::string headSwitchedOff(const std::string& head) {
    Json json = Json::parse(head, nullptr, false);
    if (!json.is_object()) {
        json = Json::object();
    }
    for (auto& [name, value] : json.items()) {
        if (value.is_object() && value.contains("busy")) {
            value["busy"] = false;
        }
    }
    if (json.contains("supply")) {
        json["supply"] = 0;
    }
    if (json.contains("leds")) {
        for (Json& led : json["leds"]) {
            led = "00000000";
        }
    }
    json["on"] = false;
    return textOf(json);
}

}  // namespace twin
