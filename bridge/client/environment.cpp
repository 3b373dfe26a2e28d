#include "bridge/client/environment.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <string_view>

namespace bridge::client {

namespace {

constexpr int kUsualPatience = 10;
constexpr int kLongestPatience = 3600;

// What a head forwards is the head's own affair.
constexpr std::string_view kHeadsOption = "families";

std::string variableOf(std::string_view option) {
    std::string name = "KESTREL_";
    for (const char c : option) {
        const bool small = c >= 'a' && c <= 'z';
        name += c == '-' ? '_' : small ? static_cast<char>(c - 'a' + 'A') : c;
    }
    return name;
}

void replaceAll(std::string& text, std::string_view word, std::string_view by) {
    for (std::size_t at = 0; (at = text.find(word, at)) != std::string::npos; at += by.size()) {
        text.replace(at, word.size(), by);
    }
}

}  // namespace

Options readEnvironment(std::string& problem) {
    Options options;
    for (const OptionRow& row : optionRows()) {
        const std::string variable = variableOf(row.name);
        const char* const value = std::getenv(variable.c_str());
        if (value == nullptr || row.name == kHeadsOption) {
            continue;
        }
        if (!takeOption(options, row, value)) {
            problem = variable + " '" + value + "', accepted: " + row.accepted;
            return options;
        }
    }
    problem = options.wanted ? inServiceTerms(optionsProblem(options))
                             : "where is the camera? accepted: KESTREL_MQTT=mqtt://HOST[:PORT] "
                               "and KESTREL_NAME=NAME";
    return options;
}

int patienceSeconds() {
    const char* const value = std::getenv("KESTREL_WAIT");
    const std::string_view text = value == nullptr ? "" : value;
    int seconds = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
    const bool good = error == std::errc{} && stop == text.data() + text.size() && seconds >= 1;
    return good ? std::min(seconds, kLongestPatience) : kUsualPatience;
}

std::string inServiceTerms(std::string text) {
    std::array<std::string_view, 16> names{};
    std::size_t count = 0;
    for (const OptionRow& row : optionRows()) {
        names[count++] = row.name;
    }
    // The longest first, because --mqtt begins --mqtt-user.
    std::sort(names.begin(), names.begin() + static_cast<std::ptrdiff_t>(count),
              [](std::string_view a, std::string_view b) { return a.size() > b.size(); });
    for (std::size_t i = 0; i < count; ++i) {
        replaceAll(text, "--" + std::string(names[i]), variableOf(names[i]));
    }
    replaceAll(text, "the head's certificate", "this program's certificate");
    replaceAll(text, "the head", "this program");
    return text;
}

}  // namespace bridge::client
